#include <algorithm>

#include "linalg/kernels/exact_ops.h"
#include "linalg/kernels/packed_columns.h"
#include "linalg/kernels/symmetric.h"

namespace kelvo::kernels {
namespace {

double dotFast(int n, const double* x, const double* y) {
    return dot(static_cast<std::size_t>(n), x, y);
}

// Calls use(d) with numbers whose product is the determinant of D and whose signs are those of its
// eigenvalues. A block of two is known to have one of each sign.
template <class Use>
void eachFactor(const double* ap, int n, const int* kpvt, Use use) {
    double pending = 0.0;  // the second number of a block of two
    for (int k = 0; k < n; ++k) {
        double d = packedColumn(ap, k)[k];
        if (kpvt[k] < 0) {
            if (pending == 0.0 && k + 1 < n) {
                const double* const next = packedColumn(ap, k + 1);
                pending = std::fabs(next[k]);
                d = d / pending * next[k + 1] - pending;
            } else {
                d = pending;
                pending = 0.0;
            }
        }
        use(d);
    }
}

// The leading n x n matrix, inverted already, times the column that work keeps; returns the product
// of the result with that column.
double multiplyByLeading(const double* ap, int n, double* column, double* work) {
    std::copy_n(column, n, work);
    for (int j = 0; j < n; ++j) {
        const double* const other = packedColumn(ap, j);
        column[j] = dotFast(j + 1, other, work);
        addMultiple(j, work[j], other, column);
    }
    return dotFast(n, work, column);
}

void invertOne(double* ap, int k, double* work) {
    double* const column = packedColumn(ap, k);
    column[k] = 1.0 / column[k];
    if (k > 0) column[k] += multiplyByLeading(ap, k, column, work);
}

void invertTwo(double* ap, int k, double* work) {
    double* const first = packedColumn(ap, k);
    double* const second = packedColumn(ap, k + 1);
    const double t = std::fabs(second[k]);
    const double ak = first[k] / t;
    const double akp1 = second[k + 1] / t;
    const double off = second[k] / t;
    const double d = t * (ak * akp1 - 1.0);
    first[k] = akp1 / d;
    second[k + 1] = ak / d;
    second[k] = -off / d;
    if (k == 0) return;
    second[k + 1] += multiplyByLeading(ap, k, second, work);
    second[k] += dotFast(k, first, second);
    first[k] += multiplyByLeading(ap, k, first, work);
}

}  // namespace

void dspdi(double* ap, int n, const int* kpvt, double* det, int* inert, double* work, int job) {
    if (job % 1000 / 100 != 0) {
        std::fill_n(inert, 3, 0);
        eachFactor(ap, n, kpvt, [&](double d) {
            inert[0] += d > 0.0;
            inert[1] += d < 0.0;
            inert[2] += d == 0.0;
        });
    }
    if (job % 100 / 10 != 0) {
        DecimalProduct product;
        eachFactor(ap, n, kpvt, [&](double d) { product.multiplyBy(d); });
        det[0] = product.mantissa;
        det[1] = product.exponent;
    }
    if (job % 10 == 0) return;
    for (int k = 0; k < n;) {
        const int order = blockOrder(kpvt[k]);
        order == 1 ? invertOne(ap, k, work) : invertTwo(ap, k, work);
        const int l = exchangedWith(kpvt[k]);
        if (l != k) {
            exchangePacked(ap, l, k);
            double* const next = packedColumn(ap, k + 1);
            if (order == 2) exchange(next[l], next[k]);
        }
        k += order;
    }
}

}  // namespace kelvo::kernels
