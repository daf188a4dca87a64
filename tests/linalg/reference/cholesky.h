// DCHDC, DPOSL, DCHUD, DCHDD and DCHEX as published (LINPACK Users' Guide, 1979).
#pragma once

#include <algorithm>
#include <utility>

#include "tests/linalg/reference/blas1.h"

namespace kelvo::reference {

inline int dchdc(Mat a, int p, Vec<double> work, Vec<int> jpvt, int job) {
    int pl = 1, pu = 0;
    if (job != 0) {
        for (int k = 1; k <= p; ++k) {
            const bool swapk = jpvt(k) > 0, negk = jpvt(k) < 0;
            jpvt(k) = negk ? -k : k;
            if (!swapk) continue;
            if (k != pl) {
                dswap(pl - 1, a.at(1, k), a.at(1, pl));
                swap(a(k, k), a(pl, pl));
                for (int j = pl + 1; j <= p; ++j) {
                    if (j < k) swap(a(pl, j), a(j, k));
                    if (j > k) swap(a(k, j), a(pl, j));
                }
                jpvt(k) = jpvt(pl);
                jpvt(pl) = k;
            }
            ++pl;
        }
        pu = p;
        for (int k = p; k >= pl; --k) {
            if (jpvt(k) >= 0) continue;
            jpvt(k) = -jpvt(k);
            if (pu != k) {
                dswap(k - 1, a.at(1, k), a.at(1, pu));
                swap(a(k, k), a(pu, pu));
                for (int j = k + 1; j <= p; ++j) {
                    if (j < pu) swap(a(k, j), a(j, pu));
                    if (j > pu) swap(a(k, j), a(pu, j));
                }
                std::swap(jpvt(k), jpvt(pu));
            }
            --pu;
        }
    }
    for (int k = 1; k <= p; ++k) {
        double maxdia = a(k, k);
        int maxl = k;
        if (k >= pl && k < pu)
            for (int l = k + 1; l <= pu; ++l)
                if (a(l, l) > maxdia) maxdia = a(maxl = l, l);
        if (!(maxdia > 0.0)) return k - 1;
        if (k != maxl) {
            dswap(k - 1, a.at(1, k), a.at(1, maxl));
            a(maxl, maxl) = a(k, k);
            a(k, k) = maxdia;
            std::swap(jpvt(maxl), jpvt(k));
        }
        work(k) = a(k, k) = std::sqrt(a(k, k));
        for (int j = k + 1; j <= p; ++j) {
            if (k != maxl && j < maxl) swap(a(k, j), a(j, maxl));
            if (k != maxl && j > maxl) swap(a(k, j), a(maxl, j));
            work(j) = a(k, j) = a(k, j) / work(k);
            daxpy(j - k, -a(k, j), work.at(k + 1), a.at(k + 1, j));
        }
    }
    return p;
}

inline void dposl(Mat a, int n, Vec<double> b) {
    for (int k = 1; k <= n; ++k) b(k) = (b(k) - ddot(k - 1, a.at(1, k), b.x)) / a(k, k);
    for (int k = n; k >= 1; --k) {
        b(k) = b(k) / a(k, k);
        daxpy(k - 1, -b(k), a.at(1, k), b.x);
    }
}

inline void dchud(Mat r, int p, Vec<double> x, Mat z, int nz, Vec<double> y, Vec<double> rho,
                  Vec<double> c, Vec<double> s) {
    for (int j = 1; j <= p; ++j) {
        double xj = x(j);
        for (int i = 1; i <= j - 1; ++i) {
            const double t = c(i) * r(i, j) + s(i) * xj;
            xj = c(i) * xj - s(i) * r(i, j);
            r(i, j) = t;
        }
        drotg(r(j, j), xj, c(j), s(j));
    }
    for (int j = 1; j <= nz; ++j) {
        double zeta = y(j);
        for (int i = 1; i <= p; ++i) {
            const double t = c(i) * z(i, j) + s(i) * zeta;
            zeta = c(i) * zeta - s(i) * z(i, j);
            z(i, j) = t;
        }
        const double azeta = std::fabs(zeta);
        if (azeta == 0.0 || rho(j) < 0.0) continue;
        const double scale = azeta + rho(j);
        rho(j) = scale *
                 std::sqrt((azeta / scale) * (azeta / scale) + (rho(j) / scale) * (rho(j) / scale));
    }
}

inline int dchdd(Mat r, int p, Vec<double> x, Mat z, int nz, Vec<double> y, Vec<double> rho,
                 Vec<double> c, Vec<double> s) {
    double norm = 0.0;
    for (int j = 1; j <= p; ++j) {
        s(j) = (x(j) - ddot(j - 1, r.at(1, j), s.x)) / r(j, j);
        norm = std::hypot(norm, s(j));
    }
    if (!(norm < 1.0)) return -1;
    double alpha = std::sqrt(1.0 - norm * norm);
    for (int i = p; i >= 1; --i) {
        const double scale = alpha + std::fabs(s(i)), a = alpha / scale, b = s(i) / scale;
        norm = std::sqrt(a * a + b * b);
        c(i) = a / norm;
        s(i) = b / norm;
        alpha = scale * norm;
    }
    for (int j = 1; j <= p; ++j) {
        double xx = 0.0;
        for (int i = j; i >= 1; --i) {
            const double t = c(i) * xx + s(i) * r(i, j);
            r(i, j) = c(i) * r(i, j) - s(i) * xx;
            xx = t;
        }
    }
    int info = 0;
    for (int j = 1; j <= nz; ++j) {
        double zeta = y(j);
        for (int i = 1; i <= p; ++i) {
            z(i, j) = (z(i, j) - s(i) * zeta) / c(i);
            zeta = c(i) * zeta - s(i) * z(i, j);
        }
        const double azeta = std::fabs(zeta);
        if (azeta > rho(j)) info = 1;
        rho(j) =
            azeta > rho(j) ? -1.0 : rho(j) * std::sqrt(1.0 - (azeta / rho(j)) * (azeta / rho(j)));
    }
    return info;
}

inline void dchex(Mat r, int p, int k, int l, Mat z, int nz, Vec<double> c, Vec<double> s,
                  int job) {
    const int lmk = l - k;
    const auto rotate = [&](int ii, double& upper, double& lower) {
        const double t = c(ii) * upper + s(ii) * lower;
        lower = c(ii) * lower - s(ii) * upper;
        upper = t;
    };
    if (job == 1) {
        for (int i = 1; i <= l; ++i) s(i) = r(l - i + 1, l);
        for (int j = l - 1; j >= k; --j) {
            for (int i = 1; i <= j; ++i) r(i, j + 1) = r(i, j);
            r(j + 1, j + 1) = 0.0;
        }
        for (int i = 1; i <= k - 1; ++i) r(i, k) = s(l - i + 1);
        double t = s(1);
        for (int i = 1; i <= lmk; ++i) {
            drotg(s(i + 1), t, c(i), s(i));
            t = s(i + 1);
        }
        r(k, k) = t;
        for (int j = k + 1; j <= p; ++j)
            for (int ii = std::max(1, l - j + 1); ii <= lmk; ++ii)
                rotate(ii, r(l - ii, j), r(l - ii + 1, j));
        for (int j = 1; j <= nz; ++j)
            for (int ii = 1; ii <= lmk; ++ii) rotate(ii, z(l - ii, j), z(l - ii + 1, j));
        return;
    }
    for (int i = 1; i <= k; ++i) s(lmk + i) = r(i, k);
    for (int j = k; j <= l - 1; ++j) {
        for (int i = 1; i <= j; ++i) r(i, j) = r(i, j + 1);
        s(j - k + 1) = r(j + 1, j + 1);
    }
    for (int i = 1; i <= k; ++i) r(i, l) = s(lmk + i);
    for (int i = k + 1; i <= l; ++i) r(i, l) = 0.0;
    for (int j = k; j <= p; ++j) {
        for (int i = k; i <= std::min(j - 1, l - 1); ++i) rotate(i - k + 1, r(i, j), r(i + 1, j));
        if (j < l) {
            const double t = s(j - k + 1);
            drotg(r(j, j), t, c(j - k + 1), s(j - k + 1));
        }
    }
    for (int j = 1; j <= nz; ++j)
        for (int i = k; i <= l - 1; ++i) rotate(i - k + 1, z(i, j), z(i + 1, j));
}

}  // namespace kelvo::reference
