// Products of the packed matrices with vectors. The stored triangle is read once, in its order.
#include <algorithm>

#include "linalg/kernels/vector_ops.h"
#include "linalg/mat_access.h"

namespace kelvo::linalg {
namespace {

using kernels::axpy;
using kernels::dot;

// Line k of the packed triangle, its first k + 1 elements: row k of a lower triangle, column k of
// an upper one.
const double* line(const double* packed, unsigned k) {
    return packed + packedSize(k);
}

// L x for a lower triangle, x'U for an upper one; x has `terms` elements.
void dotLines(const double* packed, unsigned n, const double* x, unsigned terms, double* y) {
    for (unsigned k = 0; k < n; ++k) y[k] = dot(std::min(k + 1, terms), line(packed, k), x);
}

// x'L for a lower triangle, U x for an upper one.
void addLines(const double* packed, unsigned n, const double* x, unsigned terms, double* y) {
    for (unsigned k = 0; k < std::min(n, terms); ++k) axpy(k + 1, x[k], line(packed, k), y);
}

// S x for a symmetric matrix: each cell serves for (i, j) and (j, i).
void multiplySymmetric(const double* packed, unsigned n, const double* x, unsigned terms,
                       double* y) {
    for (unsigned k = 0; k < n; ++k) {
        const double* const cells = line(packed, k);
        y[k] += dot(std::min(k + 1, terms), cells, x);
        if (k < terms) axpy(k, x[k], cells, y);
    }
}

typedef void (*Product)(const double* packed, unsigned n, const double* x, unsigned terms,
                        double* y);

template <class Mat>
DoubleVec apply(Product product, const Mat& a, const DoubleVec& x) {
    const DoubleVec elements = compact(MatAccess::data(a));
    const DoubleVec factors = compact(x);
    DoubleVec result(a.rows(), 0.0);
    if (areContiguous(elements, factors, result))
        product(elements.data(), a.rows(), factors.data(), factors.length(), result.data());
    return result;
}

template <class Mat>
DoubleVec matTimesVec(Product product, const Mat& a, const DoubleVec& x) {
    if (a.cols() != x.length())
        reportMathErrorId(kMatrixTimesVector, kClassName<Mat>, a.rows(), a.cols(), x.length());
    return apply(product, a, x);
}

template <class Mat>
DoubleVec vecTimesMat(Product product, const DoubleVec& x, const Mat& a) {
    if (x.length() != a.rows())
        reportMathErrorId(kVectorTimesMatrix, x.length(), kClassName<Mat>, a.rows(), a.cols());
    return apply(product, a, x);
}

}  // namespace
}  // namespace kelvo::linalg

using namespace kelvo::linalg;

DoubleVec product(const DoubleSymMat& a, const DoubleVec& x) {
    return matTimesVec(multiplySymmetric, a, x);
}
DoubleVec product(const DoubleLowerTriMat& a, const DoubleVec& x) {
    return matTimesVec(dotLines, a, x);
}
DoubleVec product(const DoubleUpperTriMat& a, const DoubleVec& x) {
    return matTimesVec(addLines, a, x);
}

DoubleVec product(const DoubleVec& x, const DoubleSymMat& a) {
    return vecTimesMat(multiplySymmetric, x, a);
}
DoubleVec product(const DoubleVec& x, const DoubleLowerTriMat& a) {
    return vecTimesMat(addLines, x, a);
}
DoubleVec product(const DoubleVec& x, const DoubleUpperTriMat& a) {
    return vecTimesMat(dotLines, x, a);
}
