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
        double nrmxl = norm(n - l + 1, x.at(l, l));
        if (nrmxl == 0.0) continue;
        if (x(l, l) != 0.0) nrmxl = std::copysign(nrmxl, x(l, l));
        dscal(n - l + 1, 1.0 / nrmxl, x.at(l, l));
        x(l, l) = 1.0 + x(l, l);
        for (int j = l + 1; j <= p; ++j) {
            const double t = -ddot(n - l + 1, x.at(l, l), x.at(l, j)) / x(l, l);
            daxpy(n - l + 1, t, x.at(l, l), x.at(l, j));
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
