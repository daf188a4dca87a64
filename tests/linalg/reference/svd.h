// DSVDC as published (LINPACK Users' Guide, 1979; Golub and Reinsch 1970).
#pragma once

#include "tests/linalg/reference/qr.h"

namespace kelvo::reference {

inline void rotate(int n, double* x, double* y, double c, double s) {
    for (int i = 0; i < n; ++i) {
        const double t = c * x[i] + s * y[i];
        y[i] = c * y[i] - s * x[i];
        x[i] = t;
    }
}

// The matrix of the problem, the results, and which of the vectors are wanted.
struct Svd {
    Mat x;
    int n, p;
    Vec<double> s, e;
    Mat u, v;
    int ncu;  // columns of u, 0 for none
    bool wantv;
    Vec<double> work;

    void bidiagonalise() const;
    void accumulate() const;
    int iterate(int most) const;
    void shiftedSweep(int l, int m) const;
    void dropLast(int l, int m) const;
    void split(int l, int m) const;
    void accept(int l) const;

    // Reflections of columns and of rows, and the order of the bidiagonal matrix.
    int nct() const { return std::min(n - 1, p); }
    int nrt() const { return std::max(0, std::min(p - 2, n)); }
    int order() const { return std::min(p, n + 1); }
    void rotateU(int i, int j, double c, double t) const {
        if (std::max(i, j) <= ncu) rotate(n, u.at(1, i), u.at(1, j), c, t);
    }
    void rotateV(int i, int j, double c, double t) const {
        if (wantv) rotate(p, v.at(1, i), v.at(1, j), c, t);
    }
};

inline void Svd::bidiagonalise() const {
    for (int l = 1; l <= std::max(nct(), nrt()); ++l) {
        if (l <= nct()) s(l) = -reflector(n - l + 1, x.at(l, l));
        for (int j = l + 1; j <= p; ++j) {
            if (l <= nct() && s(l) != 0.0) reflect(n - l + 1, x.at(l, l), x.at(l, j));
            e(j) = x(l, j);
        }
        for (int i = l; i <= n && ncu > 0 && l <= nct(); ++i) u(i, l) = x(i, l);
        if (l > nrt()) continue;
        e(l) = -reflector(p - l, e.at(l + 1));
        if (l + 1 <= n && e(l) != 0.0) {
            for (int i = l + 1; i <= n; ++i) work(i) = 0.0;
            for (int j = l + 1; j <= p; ++j) daxpy(n - l, e(j), x.at(l + 1, j), work.at(l + 1));
            for (int j = l + 1; j <= p; ++j)
                daxpy(n - l, -e(j) / e(l + 1), work.at(l + 1), x.at(l + 1, j));
        }
        for (int i = l + 1; i <= p && wantv; ++i) v(i, l) = e(i);
    }
    const int m = order();
    if (nct() < p) s(nct() + 1) = x(nct() + 1, nct() + 1);
    if (n < m) s(m) = 0.0;
    if (nrt() + 1 < m) e(nrt() + 1) = x(nrt() + 1, m);
    for (int j = m; j <= p; ++j) e(j) = 0.0;
}

inline void Svd::accumulate() const {
    for (int l = ncu; l >= 1; --l) {
        const bool reflected = l <= nct() && s(l) != 0.0;
        for (int j = l + 1; j <= ncu && reflected; ++j) reflect(n - l + 1, u.at(l, l), u.at(l, j));
        for (int i = 1; i <= n; ++i) u(i, l) = reflected && i >= l ? -u(i, l) : 0.0;
        u(l, l) = 1.0 + u(l, l);
    }
    for (int l = p; l >= 1 && wantv; --l) {
        if (l <= nrt() && e(l) != 0.0)
            for (int j = l + 1; j <= p; ++j) reflect(p - l, v.at(l + 1, l), v.at(l + 1, j));
        for (int i = 1; i <= p; ++i) v(i, l) = i == l ? 1.0 : 0.0;
    }
}

inline void Svd::shiftedSweep(int l, int m) const {
    double scale = std::max(std::fabs(s(l)), std::fabs(e(l)));
    for (double x : {s(m), s(m - 1), e(m - 1)}) scale = std::max(scale, std::fabs(x));
    const double sm = s(m) / scale, smm1 = s(m - 1) / scale, emm1 = e(m - 1) / scale;
    const double sl = s(l) / scale, el = e(l) / scale;
    const double b = ((smm1 + sm) * (smm1 - sm) + emm1 * emm1) / 2.0, c = sm * emm1 * sm * emm1;
    const double root = std::sqrt(b * b + c);
    const double shift = b != 0.0 || c != 0.0 ? c / (b + (b < 0.0 ? -root : root)) : 0.0;
    double f = (sl + sm) * (sl - sm) + shift, g = sl * el, cs, sn;
    for (int k = l; k <= m - 1; ++k) {
        drotg(f, g, cs, sn);
        if (k != l) e(k - 1) = f;
        f = cs * s(k) + sn * e(k);
        e(k) = cs * e(k) - sn * s(k);
        g = sn * s(k + 1);
        s(k + 1) = cs * s(k + 1);
        rotateV(k, k + 1, cs, sn);
        drotg(f, g, cs, sn);
        s(k) = f;
        f = cs * e(k) + sn * s(k + 1);
        s(k + 1) = cs * s(k + 1) - sn * e(k);
        g = sn * e(k + 1);
        e(k + 1) = cs * e(k + 1);
        rotateU(k, k + 1, cs, sn);
    }
    e(m - 1) = f;
}

// s(m) is negligible: takes e(m - 1) out of the block that starts at l.
inline void Svd::dropLast(int l, int m) const {
    double f = e(m - 1), cs, sn;
    e(m - 1) = 0.0;
    for (int k = m - 1; k >= l; --k) {
        drotg(s(k), f, cs, sn);
        if (k != l) {
            f = -sn * e(k - 1);
            e(k - 1) = cs * e(k - 1);
        }
        rotateV(k, m, cs, sn);
    }
}

// s(l) is negligible: takes e(l) out of its row, up to column m.
inline void Svd::split(int l, int m) const {
    double f = e(l), cs, sn;
    e(l) = 0.0;
    for (int k = l + 1; k <= m; ++k) {
        drotg(s(k), f, cs, sn);
        f = -sn * e(k);
        e(k) = cs * e(k);
        rotateU(k, l, cs, sn);
    }
}

// s(l) is found: its sign and its place among the others.
inline void Svd::accept(int l) const {
    if (s(l) < 0.0) {
        s(l) = -s(l);
        if (wantv) dscal(p, -1.0, v.at(1, l));
    }
    for (; l != order() && s(l) < s(l + 1); ++l) {
        swap(s(l), s(l + 1));
        if (wantv && l < p) dswap(p, v.at(1, l), v.at(1, l + 1));
        if (l < ncu) dswap(n, u.at(1, l), u.at(1, l + 1));
    }
}

inline int Svd::iterate(int most) const {
    for (int m = order(), steps = 0; m >= 1;) {
        int l = m - 1, ls = m;
        for (; l >= 1; --l) {
            const double test = std::fabs(s(l)) + std::fabs(s(l + 1));
            if (test + std::fabs(e(l)) == test) break;
        }
        if (l >= 1) e(l) = 0.0;
        if (l == m - 1) {
            accept(m--);
            steps = 0;
            continue;
        }
        for (; ls > l; --ls) {
            double test = ls != m ? std::fabs(e(ls)) : 0.0;
            if (ls != l + 1) test += std::fabs(e(ls - 1));
            if (test + std::fabs(s(ls)) == test) break;
        }
        if (ls > l) s(ls) = 0.0;
        if (ls == l && steps++ >= most) return m;
        if (ls == l) shiftedSweep(l + 1, m);
        if (ls == m) dropLast(l + 1, m);
        if (ls > l && ls < m) split(ls, m);
    }
    return 0;
}

/// `most`: steps for a value, 30 as published.
inline int dsvdc(const Svd& t, int most) {
    t.bidiagonalise();
    t.accumulate();
    return t.iterate(most);
}

}  // namespace kelvo::reference
