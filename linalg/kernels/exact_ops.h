// Level-1 operations whose results are the same bits on every processor, in the order of the
// published loops of the solvers. Private to the kernels.
#pragma once

#include <cmath>
#include <cstddef>

#include "linalg/kernels/vector_ops.h"

namespace kelvo::kernels {

/// y += a x; a zero `a` leaves y alone, whatever x is.
inline void addMultiple(int n, double a, const double* x, double* y) {
    if (n > 0 && a != 0.0) axpy(static_cast<std::size_t>(n), a, x, y);
}

/// x *= a
inline void scaleBy(int n, double a, double* x) {
    if (n > 0) scale(static_cast<std::size_t>(n), a, x);
}

/// x(0) y(0) + x(1) y(1) + ..., from left to right.
inline double dotInOrder(int n, const double* x, const double* y) {
    double sum = 0.0;
    for (int i = 0; i < n; ++i) sum += x[i] * y[i];
    return sum;
}

/// |x(0)| + |x(1)| + ..., from left to right.
inline double absoluteSum(int n, const double* x) {
    double sum = 0.0;
    for (int i = 0; i < n; ++i) sum += std::fabs(x[i]);
    return sum;
}

/// Where the first element of largest magnitude is; n > 0. One that is not a number never wins, but
/// nothing wins over it when it is the first.
inline int indexOfLargest(int n, const double* x) {
    int at = 0;
    double most = std::fabs(x[0]);
    for (int i = 1; i < n; ++i) {
        if (std::fabs(x[i]) > most) {
            most = std::fabs(x[i]);
            at = i;
        }
    }
    return at;
}

inline void exchange(double& a, double& b) {
    const double t = a;
    a = b;
    b = t;
}

/// A product kept as mantissa * 10^exponent with 1 <= |mantissa| < 10, or 0, or not finite.
struct DecimalProduct {
    double mantissa = 1.0;
    double exponent = 0.0;

    void multiplyBy(double factor) {
        const double before = mantissa;
        mantissa *= factor;
        // Less than 10 times the largest double: with a tenth it fits.
        if (std::isinf(mantissa) && std::isfinite(factor) && std::isfinite(before)) {
            mantissa = before / 10.0 * factor;
            exponent += 1.0;
        }
        if (mantissa == 0.0 || !std::isfinite(mantissa)) return;
        for (; std::fabs(mantissa) < 1.0; exponent -= 1.0) mantissa *= 10.0;
        for (; std::fabs(mantissa) >= 10.0; exponent += 1.0) mantissa /= 10.0;
    }
};

}  // namespace kelvo::kernels
