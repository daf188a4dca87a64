// The loops behind the vectors, one set of names for all element types: those of double are the
// kernels, those of the integers stand here. n elements, element i at x[i * stride]; z is
// contiguous.
#pragma once

#include <concepts>
#include <cstddef>

#include "linalg/kernels/vector_ops.h"

namespace kelvo::linalg {

// Arithmetic that wraps around in T instead of overflowing.
template <std::signed_integral T>
struct Wrapping {
    static constexpr T narrow(unsigned value) { return static_cast<T>(value); }
    static constexpr unsigned wide(T value) { return static_cast<unsigned>(value); }

    static constexpr T add(T a, T b) { return narrow(wide(a) + wide(b)); }
    static constexpr T sub(T a, T b) { return narrow(wide(a) - wide(b)); }
    static constexpr T mul(T a, T b) { return narrow(wide(a) * wide(b)); }
    static constexpr T negate(T a) { return narrow(0u - wide(a)); }
    // The lowest value divided by -1 would trap.
    static constexpr T div(T a, T b) { return b == -1 ? negate(a) : static_cast<T>(a / b); }
};

// The same names for the code that is common to all elements.
template <class T>
struct Arithmetic {
    static constexpr T add(T a, T b) { return a + b; }
    static constexpr T sub(T a, T b) { return a - b; }
    static constexpr T mul(T a, T b) { return a * b; }
    static constexpr T negate(T a) { return -a; }
};
template <std::signed_integral T>
struct Arithmetic<T> : Wrapping<T> {};

namespace loops {

// z(i) = op(x(i)) with z of stride sz; contiguous operands have a loop that vectorises.
template <class T, class Z, class Op>
void map(unsigned n, const T* x, std::ptrdiff_t sx, Z* z, std::ptrdiff_t sz, Op op) {
    const auto end = static_cast<std::ptrdiff_t>(n);
    if (sx == 1 && sz == 1) {
        for (std::ptrdiff_t i = 0; i < end; ++i) z[i] = op(x[i]);
    } else {
        for (std::ptrdiff_t i = 0; i < end; ++i) z[i * sz] = op(x[i * sx]);
    }
}

template <class T, class Op>
void map(unsigned n, const T* x, std::ptrdiff_t sx, const T* y, std::ptrdiff_t sy, T* z,
         std::ptrdiff_t sz, Op op) {
    const auto end = static_cast<std::ptrdiff_t>(n);
    if (sx == 1 && sy == 1 && sz == 1) {
        for (std::ptrdiff_t i = 0; i < end; ++i) z[i] = op(x[i], y[i]);
    } else {
        for (std::ptrdiff_t i = 0; i < end; ++i) z[i * sz] = op(x[i * sx], y[i * sy]);
    }
}

using kernels::add;
using kernels::addScalar;
using kernels::addScalarTo;
using kernels::addTo;
using kernels::div;
using kernels::divBy;
using kernels::dot;
using kernels::mul;
using kernels::mulBy;
using kernels::mulScalar;
using kernels::negate;
using kernels::scalarMinus;
using kernels::scalarOver;
using kernels::scale;
using kernels::sub;
using kernels::subFrom;
using kernels::sum;

template <std::signed_integral T>
void add(unsigned n, const T* x, int sx, const T* y, int sy, T* z) {
    map(n, x, sx, y, sy, z, 1, Wrapping<T>::add);
}
template <std::signed_integral T>
void sub(unsigned n, const T* x, int sx, const T* y, int sy, T* z) {
    map(n, x, sx, y, sy, z, 1, Wrapping<T>::sub);
}
template <std::signed_integral T>
void mul(unsigned n, const T* x, int sx, const T* y, int sy, T* z) {
    map(n, x, sx, y, sy, z, 1, Wrapping<T>::mul);
}
template <std::signed_integral T>
void div(unsigned n, const T* x, int sx, const T* y, int sy, T* z) {
    map(n, x, sx, y, sy, z, 1, Wrapping<T>::div);
}

template <std::signed_integral T>
void addTo(unsigned n, const T* x, int sx, T* y, int sy) {
    map(n, y, sy, x, sx, y, sy, Wrapping<T>::add);
}
template <std::signed_integral T>
void subFrom(unsigned n, const T* x, int sx, T* y, int sy) {
    map(n, y, sy, x, sx, y, sy, Wrapping<T>::sub);
}
template <std::signed_integral T>
void mulBy(unsigned n, const T* x, int sx, T* y, int sy) {
    map(n, y, sy, x, sx, y, sy, Wrapping<T>::mul);
}
template <std::signed_integral T>
void divBy(unsigned n, const T* x, int sx, T* y, int sy) {
    map(n, y, sy, x, sx, y, sy, Wrapping<T>::div);
}

template <std::signed_integral T>
void addScalarTo(unsigned n, T s, T* x, int sx) {
    map(n, x, sx, x, sx, [s](T a) { return Wrapping<T>::add(a, s); });
}
template <std::signed_integral T>
void scale(unsigned n, T s, T* x, int sx) {
    map(n, x, sx, x, sx, [s](T a) { return Wrapping<T>::mul(a, s); });
}
// x /= s. For doubles a multiplication by 1/s: callers rely on its last bits.
template <std::signed_integral T>
void unscale(unsigned n, T s, T* x, int sx) {
    map(n, x, sx, x, sx, [s](T a) { return Wrapping<T>::div(a, s); });
}
inline void unscale(unsigned n, double s, double* x, int sx) {
    scale(n, 1.0 / s, x, sx);
}

template <std::signed_integral T>
void negate(unsigned n, const T* x, int sx, T* z) {
    map(n, x, sx, z, 1, Wrapping<T>::negate);
}
template <std::signed_integral T>
void addScalar(unsigned n, const T* x, int sx, T s, T* z) {
    map(n, x, sx, z, 1, [s](T a) { return Wrapping<T>::add(a, s); });
}
template <std::signed_integral T>
void mulScalar(unsigned n, const T* x, int sx, T s, T* z) {
    map(n, x, sx, z, 1, [s](T a) { return Wrapping<T>::mul(a, s); });
}
template <std::signed_integral T>
void divScalar(unsigned n, const T* x, int sx, T s, T* z) {
    map(n, x, sx, z, 1, [s](T a) { return Wrapping<T>::div(a, s); });
}
inline void divScalar(unsigned n, const double* x, int sx, double s, double* z) {
    mulScalar(n, x, sx, 1.0 / s, z);
}
template <std::signed_integral T>
void scalarMinus(unsigned n, T s, const T* x, int sx, T* z) {
    map(n, x, sx, z, 1, [s](T a) { return Wrapping<T>::sub(s, a); });
}
template <std::signed_integral T>
void scalarOver(unsigned n, T s, const T* x, int sx, T* z) {
    map(n, x, sx, z, 1, [s](T a) { return Wrapping<T>::div(s, a); });
}

template <std::signed_integral T>
T dot(unsigned n, const T* x, int sx, const T* y, int sy) {
    unsigned total = 0;
    for (std::ptrdiff_t i = 0; i < static_cast<std::ptrdiff_t>(n); ++i) {
        total += Wrapping<T>::wide(x[i * sx]) * Wrapping<T>::wide(y[i * sy]);
    }
    return Wrapping<T>::narrow(total);
}
template <std::signed_integral T>
T sum(unsigned n, const T* x, int sx) {
    unsigned total = 0;
    for (std::ptrdiff_t i = 0; i < static_cast<std::ptrdiff_t>(n); ++i) {
        total += Wrapping<T>::wide(x[i * sx]);
    }
    return Wrapping<T>::narrow(total);
}

}  // namespace loops
}  // namespace kelvo::linalg
