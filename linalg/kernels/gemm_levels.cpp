// The inner parts of the matrix products, compiled once per instruction level into the namespace
// KELVO_LEVEL. Internal linkage and no inline functions from headers, for the reason given in
// vector_levels.cpp.
#include <stddef.h>

#include "linalg/kernels/gemm_table.h"
#include "linalg/kernels/level_vectors.h"

namespace kelvo::kernels::KELVO_LEVEL {
namespace {

// A tile of C stays in registers: kRowVectors * kCols of them, which leaves a few for the operands.
#if defined(__AVX512F__)
constexpr size_t kRowVectors = 3, kCols = 8;
#elif defined(__AVX__)
constexpr size_t kRowVectors = 3, kCols = 4;
#else
constexpr size_t kRowVectors = 2, kCols = 4;
#endif
constexpr size_t kRows = kRowVectors * kWidth;

// V vectors by N columns. With kCut the last vector holds only `last` rows.
template <size_t V, size_t N, bool kCut>
void tile(size_t last, size_t depth, const double* a, size_t aTerm, const double* b, size_t bTerm,
          size_t bCol, double* c, size_t ldc, bool adding) {
    const Part part(last);
    const auto loadRow = [&](const double* p, size_t v) {
        return kCut && v == V - 1 ? part.load(p + v * kWidth) : load(p + v * kWidth);
    };
    Vector sums[N][V];
    unrolled<N>([&](size_t j) { unrolled<V>([&](size_t v) { sums[j][v] = Vector{}; }); });
    for (size_t p = 0; p < depth; ++p) {
        Vector terms[V];
        unrolled<V>([&](size_t v) { terms[v] = loadRow(a, v); });
        unrolled<N>([&](size_t j) {
            const double factor = b[j * bCol];
            unrolled<V>([&](size_t v) { sums[j][v] += terms[v] * factor; });
        });
        a += aTerm;
        b += bTerm;
    }
    unrolled<N>([&](size_t j) {
        unrolled<V>([&](size_t v) {
            double* const column = c + j * ldc;
            const Vector sum = adding ? loadRow(column, v) + sums[j][v] : sums[j][v];
            if (kCut && v == V - 1)
                part.store(column + v * kWidth, sum);
            else
                place(column + v * kWidth) = sum;
        });
    });
}

typedef void (*Tile)(size_t last, size_t depth, const double* a, size_t aTerm, const double* b,
                     size_t bTerm, size_t bCol, double* c, size_t ldc, bool adding);

// By the number of columns less one.
template <size_t V, bool kCut>
const Tile kTiles[] = {tile<V, 1, kCut>, tile<V, 2, kCut>, tile<V, 3, kCut>,
                       tile<V, 4, kCut>,
#if defined(__AVX512F__)
                       tile<V, 5, kCut>, tile<V, 6, kCut>, tile<V, 7, kCut>,
                       tile<V, 8, kCut>
#endif
};

// By the number of vectors less one.
const Tile* const kWholeTiles[] = {kTiles<1, false>, kTiles<2, false>, kTiles<kRowVectors, false>};
const Tile* const kCutTiles[] = {kTiles<1, true>, kTiles<2, true>, kTiles<kRowVectors, true>};

void anyTile(size_t rows, size_t cols, size_t depth, const double* a, size_t aTerm, const double* b,
             size_t bTerm, size_t bCol, double* c, size_t ldc, bool adding) {
    const size_t vectors = (rows + kWidth - 1) / kWidth;
    const size_t last = rows - (vectors - 1) * kWidth;
    const Tile* const tiles = (last == kWidth ? kWholeTiles : kCutTiles)[vectors - 1];
    tiles[cols - 1](last, depth, a, aTerm, b, bTerm, bCol, c, ldc, adding);
}

// y += the sum of N columns times x(0), ..., x(N - 1), over the rows that fill vectors: y is loaded
// and stored once for all of them.
template <size_t N>
inline void addColumns(size_t rows, const double* a, size_t lda, const double* x, double* y) {
    for (size_t i = 0; i < rows; i += kWidth) {
        Vector sums[2] = {load(y + i), Vector{}};
        unrolled<N>([&](size_t j) { sums[j % 2] += load(a + j * lda + i) * x[j]; });
        place(y + i) = sums[0] + sums[1];
    }
}

// The same for fewer than kWidth rows and all n columns, in one go: a part that has just been stored
// would be slow to load again.
inline void addParts(size_t rows, size_t n, const double* a, size_t lda, const double* x,
                     double* y) {
    const Part part(rows);
    Vector sums[4] = {part.load(y), Vector{}, Vector{}, Vector{}};
    size_t j = 0;
    for (; j + 4 <= n; j += 4)
        unrolled<4>([&](size_t k) { sums[k] += part.load(a + (j + k) * lda) * x[j + k]; });
    for (; j < n; ++j) sums[0] += part.load(a + j * lda) * x[j];
    part.store(y, (sums[0] + sums[1]) + (sums[2] + sums[3]));
}

void gemv(size_t m, size_t n, const double* a, size_t lda, const double* x, double* y) {
    const size_t rows = m - m % kWidth;
    size_t j = 0;
    for (; j + 4 <= n; j += 4) addColumns<4>(rows, a + j * lda, lda, x + j, y);
    for (; j < n; ++j) addColumns<1>(rows, a + j * lda, lda, x + j, y);
    if (rows < m) addParts(m - rows, n, a + rows, lda, x, y + rows);
}

// y(0), ..., y(N - 1) += the products of N columns with x, which is loaded once for them.
template <size_t N>
inline void dots(size_t m, const double* a, size_t lda, const double* x, double* y) {
    Vector sums[N];
    unrolled<N>([&](size_t j) { sums[j] = Vector{}; });
    size_t i = 0;
    for (; i + kWidth <= m; i += kWidth) {
        const Vector xi = load(x + i);
        unrolled<N>([&](size_t j) { sums[j] += load(a + j * lda + i) * xi; });
    }
    if (i < m) {
        const Part part(m - i);
        const Vector xi = part.load(x + i);
        unrolled<N>([&](size_t j) { sums[j] += part.load(a + j * lda + i) * xi; });
    }
    unrolled<N>([&](size_t j) { y[j] += lanes(sums[j]); });
}

void gemvTransposed(size_t m, size_t n, const double* a, size_t lda, const double* x, double* y) {
    size_t j = 0;
    for (; j + 8 <= n; j += 8) dots<8>(m, a + j * lda, lda, x, y + j);
    if (j + 4 <= n) {
        dots<4>(m, a + j * lda, lda, x, y + j);
        j += 4;
    }
    for (; j < n; ++j) dots<1>(m, a + j * lda, lda, x, y + j);
}

// Squares of kSide by kSide, turned in registers.
#if defined(__AVX__)
constexpr size_t kSide = 4;
typedef double Quad __attribute__((vector_size(32), aligned(8), may_alias));

inline void turn(const double* a, size_t lda, double* b, size_t ldb) {
    const auto column = [&](size_t j) { return *reinterpret_cast<const Quad*>(a + j * lda); };
    const auto row = [&](size_t i, const Quad& v) { *reinterpret_cast<Quad*>(b + i * ldb) = v; };
    const Quad c0 = column(0), c1 = column(1), c2 = column(2), c3 = column(3);
    const Quad even01 = __builtin_shufflevector(c0, c1, 0, 4, 2, 6);
    const Quad odd01 = __builtin_shufflevector(c0, c1, 1, 5, 3, 7);
    const Quad even23 = __builtin_shufflevector(c2, c3, 0, 4, 2, 6);
    const Quad odd23 = __builtin_shufflevector(c2, c3, 1, 5, 3, 7);
    row(0, __builtin_shufflevector(even01, even23, 0, 1, 4, 5));
    row(1, __builtin_shufflevector(odd01, odd23, 0, 1, 4, 5));
    row(2, __builtin_shufflevector(even01, even23, 2, 3, 6, 7));
    row(3, __builtin_shufflevector(odd01, odd23, 2, 3, 6, 7));
}
#else
constexpr size_t kSide = 2;

inline void turn(const double* a, size_t lda, double* b, size_t ldb) {
    const Vector c0 = load(a), c1 = load(a + lda);
    place(b) = Vector{c0[0], c1[0]};
    place(b + ldb) = Vector{c0[1], c1[1]};
}
#endif

void transpose(size_t m, size_t n, const double* a, size_t lda, double* b, size_t ldb) {
    // Bands of rows, so that few pages of the result are written at a time, and in them strips one
    // cache line across, so that each line of it is written whole.
    constexpr size_t kBand = 64, kAcross = 64 / sizeof(double);
    const size_t rows = m - m % kSide, cols = n - n % kSide;
    for (size_t i0 = 0; i0 < rows; i0 += kBand) {
        const size_t i1 = i0 + kBand < rows ? i0 + kBand : rows;
        for (size_t j0 = 0; j0 < cols; j0 += kAcross) {
            const size_t j1 = j0 + kAcross < cols ? j0 + kAcross : cols;
            for (size_t i = i0; i < i1; i += kSide)
                for (size_t j = j0; j < j1; j += kSide)
                    turn(a + i + j * lda, lda, b + j + i * ldb, ldb);
        }
    }
    for (size_t j = 0; j < n; ++j)
        for (size_t i = j < cols ? rows : 0; i < m; ++i) b[j + i * ldb] = a[i + j * lda];
}

}  // namespace

const GemmTable kGemmTable = {kRows, kCols, anyTile, gemv, gemvTransposed, transpose};

}  // namespace kelvo::kernels::KELVO_LEVEL
