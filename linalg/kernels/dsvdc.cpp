#include "linalg/kernels/dsvdc.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "linalg/kernels/bidiagonal_reduction.h"
#include "linalg/kernels/bidiagonal_svd.h"

namespace kelvo::kernels {
namespace {

void fillColumns(double* a, std::ptrdiff_t lda, int n, int p, double value) {
    for (int j = 0; j < p; ++j) std::fill_n(a + j * lda, n, value);
}

int giveUpOnNonFinite(const SvdTask& t) {
    constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
    std::fill_n(t.s, t.order(), kNan);
    std::fill_n(t.e, t.p, kNan);
    if (t.u) fillColumns(t.u, t.ldu, t.n, t.uColumns, kNan);
    if (t.v) fillColumns(t.v, t.ldv, t.p, t.p, kNan);
    return std::min(t.n, t.p);
}

// No rows or no columns: nothing to find, the vectors are those of the identity.
int decomposeEmpty(const SvdTask& t) {
    std::fill_n(t.s, std::max(t.order(), 0), 0.0);
    std::fill_n(t.e, std::max(t.p, 0), 0.0);
    if (t.u) {
        for (int j = 0; j < t.uColumns; ++j) makeIdentityColumn(t.uColumn(j), t.n, j);
    }
    if (t.v) {
        for (int j = 0; j < t.p; ++j) makeIdentityColumn(t.vColumn(j), t.p, j);
    }
    return 0;
}

// The largest absolute value, or not-a-number when an element is no finite number.
double largestElement(const SvdTask& t) {
    double largest = 0.0, poison = 0.0;
    for (int j = 0; j < t.p; ++j) {
        const double* column = t.xColumn(j);
        for (int i = 0; i < t.n; ++i) {
            largest = std::max(largest, std::fabs(column[i]));
            poison += column[i] * 0.0;  // not a number for an infinity too
        }
    }
    return largest + poison;
}

// The power of two that brings the largest element into the range where sums of all elements do not
// overflow and rounding errors are not subnormal.
int workExponent(double largest) {
    constexpr int kLeast = -900, kMost = 960;
    const int exponent = largest == 0.0 ? 0 : std::ilogb(largest);
    return std::clamp(exponent, kLeast, kMost) - exponent;
}

void multiplyByPowerOfTwo(int n, double* x, int exponent) {
    for (int i = 0; i < n; ++i) x[i] = std::scalbn(x[i], exponent);
}

}  // namespace

std::size_t dsvdcScratch(int n, int p) {
    return std::max(reductionWork(n, p), diagonalizeWork(std::min(n + 1, p)));
}

int dsvdc(double* x, int ldx, int n, int p, double* s, double* e, double* u, int ldu, double* v,
          int ldv, double* work, int job, double* scratch) {
    const int jobU = job % 100 / 10;
    SvdTask t = {x,
                 ldx,
                 n,
                 p,
                 s,
                 e,
                 jobU != 0 ? u : nullptr,
                 ldu,
                 jobU > 1 ? std::min(n, p) : n,
                 job % 10 != 0 ? v : nullptr,
                 ldv,
                 work};
    if (n <= 0 || p <= 0) return decomposeEmpty(t);
    const double largest = largestElement(t);
    if (!std::isfinite(largest)) return giveUpOnNonFinite(t);

    const int exponent = workExponent(largest);
    if (exponent != 0) {
        for (int j = 0; j < p; ++j) multiplyByPowerOfTwo(n, t.xColumn(j), exponent);
    }
    double* const forReduction = reductionWork(n, p) != 0 ? scratch : nullptr;
    reduceToBidiagonal(t, forReduction);
    if (t.u) accumulateU(t, forReduction);
    if (t.v) accumulateV(t, forReduction);
    const Rotated left = {t.u, t.ldu, n, t.uColumns}, right = {t.v, t.ldv, p, p};
    const int missing = diagonalize(t.order(), s, e, left, right, scratch);
    if (exponent != 0) {
        multiplyByPowerOfTwo(t.order(), s, -exponent);
        multiplyByPowerOfTwo(t.order(), e, -exponent);
    }
    return std::min(missing, std::min(n, p));
}

}  // namespace kelvo::kernels
