#include <algorithm>

#include "KelvoBase/tuple_containers.h"
#include "auto/containers/element_count.h"
#include "util/bounds_report.h"

using kelvo::containers::allBelow;
using kelvo::containers::elementCount;

namespace {

constexpr const char* kSource = "auto\\containers\\TtupleMatrix";

}  // namespace

TtupleMatrix::TtupleMatrix() = default;

TtupleMatrix::TtupleMatrix(int tuple, int rows, int cols, double value)
    : tupleSize_(std::max(tuple, 1)),
      rows_(std::max(rows, 0)),
      cols_(std::max(cols, 0)),
      data_(elementCount(tupleSize_, rows_, cols_), value) {
    if (data_.length() == 0 && rows_ > 0 && cols_ > 0) rows_ = cols_ = 0;  // too large, reported
}

TtupleMatrix::TtupleMatrix(int tuple, int rows, int cols, const DoubleVec& elements)
    : tupleSize_(std::max(tuple, 1)),
      rows_(std::max(rows, 0)),
      cols_(std::max(cols, 0)),
      data_(elements) {
    const unsigned needed = elementCount(tupleSize_, rows_, cols_);
    if (needed == 0 && rows_ > 0 && cols_ > 0) rows_ = cols_ = 0;  // too large, reported
    if (data_.length() < needed) data_.resize(needed);
}

TtupleMatrix& TtupleMatrix::operator=(const TtupleMatrix& other) {
    const bool fits = data_.length() == other.data_.length();
    data_ = other.data_;
    if (!fits) return *this;
    tupleSize_ = other.tupleSize_;
    rows_ = other.rows_;
    cols_ = other.cols_;
    return *this;
}

DoubleVec TtupleMatrix::row(int r) const {
    return rowVector(r).data();
}

DoubleVec TtupleMatrix::column(int c) const {
    return columnVector(c).data();
}

TtupleVector TtupleMatrix::rowVector(int r) const {
    TtupleVector points(tupleSize_, correctRow(r) ? cols_ : 0, 0.0);
    for (int c = 0; c < points.points(); ++c) points.point(c) = point(r, c);
    return points;
}

TtupleVector TtupleMatrix::columnVector(int c) const {
    return TtupleVector(tupleSize_, correctCol(c) ? viewOf(0, c, rows_) : DoubleVec());
}

DoubleGenMat TtupleMatrix::component(int k) const {
    if (!correctTuple(k)) return DoubleGenMat();
    const auto rows = static_cast<unsigned>(rows_);
    const auto cols = static_cast<unsigned>(cols_);
    return DoubleGenMat(DoubleVec(data_, k, rows * cols, tupleSize_), rows, cols);
}

int TtupleMatrix::setComponent(int k, const DoubleGenMat& m) {
    DoubleGenMat target = component(k);
    if (!correctTuple(k) || m.rows() != target.rows() || m.cols() != target.cols()) return 0;
    target = m;
    return 1;
}

DoubleGenMat TtupleMatrix::vecLen() const {
    DoubleGenMat lengths(static_cast<unsigned>(rows_), static_cast<unsigned>(cols_));
    for (int c = 0; c < cols_; ++c) {
        for (int r = 0; r < rows_; ++r) lengths.set(r, c, point(r, c).vecLen());
    }
    return lengths;
}

TtupleMatrix TtupleMatrix::rows(const IntVec& indices) const {
    if (!allBelow(indices, rows_)) return none();
    TtupleMatrix selection(tupleSize_, static_cast<int>(indices.length()), cols_, 0.0);
    for (int c = 0; c < cols_; ++c) {
        for (int r = 0; r < selection.rows_; ++r) selection.point(r, c) = point(indices(r), c);
    }
    return selection;
}

TtupleMatrix TtupleMatrix::cols(const IntVec& indices) const {
    if (!allBelow(indices, cols_)) return none();
    TtupleMatrix selection(tupleSize_, rows_, static_cast<int>(indices.length()), 0.0);
    for (int c = 0; c < selection.cols_; ++c) selection.column(c) = column(indices(c));
    return selection;
}

TtupleMatrix TtupleMatrix::copy() const {
    return TtupleMatrix(tupleSize_, rows_, cols_, data_.copy());
}

void TtupleMatrix::reference(const TtupleMatrix& other) {
    data_.reference(other.data_);
    tupleSize_ = other.tupleSize_;
    rows_ = other.rows_;
    cols_ = other.cols_;
}

void TtupleMatrix::deepenShallowCopy() {
    data_.deepenShallowCopy();
}

int TtupleMatrix::correctTuple(int k) const {
    return k >= 0 && k < tupleSize_;
}

int TtupleMatrix::correctRow(int r) const {
    return r >= 0 && r < rows_;
}

int TtupleMatrix::correctCol(int c) const {
    return c >= 0 && c < cols_;
}

void TtupleMatrix::boundsCheck(int r, int c) const {
    if (!correctRow(r)) kelvo::util::failBoundsCheck("bad row", r, kSource, 37);
    if (!correctCol(c)) kelvo::util::failBoundsCheck("bad column", c, kSource, 41);
}
