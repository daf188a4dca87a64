// The published level-1 loops, from left to right, one operation at a time: what the solvers'
// results are compared with. Indices count from 1, as published.
#pragma once

#include <cmath>

namespace kelvo::reference {

// Column-major matrix with indices from 1.
struct Mat {
    double* a;
    int lda;
    double& operator()(int i, int j) const { return a[(i - 1) + (j - 1) * lda]; }
    double* at(int i, int j) const { return a + (i - 1) + (j - 1) * lda; }
};

// Vector with indices from 1.
template <class T>
struct Vec {
    T* x;
    T& operator()(int i) const { return x[i - 1]; }
    T* at(int i) const { return x + (i - 1); }
};

inline void daxpy(int n, double a, const double* x, double* y) {
    if (a == 0.0) return;
    for (int i = 0; i < n; ++i) y[i] = y[i] + a * x[i];
}
inline double ddot(int n, const double* x, const double* y) {
    double sum = 0.0;
    for (int i = 0; i < n; ++i) sum = sum + x[i] * y[i];
    return sum;
}
inline void dscal(int n, double a, double* x) {
    for (int i = 0; i < n; ++i) x[i] = a * x[i];
}
inline double dasum(int n, const double* x) {
    double sum = 0.0;
    for (int i = 0; i < n; ++i) sum = sum + std::fabs(x[i]);
    return sum;
}
inline int idamax(int n, const double* x) {
    int at = n < 1 ? 0 : 1;
    for (int i = 2; i <= n; ++i)
        if (std::fabs(x[i - 1]) > std::fabs(x[at - 1])) at = i;
    return at;
}
inline void swap(double& a, double& b) {
    const double t = a;
    a = b;
    b = t;
}
inline void dswap(int n, double* x, double* y) {
    for (int i = 0; i < n; ++i) swap(x[i], y[i]);
}
inline void drotg(double& a, double b, double& c, double& s) {
    const double roe = std::fabs(a) > std::fabs(b) ? a : b;
    const double scale = std::fabs(a) + std::fabs(b);
    c = 1.0;
    s = 0.0;
    double r = 0.0;
    if (scale != 0.0) {
        r = scale * std::sqrt((a / scale) * (a / scale) + (b / scale) * (b / scale));
        r = std::copysign(1.0, roe) * r;
        c = a / r;
        s = b / r;
    }
    a = r;
}

// The determinant's two loops. Where the published ones would never end, a product that overflows,
// they stop.
inline void dtimes(double d, double* det) {
    det[0] = d * det[0];
    if (det[0] == 0.0) return;
    for (; std::fabs(det[0]) < 1.0; det[1] -= 1.0) det[0] = 10.0 * det[0];
    for (; std::fabs(det[0]) >= 10.0 && std::isfinite(det[0]); det[1] += 1.0)
        det[0] = det[0] / 10.0;
}

}  // namespace kelvo::reference
