#include <algorithm>
#include <cstdint>

#include "KelvoBase/tuple_containers.h"
#include "auto/containers/element_count.h"
#include "linalg/vec_access.h"
#include "util/bounds_report.h"

using kelvo::containers::allBelow;
using kelvo::containers::countable;
using kelvo::containers::elementCount;
using kelvo::linalg::VecAccess;

namespace {

DoubleVec gathered(int tuple, int n, double** points) {
    DoubleVec elements(elementCount(tuple, points == nullptr ? 0 : n), 0.0);
    for (int e = 0; e < static_cast<int>(elements.length()); ++e) {
        const double* point = points[e / tuple];
        if (point != nullptr) elements(e) = point[e % tuple];
    }
    return elements;
}

}  // namespace

TtupleVector::TtupleVector() = default;

// Callers rely on a tuple size of 0 giving no points: the product is that of the numbers given.
TtupleVector::TtupleVector(int tuple, int n, double value)
    : tupleSize_(std::max(tuple, 1)), data_(elementCount(tuple, n), value) {}

TtupleVector::TtupleVector(int tuple, int n, double* elements)
    : tupleSize_(std::max(tuple, 1)),
      data_(elements, elementCount(tuple, elements == nullptr ? 0 : n)) {}

TtupleVector::TtupleVector(int tuple, int n, double** points)
    : tupleSize_(std::max(tuple, 1)), data_(gathered(tuple, n, points)) {}

TtupleVector::TtupleVector(int tuple, const DoubleVec& elements)
    : tupleSize_(std::max(tuple, 1)), data_(countable(elements)) {}

TtupleVector& TtupleVector::operator=(const TtupleVector& other) {
    data_ = other.data_;
    tupleSize_ = other.tupleSize_;
    return *this;
}

DoubleVec TtupleVector::operator[](int i) const {
    boundsCheck(i);
    return viewOf(i, 1);
}

DoubleVec TtupleVector::component(int c) const {
    if (!correctTuple(c)) return DoubleVec();
    return DoubleVec(data_, c, static_cast<unsigned>(points()), tupleSize_);
}

DoubleVec TtupleVector::vecLen() const {
    DoubleVec lengths(static_cast<unsigned>(points()));
    for (int i = 0; i < points(); ++i) lengths(i) = point(i).vecLen();
    return lengths;
}

TtupleVector TtupleVector::lPoints(int start, int count) const {
    if (count < 1 || !correctIndex(start) || count > points() - start) return none();
    return TtupleVector(tupleSize_, viewOf(start, count));
}

TtupleVector TtupleVector::rPoints(int start, int count) const {
    return lPoints(start, count).copy();
}

TtupleVector TtupleVector::rPoints(const IntVec& indices) const {
    if (!allBelow(indices, points())) return none();
    TtupleVector selection(tupleSize_, static_cast<int>(indices.length()), 0.0);
    for (int k = 0; k < selection.points(); ++k) selection.copyPoint(k, *this, indices(k));
    return selection;
}

TtupleVector TtupleVector::components(const IntVec& indices) const {
    const int width = static_cast<int>(indices.length());
    if (width == 0 || !allBelow(indices, tupleSize_)) return none();
    TtupleVector selection(width, points(), 0.0);
    for (int k = 0; k < width; ++k) selection.component(k) = component(indices(k));
    return selection;
}

TtupleVector TtupleVector::components(int first, int count) const {
    if (count < 1 || !correctTuple(first) || count > tupleSize_ - first) return none();
    return components(IntVec(static_cast<unsigned>(count), first, 1));
}

int TtupleVector::setPoints(int start, int count, const TtupleVector& source) {
    if (count == 0) return 1;
    const std::int64_t last = std::int64_t{start} + count - 1;
    if (source.size() > size() || start < 0 || last >= points()) return 0;
    const TtupleVector from = source.apartFrom(*this);
    for (int k = 0; k < std::min(count, from.points()); ++k) copyPoint(start + k, from, k);
    return 1;
}

int TtupleVector::setPoints(const IntVec& indices, const TtupleVector& source) {
    if (indices.length() == 0) return 1;
    if (source.size() > size() || !allBelow(indices, points())) return 0;
    const TtupleVector from = source.apartFrom(*this);
    const int count = std::min(static_cast<int>(indices.length()), from.points());
    for (int k = 0; k < count; ++k) copyPoint(indices(k), from, k);
    return 1;
}

TtupleVector TtupleVector::copy() const {
    return TtupleVector(tupleSize_, data_.copy());
}

void TtupleVector::reference(const TtupleVector& other) {
    data_.reference(other.data_);
    tupleSize_ = other.tupleSize_;
}

void TtupleVector::deepenShallowCopy() {
    data_.deepenShallowCopy();
}

void TtupleVector::printOn(std::ostream& stream) const {
    data_.printOn(stream);
}

void TtupleVector::printRaw(std::ostream& stream) const {
    data_.printOn(stream);
}

void TtupleVector::readRaw(std::istream& stream) {
    data_.scanFrom(stream);
}

int TtupleVector::correctIndex(int i) const {
    return i >= 0 && i < points();
}

int TtupleVector::correctTuple(int c) const {
    return c >= 0 && c < tupleSize_;
}

void TtupleVector::boundsCheck(int i) const {
    if (correctIndex(i)) return;
    kelvo::util::failBoundsCheck("bad index", i, "auto\\containers\\TtupleVector", 36);
}

// Point `to` takes the coordinates that point `from` of `source` has; the rest of it stays.
void TtupleVector::copyPoint(int to, const TtupleVector& source, int from) {
    for (int c = 0; c < source.tupleSize_; ++c) {
        data_(to * tupleSize_ + c) = source.data_(from * source.tupleSize_ + c);
    }
}

// These points, copied when they may be among those of `other`.
TtupleVector TtupleVector::apartFrom(const TtupleVector& other) const {
    return VecAccess::sameBlock(data_, other.data_) ? copy() : *this;
}
