// DGEFA, DGESL, DGECO and DGEDI as published (LINPACK Users' Guide, 1979).
#pragma once

#include <algorithm>

#include "tests/linalg/reference/blas1.h"

namespace kelvo::reference {

inline int dgefa(Mat a, int n, Vec<int> ipvt) {
    int info = 0;
    for (int k = 1; k <= n - 1; ++k) {
        const int l = idamax(n - k + 1, a.at(k, k)) + k - 1;
        ipvt(k) = l;
        if (a(l, k) == 0.0) {
            info = k;
            continue;
        }
        if (l != k) swap(a(l, k), a(k, k));
        dscal(n - k, -1.0 / a(k, k), a.at(k + 1, k));
        for (int j = k + 1; j <= n; ++j) {
            if (l != k) swap(a(l, j), a(k, j));
            daxpy(n - k, a(k, j), a.at(k + 1, k), a.at(k + 1, j));
        }
    }
    if (n < 1) return info;
    ipvt(n) = n;
    return a(n, n) == 0.0 ? n : info;
}

inline void dgesl(Mat a, int n, Vec<int> ipvt, Vec<double> b, int job) {
    if (job == 0) {
        for (int k = 1; k <= n - 1; ++k) {
            swap(b(ipvt(k)), b(k));
            daxpy(n - k, b(k), a.at(k + 1, k), b.at(k + 1));
        }
        for (int k = n; k >= 1; --k) {
            b(k) = b(k) / a(k, k);
            daxpy(k - 1, -b(k), a.at(1, k), b.at(1));
        }
        return;
    }
    for (int k = 1; k <= n; ++k) b(k) = (b(k) - ddot(k - 1, a.at(1, k), b.at(1))) / a(k, k);
    for (int k = n - 1; k >= 1; --k) {
        b(k) = b(k) + ddot(n - k, a.at(k + 1, k), b.at(k + 1));
        swap(b(ipvt(k)), b(k));
    }
}

inline double dgeco(Mat a, int n, Vec<int> ipvt, Vec<double> z) {
    double anorm = 0.0;
    for (int j = 1; j <= n; ++j) anorm = std::max(anorm, dasum(n, a.at(1, j)));
    dgefa(a, n, ipvt);
    double ek = 1.0, ynorm = 1.0, s;
    for (int j = 1; j <= n; ++j) z(j) = 0.0;
    for (int k = 1; k <= n; ++k) {
        if (z(k) != 0.0) ek = std::copysign(ek, -z(k));
        if (std::fabs(ek - z(k)) > std::fabs(a(k, k))) {
            s = std::fabs(a(k, k)) / std::fabs(ek - z(k));
            dscal(n, s, z.x);
            ek = s * ek;
        }
        double wk = ek - z(k), wkm = -ek - z(k), sm = std::fabs(wkm);
        s = std::fabs(wk);
        wk = a(k, k) != 0.0 ? wk / a(k, k) : 1.0;
        wkm = a(k, k) != 0.0 ? wkm / a(k, k) : 1.0;
        for (int j = k + 1; j <= n; ++j) {
            sm = sm + std::fabs(z(j) + wkm * a(k, j));
            z(j) = z(j) + wk * a(k, j);
            s = s + std::fabs(z(j));
        }
        if (s < sm) {
            const double t = wkm - wk;
            wk = wkm;
            for (int j = k + 1; j <= n; ++j) z(j) = z(j) + t * a(k, j);
        }
        z(k) = wk;
    }
    const auto shrink = [&](double factor) {
        dscal(n, factor, z.x);
        ynorm = factor * ynorm;
    };
    shrink(1.0 / dasum(n, z.x));
    for (int k = n; k >= 1; --k) {
        if (k < n) z(k) = z(k) + ddot(n - k, a.at(k + 1, k), z.at(k + 1));
        if (std::fabs(z(k)) > 1.0) shrink(1.0 / std::fabs(z(k)));
        swap(z(ipvt(k)), z(k));
    }
    shrink(1.0 / dasum(n, z.x));
    ynorm = 1.0;
    for (int k = 1; k <= n; ++k) {
        swap(z(ipvt(k)), z(k));
        if (k < n) daxpy(n - k, z(k), a.at(k + 1, k), z.at(k + 1));
        if (std::fabs(z(k)) > 1.0) shrink(1.0 / std::fabs(z(k)));
    }
    shrink(1.0 / dasum(n, z.x));
    for (int k = n; k >= 1; --k) {
        if (std::fabs(z(k)) > std::fabs(a(k, k))) shrink(std::fabs(a(k, k)) / std::fabs(z(k)));
        z(k) = a(k, k) != 0.0 ? z(k) / a(k, k) : 1.0;
        daxpy(k - 1, -z(k), a.at(1, k), z.x);
    }
    shrink(1.0 / dasum(n, z.x));
    return anorm != 0.0 ? ynorm / anorm : 0.0;
}

inline void dgedi(Mat a, int n, Vec<int> ipvt, double* det, Vec<double> work) {
    det[0] = 1.0;
    det[1] = 0.0;
    for (int i = 1; i <= n && det[0] != 0.0; ++i) {
        if (ipvt(i) != i) det[0] = -det[0];
        dtimes(a(i, i), det);
    }
    for (int k = 1; k <= n; ++k) {
        a(k, k) = 1.0 / a(k, k);
        dscal(k - 1, -a(k, k), a.at(1, k));
        for (int j = k + 1; j <= n; ++j) {
            const double t = a(k, j);
            a(k, j) = 0.0;
            daxpy(k, t, a.at(1, k), a.at(1, j));
        }
    }
    for (int k = n - 1; k >= 1; --k) {
        for (int i = k + 1; i <= n; ++i) {
            work(i) = a(i, k);
            a(i, k) = 0.0;
        }
        for (int j = k + 1; j <= n; ++j) daxpy(n, work(j), a.at(1, j), a.at(1, k));
        if (ipvt(k) != k) dswap(n, a.at(1, k), a.at(1, ipvt(k)));
    }
}

}  // namespace kelvo::reference
