#include "linalg/kernels/dsvdc.h"

#include <algorithm>
#include <limits>

#include "linalg/kernels/bidiagonal_svd.h"
#include "linalg/kernels/householder.h"

namespace kelvo::kernels {
namespace {

// The decomposition under way.
struct Task {
    double* x;
    std::ptrdiff_t ldx;
    int n, p;
    double *s, *e;
    double* u;  // null when not wanted
    std::ptrdiff_t ldu;
    int uColumns;
    double* v;  // null when not wanted
    std::ptrdiff_t ldv;
    double* work;

    double* xColumn(int j) const { return x + j * ldx; }
    double* uColumn(int j) const { return u + j * ldu; }
    double* vColumn(int j) const { return v + j * ldv; }
    int columnReflections() const { return std::min(n - 1, p); }
    int rowReflections() const { return std::max(0, std::min(p - 2, n)); }
    int order() const { return std::min(n + 1, p); }  // of the bidiagonal matrix
};

// Reflection from the left: column l below its diagonal goes to zero, the diagonal to s[l].
void reduceColumn(const Task& t, int l) {
    double* head = t.xColumn(l) + l;
    const double norm = makeReflection(t.n - l, head);
    t.s[l] = -norm;
    if (norm != 0.0) {
        for (int j = l + 1; j < t.p; ++j) applyReflection(t.n - l, head, t.xColumn(j) + l);
    }
    if (t.u && t.u != t.x) std::copy(head, t.xColumn(l) + t.n, t.uColumn(l) + l);
}

// Reflection from the right: row l beyond its super-diagonal goes to zero, that to e[l]. The row is
// worked on in e, which is contiguous.
void reduceRow(const Task& t, int l) {
    double* row = t.e + l + 1;
    const int length = t.p - l - 1;
    const double norm = makeReflection(length, row);
    t.e[l] = -norm;
    const int below = t.n - l - 1;
    if (below > 0 && norm != 0.0) {
        double* product = t.work + l + 1;
        std::fill_n(product, below, 0.0);
        for (int j = l + 1; j < t.p; ++j) axpy(below, t.e[j], t.xColumn(j) + l + 1, product);
        for (int j = l + 1; j < t.p; ++j)
            axpy(below, -t.e[j] / row[0], product, t.xColumn(j) + l + 1);
    }
    if (t.v) std::copy(row, row + length, t.vColumn(l) + l + 1);
}

void reduceToBidiagonal(const Task& t) {
    const int columns = t.columnReflections(), rows = t.rowReflections(), m = t.order();
    for (int l = 0; l < std::max(columns, rows); ++l) {
        if (l < columns) reduceColumn(t, l);
        for (int j = l + 1; j < t.p; ++j) t.e[j] = t.xColumn(j)[l];
        if (l < rows) reduceRow(t, l);
    }
    // What no reflection was needed for.
    if (columns < t.p) t.s[columns] = t.xColumn(columns)[columns];
    if (t.n < m) t.s[m - 1] = 0.0;
    if (rows + 1 < m) t.e[rows] = t.xColumn(m - 1)[rows];
    std::fill(t.e + m - 1, t.e + t.p, 0.0);
}

void makeIdentityColumn(double* column, int length, int j) {
    std::fill_n(column, length, 0.0);
    column[j] = 1.0;
}

// U = product of the left reflections, whose vectors stand below its diagonal.
void accumulateU(const Task& t) {
    const int reflections = t.columnReflections();
    for (int j = reflections; j < t.uColumns; ++j) makeIdentityColumn(t.uColumn(j), t.n, j);
    for (int l = reflections - 1; l >= 0; --l) {
        double* column = t.uColumn(l);
        if (t.s[l] == 0.0) {
            makeIdentityColumn(column, t.n, l);
            continue;
        }
        for (int j = l + 1; j < t.uColumns; ++j) {
            applyReflection(t.n - l, column + l, t.uColumn(j) + l);
        }
        scale(t.n - l, -1.0, column + l);
        column[l] += 1.0;
        std::fill_n(column, l, 0.0);
    }
}

// V = product of the right reflections; that of row l acts on the rows from l + 1.
void accumulateV(const Task& t) {
    for (int l = t.p - 1; l >= 0; --l) {
        if (l < t.rowReflections() && t.e[l] != 0.0) {
            const double* head = t.vColumn(l) + l + 1;
            for (int j = l + 1; j < t.p; ++j) {
                applyReflection(t.p - l - 1, head, t.vColumn(j) + l + 1);
            }
        }
        makeIdentityColumn(t.vColumn(l), t.p, l);
    }
}

void fillColumns(double* a, std::ptrdiff_t lda, int n, int p, double value) {
    for (int j = 0; j < p; ++j) std::fill_n(a + j * lda, n, value);
}

int giveUpOnNonFinite(const Task& t) {
    constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
    std::fill_n(t.s, t.order(), kNan);
    std::fill_n(t.e, t.p, kNan);
    if (t.u) fillColumns(t.u, t.ldu, t.n, t.uColumns, kNan);
    if (t.v) fillColumns(t.v, t.ldv, t.p, t.p, kNan);
    return std::min(t.n, t.p);
}

// No rows or no columns: nothing to find, the vectors are those of the identity.
int decomposeEmpty(const Task& t) {
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
double largestElement(const Task& t) {
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

int dsvdc(double* x, int ldx, int n, int p, double* s, double* e, double* u, int ldu, double* v,
          int ldv, double* work, int job) {
    const int jobU = job % 100 / 10;
    Task t = {x,
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
    reduceToBidiagonal(t);
    if (t.u) accumulateU(t);
    if (t.v) accumulateV(t);
    const Rotated left = {t.u, t.ldu, n, t.uColumns}, right = {t.v, t.ldv, p, p};
    const int missing = diagonalize(t.order(), s, e, left, right);
    if (exponent != 0) {
        multiplyByPowerOfTwo(t.order(), s, -exponent);
        multiplyByPowerOfTwo(t.order(), e, -exponent);
    }
    return std::min(missing, std::min(n, p));
}

}  // namespace kelvo::kernels
