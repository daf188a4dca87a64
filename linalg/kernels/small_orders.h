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

/// Copies a packed triangle of a fixed order.
template <int kOrder>
[[gnu::always_inline]] inline void copyPacked(Fixed<kOrder>, const double* a, double* b) {
#pragma GCC unroll 10
    for (int i = 0; i < kOrder * (kOrder + 1) / 2; ++i) b[i] = a[i];
}

/// op(i) for a place i, begin <= i < end. With a fixed order every place is compared with i, and op
/// gets a constant: what it looks at may then be in registers.
template <class Order, class Op>
[[gnu::always_inline]] inline void atPlace(Order, int begin, int end, int i, Op op) {
    if constexpr (kIsFixed<Order>) {
#pragma GCC unroll 4
        for (int place = begin; place < end; ++place)
            if (place == i) op(place);
    } else {
        op(i);
    }
}

/// Exchanges x(k) and x(l), begin <= l < end.
template <class Order>
[[gnu::always_inline]] inline void exchangeAt(Order n, int begin, int end, int l, double* x,
                                              int k) {
    atPlace(n, begin, end, l, [=](int i) { exchange(x[i], x[k]); });
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

/// Solves u x = b for the upper triangle u; x takes the place of b.
template <class Order, class Add>
[[gnu::always_inline]] inline void solveUpper(const double* u, std::ptrdiff_t ldu, Order order,
                                              double* b, Add add) {
    const int n = order;
#pragma GCC unroll 4
    for (int done = 0; done < n; ++done) {
        const int k = n - 1 - done;
        b[k] /= u[k + k * ldu];
        add(k, -b[k], u + k * ldu, b);
    }
}

}  // namespace kelvo::kernels
