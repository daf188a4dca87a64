// The inner parts of the matrix products, compiled once per instruction level into the namespace
// KELVO_LEVEL. Internal linkage and no inline functions from headers, for the reason given in
// vector_levels.cpp.
#include <stddef.h>

#include "linalg/kernels/gemm_table.h"

namespace kelvo::kernels::KELVO_LEVEL {
namespace {

// A tile of C stays in registers: kRowVectors * kCols of them, which leaves a few for the operands.
#if defined(__AVX512F__)
constexpr size_t kVectorBytes = 64, kRowVectors = 3, kCols = 8;
#elif defined(__AVX__)
constexpr size_t kVectorBytes = 32, kRowVectors = 3, kCols = 4;
#else
constexpr size_t kVectorBytes = 16, kRowVectors = 2, kCols = 4;
#endif
constexpr size_t kWidth = kVectorBytes / sizeof(double);
constexpr size_t kRows = kRowVectors * kWidth;

typedef double Vector __attribute__((vector_size(kVectorBytes), aligned(8), may_alias));

inline const Vector& load(const double* p) {
    return *reinterpret_cast<const Vector*>(p);
}
inline Vector& place(double* p) {
    return *reinterpret_cast<Vector*>(p);
}

// Calls op(0), ..., op(N - 1), written out: only then do arrays of vectors stay in registers.
template <size_t N, class Op>
inline __attribute__((always_inline)) void unrolled(Op op) {
#pragma GCC unroll 8
    for (size_t i = 0; i < N; ++i) op(i);
}

template <size_t V, size_t N>
void tile(size_t rows, size_t depth, const double* a, const double* b, double* c, size_t ldc,
          bool adding) {
    Vector sums[N][V];
    unrolled<N>([&](size_t j) { unrolled<V>([&](size_t v) { sums[j][v] = Vector{}; }); });
    for (size_t p = 0; p < depth; ++p) {
        Vector terms[V];
        unrolled<V>([&](size_t v) { terms[v] = load(a + v * kWidth); });
        unrolled<N>(
            [&](size_t j) { unrolled<V>([&](size_t v) { sums[j][v] += terms[v] * b[j]; }); });
        a += V * kWidth;
        b += N;
    }
    if (rows == V * kWidth) {
        unrolled<N>([&](size_t j) {
            unrolled<V>([&](size_t v) {
                double* const target = c + j * ldc + v * kWidth;
                place(target) = adding ? load(target) + sums[j][v] : sums[j][v];
            });
        });
        return;
    }
    double part[N * V * kWidth];  // rows that do not exist go no further than this
    unrolled<N>([&](size_t j) {
        unrolled<V>([&](size_t v) { place(part + (j * V + v) * kWidth) = sums[j][v]; });
    });
    for (size_t j = 0; j < N; ++j) {
        const double* const sum = part + j * V * kWidth;
        double* const column = c + j * ldc;
        for (size_t i = 0; i < rows; ++i) column[i] = adding ? column[i] + sum[i] : sum[i];
    }
}

typedef void (*Tile)(size_t rows, size_t depth, const double* a, const double* b, double* c,
                     size_t ldc, bool adding);

// Tiles of V vectors by 1 to kCols columns.
template <size_t V>
inline Tile tileOf(size_t cols) {
    static const Tile kTiles[] = {
        tile<V, 1>,
        tile<V, 2>,
        tile<V, 3>,
        tile<V, 4>,
#if defined(__AVX512F__)
        tile<V, 5>,
        tile<V, 6>,
        tile<V, 7>,
        tile<V, 8>
#endif
    };
    return kTiles[cols - 1];
}

void anyTile(size_t rows, size_t cols, size_t depth, const double* a, const double* b, double* c,
             size_t ldc, bool adding) {
    Tile chosen = tileOf<kRowVectors>(cols);
    if (rows <= kWidth)
        chosen = tileOf<1>(cols);
    else if (rows <= 2 * kWidth)
        chosen = tileOf<2>(cols);
    chosen(rows, depth, a, b, c, ldc, adding);
}

// y += A x, four columns a turn, so that y is loaded and stored once for them.
void gemv(size_t m, size_t n, const double* a, size_t lda, const double* x, double* y) {
    size_t j = 0;
    for (; j + 4 <= n; j += 4) {
        const double* const a0 = a + j * lda;
        const double* const a1 = a0 + lda;
        const double* const a2 = a1 + lda;
        const double* const a3 = a2 + lda;
        const double x0 = x[j], x1 = x[j + 1], x2 = x[j + 2], x3 = x[j + 3];
        size_t i = 0;
        for (; i + kWidth <= m; i += kWidth)
            place(y + i) +=
                (load(a0 + i) * x0 + load(a1 + i) * x1) + (load(a2 + i) * x2 + load(a3 + i) * x3);
        for (; i < m; ++i) y[i] += (a0[i] * x0 + a1[i] * x1) + (a2[i] * x2 + a3[i] * x3);
    }
    for (; j < n; ++j) {
        const double* const column = a + j * lda;
        size_t i = 0;
        for (; i + kWidth <= m; i += kWidth) place(y + i) += load(column + i) * x[j];
        for (; i < m; ++i) y[i] += column[i] * x[j];
    }
}

inline double lanes(const Vector& v) {
    double sum = 0.0;
    for (size_t k = 0; k < kWidth; ++k) sum += v[k];
    return sum;
}

// y += A' x, N columns a turn, so that x is loaded once for them.
template <size_t N>
inline void dots(size_t m, const double* a, size_t lda, const double* x, double* y) {
    Vector sums[N] = {};
    size_t i = 0;
    for (; i + kWidth <= m; i += kWidth)
        for (size_t j = 0; j < N; ++j) sums[j] += load(a + j * lda + i) * load(x + i);
    for (size_t j = 0; j < N; ++j) {
        double sum = lanes(sums[j]);
        for (size_t r = i; r < m; ++r) sum += a[j * lda + r] * x[r];
        y[j] += sum;
    }
}

void gemvTransposed(size_t m, size_t n, const double* a, size_t lda, const double* x, double* y) {
    size_t j = 0;
    for (; j + 4 <= n; j += 4) dots<4>(m, a + j * lda, lda, x, y + j);
    for (; j < n; ++j) dots<1>(m, a + j * lda, lda, x, y + j);
}

}  // namespace

const GemmTable kGemmTable = {kWidth, kRows, kCols, anyTile, gemv, gemvTransposed};

}  // namespace kelvo::kernels::KELVO_LEVEL
