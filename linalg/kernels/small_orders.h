// The loops of solvers over few elements. Private to the kernels.
//   1. One element after another: a vector register loaded from elements that were stored singly a
//      moment ago waits for them longer than their sums take.
//   2. The orders 2 to 4 are constants: nothing is left of their loops.
#pragma once

#include <type_traits>

#include "linalg/kernels/exact_ops.h"

namespace kelvo::kernels {

/// Up to this order a system is small.
constexpr int kSmallOrder = 12;

/// An order that is a constant.
template <int kOrder>
using Fixed = std::integral_constant<int, kOrder>;

template <class Order>
constexpr bool kIsFixed = !std::is_same_v<Order, int>;

/// op(n), where the n handed to op is a constant for the smallest orders.
template <class Op>
inline auto withSmallOrder(int n, Op op) {
    switch (n) {
        case 2:
            return op(Fixed<2>());
        case 3:
            return op(Fixed<3>());
        case 4:
            return op(Fixed<4>());
        default:
            return op(n);
    }
}

/// Copies a vector of a fixed order.
template <int kOrder>
[[gnu::always_inline]] inline void copyFixed(Fixed<kOrder>, const double* x, double* y) {
#pragma GCC unroll 4
    for (int i = 0; i < kOrder; ++i) y[i] = x[i];
}

/// Copies a square matrix of a fixed order.
template <int kOrder>
[[gnu::always_inline]] inline void copyFixed(Fixed<kOrder> n, const double* a, std::ptrdiff_t lda,
                                             double* b, std::ptrdiff_t ldb) {
#pragma GCC unroll 4
    for (int j = 0; j < kOrder; ++j) copyFixed(n, a + j * lda, b + j * ldb);
}

/// Exchanges x(k) and x(l), l >= k. Of a fixed order it only compares: x may then be in registers.
template <class Order>
[[gnu::always_inline]] inline void exchangeWithLater(Order n, int k, int l, double* x) {
    if constexpr (kIsFixed<Order>) {
        const int end = n;
#pragma GCC unroll 4
        for (int i = k + 1; i < end; ++i)
            if (i == l) exchange(x[i], x[k]);
    } else {
        exchange(x[l], x[k]);
    }
}

/// addMultiple for few and for many elements.
struct AddFew {
    [[gnu::always_inline]] void operator()(int n, double a, const double* x, double* y) const {
        if (a == 0.0) return;
#pragma GCC unroll 4
        for (int i = 0; i < n; ++i) y[i] += a * x[i];
    }
};
struct AddMany {
    void operator()(int n, double a, const double* x, double* y) const { addMultiple(n, a, x, y); }
};

}  // namespace kelvo::kernels
