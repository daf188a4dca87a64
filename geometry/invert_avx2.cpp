// Gauss-Jordan elimination of a 4 x 4 matrix for processors with AVX2: a register holds a row.
//
// The companion matrix is stored inside the eliminated one. While every multiplier is finite, its
// columns that have not been reached hold exact zeros and one 1 in each, so that eliminating column
// c turns column c of the companion on in the very place where the matrix gets its zero. Each lane
// goes through the operations of invert4Plainly in the same order; what is not finite goes to that
// function, since 0 * infinity would spoil the zeros which are not stored.
//
// One inversion is a long chain of divisions, and the processor overlaps as many as its vector
// registers hold. So what counts is the number of vector instructions: pivots are searched with
// scalar comparisons, rows change places by name, and the unused lanes of quotients supply zeros.
#include <immintrin.h>

#include <array>
#include <cstddef>
#include <utility>

#include "geometry/invert.h"

namespace kelvo::geometry {
namespace {

typedef __m256d Row;
typedef __m128d Low;  // its lower two lanes

// Lane c of a in all lanes; a with lane c taken from b.
template <int c>
inline Row lane(Row a) {
    return _mm256_permute4x64_pd(a, c * 0x55);
}
template <int c>
inline Row withLane(Row a, Row b) {
    return _mm256_blend_pd(a, b, 1 << c);
}
inline Low low(Row a) {
    return _mm256_castpd256_pd128(a);
}
inline Row spread(Low a) {
    return _mm256_broadcastsd_pd(a);
}
inline Row zero() {
    return _mm256_setzero_pd();
}
inline Row one() {
    return _mm256_set1_pd(1.0);
}

// In halves: a row that was just written in such pieces would be waited for as a whole.
inline Row load(const double* row) {
    return _mm256_insertf128_pd(_mm256_castpd128_pd256(_mm_loadu_pd(row)), _mm_loadu_pd(row + 2),
                                1);
}

// Quotients in the lower lanes; the upper ones hold zeros with the divisor's sign, which is what
// dividing a pivot row makes of the companion's zeros.
inline Row quotients(Low numerators, Row divisor) {
    return _mm256_zextpd128_pd256(numerators) / divisor;
}

inline bool larger(Low a, Low b) {
    return a[0] * a[0] > b[0] * b[0];
}

// The row of each pivot: bits 0 and 1 for column 0, bits 2 and 3 for column 1, bit 4 whether rows 2
// and 3 change places. For each such set the order in which a row of the companion is to be read,
// as indices of 32-bit halves.
constexpr std::array<std::array<int, 8>, 32> lanesByPivots() {
    std::array<std::array<int, 8>, 32> table{};
    for (std::size_t pivots = 0; pivots < 32; ++pivots) {
        const std::size_t pivot[3] = {pivots & 3, pivots >> 2 & 3, 2 + (pivots >> 4)};
        std::size_t original[4] = {0, 1, 2, 3};
        for (std::size_t c = 0; c < 3; ++c) {
            const std::size_t moved = original[c];
            original[c] = original[pivot[c]];
            original[pivot[c]] = moved;
        }
        for (std::size_t k = 0; k < 4; ++k) {
            table[pivots][2 * original[k]] = static_cast<int>(2 * k);
            table[pivots][2 * original[k] + 1] = static_cast<int>(2 * k + 1);
        }
    }
    return table;
}
alignas(32) constexpr std::array<std::array<int, 8>, 32> kLanesByPivots = lanesByPivots();

struct Elimination {
    Row a1, a2, a3;      // rows not yet divided: the matrix, and left of it the companion
    Row u0, u1, u2, u3;  // rows divided by their pivot, with the companion's 1 on the diagonal
    Row i0, i1, i2;      // their companion elements; zeros right of the diagonal
    unsigned pivots;
};

// Rows are still in memory, where exchanging them is exchanging pointers.
inline void eliminateColumn0(Elimination& e, const double* m) {
    const double *r0 = m, *r1 = m + 4, *r2 = m + 8, *r3 = m + 12;
    const double s1 = *r1 * *r1, s2 = *r2 * *r2, s3 = *r3 * *r3;
    double best = *r0 * *r0;
    e.pivots = 0;
    if (s1 > best) best = s1, e.pivots = 1;
    if (s2 > best) best = s2, e.pivots = 2;
    if (s3 > best) e.pivots = 3;
    if (e.pivots == 1) std::swap(r0, r1);
    if (e.pivots == 2) std::swap(r0, r2);
    if (e.pivots == 3) std::swap(r0, r3);

    const Row pivot = _mm256_broadcast_sd(r0), top = withLane<0>(load(r0), one());
    const Row f12 = quotients(_mm_loadh_pd(_mm_load_sd(r1), r2), pivot);
    const Row f3 = quotients(_mm_load_sd(r3), pivot);
    e.a1 = withLane<0>(load(r1), zero()) - spread(low(f12)) * top;
    e.a2 = withLane<0>(load(r2), zero()) - lane<1>(f12) * top;
    e.a3 = withLane<0>(load(r3), zero()) - spread(low(f3)) * top;
    e.u0 = top / pivot;
    e.i0 = _mm256_blend_pd(e.u0, f3, 0xe);
}

inline void eliminateColumn1(Elimination& e) {
    const auto column = [](Row a) { return _mm_unpackhi_pd(low(a), low(a)); };
    Low c1 = column(e.a1), c2 = column(e.a2), c3 = column(e.a3);
    const bool second = larger(c2, c1);
    if (larger(c3, second ? c2 : c1)) {
        std::swap(e.a1, e.a3);
        std::swap(c1, c3);
        e.pivots |= 3 << 2;
    } else if (second) {
        std::swap(e.a1, e.a2);
        std::swap(c1, c2);
        e.pivots |= 2 << 2;
    } else {
        e.pivots |= 1 << 2;
    }
    const Row pivot = spread(c1), top = withLane<1>(e.a1, one());
    const Row f = quotients(_mm_unpacklo_pd(c2, c3), pivot);
    e.a2 = withLane<1>(e.a2, zero()) - spread(low(f)) * top;
    e.a3 = withLane<1>(e.a3, zero()) - lane<1>(f) * top;
    e.u1 = top / pivot;
    e.i1 = _mm256_blend_pd(e.u1, f, 0xc);
}

inline void eliminateColumn2(Elimination& e) {
    Row c2 = lane<2>(e.a2), c3 = lane<2>(e.a3);
    if (larger(low(c3), low(c2))) {
        std::swap(e.a2, e.a3);
        std::swap(c2, c3);
        e.pivots |= 1 << 4;
    }
    const Row top = withLane<2>(e.a2, one());
    e.a3 = withLane<2>(e.a3, zero()) - (c3 / c2) * top;
    e.u2 = top / c2;
    e.i2 = withLane<3>(e.u2, _mm256_and_pd(c2, _mm256_set1_pd(-0.0)));
    e.u3 = withLane<3>(e.a3, one()) / lane<3>(e.a3);
}

// Above the diagonal. Row r needs the rows below it as they are now, so the upper ones go first.
inline void substitute(Elimination& e) {
    const Row u01 = lane<1>(e.u0), u12 = lane<2>(e.u1), u23 = lane<3>(e.u2);
    const Row rest = e.u0 - u01 * e.u1, u02 = lane<2>(rest), u03 = lane<3>(rest - u02 * e.u2);
    const Row u13 = lane<3>(e.u1 - u12 * e.u2);
    e.i0 = e.i0 - u01 * e.i1 - u02 * e.i2 - u03 * e.u3;
    e.i1 = e.i1 - u12 * e.i2 - u13 * e.u3;
    e.i2 = e.i2 - u23 * e.u3;
}

}  // namespace

void invert4Avx2(const double* from, double* to) {
    Elimination e;
    eliminateColumn0(e, from);
    eliminateColumn1(e);
    eliminateColumn2(e);
    substitute(e);

    // A multiplier that is not finite, as a zero pivot makes them, leaves its trace in row 0, and
    // that of row 1 with row 3 in row 1.
    const Row trace = e.i0 + e.i1;
    if (_mm256_movemask_pd(_mm256_cmp_pd(trace - trace, zero(), _CMP_NEQ_UQ))) {
        invert4Plainly(from, to);
        return;
    }
    const __m256i lanes =
        _mm256_load_si256(reinterpret_cast<const __m256i*>(kLanesByPivots[e.pivots].data()));
    const Row rows[4] = {e.i0, e.i1, e.i2, e.u3};
    for (int i = 0; i < 4; ++i) {
        const __m256 row = _mm256_permutevar8x32_ps(_mm256_castpd_ps(rows[i]), lanes);
        _mm256_storeu_pd(to + 4 * i, _mm256_castps_pd(row));
    }
}

}  // namespace kelvo::geometry
