#include "KelvoBase/packed_mat.h"

#include <utility>

#include "linalg/mat_body.h"

namespace kelvo::linalg {
namespace {

// The element of all zero parts. Nothing writes it.
double g_zero = 0.0;

// The order of an n x m matrix. Callers rely on n when the shape is not square.
unsigned checkedOrder(unsigned n, unsigned m) {
    if (n != m) reportMathErrorId(kMatrixNotSquare, n, m);
    return n;
}

// n, unless the triangle does not fit a vector: then 0, and the constructor of the elements has
// reported it.
unsigned orderOf(const DoubleVec& data, unsigned n) {
    return data.length() == packedSize(n) ? n : 0;
}

}  // namespace

template <class Mat, class Packing>
PackedMatBody<Mat, Packing>::PackedMatBody(unsigned n, unsigned m)
    : MatBody<Mat, DoubleVec, double>(packedSize(checkedOrder(n, m)), n, n) {}

template <class Mat, class Packing>
PackedMatBody<Mat, Packing>::PackedMatBody(unsigned n, unsigned m, double value)
    : PackedMatBody(newElements<DoubleVec>(packedSize(checkedOrder(n, m)), value), n) {}

template <class Mat, class Packing>
PackedMatBody<Mat, Packing>::PackedMatBody(const DoubleVec& data, unsigned n, unsigned m)
    : PackedMatBody(fittedElements<Mat>(data, packedSize(checkedOrder(n, m)), n, m), n) {}

template <class Mat, class Packing>
PackedMatBody<Mat, Packing>::PackedMatBody(const DoubleVec& data, unsigned n)
    : MatBody<Mat, DoubleVec, double>(data, orderOf(data, n), orderOf(data, n)) {}

template <class Mat, class Packing>
double* PackedMatBody<Mat, Packing>::sharedZero() {
    return &g_zero;
}

template <class Mat, class Packing>
double* PackedMatBody<Mat, Packing>::locateOutside(int i, int j) {
    double* const cell = this->reportElement(i, j, Packing::position(i, j));
    return Packing::isStored(i, j) ? cell : sharedZero();
}

template <class Mat, class Packing>
void PackedMatBody<Mat, Packing>::bcset(int i, int j, double value) {
    if (!this->contains(i, j)) reportMathErrorId(kMatrixElement, i, j, this->rows_, this->cols_);
    if (!Packing::isStored(i, j)) reportMathErrorId(kMatrixFixedElement, i, j, kClassName<Mat>);
    // Callers rely on the store going ahead even outside the triangle.
    *this->cellOrScratch(Packing::position(i, j)) = value;
}

template <class Mat, class Packing>
DoubleVec PackedMatBody<Mat, Packing>::row(int i) const {
    DoubleVec result(this->cols_);
    for (int j = 0; j < static_cast<int>(this->cols_); ++j) result(j) = val(i, j);
    return result;
}

template <class Mat, class Packing>
DoubleVec PackedMatBody<Mat, Packing>::col(int j) const {
    DoubleVec result(this->rows_);
    for (int i = 0; i < static_cast<int>(this->rows_); ++i) result(i) = val(i, j);
    return result;
}

template <class Mat, class Packing>
DoubleVec PackedMatBody<Mat, Packing>::diagonal(int k) const {
    const std::int64_t length = diagonalLength(this->rows_, this->cols_, k);
    DoubleVec result(static_cast<unsigned>(std::max<std::int64_t>(length, 0)));
    const int down = k < 0 ? -k : 0;
    for (int d = 0; d < static_cast<int>(result.length()); ++d)
        result(d) = val(d + down, d + down + k);
    return result;
}

template <class Mat, class Packing>
DoubleVec PackedMatBody<Mat, Packing>::bcrow(int i) const {
    if (isIndex(i, this->rows_)) return row(i);
    reportMathErrorId(kMatrixRow, i, this->rows_);
    return DoubleVec(this->cols_, 0.0);
}

template <class Mat, class Packing>
DoubleVec PackedMatBody<Mat, Packing>::bccol(int j) const {
    if (isIndex(j, this->cols_)) return col(j);
    reportMathErrorId(kMatrixColumn, j, this->cols_);
    return DoubleVec(this->rows_, 0.0);
}

template <class Mat, class Packing>
DoubleVec PackedMatBody<Mat, Packing>::bcdiagonal(int k) const {
    checkDiagonal<Mat>(k, this->rows_, this->cols_);
    return diagonal(k);
}

template <class Mat, class Packing>
Mat PackedMatBody<Mat, Packing>::leadingSubmatrix(int k) {
    return std::as_const(*this).leadingSubmatrix(k);
}

template <class Mat, class Packing>
const Mat PackedMatBody<Mat, Packing>::leadingSubmatrix(int k) const {
    if (k < 0 || static_cast<unsigned>(k) > this->rows_) {
        reportMathErrorId(kLeadingSubmatrix, k, this->rows_);
        return Mat();
    }
    const unsigned order = static_cast<unsigned>(k);
    const unsigned size = static_cast<unsigned>(packedSize(order));
    return Mat(VecAccess::slice(this->data_, 0, size, 1), order, order);
}

template <class Mat, class Packing>
void PackedMatBody<Mat, Packing>::resize(unsigned n, unsigned m) {
    const std::uint64_t size = packedSize(checkedOrder(n, m));
    if (!fitsVector(size)) return;
    this->data_.resize(static_cast<unsigned>(size));
    this->rows_ = n;
    this->cols_ = n;
}

template <class Mat, class Packing>
Mat PackedMatBody<Mat, Packing>::apply(double (*f)(double)) const {
    return Mat(this->data_.apply(f), this->rows_, this->cols_);
}

template class MatBody<DoubleSymMat, DoubleVec, double>;
template class MatBody<DoubleLowerTriMat, DoubleVec, double>;
template class MatBody<DoubleUpperTriMat, DoubleVec, double>;
template class PackedMatBody<DoubleSymMat, SymPacking>;
template class PackedMatBody<DoubleLowerTriMat, LowerPacking>;
template class PackedMatBody<DoubleUpperTriMat, UpperPacking>;

namespace {

// The full square of a packed matrix, column by column.
template <class Mat>
DoubleVec fullElements(const Mat& m) {
    DoubleVec full = newElements<DoubleVec>(fullSize(m.rows(), m.cols()));
    if (!areContiguous(full)) return full;
    const int n = static_cast<int>(m.rows());
    double* cell = full.data();
    for (int j = 0; j < n && full.length() > 0; ++j)
        for (int i = 0; i < n; ++i) *cell++ = m.val(i, j);
    return full;
}

// Element (i, j), or 0 where a matrix that is not square has none.
double valueOrZero(const DoubleGenMat& m, int i, int j) {
    return isIndex(i, m.rows()) && isIndex(j, m.cols()) ? m.val(i, j) : 0.0;
}

// A packed matrix of the order m.cols() with element(i, j) in every cell.
template <class Mat, class Element>
Mat packed(const DoubleGenMat& m, Element element) {
    Mat result(m.cols(), m.cols());
    const int n = static_cast<int>(result.cols());
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j)
            if (inStoredTriangle<Mat>(i, j)) result.set(i, j, element(i, j));
    return result;
}

}  // namespace
}  // namespace kelvo::linalg

