// Transposition and products of the rectangular matrices. Operands that are not contiguous are made
// compact first. Where lengths do not agree the sums run over the shorter one.
#include <algorithm>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

#include "linalg/element_loops.h"
#include "linalg/int_products.h"
#include "linalg/kernels/gemm.h"
#include "linalg/mat_access.h"
#include "linalg/scratch.h"

namespace kelvo::linalg {
namespace {

using ints::gemm;
using ints::gemv;
using ints::gemvTransposed;
using ints::transpose;
using kernels::Form;
using kernels::gemv;
using kernels::gemvTransposed;
using kernels::transpose;

// Without memory for packing it only takes longer.
void gemm(Form formA, Form formB, std::size_t m, std::size_t n, std::size_t k, const double* a,
          std::size_t lda, const double* b, std::size_t ldb, double* c, std::size_t ldc) {
    const std::size_t size = kernels::gemmWork(formA, m, n, k);
    double* const work = size > 0 ? scratchMemory(size) : nullptr;
    kernels::gemm(formA, formB, m, n, k, a, lda, b, ldb, c, ldc, work);
}

template <class Mat>
using VecOf = std::remove_cvref_t<decltype(MatAccess::data(std::declval<const Mat&>()))>;

template <class Mat>
Mat transposed(const Mat& m) {
    const auto from = compact(MatAccess::data(m));
    VecOf<Mat> to = newElements<VecOf<Mat>>(from.length());
    if (areContiguous(from, to))
        transpose(m.rows(), m.cols(), from.data(), m.rows(), to.data(), m.cols());
    return Mat(to, m.cols(), m.rows());
}

template <class Mat, class Vec>
Vec matTimesVec(const Mat& a, const Vec& x) {
    if (a.cols() != x.length())
        reportMathErrorId(kMatrixTimesVector, kClassName<Mat>, a.rows(), a.cols(), x.length());
    const Vec elements = compact(MatAccess::data(a));
    const Vec right = compact(x);
    Vec result(a.rows());
    if (areContiguous(elements, right, result))
        gemv(a.rows(), std::min(a.cols(), x.length()), elements.data(), a.rows(), right.data(),
             result.data());
    return result;
}

template <class Mat, class Vec>
Vec vecTimesMat(const Vec& x, const Mat& a) {
    if (x.length() != a.rows())
        reportMathErrorId(kVectorTimesMatrix, x.length(), kClassName<Mat>, a.rows(), a.cols());
    const Vec elements = compact(MatAccess::data(a));
    const Vec left = compact(x);
    Vec result(a.cols());
    if (areContiguous(elements, left, result))
        gemvTransposed(std::min(a.rows(), x.length()), a.cols(), elements.data(), a.rows(),
                       left.data(), result.data());
    return result;
}

// op(A) op(B). The caller has compared the inner dimensions.
template <class Mat>
Mat matTimesMat(Form formA, const Mat& a, Form formB, const Mat& b) {
    const bool plainA = formA == Form::kPlain;
    const bool plainB = formB == Form::kPlain;
    const unsigned rows = plainA ? a.rows() : a.cols();
    const unsigned cols = plainB ? b.cols() : b.rows();
    const unsigned depth = std::min(plainA ? a.cols() : a.rows(), plainB ? b.rows() : b.cols());
    const auto left = compact(MatAccess::data(a));
    const auto right = compact(MatAccess::data(b));
    Mat result(rows, cols);
    if (areContiguous(left, right, MatAccess::data(result)) && result.rows() == rows)
        gemm(formA, formB, rows, cols, depth, left.data(), a.rows(), right.data(), b.rows(),
             result.data(), rows);
    return result;
}

template <class Mat>
Mat plainProduct(const Mat& a, const Mat& b) {
    if (a.cols() != b.rows())
        reportMathErrorId(kMatrixTimesMatrix, kClassName<Mat>, a.rows(), a.cols(), b.rows(),
                          b.cols());
    return matTimesMat(Form::kPlain, a, Form::kPlain, b);
}

template <class Mat>
Mat rightTransposedProduct(const Mat& a, const Mat& b) {
    if (a.cols() != b.cols())
        reportMathErrorId(kMatrixTimesMatrix, kClassName<Mat>, a.rows(), a.cols(), b.cols(),
                          b.rows());
    return matTimesMat(Form::kPlain, a, Form::kTransposed, b);
}

template <class Mat>
Mat leftTransposedProduct(const Mat& a, const Mat& b) {
    if (a.rows() != b.rows())
        reportMathErrorId(kMatrixTimesMatrix, kClassName<Mat>, a.cols(), a.rows(), b.rows(),
                          b.cols());
    return matTimesMat(Form::kTransposed, a, Form::kPlain, b);
}

template <class Mat>
Mat kroneckerProduct(const Mat& a, const Mat& b) {
    using Vec = VecOf<Mat>;
    const std::uint64_t rows = fullSize(a.rows(), b.rows());
    const std::uint64_t cols = fullSize(a.cols(), b.cols());
    if (!fitsVector(rows) || !fitsVector(cols)) return Mat();
    Mat result(static_cast<unsigned>(rows), static_cast<unsigned>(cols));
    const Vec block = compact(MatAccess::data(b));
    if (!areContiguous(block, MatAccess::data(result)) || result.rows() != rows) return result;
    auto* to = result.data();
    for (int ja = 0; ja < static_cast<int>(a.cols()); ++ja) {
        for (int jb = 0; jb < static_cast<int>(b.cols()); ++jb) {
            const auto* const column = block.data() + std::size_t{b.rows()} * unsigned(jb);
            for (int ia = 0; ia < static_cast<int>(a.rows()); ++ia)
                for (unsigned ib = 0; ib < b.rows(); ++ib)
                    *to++ = Arithmetic<typename Mat::value_type>::mul(a.val(ia, ja), column[ib]);
        }
    }
    return result;
}

}  // namespace
}  // namespace kelvo::linalg

using namespace kelvo::linalg;

DoubleGenMat transpose(const DoubleGenMat& m) {
    return transposed(m);
}
IntGenMat transpose(const IntGenMat& m) {
    return transposed(m);
}

DoubleVec product(const DoubleGenMat& a, const DoubleVec& x) {
    return matTimesVec(a, x);
}
IntVec product(const IntGenMat& a, const IntVec& x) {
    return matTimesVec(a, x);
}

DoubleVec product(const DoubleVec& x, const DoubleGenMat& a) {
    return vecTimesMat(x, a);
}
IntVec product(const IntVec& x, const IntGenMat& a) {
    return vecTimesMat(x, a);
}

DoubleGenMat product(const DoubleGenMat& a, const DoubleGenMat& b) {
    return plainProduct(a, b);
}
IntGenMat product(const IntGenMat& a, const IntGenMat& b) {
    return plainProduct(a, b);
}

DoubleGenMat transProduct(const DoubleGenMat& a, const DoubleGenMat& b) {
    return rightTransposedProduct(a, b);
}
IntGenMat transProduct(const IntGenMat& a, const IntGenMat& b) {
    return rightTransposedProduct(a, b);
}

DoubleGenMat transposeProduct(const DoubleGenMat& a, const DoubleGenMat& b) {
    return leftTransposedProduct(a, b);
}
IntGenMat transposeProduct(const IntGenMat& a, const IntGenMat& b) {
    return leftTransposedProduct(a, b);
}

DoubleGenMat kronecker(const DoubleGenMat& a, const DoubleGenMat& b) {
    return kroneckerProduct(a, b);
}
IntGenMat kronecker(const IntGenMat& a, const IntGenMat& b) {
    return kroneckerProduct(a, b);
}
