// DQRDC as published (LINPACK Users' Guide, 1979); norms that neither over- nor underflow.
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

}  // namespace kelvo::reference
