// Upper triangles packed column by column, and the blocks of one and two of their factorization.
// Private to the kernels.
#pragma once

#include "linalg/kernels/exact_ops.h"

namespace kelvo::kernels {

/// Column j (from 0): its j + 1 elements down to the diagonal.
inline double* packedColumn(double* ap, int j) {
    return ap + static_cast<std::ptrdiff_t>(j) * (j + 1) / 2;
}
inline const double* packedColumn(const double* ap, int j) {
    return ap + static_cast<std::ptrdiff_t>(j) * (j + 1) / 2;
}

/// Exchanges rows and columns i < k of the leading matrix whose last column is k.
inline void exchangePacked(double* ap, int i, int k) {
    double* const first = packedColumn(ap, i);
    double* const last = packedColumn(ap, k);
    swap(static_cast<std::size_t>(i), first, last);
    exchange(first[i], last[k]);
    for (int j = i + 1; j < k; ++j) exchange(last[j], packedColumn(ap, j)[i]);
}

/// Solves with the block of two of D whose last column is k: b(k - 1) and b(k).
inline void solveBlockOfTwo(const double* ap, int k, double* b) {
    const double* const last = packedColumn(ap, k);
    const double* const previous = packedColumn(ap, k - 1);
    const double off = last[k - 1];
    const double ak = last[k] / off;
    const double akm1 = previous[k - 1] / off;
    const double bk = b[k] / off;
    const double bkm1 = b[k - 1] / off;
    const double denominator = ak * akm1 - 1.0;
    b[k] = (akm1 * bk - bkm1) / denominator;
    b[k - 1] = (ak * bkm1 - bk) / denominator;
}

/// The place (from 0) that a block was exchanged with.
inline int exchangedWith(int kpvt) {
    return (kpvt < 0 ? -kpvt : kpvt) - 1;
}

/// The order of the block that `kpvt` belongs to.
inline int blockOrder(int kpvt) {
    return kpvt < 0 ? 2 : 1;
}

}  // namespace kelvo::kernels
