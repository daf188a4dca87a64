// Gauss-Jordan elimination of a 4 x 4 matrix with rows as vectors, compiled once for every
// instruction level.
//
// The companion matrix is stored inside the eliminated one. While every multiplier is finite, its
// columns that have not been reached hold exact zeros and one 1 in each, so that eliminating column
// c turns column c of the companion on in the very place where the matrix gets its zero. Each lane
// goes through the operations of invert4Plainly in the same order; what is not finite goes to that
// function, since 0 * infinity would spoil the zeros which are not stored.
#include "geometry/invert.h"

#ifndef __AVX2__

void kelvo::geometry::KELVO_LEVEL::invert4(const double* from, double* to) {
    invert4Plainly(from, to);
}

#else

#include <immintrin.h>

#include <array>
#include <cstddef>
#include <utility>

namespace kelvo::geometry::KELVO_LEVEL {
namespace {

typedef __m256d Row;

// Masks hold the same truth value in all four lanes; bits() are 15 or 0.
#if defined(__AVX512VL__) && defined(__AVX512DQ__)
typedef __mmask8 Mask;
inline Mask larger(Row a, Row b) {
    return _mm256_cmp_pd_mask(a, b, _CMP_GT_OQ);
}
inline Row select(Mask m, Row a, Row b) {
    return _mm256_mask_blend_pd(m, b, a);
}
inline Mask both(Mask a, Mask b) {
    return _kand_mask8(a, b);
}
inline Mask andNot(Mask a, Mask b) {
    return _kandn_mask8(b, a);
}
inline Mask either(Mask a, Mask b) {
    return _kor_mask8(a, b);
}
inline unsigned bits(Mask m) {
    return _cvtmask8_u32(m);
}
// a with those lanes replaced by zeros that have b's sign.
template <int lanes>
inline Row withSignOnly(Row a, Row b) {
    return _mm256_mask_and_pd(a, lanes, b, _mm256_set1_pd(-0.0));
}
inline bool allFinite(Row a) {
    return !_mm256_fpclass_pd_mask(a, 0x99);  // either NaN, either infinity
}
#else
typedef __m256d Mask;
inline Mask larger(Row a, Row b) {
    return _mm256_cmp_pd(a, b, _CMP_GT_OQ);
}
inline Row select(Mask m, Row a, Row b) {
    return _mm256_blendv_pd(b, a, m);
}
inline Mask both(Mask a, Mask b) {
    return _mm256_and_pd(a, b);
}
inline Mask andNot(Mask a, Mask b) {
    return _mm256_andnot_pd(b, a);
}
inline Mask either(Mask a, Mask b) {
    return _mm256_or_pd(a, b);
}
inline unsigned bits(Mask m) {
    return static_cast<unsigned>(_mm256_movemask_pd(m));
}
template <int lanes>
inline Row withSignOnly(Row a, Row b) {
    return _mm256_blend_pd(a, _mm256_and_pd(b, _mm256_set1_pd(-0.0)), lanes);
}
inline bool allFinite(Row a) {
    return !_mm256_movemask_pd(_mm256_cmp_pd(a - a, _mm256_setzero_pd(), _CMP_NEQ_UQ));
}
#endif

// Lane c of a in all lanes; a with lane c taken from b.
template <int c>
inline Row lane(Row a) {
    return _mm256_permute4x64_pd(a, c * 0x55);
}
template <int c>
inline Row withLane(Row a, Row b) {
    return _mm256_blend_pd(a, b, 1 << c);
}

// Which row each elimination step exchanged with its own: bits 0..2 rows 1..3 (step 0), bits 3 and
// 4 rows 2 and 3 (step 1), bit 5 row 3 (step 2). For each such set the order in which a row of the
// companion is to be read, as indices of 32-bit halves.
constexpr std::array<std::array<int, 8>, 64> lanesBySwaps() {
    std::array<std::array<int, 8>, 64> table{};
    for (std::size_t swaps = 0; swaps < 64; ++swaps) {
        const std::size_t pivot[3] = {swaps & 4   ? 3u
                                      : swaps & 2 ? 2u
                                                  : swaps & 1,
                                      swaps & 16  ? 3u
                                      : swaps & 8 ? 2u
                                                  : 1u,
                                      swaps & 32 ? 3u : 2u};
        std::size_t original[4] = {0, 1, 2, 3};
        for (std::size_t c = 0; c < 3; ++c) {
            const std::size_t moved = original[c];
            original[c] = original[pivot[c]];
            original[pivot[c]] = moved;
        }
        for (std::size_t k = 0; k < 4; ++k) {
            table[swaps][2 * original[k]] = static_cast<int>(2 * k);
            table[swaps][2 * original[k] + 1] = static_cast<int>(2 * k + 1);
        }
    }
    return table;
}
alignas(32) constexpr std::array<std::array<int, 8>, 64> kLanesBySwaps = lanesBySwaps();

// One inversion fills the processor's window of pending instructions, so that its time is the chain
// of divisions times the number of instructions: quotients are formed and spread without leaving
// their half of a register, and the first column's zeros come with the load.
struct Elimination {
    Row a[4];      // eliminated rows below, upper triangle and companion on and above the diagonal
    Row pivot[4];  // the diagonal element of each row, in all lanes
    Row u[4];      // rows divided by their pivot, with the companion's 1 on the diagonal
    unsigned swaps = 0;
};

// Takes row c as the pivot row: divides it, and subtracts f[r] times it from every row r below,
// whose lane c is 0.
template <int c>
inline void subtract(Elimination& e, const Row* f) {
    const Row top = withLane<c>(e.a[c], _mm256_set1_pd(1.0));
    for (int r = c + 1; r < 4; ++r) e.a[r] = e.a[r] - f[r] * top;
    e.u[c] = top / e.pivot[c];
}

// Makes the row that a mask marks the first and puts the first in its place.
inline void exchange(Row* x, Mask p1, Mask p2, Mask p3) {
    const Row top = select(p3, x[3], select(p2, x[2], x[1]));
    x[1] = select(p1, x[0], x[1]);
    x[2] = select(p2, x[0], x[2]);
    x[3] = select(p3, x[0], x[3]);
    x[0] = top;
}
inline void exchange(Row* x, Mask p2, Mask p3) {
    const Row top = select(p3, x[3], x[2]);
    x[2] = select(p2, x[1], x[2]);
    x[3] = select(p3, x[1], x[3]);
    x[1] = top;
}

inline void eliminateColumn0(Elimination& e, const double* m) {
    const __m256i right = _mm256_setr_epi64x(0, -1, -1, -1);
    Row c[4];
    for (int i = 0; i < 4; ++i) {
        c[i] = _mm256_broadcast_sd(m + 4 * i);
        e.a[i] = _mm256_maskload_pd(m + 4 * i, right);
    }
    const Row s0 = c[0] * c[0], s1 = c[1] * c[1], s2 = c[2] * c[2], s3 = c[3] * c[3];
    const Mask over1 = larger(s1, s0), over2 = larger(s2, s0), over3 = larger(s3, s0);
    if (bits(either(either(over1, over2), over3))) {
        const Mask g21 = larger(s2, s1), g31 = larger(s3, s1), g32 = larger(s3, s2);
        const Mask p3 = both(both(over3, g31), g32), p2 = andNot(both(over2, g21), g32);
        const Mask p1 = andNot(andNot(over1, g21), g31);
        exchange(e.a, p1, p2, p3);
        exchange(c, p1, p2, p3);
        e.swaps = (bits(p1) & 1) | (bits(p2) & 2) | (bits(p3) & 4);
    }
    e.pivot[0] = c[0];
    const Row q = _mm256_unpacklo_pd(c[1], c[2]) / c[0];
    const Row f[4] = {q, _mm256_unpacklo_pd(q, q), _mm256_unpackhi_pd(q, q), c[3] / c[0]};
    subtract<0>(e, f);
}

inline void eliminateColumn1(Elimination& e) {
    Row* const a = e.a;
    Row c[4] = {a[0], lane<1>(a[1]), lane<1>(a[2]), lane<1>(a[3])};
    const Row s1 = c[1] * c[1], s2 = c[2] * c[2], s3 = c[3] * c[3];
    const Mask over2 = larger(s2, s1), over3 = larger(s3, s1);
    if (bits(either(over2, over3))) {
        const Mask g32 = larger(s3, s2), p3 = both(over3, g32), p2 = andNot(over2, g32);
        exchange(a, p2, p3);
        exchange(c, p2, p3);
        e.swaps |= (bits(p2) & 8) | (bits(p3) & 8) << 1;
    }
    e.pivot[1] = c[1];
    const Row q = _mm256_unpacklo_pd(c[2], c[3]) / c[1];
    const Row f[4] = {q, q, _mm256_unpacklo_pd(q, q), _mm256_unpackhi_pd(q, q)};
    for (int r = 2; r < 4; ++r) a[r] = withLane<1>(a[r], _mm256_setzero_pd());
    subtract<1>(e, f);
}

inline void eliminateColumn2(Elimination& e) {
    Row *const a = e.a, c2 = lane<2>(a[2]), c3 = lane<2>(a[3]);
    if (bits(larger(c3 * c3, c2 * c2))) {
        std::swap(a[2], a[3]);
        std::swap(c2, c3);
        e.swaps |= 32;
    }
    e.pivot[2] = c2;
    const Row q = c3 / c2, f[4] = {q, q, q, q};
    a[3] = withLane<2>(a[3], _mm256_setzero_pd());
    subtract<2>(e, f);
    e.pivot[3] = lane<3>(a[3]);
    e.u[3] = withLane<3>(a[3], _mm256_set1_pd(1.0)) / e.pivot[3];
}

}  // namespace

void invert4(const double* from, double* to) {
    Elimination e;
    eliminateColumn0(e, from);
    eliminateColumn1(e);
    eliminateColumn2(e);

    // A zero pivot or a multiplier that is not finite leaves its trace in the row's own lanes.
    const Row* const u = e.u;
    if (!allFinite((u[0] + u[1]) + (u[2] + u[3]))) {
        invert4Plainly(from, to);
        return;
    }
    // Companion elements right of the diagonal are zeros, which took the pivot's sign.
    Row i0 = withSignOnly<0xe>(u[0], e.pivot[0]);
    Row i1 = withSignOnly<0xc>(u[1], e.pivot[1]);
    Row i2 = withSignOnly<0x8>(u[2], e.pivot[2]);
    const Row i3 = u[3];

    // Above the diagonal; row r needs the rows below it as they are now.
    const Row u01 = lane<1>(u[0]), u12 = lane<2>(u[1]), u23 = lane<3>(u[2]);
    const Row rest = u[0] - u01 * u[1], u02 = lane<2>(rest), u03 = lane<3>(rest - u02 * u[2]);
    const Row u13 = lane<3>(u[1] - u12 * u[2]);
    i0 = i0 - u01 * i1 - u02 * i2 - u03 * i3;
    i1 = i1 - u12 * i2 - u13 * i3;
    i2 = i2 - u23 * i3;

    const __m256i lanes =
        _mm256_load_si256(reinterpret_cast<const __m256i*>(kLanesBySwaps[e.swaps].data()));
    const Row rows[4] = {i0, i1, i2, i3};
    for (int i = 0; i < 4; ++i) {
        const __m256 row = _mm256_permutevar8x32_ps(_mm256_castpd_ps(rows[i]), lanes);
        _mm256_storeu_pd(to + 4 * i, _mm256_castps_pd(row));
    }
}

}  // namespace kelvo::geometry::KELVO_LEVEL

#endif