using namespace kelvo::linalg;

void RODRef::refuse(double value) const {
    // Writing what stands there changes nothing.
    if (value != *cell_) reportMathErrorId(kConstantChanged, *cell_, value);
}

DoubleGenMat::DoubleGenMat(const DoubleSymMat& m) : Body(fullElements(m), m.rows(), m.cols()) {}

DoubleGenMat::DoubleGenMat(const DoubleLowerTriMat& m)
    : Body(fullElements(m), m.rows(), m.cols()) {}

DoubleGenMat::DoubleGenMat(const DoubleUpperTriMat& m)
    : Body(fullElements(m), m.rows(), m.cols()) {}

DoubleSymMat toSymMat(const DoubleGenMat& m) {
    return packed<DoubleSymMat>(
        m, [&m](int i, int j) { return (valueOrZero(m, i, j) + valueOrZero(m, j, i)) * 0.5; });
}

DoubleLowerTriMat toLowerTriMat(const DoubleGenMat& m) {
    return packed<DoubleLowerTriMat>(m, [&m](int i, int j) { return valueOrZero(m, i, j); });
}

DoubleUpperTriMat toUpperTriMat(const DoubleGenMat& m) {
    return packed<DoubleUpperTriMat>(m, [&m](int i, int j) { return valueOrZero(m, i, j); });
}

DoubleSymMat transpose(const DoubleSymMat& m) {
    return m;
}

DoubleUpperTriMat transpose(const DoubleLowerTriMat& m) {
    return DoubleUpperTriMat(MatAccess::data(m), m.rows(), m.cols());
}

DoubleLowerTriMat transpose(const DoubleUpperTriMat& m) {
    return DoubleLowerTriMat(MatAccess::data(m), m.rows(), m.cols());
}
