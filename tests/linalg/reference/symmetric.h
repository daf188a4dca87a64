// DSPFA, DSPSL, DSPCO and DSPDI as published (LINPACK Users' Guide, 1979), on packed columns.
#pragma once

#include <algorithm>
#include <cstdlib>

#include "tests/linalg/reference/blas1.h"

namespace kelvo::reference {

// Element (i, j), i <= j, of a packed upper triangle, with indices from 1.
struct Packed {
    double* ap;
    double* at(int i, int j) const { return ap + j * (j - 1) / 2 + i - 1; }
    double& operator()(int i, int j) const { return *at(i, j); }
    // Exchanges rows and columns i < k of the leading k x k matrix.
    void exchange(int i, int k) const {
        dswap(i - 1, at(1, i), at(1, k));
        swap((*this)(i, i), (*this)(k, k));
        for (int j = i + 1; j <= k - 1; ++j) swap((*this)(j, k), (*this)(i, j));
    }
};

inline int dspfa(Packed a, int n, Vec<int> kpvt) {
    const double alpha = (1.0 + std::sqrt(17.0)) / 8.0;
    int info = 0;
    for (int k = n, kstep = 1; k >= 1; k -= kstep) {
        kstep = 1;
        if (k == 1) {
            kpvt(1) = 1;
            if (a(1, 1) == 0.0) info = 1;
            break;
        }
        const double absakk = std::fabs(a(k, k));
        const int imax = idamax(k - 1, a.at(1, k));
        const double colmax = std::fabs(a(imax, k));
        bool swapping = false;
        if (absakk < alpha * colmax) {
            double rowmax = 0.0;
            for (int j = imax + 1; j <= k; ++j) rowmax = std::max(rowmax, std::fabs(a(imax, j)));
            for (int j = 1; j < imax; ++j) rowmax = std::max(rowmax, std::fabs(a(j, imax)));
            if (!(std::fabs(a(imax, imax)) < alpha * rowmax)) {
                swapping = true;
            } else if (absakk < alpha * colmax * (colmax / rowmax)) {
                kstep = 2;
                swapping = imax != k - 1;
            }
        }
        if (std::max(absakk, colmax) == 0.0) {
            kpvt(k) = k;
            info = k;
            kstep = 1;
        } else if (kstep == 1) {
            if (swapping) a.exchange(imax, k);
            for (int j = k - 1; j >= 1; --j) {
                const double mulk = -a(j, k) / a(k, k);
                daxpy(j, mulk, a.at(1, k), a.at(1, j));
                a(j, k) = mulk;
            }
            kpvt(k) = swapping ? imax : k;
        } else {
            if (swapping) {
                a.exchange(imax, k - 1);
                swap(a(k - 1, k), a(imax, k));
            }
            const double ak = a(k, k) / a(k - 1, k), akm1 = a(k - 1, k - 1) / a(k - 1, k);
            const double denom = 1.0 - ak * akm1;
            for (int j = k - 2; j >= 1; --j) {
                const double bk = a(j, k) / a(k - 1, k), bkm1 = a(j, k - 1) / a(k - 1, k);
                const double mulk = (akm1 * bk - bkm1) / denom;
                const double mulkm1 = (ak * bkm1 - bk) / denom;
                daxpy(j, mulk, a.at(1, k), a.at(1, j));
                daxpy(j, mulkm1, a.at(1, k - 1), a.at(1, j));
                a(j, k) = mulk;
                a(j, k - 1) = mulkm1;
            }
            kpvt(k) = kpvt(k - 1) = swapping ? -imax : 1 - k;
        }
    }
    return info;
}

// b(k), or b(k - 1) and b(k), divided by their block of D.
inline void divideByBlock(Packed a, int k, int ks, Vec<double> b) {
    if (ks == 1) {
        b(k) = b(k) / a(k, k);
        return;
    }
    const double ak = a(k, k) / a(k - 1, k), akm1 = a(k - 1, k - 1) / a(k - 1, k);
    const double bk = b(k) / a(k - 1, k), bkm1 = b(k - 1) / a(k - 1, k), denom = ak * akm1 - 1.0;
    b(k) = (akm1 * bk - bkm1) / denom;
    b(k - 1) = (ak * bkm1 - bk) / denom;
}

inline void solveTransposedU(Packed a, int n, Vec<int> kpvt, Vec<double> b) {
    for (int k = 1, ks; k <= n; k += ks) {
        ks = kpvt(k) < 0 ? 2 : 1;
        if (k == 1) continue;
        b(k) = b(k) + ddot(k - 1, a.at(1, k), b.x);
        if (ks == 2) b(k + 1) = b(k + 1) + ddot(k - 1, a.at(1, k + 1), b.x);
        swap(b(k), b(std::abs(kpvt(k))));
    }
}

inline void dspsl(Packed a, int n, Vec<int> kpvt, Vec<double> b) {
    for (int k = n, ks; k >= 1; k -= ks) {
        ks = kpvt(k) < 0 ? 2 : 1;
        if (k != ks) {
            swap(b(k + 1 - ks), b(std::abs(kpvt(k))));
            daxpy(k - ks, b(k), a.at(1, k), b.x);
            if (ks == 2) daxpy(k - ks, b(k - 1), a.at(1, k - 1), b.x);
        }
        divideByBlock(a, k, ks, b);
    }
    solveTransposedU(a, n, kpvt, b);
}

inline double dspco(Packed a, int n, Vec<int> kpvt, Vec<double> z) {
    double anorm = 0.0, ek = 1.0, ynorm = 1.0;
    for (int j = 1; j <= n; ++j) {
        z(j) = dasum(j, a.at(1, j));
        for (int i = 1; i < j; ++i) z(i) = z(i) + std::fabs(a(i, j));
    }
    for (int j = 1; j <= n; ++j) anorm = std::max(anorm, z(j));
    dspfa(a, n, kpvt);
    for (int j = 1; j <= n; ++j) z(j) = 0.0;
    const auto shrink = [&](double s) {
        dscal(n, s, z.x);
        ynorm = s * ynorm;
        ek = s * ek;
    };
    const auto divide = [&](int k, int ks) {
        if (ks == 2) return divideByBlock(a, k, ks, z);
        if (std::fabs(z(k)) > std::fabs(a(k, k))) shrink(std::fabs(a(k, k)) / std::fabs(z(k)));
        z(k) = a(k, k) != 0.0 ? z(k) / a(k, k) : 1.0;
    };
    for (int k = n, ks; k >= 1; k -= ks) {
        ks = kpvt(k) < 0 ? 2 : 1;
        swap(z(k + 1 - ks), z(std::abs(kpvt(k))));
        for (int m = k; m > k - ks; --m) {
            if (z(m) != 0.0) ek = std::copysign(ek, z(m));
            z(m) = z(m) + ek;
            daxpy(k - ks, z(m), a.at(1, m), z.x);
        }
        divide(k, ks);
    }
    shrink(1.0 / dasum(n, z.x));
    solveTransposedU(a, n, kpvt, z);
    shrink(1.0 / dasum(n, z.x));
    ynorm = 1.0;
    for (int k = n, ks; k >= 1; k -= ks) {
        ks = kpvt(k) < 0 ? 2 : 1;
        if (k != ks) {
            swap(z(k + 1 - ks), z(std::abs(kpvt(k))));
            for (int m = k; m > k - ks; --m) daxpy(k - ks, z(m), a.at(1, m), z.x);
        }
        divide(k, ks);
    }
    shrink(1.0 / dasum(n, z.x));
    solveTransposedU(a, n, kpvt, z);
    shrink(1.0 / dasum(n, z.x));
    return anorm != 0.0 ? ynorm / anorm : 0.0;
}

inline void dspdi(Packed a, int n, Vec<int> kpvt, double* det, int* inert, Vec<double> work) {
    det[0] = 1.0;
    det[1] = 0.0;
    std::fill_n(inert, 3, 0);
    double t = 0.0;
    for (int k = 1; k <= n; ++k) {
        double d = a(k, k);
        if (kpvt(k) <= 0 && t == 0.0) {
            t = std::fabs(a(k, k + 1));
            d = (d / t) * a(k + 1, k + 1) - t;
        } else if (kpvt(k) <= 0) {
            d = t;
            t = 0.0;
        }
        ++inert[d > 0.0 ? 0 : d < 0.0 ? 1 : 2];
        if (det[0] != 0.0) dtimes(d, det);
    }
    const auto multiply = [&](int k, double* column) {  // by the leading k x k matrix
        std::copy_n(column, k, work.x);
        for (int j = 1; j <= k; ++j) {
            column[j - 1] = ddot(j, a.at(1, j), work.x);
            daxpy(j - 1, work(j), a.at(1, j), column);
        }
        return ddot(k, work.x, column);
    };
    for (int k = 1, ks; k <= n; k += ks) {
        ks = kpvt(k) < 0 ? 2 : 1;
        if (ks == 1) {
            a(k, k) = 1.0 / a(k, k);
            a(k, k) = a(k, k) + multiply(k - 1, a.at(1, k));
        } else {
            t = std::fabs(a(k, k + 1));
            const double ak = a(k, k) / t, akp1 = a(k + 1, k + 1) / t, akkp1 = a(k, k + 1) / t;
            const double d = t * (ak * akp1 - 1.0);
            a(k, k) = akp1 / d;
            a(k + 1, k + 1) = ak / d;
            a(k, k + 1) = -akkp1 / d;
            a(k + 1, k + 1) = a(k + 1, k + 1) + multiply(k - 1, a.at(1, k + 1));
            a(k, k + 1) = a(k, k + 1) + ddot(k - 1, a.at(1, k), a.at(1, k + 1));
            a(k, k) = a(k, k) + multiply(k - 1, a.at(1, k));
        }
        const int kp = std::abs(kpvt(k));
        if (kp == k) continue;
        a.exchange(kp, k);
        if (ks == 2) swap(a(kp, k + 1), a(k, k + 1));
    }
}

}  // namespace kelvo::reference
