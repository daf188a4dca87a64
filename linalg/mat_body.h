// Bodies of MatBody. Included by the sources that instantiate it.
#pragma once

#include <algorithm>
#include <istream>
#include <ostream>

#include "linalg/mat_access.h"
#include "linalg/mat_text.h"

namespace kelvo::linalg {

// op(a, b) over the stored elements. Shapes that differ have been reported when `same` is false:
// then the common leading elements count, and the rest of the result is 0.
template <class Mat, class Op>
Mat combined(const Mat& a, const Mat& b, bool same, Op op) {
    const auto& left = MatAccess::data(a);
    const auto& right = MatAccess::data(b);
    if (same) return Mat(op(left, right), a.rows(), a.cols());
    const unsigned common = std::min(left.length(), right.length());
    auto result = op(VecAccess::slice(left, 0, common, 1), VecAccess::slice(right, 0, common, 1));
    result.resize(left.length());
    return Mat(result, a.rows(), a.cols());
}

// op(target, source) in place, over the elements that both have.
template <class Vec, class Op>
void combineInto(Vec& target, const Vec& source, bool same, Op op) {
    if (same) return op(target, source);
    const unsigned common = std::min(target.length(), source.length());
    Vec head = VecAccess::slice(target, 0, common, 1);
    op(head, VecAccess::slice(source, 0, common, 1));
}

template <class Mat, class Vec, class T>
MatBody<Mat, Vec, T>::MatBody(std::uint64_t count, unsigned rows, unsigned cols)
    : data_(newElements<Vec>(count)), cols_(cols), rows_(rows) {
    if (data_.length() != count) cols_ = rows_ = 0;
}

template <class Mat, class Vec, class T>
bool MatBody<Mat, Vec, T>::sameShape(unsigned rows, unsigned cols) const {
    if (rows == rows_ && cols == cols_) return true;
    reportMathErrorId(kMatrixSizes, rows_, cols_, rows, cols);
    return false;
}

template <class Mat, class Vec, class T>
T* MatBody<Mat, Vec, T>::cellOrScratch(std::int64_t position) const {
    if (position < 0 || position >= std::int64_t{data_.length()}) return &VecAccess::scratch<Vec>();
    return const_cast<T*>(cell(position));
}

template <class Mat, class Vec, class T>
T* MatBody<Mat, Vec, T>::reportElement(int i, int j, std::int64_t position) const {
    reportMathErrorId(kMatrixElement, i, j, rows_, cols_);
    return cellOrScratch(position);
}

template <class Mat, class Vec, class T>
Mat& MatBody<Mat, Vec, T>::reference(const Mat& m) {
    data_.reference(m.data_);
    cols_ = m.cols_;
    rows_ = m.rows_;
    return static_cast<Mat&>(*this);
}

template <class Mat, class Vec, class T>
Mat MatBody<Mat, Vec, T>::copy() const {
    Mat result(rows_, cols_);
    VecAccess::copyElements(data_, result.data_);
    return result;
}

template <class Mat, class Vec, class T>
void MatBody<Mat, Vec, T>::zero() {
    data_ = T(0);
}

template <class Mat, class Vec, class T>
void MatBody<Mat, Vec, T>::assign(const MatBody& m) {
    combineInto(data_, m.data_, sameShape(m.rows_, m.cols_), [](auto& a, const auto& b) { a = b; });
}

template <class Mat, class Vec, class T>
Mat& MatBody<Mat, Vec, T>::operator=(T value) {
    data_ = value;
    return static_cast<Mat&>(*this);
}

template <class Mat, class Vec, class T>
Mat& MatBody<Mat, Vec, T>::operator+=(const Mat& m) {
    combineInto(data_, m.data_, sameShape(m.rows_, m.cols_),
                [](auto& a, const auto& b) { a += b; });
    return static_cast<Mat&>(*this);
}

template <class Mat, class Vec, class T>
Mat& MatBody<Mat, Vec, T>::operator-=(const Mat& m) {
    combineInto(data_, m.data_, sameShape(m.rows_, m.cols_),
                [](auto& a, const auto& b) { a -= b; });
    return static_cast<Mat&>(*this);
}

template <class Mat, class Vec, class T>
Mat& MatBody<Mat, Vec, T>::operator*=(const Mat& m) {
    combineInto(data_, m.data_, sameShape(m.rows_, m.cols_),
                [](auto& a, const auto& b) { a *= b; });
    return static_cast<Mat&>(*this);
}

template <class Mat, class Vec, class T>
Mat& MatBody<Mat, Vec, T>::operator/=(const Mat& m) {
    combineInto(data_, m.data_, sameShape(m.rows_, m.cols_),
                [](auto& a, const auto& b) { a /= b; });
    return static_cast<Mat&>(*this);
}

template <class Mat, class Vec, class T>
Mat& MatBody<Mat, Vec, T>::operator+=(T s) {
    data_ += s;
    return static_cast<Mat&>(*this);
}

template <class Mat, class Vec, class T>
Mat& MatBody<Mat, Vec, T>::operator-=(T s) {
    data_ -= s;
    return static_cast<Mat&>(*this);
}

template <class Mat, class Vec, class T>
Mat& MatBody<Mat, Vec, T>::operator*=(T s) {
    data_ *= s;
    return static_cast<Mat&>(*this);
}

template <class Mat, class Vec, class T>
Mat& MatBody<Mat, Vec, T>::operator/=(T s) {
    data_ /= s;
    return static_cast<Mat&>(*this);
}

template <class Mat, class Vec, class T>
Mat& MatBody<Mat, Vec, T>::operator++() {
    ++data_;
    return static_cast<Mat&>(*this);
}

template <class Mat, class Vec, class T>
Mat& MatBody<Mat, Vec, T>::operator--() {
    --data_;
    return static_cast<Mat&>(*this);
}

template <class Mat, class Vec, class T>
Mat MatBody<Mat, Vec, T>::operator-() const {
    return Mat(-data_, rows_, cols_);
}

template <class Mat, class Vec, class T>
int MatBody<Mat, Vec, T>::equals(const Mat& m) const {
    return rows_ == m.rows_ && cols_ == m.cols_ && data_ == m.data_;
}

template <class Mat, class Vec, class T>
Mat MatBody<Mat, Vec, T>::plus(const Mat& m) const {
    return combined(static_cast<const Mat&>(*this), m, sameShape(m.rows_, m.cols_),
                    [](const auto& a, const auto& b) { return a + b; });
}

template <class Mat, class Vec, class T>
Mat MatBody<Mat, Vec, T>::minus(const Mat& m) const {
    return combined(static_cast<const Mat&>(*this), m, sameShape(m.rows_, m.cols_),
                    [](const auto& a, const auto& b) { return a - b; });
}

template <class Mat, class Vec, class T>
Mat MatBody<Mat, Vec, T>::times(const Mat& m) const {
    return combined(static_cast<const Mat&>(*this), m, sameShape(m.rows_, m.cols_),
                    [](const auto& a, const auto& b) { return a * b; });
}

template <class Mat, class Vec, class T>
Mat MatBody<Mat, Vec, T>::over(const Mat& m) const {
    return combined(static_cast<const Mat&>(*this), m, sameShape(m.rows_, m.cols_),
                    [](const auto& a, const auto& b) { return a / b; });
}

template <class Mat, class Vec, class T>
Mat MatBody<Mat, Vec, T>::plus(T s) const {
    return Mat(data_ + s, rows_, cols_);
}

template <class Mat, class Vec, class T>
Mat MatBody<Mat, Vec, T>::minus(T s) const {
    return Mat(data_ - s, rows_, cols_);
}

template <class Mat, class Vec, class T>
Mat MatBody<Mat, Vec, T>::times(T s) const {
    return Mat(data_ * s, rows_, cols_);
}

template <class Mat, class Vec, class T>
Mat MatBody<Mat, Vec, T>::over(T s) const {
    return Mat(data_ / s, rows_, cols_);
}

template <class Mat, class Vec, class T>
Mat MatBody<Mat, Vec, T>::takenFrom(T s) const {
    return Mat(s - data_, rows_, cols_);
}

template <class Mat, class Vec, class T>
Mat MatBody<Mat, Vec, T>::dividing(T s) const {
    return Mat(s / data_, rows_, cols_);
}

template <class Mat, class Vec, class T>
Mat MatBody<Mat, Vec, T>::magnitudes() const {
    return Mat(abs(data_), rows_, cols_);
}

template <class Mat, class Vec, class T>
void MatBody<Mat, Vec, T>::printOn(std::ostream& os) const {
    const std::streamsize width = os.width(0);
    if (kIsPacked<Mat>) os << kClassName<Mat> << ", ";
    os << rows_ << "x" << cols_ << " [\n";
    const Mat& m = static_cast<const Mat&>(*this);
    for (unsigned i = 0; i < rows_; ++i) {
        for (unsigned j = 0; j < cols_; ++j) {
            os.width(width);
            os << m.val(static_cast<int>(i), static_cast<int>(j)) << " ";
        }
        os << "\n";
    }
    os << "]";
}

template <class Mat, class Vec, class T>
void MatBody<Mat, Vec, T>::scanFrom(std::istream& is) {
    const TextShape shape = readShape(is);
    Vec values;
    values.scanFrom(is);
    if (!is.good() || values.length() != fullSize(shape.rows, shape.cols)) {
        reportMathErrorId(kMatrixElementCount, values.length(), kClassName<Mat>, shape.rows,
                          shape.cols);
        return;
    }
    storeRows(static_cast<Mat&>(*this), values, shape);
}

}  // namespace kelvo::linalg
