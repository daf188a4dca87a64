#include "linalg/kernels/exact_ops.h"
#include "linalg/kernels/lu.h"

namespace kelvo::kernels {
namespace {

void invertU(double* a, std::ptrdiff_t lda, int n) {
    for (int k = 0; k < n; ++k) {
        double* const column = a + k * lda;
        column[k] = 1.0 / column[k];
        scaleBy(k, -column[k], column);
        for (int j = k + 1; j < n; ++j) {
            double* const other = a + j * lda;
            const double t = other[k];
            other[k] = 0.0;
            addMultiple(k + 1, t, column, other);
        }
    }
}

// inverse(U) is in the upper triangle, the multipliers below.
void multiplyByInverseL(double* a, std::ptrdiff_t lda, int n, const int* ipvt, double* work) {
    for (int k = n - 2; k >= 0; --k) {
        double* const column = a + k * lda;
        for (int i = k + 1; i < n; ++i) {
            work[i] = column[i];
            column[i] = 0.0;
        }
        for (int j = k + 1; j < n; ++j) addMultiple(n, work[j], a + j * lda, column);
        const int l = ipvt[k] - 1;
        if (l != k) swap(static_cast<std::size_t>(n), column, a + l * lda);
    }
}

}  // namespace

void dgedi(double* a, std::ptrdiff_t lda, int n, const int* ipvt, double* det, double* work,
           int job) {
    if (job / 10 != 0) {
        DecimalProduct product;
        for (int i = 0; i < n && product.mantissa != 0.0; ++i) {
            if (ipvt[i] != i + 1) product.mantissa = -product.mantissa;
            product.multiplyBy(a[i + i * lda]);
        }
        det[0] = product.mantissa;
        det[1] = product.exponent;
    }
    if (job % 10 != 0) {
        invertU(a, lda, n);
        multiplyByInverseL(a, lda, n, ipvt, work);
    }
}

}  // namespace kelvo::kernels
