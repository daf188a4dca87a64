// DQRDC and DQRSL as published (LINPACK Users' Guide, 1979); norms that neither over- nor underflow.
#pragma once

#include <algorithm>

#include "tests/linalg/reference/blas1.h"

namespace kelvo::reference {

inline double norm(int n, const double* x) {
    const double squares = ddot(n, x, x);
    if (squares > 1e-280 && squares < 1e300) return std::sqrt(squares);
    double sum = 0.0;
    for (int i = 0; i < n; ++i) sum = std::hypot(sum, x[i]);
    return sum;
}

// The reflection I - v v' / v(1) that takes x to (-result, 0, ...); v replaces x unless x is 0.
inline double reflector(int n, double* x) {
    double size = norm(n, x);
    if (size == 0.0) return 0.0;
    if (x[0] != 0.0) size = std::copysign(size, x[0]);
    dscal(n, 1.0 / size, x);
    x[0] = 1.0 + x[0];
    return size;
}
inline void reflect(int n, const double* v, double* x) {
    daxpy(n, -ddot(n, v, x) / v[0], v, x);
}

/// With job != 0 all columns are free.
inline void dqrdc(Mat x, int n, int p, Vec<double> qraux, Vec<int> jpvt, Vec<double> work,
                  int job) {
    for (int j = 1; j <= p; ++j) {
        jpvt(j) = j;
        qraux(j) = work(j) = norm(n, x.at(1, j));
    }
    for (int l = 1; l <= std::min(n, p); ++l) {
        int maxj = l;
        for (int j = l + 1; j <= p && job != 0; ++j)
            if (qraux(j) > qraux(maxj)) maxj = j;
        if (maxj != l) {
            dswap(n, x.at(1, l), x.at(1, maxj));
            qraux(maxj) = qraux(l);
            work(maxj) = work(l);
            std::swap(jpvt(maxj), jpvt(l));
        }
        qraux(l) = 0.0;
        if (l == n) return;
        const double nrmxl = reflector(n - l + 1, x.at(l, l));
        if (nrmxl == 0.0) continue;
        for (int j = l + 1; j <= p; ++j) {
            reflect(n - l + 1, x.at(l, l), x.at(l, j));
            if (qraux(j) == 0.0 || job == 0) continue;
            const double ratio = std::fabs(x(l, j)) / qraux(j);
            double tt = std::max(1.0 - ratio * ratio, 0.0);
            const double t2 = tt;
            tt = 1.0 + 0.05 * tt * (qraux(j) / work(j)) * (qraux(j) / work(j));
            if (tt != 1.0)
                qraux(j) = qraux(j) * std::sqrt(t2);
            else
                qraux(j) = work(j) = norm(n - l, x.at(l + 1, j));
        }
        qraux(l) = x(l, l);
        x(l, l) = -nrmxl;
    }
}

/// Of k == 0 columns, too.
inline int dqrsl(Mat x, int n, int k, Vec<double> qraux, const double* y, double* qy, double* qty,
                 double* b, double* rsd, double* xb, int job) {
    const int ju = std::min(k, n - 1);
    const auto apply = [&](int j, double* to) {
        if (qraux(j) == 0.0) return;
        const double diagonal = x(j, j);
        x(j, j) = qraux(j);
        reflect(n - j + 1, x.at(j, j), to + j - 1);
        x(j, j) = diagonal;
    };
    if (job / 10000 != 0) {
        std::copy_n(y, n, qy);
        for (int j = ju; j >= 1; --j) apply(j, qy);
    }
    if (job % 10000 == 0) return 0;
    std::copy_n(y, n, qty);
    for (int j = 1; j <= ju; ++j) apply(j, qty);
    for (int i = 0; i < n; ++i) {
        if (job % 100 >= 10) rsd[i] = i < k ? 0.0 : qty[i];
        if (job % 10 != 0) xb[i] = i < k ? qty[i] : 0.0;
    }
    for (int j = ju; j >= 1; --j) {
        if (job % 100 >= 10) apply(j, rsd);
        if (job % 10 != 0) apply(j, xb);
    }
    if (job % 1000 < 100) return 0;
    if (n == 1 && k == 1 && x(1, 1) == 0.0) return 1;
    std::copy_n(qty, k, b);
    for (int j = k; j >= 1; --j) {
        if (x(j, j) == 0.0) return j;
        b[j - 1] = b[j - 1] / x(j, j);
        daxpy(j - 1, -b[j - 1], x.at(1, j), b);
    }
    return 0;
}

}  // namespace kelvo::reference
