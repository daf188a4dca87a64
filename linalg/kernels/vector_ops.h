// Level-1 kernels on vectors of double: n elements, element i at x[i * stride].
//   1. A stride may be negative or 0; the pointer always names element 0. Forms without strides
//   take
//      contiguous vectors.
//   2. n == 0 does nothing (sums and norms are 0) and the pointers may be null.
//   3. Elementwise results are the same bits on every processor. Sums (dot, sum, nrm2) add in
//   several
//      partial sums, so their last bits depend on the instruction level.
//   4. A result may overlap an operand in any way: elements are then computed one after another in
//      ascending order, a later one from what the earlier ones wrote. Only rot and swap need two
//      vectors apart.
// Long contiguous vectors go to code compiled for the processor at hand; short and strided ones are
// done on the spot, without a call.
#pragma once

#include <cfloat>
#include <cmath>
#include <cstddef>

#include "linalg/kernels/vector_table.h"

namespace kelvo::kernels {

/// The kernels of the level in use (instruction_level.h); do not set it by hand.
extern const VectorTable* activeTable;

// Below this length the call through the table costs more than it gains.
constexpr std::size_t kShortLength = 8;

/// Euclidean norm in four phases (zeros, small elements scaled, middle ones plain, large ones
/// scaled), right wherever it is a double: DNRM2 (Lawson, Hanson, Kincaid, Krogh: Basic linear
/// algebra subprograms, 1979). Infinite with an infinite element, not a number with one of those.
double nrm2Scaled(std::size_t n, const double* x, std::ptrdiff_t stride);

namespace detail {

template <class Op>
inline void each(std::size_t n, Op op) {
    for (std::ptrdiff_t i = 0; i < static_cast<std::ptrdiff_t>(n); ++i) op(i);
}

template <class Term>
inline double total(std::size_t n, Term term) {
    double sum = 0.0;
    each(n, [&](std::ptrdiff_t i) { sum += term(i); });
    return sum;
}

inline bool useTable(std::size_t n, std::ptrdiff_t s, std::ptrdiff_t t = 1) {
    return n >= kShortLength && s == 1 && t == 1;
}

// Within these bounds a plain sum of squares has lost nothing to overflow or underflow.
inline bool isSafeSumOfSquares(double sum) {
    return sum >= DBL_MIN / DBL_EPSILON && sum <= DBL_MAX;
}

}  // namespace detail

// Sums

/// x(0) y(0) + x(1) y(1) + ...
inline double dot(std::size_t n, const double* x, std::ptrdiff_t sx, const double* y,
                  std::ptrdiff_t sy) {
    if (detail::useTable(n, sx, sy)) return activeTable->dot(n, x, y);
    return detail::total(n, [=](std::ptrdiff_t i) { return x[i * sx] * y[i * sy]; });
}
inline double dot(std::size_t n, const double* x, const double* y) {
    return dot(n, x, 1, y, 1);
}

/// x(0) + x(1) + ...
inline double sum(std::size_t n, const double* x, std::ptrdiff_t sx = 1) {
    if (detail::useTable(n, sx)) return activeTable->sum(n, x);
    return detail::total(n, [=](std::ptrdiff_t i) { return x[i * sx]; });
}

/// Plain sum of squares: may overflow or underflow.
inline double sumSquares(std::size_t n, const double* x, std::ptrdiff_t sx = 1) {
    if (detail::useTable(n, sx)) return activeTable->sumSquares(n, x);
    return detail::total(n, [=](std::ptrdiff_t i) { return x[i * sx] * x[i * sx]; });
}

/// Euclidean norm, as nrm2Scaled, by the plain sum of squares where that is safe.
inline double nrm2(std::size_t n, const double* x, std::ptrdiff_t sx = 1) {
    const double squares = sumSquares(n, x, sx);
    return detail::isSafeSumOfSquares(squares) ? std::sqrt(squares) : nrm2Scaled(n, x, sx);
}

// Updates in place

/// y += a x
inline void axpy(std::size_t n, double a, const double* x, std::ptrdiff_t sx, double* y,
                 std::ptrdiff_t sy) {
    if (detail::useTable(n, sx, sy)) return activeTable->axpy(n, a, x, y);
    detail::each(n, [=](std::ptrdiff_t i) { y[i * sy] += a * x[i * sx]; });
}
inline void axpy(std::size_t n, double a, const double* x, double* y) {
    axpy(n, a, x, 1, y, 1);
}

/// x *= a
inline void scale(std::size_t n, double a, double* x, std::ptrdiff_t sx = 1) {
    if (detail::useTable(n, sx)) return activeTable->mulScalar(n, x, a, x);
    detail::each(n, [=](std::ptrdiff_t i) { x[i * sx] *= a; });
}

/// Plane rotation: (x, y) becomes (c x + s y, c y - s x), elementwise. x and y lie apart.
inline void rot(std::size_t n, double* x, double* y, double c, double s) {
    if (n >= kShortLength) return activeTable->rot(n, x, y, c, s);
    detail::each(n, [=](std::ptrdiff_t i) {
        const double t = c * x[i] + s * y[i];
        y[i] = c * y[i] - s * x[i];
        x[i] = t;
    });
}

/// Exchanges x and y, which lie apart.
inline void swap(std::size_t n, double* x, double* y) {
    detail::each(n, [=](std::ptrdiff_t i) {
        const double t = x[i];
        x[i] = y[i];
        y[i] = t;
    });
}

/// x += a
inline void addScalarTo(std::size_t n, double a, double* x, std::ptrdiff_t sx = 1) {
    if (detail::useTable(n, sx)) return activeTable->addScalar(n, x, a, x);
    detail::each(n, [=](std::ptrdiff_t i) { x[i * sx] += a; });
}

/// y += x
inline void addTo(std::size_t n, const double* x, std::ptrdiff_t sx, double* y, std::ptrdiff_t sy) {
    if (detail::useTable(n, sx, sy)) return activeTable->add(n, y, x, y);
    detail::each(n, [=](std::ptrdiff_t i) { y[i * sy] += x[i * sx]; });
}

/// y -= x
inline void subFrom(std::size_t n, const double* x, std::ptrdiff_t sx, double* y,
                    std::ptrdiff_t sy) {
    if (detail::useTable(n, sx, sy)) return activeTable->sub(n, y, x, y);
    detail::each(n, [=](std::ptrdiff_t i) { y[i * sy] -= x[i * sx]; });
}

/// y *= x
inline void mulBy(std::size_t n, const double* x, std::ptrdiff_t sx, double* y, std::ptrdiff_t sy) {
    if (detail::useTable(n, sx, sy)) return activeTable->mul(n, y, x, y);
    detail::each(n, [=](std::ptrdiff_t i) { y[i * sy] *= x[i * sx]; });
}

/// y /= x
inline void divBy(std::size_t n, const double* x, std::ptrdiff_t sx, double* y, std::ptrdiff_t sy) {
    if (detail::useTable(n, sx, sy)) return activeTable->div(n, y, x, y);
    detail::each(n, [=](std::ptrdiff_t i) { y[i * sy] /= x[i * sx]; });
}

// Results in a contiguous z

/// z = x + y
inline void add(std::size_t n, const double* x, std::ptrdiff_t sx, const double* y,
                std::ptrdiff_t sy, double* z) {
    if (detail::useTable(n, sx, sy)) return activeTable->add(n, x, y, z);
    detail::each(n, [=](std::ptrdiff_t i) { z[i] = x[i * sx] + y[i * sy]; });
}

/// z = x - y
inline void sub(std::size_t n, const double* x, std::ptrdiff_t sx, const double* y,
                std::ptrdiff_t sy, double* z) {
    if (detail::useTable(n, sx, sy)) return activeTable->sub(n, x, y, z);
    detail::each(n, [=](std::ptrdiff_t i) { z[i] = x[i * sx] - y[i * sy]; });
}

/// z = x * y, elementwise
inline void mul(std::size_t n, const double* x, std::ptrdiff_t sx, const double* y,
                std::ptrdiff_t sy, double* z) {
    if (detail::useTable(n, sx, sy)) return activeTable->mul(n, x, y, z);
    detail::each(n, [=](std::ptrdiff_t i) { z[i] = x[i * sx] * y[i * sy]; });
}

/// z = x / y, elementwise
inline void div(std::size_t n, const double* x, std::ptrdiff_t sx, const double* y,
                std::ptrdiff_t sy, double* z) {
    if (detail::useTable(n, sx, sy)) return activeTable->div(n, x, y, z);
    detail::each(n, [=](std::ptrdiff_t i) { z[i] = x[i * sx] / y[i * sy]; });
}

/// z = -x
inline void negate(std::size_t n, const double* x, std::ptrdiff_t sx, double* z) {
    if (detail::useTable(n, sx)) return activeTable->negate(n, x, z);
    detail::each(n, [=](std::ptrdiff_t i) { z[i] = -x[i * sx]; });
}

/// z = x + a
inline void addScalar(std::size_t n, const double* x, std::ptrdiff_t sx, double a, double* z) {
    if (detail::useTable(n, sx)) return activeTable->addScalar(n, x, a, z);
    detail::each(n, [=](std::ptrdiff_t i) { z[i] = x[i * sx] + a; });
}

/// z = x * a
inline void mulScalar(std::size_t n, const double* x, std::ptrdiff_t sx, double a, double* z) {
    if (detail::useTable(n, sx)) return activeTable->mulScalar(n, x, a, z);
    detail::each(n, [=](std::ptrdiff_t i) { z[i] = x[i * sx] * a; });
}

/// z = a - x
inline void scalarMinus(std::size_t n, double a, const double* x, std::ptrdiff_t sx, double* z) {
    if (detail::useTable(n, sx)) return activeTable->scalarMinus(n, a, x, z);
    detail::each(n, [=](std::ptrdiff_t i) { z[i] = a - x[i * sx]; });
}

/// z = a / x
inline void scalarOver(std::size_t n, double a, const double* x, std::ptrdiff_t sx, double* z) {
    if (detail::useTable(n, sx)) return activeTable->scalarOver(n, a, x, z);
    detail::each(n, [=](std::ptrdiff_t i) { z[i] = a / x[i * sx]; });
}

}  // namespace kelvo::kernels
