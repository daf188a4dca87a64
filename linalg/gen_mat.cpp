#include "KelvoBase/gen_mat.h"

#include "linalg/mat_body.h"

namespace kelvo::linalg {

template <class Mat, class Vec, class T, class Pick>
GenMatBody<Mat, Vec, T, Pick>::GenMatBody(unsigned rows, unsigned cols)
    : MatBody<Mat, Vec, T>(fullSize(rows, cols), rows, cols) {}

template <class Mat, class Vec, class T, class Pick>
GenMatBody<Mat, Vec, T, Pick>::GenMatBody(unsigned rows, unsigned cols, T value)
    : GenMatBody(newElements<Vec>(fullSize(rows, cols), value), rows, cols, Unchecked()) {}

template <class Mat, class Vec, class T, class Pick>
GenMatBody<Mat, Vec, T, Pick>::GenMatBody(const T* values, unsigned rows, unsigned cols)
    : GenMatBody(fitsVector(fullSize(rows, cols)) ? Vec(values, rows * cols) : Vec(), rows, cols,
                 Unchecked()) {}

template <class Mat, class Vec, class T, class Pick>
GenMatBody<Mat, Vec, T, Pick>::GenMatBody(const Vec& data, unsigned rows, unsigned cols)
    : GenMatBody(fittedElements<Mat>(data, fullSize(rows, cols), rows, cols), rows, cols,
                 Unchecked()) {}

template <class Mat, class Vec, class T, class Pick>
GenMatBody<Mat, Vec, T, Pick>::GenMatBody(const Pick& pick) : GenMatBody(pick.rows(), pick.cols()) {
    for (int j = 0; j < static_cast<int>(this->cols_); ++j)
        for (int i = 0; i < static_cast<int>(this->rows_); ++i) set(i, j, pick(i, j));
}

// A shape too large for 32 bits has been reported and comes without elements: it becomes 0 x 0.
template <class Mat, class Vec, class T, class Pick>
GenMatBody<Mat, Vec, T, Pick>::GenMatBody(const Vec& data, unsigned rows, unsigned cols, Unchecked)
    : MatBody<Mat, Vec, T>(data, data.length() == fullSize(rows, cols) ? rows : 0,
                           data.length() == fullSize(rows, cols) ? cols : 0) {}

template <class Mat, class Vec, class T, class Pick>
Vec GenMatBody<Mat, Vec, T, Pick>::strided(std::int64_t start, unsigned n, unsigned step) const {
    const std::int64_t stride = std::int64_t{step} * this->data_.stride();
    T* const begin = const_cast<T*>(this->cell(n > 0 ? start : 0));
    return VecAccess::view(this->data_, begin, n, static_cast<int>(stride));
}

template <class Mat, class Vec, class T, class Pick>
Vec GenMatBody<Mat, Vec, T, Pick>::rowView(int i) const {
    return strided(i, this->cols_, this->rows_);
}

template <class Mat, class Vec, class T, class Pick>
Vec GenMatBody<Mat, Vec, T, Pick>::colView(int j) const {
    return strided(position(0, j), this->rows_, 1);
}

template <class Mat, class Vec, class T, class Pick>
Vec GenMatBody<Mat, Vec, T, Pick>::diagonalView(int k) const {
    const std::int64_t length = diagonalLength(this->rows_, this->cols_, k);
    if (length <= 0) return Vec();
    const std::int64_t start = k >= 0 ? position(0, k) : -std::int64_t{k};
    return strided(start, static_cast<unsigned>(length), this->rows_ + 1);
}

template <class Mat, class Vec, class T, class Pick>
Vec GenMatBody<Mat, Vec, T, Pick>::checkedRow(int i) const {
    if (isIndex(i, this->rows_)) return rowView(i);
    reportMathErrorId(kMatrixRow, i, this->rows_);
    return Vec(this->cols_, T(0));
}

template <class Mat, class Vec, class T, class Pick>
Vec GenMatBody<Mat, Vec, T, Pick>::checkedCol(int j) const {
    if (isIndex(j, this->cols_)) return colView(j);
    reportMathErrorId(kMatrixColumn, j, this->cols_);
    return Vec(this->rows_, T(0));
}

template <class Mat, class Vec, class T, class Pick>
Vec GenMatBody<Mat, Vec, T, Pick>::checkedDiagonal(int k) const {
    checkDiagonal<Mat>(k, this->rows_, this->cols_);
    return diagonalView(k);
}

template <class Mat, class Vec, class T, class Pick>
Pick GenMatBody<Mat, Vec, T, Pick>::matPick(const IntVec& rowIndices, const IntVec& colIndices) {
    return MatAccess::pick<Pick>(static_cast<const Mat&>(*this), rowIndices, colIndices);
}

template <class Mat, class Vec, class T, class Pick>
const Pick GenMatBody<Mat, Vec, T, Pick>::matPick(const IntVec& rowIndices,
                                                  const IntVec& colIndices) const {
    return MatAccess::pick<Pick>(static_cast<const Mat&>(*this), rowIndices, colIndices);
}

template <class Mat, class Vec, class T, class Pick>
void GenMatBody<Mat, Vec, T, Pick>::resize(unsigned rows, unsigned cols) {
    const std::uint64_t size = fullSize(rows, cols);
    if (!fitsVector(size)) return;
    if (rows == this->rows_) {
        this->data_.resize(static_cast<unsigned>(size));
    } else {
        Mat resized(Vec(static_cast<unsigned>(size), T(0)), rows, cols);
        const unsigned height = std::min(rows, this->rows_);
        for (int j = 0; j < static_cast<int>(std::min(cols, this->cols_)); ++j)
            resized.strided(resized.position(0, j), height, 1) = strided(position(0, j), height, 1);
        this->data_.reference(MatAccess::data(resized));
    }
    this->rows_ = rows;
    this->cols_ = cols;
}

template <class Mat, class Vec, class T, class Pick>
Mat& GenMatBody<Mat, Vec, T, Pick>::operator=(const Pick& pick) {
    const bool same = this->sameShape(pick.rows(), pick.cols());
    const Mat values(pick);
    if (same) {
        this->data_ = MatAccess::data(values);
        return static_cast<Mat&>(*this);
    }
    for (int j = 0; j < static_cast<int>(std::min(this->cols_, pick.cols())); ++j)
        for (int i = 0; i < static_cast<int>(std::min(this->rows_, pick.rows())); ++i)
            set(i, j, values.val(i, j));
    return static_cast<Mat&>(*this);
}

template class MatBody<DoubleGenMat, DoubleVec, double>;
template class MatBody<IntGenMat, IntVec, int>;
template class GenMatBody<DoubleGenMat, DoubleVec, double, DoubleGenMatPick>;
template class GenMatBody<IntGenMat, IntVec, int, IntGenMatPick>;

}  // namespace kelvo::linalg

using namespace kelvo::linalg;

DoubleGenMat::DoubleGenMat(const IntGenMat& m)
    : Body(DoubleVec(MatAccess::data(m)), m.rows(), m.cols()) {}

DoubleGenMat::DoubleGenMat(const DoubleGenMatPick& pick) : Body(pick) {}

IntGenMat::IntGenMat(const IntGenMatPick& pick) : Body(pick) {}

DoubleGenMat DoubleGenMat::apply(double (*f)(double)) const {
    return DoubleGenMat(data_.apply(f), rows_, cols_);
}

IntGenMat toInt(const DoubleGenMat& m) {
    return IntGenMat(toInt(MatAccess::data(m)), m.rows(), m.cols());
}
