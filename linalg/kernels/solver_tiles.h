// The inner loops of the blocked solvers, for sources that are compiled once per instruction level.
// An element of the matrix is loaded, gets its products one after another in the order of the steps,
// each product and each sum rounded, and is stored: what the published loops do, whatever the size
// of the blocks. A step whose factor is zero is left out.
#pragma once

#include "linalg/kernels/level_vectors.h"

namespace kelvo::kernels::KELVO_LEVEL {
namespace {

// Columns are worked on in strips, kept apart row by row: row p of a strip is one vector, at
// strip + p * kStrip.
constexpr size_t kStrip = kWidth;
// A tile of the matrix stays in registers: kTileVectors * kStrip of them.
#if defined(__AVX512F__)
constexpr size_t kTileVectors = 2;
#elif defined(__AVX__)
constexpr size_t kTileVectors = 3;
#else
constexpr size_t kTileVectors = 4;
#endif
constexpr size_t kTileRows = kTileVectors * kWidth;

typedef long long Lanes __attribute__((vector_size(kVectorBytes)));

inline size_t least(size_t a, size_t b) {
    return a < b ? a : b;
}

inline size_t roundedUp(size_t n, size_t to) {
    return (n + to - 1) / to * to;
}

// The left factors of an update: those of step p and of row vector v stand at
// elements + v * vectorStep + p * step.
struct Left {
    const double* elements;
    size_t vectorStep;
    size_t step;
};

// Where the columns of the matrix stand: ldc apart, or as those of a packed upper triangle, of which
// each is one longer than the one before (ldc is then the length of the first).
enum class Columns { kEven, kPacked };

template <Columns kColumns>
inline double* columnAt(double* c, size_t ldc, size_t j) {
    return c + j * ldc + (kColumns == Columns::kPacked ? j * (j - 1) / 2 : 0);
}

// What stands at p is to come from memory again. A product of 512 bits takes a factor for all lanes
// from there by itself; one that waits in a register for several products costs a broadcast, and
// with those Zen 4 does three quarters of the work in the same time.
inline void reread([[maybe_unused]] const double*& p) {
#if defined(__AVX512F__)
    unknown(p);
#endif
}

// V vectors by N columns: c += the products of `depth` steps. With kCut the last vector holds only
// `last` rows. With kSkip, for one column, zeros of b are left out.
template <size_t V, size_t N, bool kCut, bool kSkip, Columns kColumns>
inline void tile(size_t last, size_t depth, Left a, const double* b, double* c, size_t ldc) {
    const Part part(last);
    const auto loadRow = [&](const double* p, size_t v, size_t step) {
        return kCut && v == V - 1 ? part.load(p + v * step) : load(p + v * step);
    };
    Vector sums[N][V];
    unrolled<N>([&](size_t j) {
        const double* const from = columnAt<kColumns>(c, ldc, j);
        unrolled<V>([&](size_t v) { sums[j][v] = loadRow(from, v, kWidth); });
        if constexpr (!kCut && !kSkip) {  // those of the next tile, and of the columns after these
            const double* const next = columnAt<kColumns>(c, ldc, kStrip + j);
            unrolled<V>([&](size_t v) {
                __builtin_prefetch(from + (V + v) * kWidth, 1);
                __builtin_prefetch(next + v * kWidth, 1);
            });
        }
    });
    for (size_t p = 0; p < depth; ++p) {
        if (!kSkip || b[p * kStrip] != 0.0) {
            const double* const factors = a.elements + p * a.step;
            Vector terms[V];
            unrolled<V>([&](size_t v) { terms[v] = loadRow(factors, v, a.vectorStep); });
            const double* row = b + p * kStrip;
            unrolled<N>([&](size_t j) {
                unrolled<V>([&](size_t v) {
                    sums[j][v] += terms[v] * row[j];
                    reread(row);
                });
            });
        }
    }
    unrolled<N>([&](size_t j) {
        unrolled<V>([&](size_t v) {
            double* const to = columnAt<kColumns>(c, ldc, j) + v * kWidth;
            if (kCut && v == V - 1)
                part.store(to, sums[j][v]);
            else
                place(to) = sums[j][v];
        });
    });
}

// One tile of `rows` rows, at most kTileRows.
template <size_t N, bool kSkip, Columns kColumns>
void anyTile(size_t rows, size_t depth, Left a, const double* b, double* c, size_t ldc) {
    const size_t whole = rows / kWidth, last = rows % kWidth;
    const auto call = [&]<size_t V>() {
        if (last == 0 && whole == V)
            return tile<V, N, false, kSkip, kColumns>(last, depth, a, b, c, ldc);
        if (last != 0 && whole == V - 1)
            return tile<V, N, true, kSkip, kColumns>(last, depth, a, b, c, ldc);
    };
    call.template operator()<1>();
    call.template operator()<2>();
    if constexpr (kTileVectors > 2) call.template operator()<3>();
    if constexpr (kTileVectors > 3) call.template operator()<4>();
}

typedef void (*Tile)(size_t rows, size_t depth, Left a, const double* b, double* c, size_t ldc);

// By the number of columns less one.
template <Columns kColumns>
const Tile kTiles[] = {
    anyTile<1, false, kColumns>, anyTile<2, false, kColumns>,
#if defined(__AVX__)
    anyTile<3, false, kColumns>, anyTile<4, false, kColumns>,
#endif
#if defined(__AVX512F__)
    anyTile<5, false, kColumns>, anyTile<6, false, kColumns>, anyTile<7, false, kColumns>,
    anyTile<8, false, kColumns>
#endif
};

// c (rows x cols, at most a tile by a strip) += the products of `depth` steps.
template <Columns kColumns = Columns::kEven>
inline void addProducts(size_t rows, size_t cols, size_t depth, Left a, const double* b,
                        bool hasZeros, double* c, size_t ldc) {
    if (!hasZeros) return kTiles<kColumns>[cols - 1](rows, depth, a, b, c, ldc);
    for (size_t j = 0; j < cols; ++j)
        anyTile<1, true, Columns::kEven>(rows, depth, a, b + j, columnAt<kColumns>(c, ldc, j), ldc);
}

// `depth` rows of `cols` columns into a strip. Columns that are missing count as ones.
inline void packStrip(const double* a, size_t lda, size_t depth, size_t cols, double* strip) {
    size_t p = 0;
    for (; cols == kStrip && p + kWidth <= depth; p += kWidth) {
        Vector square[kWidth];
        unrolled<kWidth>([&](size_t j) { square[j] = load(a + p + j * lda); });
        transposeSquare(square);
        unrolled<kWidth>([&](size_t i) { place(strip + (p + i) * kStrip) = square[i]; });
    }
    for (; p < depth; ++p)
        for (size_t j = 0; j < kStrip; ++j) strip[p * kStrip + j] = j < cols ? a[p + j * lda] : 1.0;
}

inline void unpackStrip(const double* strip, size_t depth, size_t cols, double* a, size_t lda) {
    size_t p = 0;
    for (; cols == kStrip && p + kWidth <= depth; p += kWidth) {
        Vector square[kWidth];
        unrolled<kWidth>([&](size_t i) { square[i] = load(strip + (p + i) * kStrip); });
        transposeSquare(square);
        unrolled<kWidth>([&](size_t j) { place(a + p + j * lda) = square[j]; });
    }
    for (; p < depth; ++p)
        for (size_t j = 0; j < cols; ++j) a[p + j * lda] = strip[p * kStrip + j];
}

inline double magnitude(double x) {
    return __builtin_fabs(x);
}

inline void exchange(double& x, double& y) {
    const double t = x;
    x = y;
    y = t;
}

inline bool anyLane(const Lanes& lanes) {
#if defined(__AVX512F__)
    return _mm512_test_epi64_mask(__m512i(lanes), __m512i(lanes)) != 0;
#elif defined(__AVX__)
    return !_mm256_testz_si256(__m256i(lanes), __m256i(lanes));
#else
    return (lanes[0] | lanes[1]) != 0;
#endif
}

inline Vector magnitudes(const double* p) {
    return Vector(Lanes(load(p)) & 0x7fffffffffffffff);
}

// The largest magnitude, by the comparisons of a plain search: what is not a number never wins.
inline double largestOf(size_t n, const double* x) {
    constexpr size_t kApart = 4;  // that do not wait for one another
    const auto larger = [](auto a, auto b) { return a > b ? a : b; };
    Vector most[kApart] = {};
    size_t i = 0;
    for (; i + kApart * kWidth <= n; i += kApart * kWidth)
        unrolled<kApart>(
            [&](size_t v) { most[v] = larger(magnitudes(x + i + v * kWidth), most[v]); });
    for (; i + kWidth <= n; i += kWidth) most[0] = larger(magnitudes(x + i), most[0]);
    double largest = byHalves(larger(larger(most[0], most[1]), larger(most[2], most[3])), larger);
    for (; i < n; ++i) largest = larger(magnitude(x[i]), largest);
    return largest;
}

// Where the first of them is; but what is not a number stays when it is the first. n > 0.
inline size_t indexOfLargest(size_t n, const double* x) {
    if (x[0] != x[0]) return 0;
    const double largest = largestOf(n, x);
    size_t i = 0;
    while (i + kWidth <= n && !anyLane(magnitudes(x + i) == largest)) i += kWidth;
    while (magnitude(x[i]) != largest) ++i;
    return i;
}

}  // namespace
}  // namespace kelvo::kernels::KELVO_LEVEL
