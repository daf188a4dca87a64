#include "linalg/kernels/symmetric.h"

#include <algorithm>

#include "linalg/kernels/level_tables.h"
#include "linalg/kernels/packed_columns.h"
#include "linalg/kernels/small_orders.h"

namespace kelvo::kernels {
namespace {

// Below this order delayed steps cost more than they gain.
constexpr int kSmallest = 20;

struct Pivot {
    int step;          // order of the block
    int exchangeWith;  // of row k, or of k - 1 for a block of two
    bool zero;         // nothing to eliminate
};

// Largest magnitude in row i of the leading matrix of order k + 1, off the diagonal.
inline double largestInRow(const double* ap, int i, int k) {
    double most = 0.0;
#pragma GCC unroll 4
    for (int j = i + 1; j <= k; ++j) most = std::max(most, std::fabs(packedColumn(ap, j)[i]));
    if (i > 0) {
        const double* const column = packedColumn(ap, i);
        most = std::max(most, std::fabs(column[indexOfLargest(i, column)]));
    }
    return most;
}

template <class Order>
[[gnu::always_inline]] inline Pivot choosePivot(Order n, const double* ap, int k) {
    const double kAlpha = (1.0 + std::sqrt(17.0)) / 8.0;
    const double* const column = packedColumn(ap, k);
    const double diagonal = std::fabs(column[k]);
    const int largest = indexOfLargest(k, column);
    double columnMost = 0.0, rowMost = 0.0, other = 0.0;
    atPlace(n, 0, k, largest, [&](int i) { columnMost = std::fabs(column[i]); });
    const bool zero = std::max(diagonal, columnMost) == 0.0;
    if (!(diagonal < kAlpha * columnMost)) return {1, k, zero};
    atPlace(n, 0, k, largest, [&](int i) {
        rowMost = largestInRow(ap, i, k);
        other = std::fabs(packedColumn(ap, i)[i]);
    });
    if (!(other < kAlpha * rowMost)) return {1, largest, zero};
    if (!(diagonal < kAlpha * columnMost * (columnMost / rowMost))) return {1, k, zero};
    return {2, largest, zero};
}

template <class Add>
[[gnu::always_inline]] inline void eliminateOne(double* ap, int k, Add add) {
    double* const column = packedColumn(ap, k);
#pragma GCC unroll 4
    for (int done = 0; done < k; ++done) {
        const int j = k - 1 - done;
        const double multiplier = -column[j] / column[k];
        add(j + 1, multiplier, column, packedColumn(ap, j));
        column[j] = multiplier;
    }
}

template <class Add>
[[gnu::always_inline]] inline void eliminateTwo(double* ap, int k, Add add) {
    double* const last = packedColumn(ap, k);
    double* const previous = packedColumn(ap, k - 1);
    const double off = last[k - 1];
    const double ak = last[k] / off;
    const double akm1 = previous[k - 1] / off;
    const double denominator = 1.0 - ak * akm1;
#pragma GCC unroll 4
    for (int done = 0; done < k - 1; ++done) {
        const int j = k - 2 - done;
        double* const column = packedColumn(ap, j);
        const double bk = last[j] / off;
        const double bkm1 = previous[j] / off;
        const double multiplier = (akm1 * bk - bkm1) / denominator;
        const double multiplierBefore = (ak * bkm1 - bk) / denominator;
        add(j + 1, multiplier, last, column);
        add(j + 1, multiplierBefore, previous, column);
        last[j] = multiplier;
        previous[j] = multiplierBefore;
    }
}

// Step k > 0: eliminates with a block of one or of two, whose order it returns; 0 when there is nothing
// to eliminate.
template <class Order, class Add>
[[gnu::always_inline]] inline int eliminate(Order n, double* ap, int k, int* kpvt, Add add) {
    const Pivot pivot = choosePivot(n, ap, k);
    const int l = pivot.exchangeWith;
    if (pivot.zero) {
        kpvt[k] = k + 1;
        return 0;
    }
    if (pivot.step == 1) {
        if (l != k) atPlace(n, 0, k, l, [=](int i) { exchangePacked(ap, i, k); });
        eliminateOne(ap, k, add);
        kpvt[k] = l + 1;
        return 1;
    }
    if (l != k - 1)
        atPlace(n, 0, k - 1, l, [=](int i) {
            exchangePacked(ap, i, k - 1);
            double* const column = packedColumn(ap, k);
            exchange(column[k - 1], column[i]);
        });
    eliminateTwo(ap, k, add);
    kpvt[k] = kpvt[k - 1] = -(l + 1);
    return 2;
}

template <class Order, class Add>
[[gnu::always_inline]] inline int factorPlain(double* ap, Order order, int* kpvt, Add add) {
    const int n = order;
    int info = 0;
    bool inBlock = false;  // of the step before
#pragma GCC unroll 4
    for (int done = 0; done < n; ++done) {
        const int k = n - 1 - done;
        if (inBlock) {
            inBlock = false;
        } else if (k > 0) {
            const int step = eliminate(order, ap, k, kpvt, add);
            if (step == 0) info = k + 1;
            inBlock = step == 2;
        } else {
            kpvt[0] = 1;
            if (ap[0] == 0.0) info = 1;
        }
    }
    return info;
}

template <int kOrder>
int factorSmall(double* ap, Fixed<kOrder> n, int* kpvt) {
    double own[kOrder * (kOrder + 1) / 2];
    copyPacked(n, ap, own);
    const int info = factorPlain(own, n, kpvt, AddFew());
    copyPacked(n, own, ap);
    return info;
}

int factorSmall(double* ap, int n, int* kpvt) {
    return factorPlain(ap, n, kpvt, AddFew());
}

// Up to this order the narrow kernel is the quicker one.
constexpr std::size_t kNarrow = 160;

const SymmetricTable& tableFor(int n) {
    return levelTables(static_cast<std::size_t>(n), kNarrow).symmetric;
}

}  // namespace

std::size_t dspfaWork(int n) {
    return n < kSmallest ? 0 : tableFor(n).work(static_cast<std::size_t>(n));
}

int dspfa(double* ap, int n, int* kpvt, double* work) {
    if (n <= kSmallOrder)
        return withSmallOrder(n, [=](auto m) { return factorSmall(ap, m, kpvt); });
    if (work == nullptr || n < kSmallest) return factorPlain(ap, n, kpvt, AddMany());
    return tableFor(n).factor(ap, static_cast<std::size_t>(n), kpvt, work);
}

}  // namespace kelvo::kernels
