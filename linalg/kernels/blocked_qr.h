// The steps of dqrdc, and QR factorization of larger matrices by blocks of reflections, with the same
// storage, signs and pivots. Private to that kernel.
#pragma once

#include <algorithm>
#include <utility>

#include "linalg/kernels/householder.h"

namespace kelvo::kernels {

/// A factorization under way.
struct QrTask {
    double* x;
    std::ptrdiff_t ldx;
    int n, p;
    double* qraux;     // norms of the free columns still to come, then the heads of the reflections
    int* jpvt;         // null without pivoting
    double* original;  // the norms when they were last computed from scratch
    int freeBegin = 0, freeEnd = 0;

    double* column(int j) const { return x + j * ldx; }
};

/// Brings the free column of largest norm to place l; returns the place where it stood.
inline int bringPivotTo(const QrTask& t, int l) {
    int best = l;
    double largest = 0.0;
    for (int j = l; j < t.freeEnd; ++j) {
        if (t.qraux[j] > largest) {
            largest = t.qraux[j];
            best = j;
        }
    }
    if (best == l) return l;
    swap(t.n, t.column(l), t.column(best));
    t.qraux[best] = t.qraux[l];
    t.original[best] = t.original[l];
    std::swap(t.jpvt[best], t.jpvt[l]);
    return best;
}

/// The norm of column j without row l, from its norm with it. False when too few digits would be
/// left: then it is to be computed anew.
inline bool lowerNorm(const QrTask& t, int l, int j) {
    double& norm = t.qraux[j];
    if (norm == 0.0) return true;
    const double ratio = std::fabs(t.column(j)[l]) / norm;
    const double left = std::max(1.0 - ratio * ratio, 0.0);
    const double shrunk = norm / t.original[j];
    if (1.0 + 0.05 * left * shrunk * shrunk == 1.0) return false;
    norm *= std::sqrt(left);
    return true;
}

/// Makes the reflection of column l, whose head goes to qraux, and applies it to the columns from
/// l + 1 to `end` - 1. False for a zero column, which has none.
inline bool reduceColumn(const QrTask& t, int l, int end) {
    double* v = t.column(l) + l;
    const double norm = makeReflection(t.n - l, v);
    if (norm == 0.0) return false;
    applyReflection(t.n - l, v, end - l - 1, v + t.ldx, t.ldx);
    t.qraux[l] = v[0];
    v[0] = -norm;
    return true;
}

/// Doubles of scratch.
std::size_t blockedQrWork(int n);
std::size_t delayedQrWork(int p);

/// The steps from 0 on, without pivoting.
void blockedQr(const QrTask& t, double* work);

/// The steps from 0 on, with pivoting. What a step does to the columns behind it waits until some
/// steps have come together, except for the one row that the norms need (Quintana-Orti, Sun, Bischof:
/// A BLAS-3 version of the QR factorization with column pivoting, SIAM J. Sci. Comput. 19, 1998).
void delayedQr(const QrTask& t, double* work);

}  // namespace kelvo::kernels
