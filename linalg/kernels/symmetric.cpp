#include "linalg/kernels/symmetric.h"

#include <algorithm>

#include "linalg/kernels/exact_ops.h"
#include "linalg/kernels/instruction_level.h"
#include "linalg/kernels/packed_columns.h"
#include "linalg/kernels/solver_table.h"

namespace kelvo::kernels {
namespace {

// Below this order delayed steps cost more than they gain.
constexpr int kSmallest = 20;

const SymmetricTable& table() {
    switch (activeLevel()) {
#if defined(__x86_64__)
        case Level::kV2:
            return v2::kSymmetricTable;
        case Level::kV3:
            return v3::kSymmetricTable;
        case Level::kV4:
            return v4::kSymmetricTable;
#endif
        default:
            return base::kSymmetricTable;
    }
}

struct Pivot {
    int step;          // order of the block
    int exchangeWith;  // of row k, or of k - 1 for a block of two
    bool zero;         // nothing to eliminate
};

// Largest magnitude in row i of the leading matrix of order k + 1, off the diagonal.
double largestInRow(const double* ap, int i, int k) {
    double most = 0.0;
    for (int j = i + 1; j <= k; ++j) most = std::max(most, std::fabs(packedColumn(ap, j)[i]));
    if (i > 0) {
        const double* const column = packedColumn(ap, i);
        most = std::max(most, std::fabs(column[indexOfLargest(i, column)]));
    }
    return most;
}

Pivot choosePivot(const double* ap, int k) {
    static const double kAlpha = (1.0 + std::sqrt(17.0)) / 8.0;
    const double* const column = packedColumn(ap, k);
    const double diagonal = std::fabs(column[k]);
    const int largest = indexOfLargest(k, column);
    const double columnMost = std::fabs(column[largest]);
    const bool zero = std::max(diagonal, columnMost) == 0.0;
    if (!(diagonal < kAlpha * columnMost)) return {1, k, zero};
    const double rowMost = largestInRow(ap, largest, k);
    if (!(std::fabs(packedColumn(ap, largest)[largest]) < kAlpha * rowMost))
        return {1, largest, zero};
    if (!(diagonal < kAlpha * columnMost * (columnMost / rowMost))) return {1, k, zero};
    return {2, largest, zero};
}

void eliminateOne(double* ap, int k) {
    double* const column = packedColumn(ap, k);
    for (int j = k - 1; j >= 0; --j) {
        const double multiplier = -column[j] / column[k];
        addMultiple(j + 1, multiplier, column, packedColumn(ap, j));
        column[j] = multiplier;
    }
}

void eliminateTwo(double* ap, int k) {
    double* const last = packedColumn(ap, k);
    double* const previous = packedColumn(ap, k - 1);
    const double off = last[k - 1];
    const double ak = last[k] / off;
    const double akm1 = previous[k - 1] / off;
    const double denominator = 1.0 - ak * akm1;
    for (int j = k - 2; j >= 0; --j) {
        double* const column = packedColumn(ap, j);
        const double bk = last[j] / off;
        const double bkm1 = previous[j] / off;
        const double multiplier = (akm1 * bk - bkm1) / denominator;
        const double multiplierBefore = (ak * bkm1 - bk) / denominator;
        addMultiple(j + 1, multiplier, last, column);
        addMultiple(j + 1, multiplierBefore, previous, column);
        last[j] = multiplier;
        previous[j] = multiplierBefore;
    }
}

int factorPlain(double* ap, int n, int* kpvt) {
    int info = 0;
    for (int k = n - 1; k >= 0;) {
        if (k == 0) {
            kpvt[0] = 1;
            if (ap[0] == 0.0) info = 1;
            break;
        }
        const Pivot pivot = choosePivot(ap, k);
        const int l = pivot.exchangeWith;
        if (pivot.zero) {
            kpvt[k] = k + 1;
            info = k + 1;
            --k;
        } else if (pivot.step == 1) {
            if (l != k) exchangePacked(ap, l, k);
            eliminateOne(ap, k);
            kpvt[k] = l + 1;
            --k;
        } else {
            if (l != k - 1) {
                exchangePacked(ap, l, k - 1);
                double* const column = packedColumn(ap, k);
                exchange(column[k - 1], column[l]);
            }
            eliminateTwo(ap, k);
            kpvt[k] = kpvt[k - 1] = -(l + 1);
            k -= 2;
        }
    }
    return info;
}

}  // namespace

std::size_t dspfaWork(int n) {
    return n < kSmallest ? 0 : table().work(static_cast<std::size_t>(n));
}

int dspfa(double* ap, int n, int* kpvt, double* work) {
    if (work == nullptr || n < kSmallest) return factorPlain(ap, n, kpvt);
    return table().factor(ap, static_cast<std::size_t>(n), kpvt, work);
}

}  // namespace kelvo::kernels
