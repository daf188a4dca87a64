#include "linalg/kernels/cholesky.h"

#include "linalg/kernels/level_tables.h"
#include "linalg/kernels/small_orders.h"

namespace kelvo::kernels {
namespace {

// Below this order blocks cost more than they gain.
constexpr int kSmallest = 14, kSmallestPivoted = 10;

bool isSmall(int p, int job) {
    return p < (job != 0 ? kSmallestPivoted : kSmallest);
}

// Exchanges rows and columns i < j of the symmetric matrix in the upper triangle.
void exchangeSymmetric(double* a, std::ptrdiff_t lda, int p, int i, int j) {
    double* const first = a + i * lda;
    double* const second = a + j * lda;
    swap(static_cast<std::size_t>(i), first, second);
    exchange(first[i], second[j]);
    for (int m = i + 1; m < j; ++m) exchange(a[i + m * lda], second[m]);
    for (int m = j + 1; m < p; ++m) exchange(a[i + m * lda], a[j + m * lda]);
}

// The diagonal elements that take part in the pivoting.
struct Range {
    int begin, end;
};

// Moves initial elements to the front and final ones to the end, and writes the permutation.
Range arrange(double* a, std::ptrdiff_t lda, int p, int* jpvt) {
    Range free = {0, p};
    for (int k = 0; k < p; ++k) {
        const int specifier = jpvt[k];
        jpvt[k] = specifier < 0 ? -(k + 1) : k + 1;
        if (specifier <= 0) continue;
        if (k != free.begin) {
            exchangeSymmetric(a, lda, p, free.begin, k);
            jpvt[k] = jpvt[free.begin];
            jpvt[free.begin] = k + 1;
        }
        ++free.begin;
    }
    for (int k = p - 1; k >= free.begin; --k) {
        if (jpvt[k] >= 0) continue;
        jpvt[k] = -jpvt[k];
        if (--free.end == k) continue;
        exchangeSymmetric(a, lda, p, k, free.end);
        const int t = jpvt[k];
        jpvt[k] = jpvt[free.end];
        jpvt[free.end] = t;
    }
    return free;
}

int largestDiagonal(const double* a, std::ptrdiff_t lda, int k, const Range& free) {
    int at = k;
    for (int l = k + 1; k >= free.begin && l < free.end; ++l)
        if (a[l + l * lda] > a[at + at * lda]) at = l;
    return at;
}

template <class Order, class Add>
[[gnu::always_inline]] inline int factorPlain(double* a, std::ptrdiff_t lda, Order order,
                                              double* work, int* jpvt, const Range& free, Add add) {
    const int p = order;
#pragma GCC unroll 4
    for (int k = 0; k < p; ++k) {
        const int l = largestDiagonal(a, lda, k, free);
        if (!(a[l + l * lda] > 0.0)) return k;
        if (l != k) {
            exchangeSymmetric(a, lda, p, k, l);
            const int t = jpvt[k];
            jpvt[k] = jpvt[l];
            jpvt[l] = t;
        }
        const double root = std::sqrt(a[k + k * lda]);
        a[k + k * lda] = root;
#pragma GCC unroll 4
        for (int j = k + 1; j < p; ++j) {
            double* const column = a + j * lda;
            column[k] /= root;
            work[j] = column[k];
            add(j - k, -column[k], work + k + 1, column + k + 1);
        }
    }
    return p;
}

template <class Order, class Add>
[[gnu::always_inline]] inline void solvePlain(const double* r, std::ptrdiff_t ldr, Order order,
                                              double* b, Add add) {
    const int n = order;
#pragma GCC unroll 4
    for (int k = 0; k < n; ++k) b[k] = (b[k] - dotInOrder(k, r + k * ldr, b)) / r[k + k * ldr];
    solveUpper(r, ldr, order, b, add);
}

// In registers where the order is fixed.
template <int kOrder>
void solveSmall(const double* r, std::ptrdiff_t ldr, Fixed<kOrder> n, double* b) {
    double own[kOrder];
    copyFixed(n, b, own);
    solvePlain(r, ldr, n, own, AddFew());
    copyFixed(n, own, b);
}

void solveSmall(const double* r, std::ptrdiff_t ldr, int n, double* b) {
    return solvePlain(r, ldr, n, b, AddFew());
}

// Without pivots.
template <int kOrder>
int factorSmall(double* a, std::ptrdiff_t lda, Fixed<kOrder> n, double* /*work*/) {
    double own[kOrder * kOrder], row[kOrder];
    copyFixed(n, a, lda, own, n);
    const int last = factorPlain(own, n, n, row, nullptr, {0, 0}, AddFew());
    copyFixed(n, own, n, a, lda);
    return last;
}

int factorSmall(double* a, std::ptrdiff_t lda, int n, double* work) {
    return factorPlain(a, lda, n, work, nullptr, {0, 0}, AddFew());
}

// Up to this order the narrow kernel with pivoting is the quicker one.
constexpr std::size_t kNarrow = 250;

const PivotedCholeskyTable& pivotedTableFor(int p) {
    return levelTables(static_cast<std::size_t>(p), kNarrow).pivotedCholesky;
}

}  // namespace

std::size_t dchdcScratch(int p, int job) {
    if (isSmall(p, job)) return 0;
    const auto n = static_cast<std::size_t>(p);
    return job != 0 ? pivotedTableFor(p).work(n) : levelTables().cholesky.work(n);
}

int dchdc(double* a, std::ptrdiff_t lda, int p, double* work, int* jpvt, int job, double* scratch) {
    const Range free = job != 0 ? arrange(a, lda, p, jpvt) : Range{0, 0};
    if (isSmall(p, job) && job == 0)
        return withSmallOrder(p, [=](auto n) { return factorSmall(a, lda, n, work); });
    if (isSmall(p, job)) return factorPlain(a, lda, p, work, jpvt, free, AddFew());
    if (scratch == nullptr) return factorPlain(a, lda, p, work, jpvt, free, AddMany());
    const auto n = static_cast<std::size_t>(p), step = static_cast<std::size_t>(lda);
    if (job == 0) return levelTables().cholesky.factor(a, step, n, scratch);
    return pivotedTableFor(p).factor(a, step, n, jpvt, static_cast<std::size_t>(free.begin),
                                     static_cast<std::size_t>(free.end), scratch);
}

void dposl(const double* r, std::ptrdiff_t ldr, int n, double* b) {
    if (n > kSmallOrder) return solvePlain(r, ldr, n, b, AddMany());
    return withSmallOrder(n, [=](auto m) { solveSmall(r, ldr, m, b); });
}

}  // namespace kelvo::kernels
