#include "linalg/kernels/packed_columns.h"
#include "linalg/kernels/small_orders.h"
#include "linalg/kernels/symmetric.h"

namespace kelvo::kernels {
namespace {

inline double dotFast(int n, const double* x, const double* y) {
    if (n < static_cast<int>(kShortLength)) return dotInOrder(n, x, y);
    return dot(static_cast<std::size_t>(n), x, y);
}

// z of the condition estimate; scaled wherever it might overflow, with the scales gathered.
struct Estimate {
    const double* ap;
    int n;
    const int* kpvt;
    double* z;
    double ynorm = 1.0;

    void shrink(double factor) {
        scaleBy(n, factor, z);
        ynorm *= factor;
    }
    void normalise() { shrink(1.0 / absoluteSum(n, z)); }

    // The block of D that ends with k.
    void solveBlock(int k, int order, double* ek) {
        if (order == 2) return solveBlockOfTwo(ap, k, z);
        const double pivot = packedColumn(ap, k)[k];
        if (std::fabs(z[k]) > std::fabs(pivot)) {
            const double s = std::fabs(pivot) / std::fabs(z[k]);
            shrink(s);
            *ek *= s;
        }
        z[k] = pivot != 0.0 ? z[k] / pivot : 1.0;
    }

    // U D w = e, with elements 1 or -1 of e chosen to make w grow.
    void solveWithGrowth() {
        double ek = 1.0;
        const auto push = [&](int k, int rows) {
            if (z[k] != 0.0) ek = std::copysign(ek, z[k]);
            z[k] += ek;
            addMultiple(rows, z[k], packedColumn(ap, k), z);
        };
        for (int k = n - 1; k >= 0;) {
            const int order = blockOrder(kpvt[k]), first = k + 1 - order;
            exchange(z[exchangedWith(kpvt[k])], z[first]);
            push(k, first);
            if (order == 2) push(k - 1, first);
            solveBlock(k, order, &ek);
            k -= order;
        }
    }

    void solveUD() {
        double unused = 0.0;
        for (int k = n - 1; k >= 0;) {
            const int order = blockOrder(kpvt[k]), first = k + 1 - order;
            if (first > 0) {
                exchange(z[exchangedWith(kpvt[k])], z[first]);
                addMultiple(first, z[k], packedColumn(ap, k), z);
                if (order == 2) addMultiple(first, z[k - 1], packedColumn(ap, k - 1), z);
            }
            solveBlock(k, order, &unused);
            k -= order;
        }
    }
};

// U' x = b
template <class Order>
[[gnu::always_inline]] inline void solveTransposedU(const double* ap, Order order, const int* kpvt,
                                                    double* b) {
    const int n = order;
    bool inBlock = false;  // of the step before
#pragma GCC unroll 4
    for (int k = 0; k < n; ++k) {
        const bool second = inBlock;
        inBlock = !second && k + 1 < n && blockOrder(kpvt[k]) == 2;
        if (k == 0 || second) continue;
        b[k] += dotFast(k, packedColumn(ap, k), b);
        if (inBlock) b[k + 1] += dotFast(k, packedColumn(ap, k + 1), b);
        exchangeAt(order, 0, k, exchangedWith(kpvt[k]), b, k);
    }
}

// U D x = b
template <class Order, class Add>
[[gnu::always_inline]] inline void solveUD(const double* ap, Order order, const int* kpvt,
                                           double* b, Add add) {
    const int n = order;
    bool inBlock = false;  // of the step before
#pragma GCC unroll 4
    for (int done = 0; done < n; ++done) {
        const int k = n - 1 - done;
        const bool second = inBlock;
        inBlock = !second && k > 0 && blockOrder(kpvt[k]) == 2;
        if (second) continue;
        if (!inBlock) {
            exchangeAt(order, 0, k, exchangedWith(kpvt[k]), b, k);
            add(k, b[k], packedColumn(ap, k), b);
            b[k] /= packedColumn(ap, k)[k];
        } else {
            exchangeAt(order, 0, k - 1, exchangedWith(kpvt[k]), b, k - 1);
            add(k - 1, b[k], packedColumn(ap, k), b);
            add(k - 1, b[k - 1], packedColumn(ap, k - 1), b);
            solveBlockOfTwo(ap, k, b);
        }
    }
}

template <class Order, class Add>
[[gnu::always_inline]] inline void solvePlain(const double* ap, Order n, const int* kpvt, double* b,
                                              Add add) {
    solveUD(ap, n, kpvt, b, add);
    solveTransposedU(ap, n, kpvt, b);
}

template <int kOrder>
void solveSmall(const double* ap, Fixed<kOrder> n, const int* kpvt, double* b) {
    double own[kOrder];
    copyFixed(n, b, own);
    solvePlain(ap, n, kpvt, own, AddFew());
    copyFixed(n, own, b);
}

void solveSmall(const double* ap, int n, const int* kpvt, double* b) {
    solvePlain(ap, n, kpvt, b, AddFew());
}

// z is scratch: the sums of the columns so far.
double oneNorm(const double* ap, int n, double* z) {
    double norm = 0.0;
    for (int j = 0; j < n; ++j) {
        const double* const column = packedColumn(ap, j);
        z[j] = absoluteSum(j + 1, column);
        for (int i = 0; i < j; ++i) z[i] += std::fabs(column[i]);
    }
    for (int j = 0; j < n; ++j)
        if (z[j] > norm) norm = z[j];
    return norm;
}

}  // namespace

void dspsl(const double* ap, int n, const int* kpvt, double* b) {
    if (n > kSmallOrder) return solvePlain(ap, n, kpvt, b, AddMany());
    withSmallOrder(n, [=](auto m) { solveSmall(ap, m, kpvt, b); });
}

double dspco(double* ap, int n, int* kpvt, double* z, double* work) {
    const double anorm = oneNorm(ap, n, z);
    dspfa(ap, n, kpvt, work);
    for (int k = 0; k < n; ++k) z[k] = 0.0;
    Estimate estimate{ap, n, kpvt, z};
    estimate.solveWithGrowth();
    estimate.normalise();
    solveTransposedU(ap, n, kpvt, z);
    estimate.normalise();
    estimate.ynorm = 1.0;
    estimate.solveUD();
    estimate.normalise();
    solveTransposedU(ap, n, kpvt, z);
    estimate.normalise();
    return anorm != 0.0 ? estimate.ynorm / anorm : 0.0;
}

}  // namespace kelvo::kernels
