// QR factorization of larger matrices by blocks of reflections, with the storage, signs and pivots of
// dqrdc. Private to that kernel.
#pragma once

#include <cstddef>

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
int bringPivotTo(const QrTask& t, int l);

/// The norm of column j without row l, from its norm with it. False when too few digits would be
/// left: then it is to be computed anew.
bool lowerNorm(const QrTask& t, int l, int j);

/// Makes the reflection of column l, whose head goes to qraux, and applies it to the columns from
/// l + 1 to `end` - 1. False for a zero column, which has none.
bool reduceColumn(const QrTask& t, int l, int end);

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
