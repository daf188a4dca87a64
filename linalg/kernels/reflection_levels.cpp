// Reflections of several columns at a time and rotations of several sweeps at a time, compiled once
// per instruction level. Internal linkage and no inline functions from headers, for the reason given
// in vector_levels.cpp.
#include "linalg/kernels/reflection_table.h"

#include "linalg/kernels/level_vectors.h"

namespace kelvo::kernels::KELVO_LEVEL {
namespace {

// N columns at once: v is loaded once for all of them.
template <size_t N>
inline void reflectColumns(size_t n, const double* v, double* c, size_t ldc) {
    const size_t whole = n - n % kWidth;
    const Part part(n % kWidth);
    Vector sums[N], factors[N];
    unrolled<N>([&](size_t j) { sums[j] = Vector{}; });
    for (size_t i = 0; i < whole; i += kWidth) {
        const Vector vi = load(v + i);
        unrolled<N>([&](size_t j) { sums[j] += load(c + j * ldc + i) * vi; });
    }
    if (whole < n) {
        const Vector vi = part.load(v + whole);
        unrolled<N>([&](size_t j) { sums[j] += part.load(c + j * ldc + whole) * vi; });
    }
    unrolled<N>([&](size_t j) { factors[j] = Vector{} - lanes(sums[j]) / v[0]; });
    for (size_t i = 0; i < whole; i += kWidth) {
        const Vector vi = load(v + i);
        unrolled<N>(
            [&](size_t j) { place(c + j * ldc + i) = load(c + j * ldc + i) + factors[j] * vi; });
    }
    if (whole < n) {
        const Vector vi = part.load(v + whole);
        unrolled<N>([&](size_t j) {
            double* const to = c + j * ldc + whole;
            part.store(to, part.load(to) + factors[j] * vi);
        });
    }
}

void reflect(size_t n, const double* v, size_t cols, double* c, size_t ldc) {
    size_t j = 0;
    for (; j + 4 <= cols; j += 4) reflectColumns<4>(n, v, c + j * ldc, ldc);
    if (j + 2 <= cols) {
        reflectColumns<2>(n, v, c + j * ldc, ldc);
        j += 2;
    }
    if (j < cols) reflectColumns<1>(n, v, c + j * ldc, ldc);
}

template <size_t N>
inline void addOuterColumns(size_t m, const double* x, const double* y, double* a, size_t lda) {
    size_t i = 0;
    for (; i + kWidth <= m; i += kWidth) {
        const Vector xi = load(x + i);
        unrolled<N>([&](size_t j) { place(a + j * lda + i) = load(a + j * lda + i) + xi * y[j]; });
    }
    if (i < m) {
        const Part part(m - i);
        const Vector xi = part.load(x + i);
        unrolled<N>([&](size_t j) {
            double* const to = a + j * lda + i;
            part.store(to, part.load(to) + xi * y[j]);
        });
    }
}

void addOuter(size_t m, size_t n, const double* x, const double* y, double* a, size_t lda) {
    size_t j = 0;
    for (; j + 4 <= n; j += 4) addOuterColumns<4>(m, x, y + j, a + j * lda, lda);
    for (; j < n; ++j) addOuterColumns<1>(m, x, y + j, a + j * lda, lda);
}

// Sweeps, and vectors of rows, that are turned at a time: the columns that they hold stay in registers.
#if defined(__AVX512F__)
constexpr size_t kSweeps = 4;
#else
constexpr size_t kSweeps = 2;
#endif
constexpr size_t kRowVectors = 4;

// The columns pass through the sweeps one behind the other: a sweep holds one column, turns the one
// that comes in with it and hands the finished one on. (0, 0) only hands on. A rotation is three
// shears, three fused operations instead of four.
template <size_t S, size_t R>
inline __attribute__((always_inline)) void turn(const double* turns, Vector (*held)[R], Vector* x) {
    unrolled<S>([&](size_t s) {
        const double shear = turns[2 * s], sine = turns[2 * s + 1];
        unrolled<R>([&](size_t r) {
            const Vector half = held[s][r] + x[r] * shear;
            held[s][r] = x[r] - half * sine;
            x[r] = half + held[s][r] * shear;
        });
    });
}

// R vectors of rows. With kCut they are one, and hold only `last` rows.
template <size_t S, size_t R, bool kCut>
void rotateRows(size_t last, size_t cols, const double* turns, double* a, size_t lda) {
    const Part part(last);
    const auto get = [&](Vector* x, size_t j) {
        unrolled<R>([&](size_t r) {
            const double* const from = a + j * lda + r * kWidth;
            x[r] = kCut ? part.load(from) : load(from);
        });
    };
    const auto put = [&](const Vector* x, size_t j) {
        unrolled<R>([&](size_t r) {
            double* const to = a + j * lda + r * kWidth;
            if (kCut)
                part.store(to, x[r]);
            else
                place(to) = x[r];
        });
    };
    constexpr size_t kStep = 2 * kMostSweeps;
    Vector held[S][R], x[R];
    unrolled<S>([&](size_t s) { unrolled<R>([&](size_t r) { held[s][r] = Vector{}; }); });
    size_t j = 0;
    for (; j < cols && j < S; ++j, turns += kStep) {
        get(x, j);
        turn<S, R>(turns, held, x);
    }
    for (; j < cols; ++j, turns += kStep) {
        get(x, j);
        turn<S, R>(turns, held, x);
        put(x, j - S);
    }
    for (; j < cols + S; ++j, turns += kStep) {
        unrolled<R>([&](size_t r) { x[r] = Vector{}; });
        turn<S, R>(turns, held, x);
        if (j >= S) put(x, j - S);
    }
}

template <size_t S>
void rotateSweeps(size_t rows, size_t cols, const double* turns, double* a, size_t lda) {
    size_t i = 0;
    for (; i + kRowVectors * kWidth <= rows; i += kRowVectors * kWidth)
        rotateRows<S, kRowVectors, false>(kWidth, cols, turns, a + i, lda);
    for (; i + kWidth <= rows; i += kWidth)
        rotateRows<S, 1, false>(kWidth, cols, turns, a + i, lda);
    if (i < rows) rotateRows<S, 1, true>(rows - i, cols, turns, a + i, lda);
}

typedef void (*Rotate)(size_t rows, size_t cols, const double* turns, double* a, size_t lda);

// By the number of sweeps less one.
const Rotate kRotations[] = {rotateSweeps<1>, rotateSweeps<2>,
#if defined(__AVX512F__)
                             rotateSweeps<3>, rotateSweeps<4>
#endif
};

void rotate(size_t rows, size_t cols, size_t sweeps, const double* turns, double* a, size_t lda) {
    // The first turn of a later sweep stands as many columns further.
    for (; sweeps > kSweeps; sweeps -= kSweeps, turns += 2 * kSweeps * (kMostSweeps + 1))
        rotateSweeps<kSweeps>(rows, cols, turns, a, lda);
    kRotations[sweeps - 1](rows, cols, turns, a, lda);
}

}  // namespace

const ReflectionTable kReflectionTable = {reflect, addOuter, rotate};

}  // namespace kelvo::kernels::KELVO_LEVEL
