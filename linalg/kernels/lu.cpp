#include "linalg/kernels/lu.h"

#include "linalg/kernels/level_tables.h"
#include "linalg/kernels/small_orders.h"

namespace kelvo::kernels {
namespace {

// Below this order blocks cost more than they gain.
constexpr int kSmallest = 12;

template <class Order, class Add>
[[gnu::always_inline]] inline int factorPlain(double* a, std::ptrdiff_t lda, Order order, int* ipvt,
                                              Add add) {
    const int n = order;
    int info = 0;
#pragma GCC unroll 4
    for (int k = 0; k + 1 < n; ++k) {
        double* const column = a + k * lda;
        int l = k;
        double pivot = column[k];
#pragma GCC unroll 4
        for (int i = k + 1; i < n; ++i) {
            if (!(std::fabs(column[i]) > std::fabs(pivot))) continue;
            l = i;
            pivot = column[i];
        }
        ipvt[k] = l + 1;
        if (pivot == 0.0) {  // eliminated already
            info = k + 1;
            continue;
        }
        exchangeAt(order, k, n, l, column, k);
        const double scale = -1.0 / pivot;
#pragma GCC unroll 4
        for (int i = k + 1; i < n; ++i) column[i] *= scale;
#pragma GCC unroll 4
        for (int j = k + 1; j < n; ++j) {
            double* const other = a + j * lda;
            exchangeAt(order, k, n, l, other, k);
            add(n - k - 1, other[k], column + k + 1, other + k + 1);
        }
    }
    if (n > 0) {
        ipvt[n - 1] = n;
        if (a[(n - 1) * (lda + 1)] == 0.0) info = n;
    }
    return info;
}

// The same in registers where the order is fixed.
template <int kOrder>
int factorSmall(double* a, std::ptrdiff_t lda, Fixed<kOrder> n, int* ipvt) {
    double own[kOrder * kOrder];
    copyFixed(n, a, lda, own, n);
    const int info = factorPlain(own, n, n, ipvt, AddFew());
    copyFixed(n, own, n, a, lda);
    return info;
}

int factorSmall(double* a, std::ptrdiff_t lda, int n, int* ipvt) {
    return factorPlain(a, lda, n, ipvt, AddFew());
}

template <class Order, class Add>
[[gnu::always_inline]] inline void solvePlain(const double* a, std::ptrdiff_t lda, Order order,
                                              const int* ipvt, double* b, Add add) {
    const int n = order;
#pragma GCC unroll 4
    for (int k = 0; k + 1 < n; ++k) {
        exchangeAt(order, k, n, ipvt[k] - 1, b, k);
        add(n - k - 1, b[k], a + k * lda + k + 1, b + k + 1);
    }
    solveUpper(a, lda, order, b, add);
}

template <int kOrder>
void solveSmall(const double* a, std::ptrdiff_t lda, Fixed<kOrder> n, const int* ipvt, double* b) {
    double own[kOrder];
    copyFixed(n, b, own);
    solvePlain(a, lda, n, ipvt, own, AddFew());
    copyFixed(n, own, b);
}

void solveSmall(const double* a, std::ptrdiff_t lda, int n, const int* ipvt, double* b) {
    return solvePlain(a, lda, n, ipvt, b, AddFew());
}

}  // namespace

std::size_t dgefaWork(int n) {
    return n < kSmallest ? 0 : levelTables().lu.work(static_cast<std::size_t>(n));
}

int dgefa(double* a, std::ptrdiff_t lda, int n, int* ipvt, double* work) {
    if (n < kSmallest)
        return withSmallOrder(n, [=](auto m) { return factorSmall(a, lda, m, ipvt); });
    if (work == nullptr) return factorPlain(a, lda, n, ipvt, AddMany());
    return levelTables().lu.factor(a, static_cast<std::size_t>(lda), static_cast<std::size_t>(n),
                                   ipvt, work);
}

void dgesl(const double* a, std::ptrdiff_t lda, int n, const int* ipvt, double* b, int job) {
    if (job == 0) {
        if (n > kSmallOrder) return solvePlain(a, lda, n, ipvt, b, AddMany());
        return withSmallOrder(n, [=](auto m) { solveSmall(a, lda, m, ipvt, b); });
    }
    for (int k = 0; k < n; ++k) b[k] = (b[k] - dotInOrder(k, a + k * lda, b)) / a[k + k * lda];
    for (int k = n - 2; k >= 0; --k) {
        b[k] += dotInOrder(n - k - 1, a + k * lda + k + 1, b + k + 1);
        exchange(b[ipvt[k] - 1], b[k]);
    }
}

}  // namespace kelvo::kernels
