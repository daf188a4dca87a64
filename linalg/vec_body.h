// Definitions of VecBody: storage, assignment, arithmetic and checks. Included by the one source
// file of each vector, which instantiates it.
#pragma once

#include <algorithm>

#include "linalg/block.h"
#include "linalg/element_loops.h"
#include "linalg/vec_access.h"
#include "linalg/vec_names.h"

namespace kelvo::linalg {

template <class T, class Vec, class Pick>
int VecBody<T, Vec, Pick>::numberPerLine = 5;

template <class T, class Vec, class Pick>
T VecBody<T, Vec, Pick>::scratch = T();

// ---- Storage. A vector whose elements could not be allocated has stride 0 over the scratch cell:
// every access through the stride is then safe without a test.

template <class T, class Vec, class Pick>
VecBody<T, Vec, Pick>::VecBody(unsigned n)
    : block_(newBlock(n, sizeof(T))),
      begin_(static_cast<T*>(block_->data())),
      length_(n),
      stride_(1) {
    if (n > 0 && !begin_) {
        begin_ = scratchCell();
        stride_ = 0;
    }
}

template <class T, class Vec, class Pick>
VecBody<T, Vec, Pick>::VecBody() : VecBody(0u) {}

template <class T, class Vec, class Pick>
VecBody<T, Vec, Pick>::VecBody(unsigned n, T value) : VecBody(n) {
    fill(value, 0);
}

template <class T, class Vec, class Pick>
VecBody<T, Vec, Pick>::VecBody(unsigned n, T value, T increment) : VecBody(n) {
    for (unsigned i = 0; i < n; ++i) {
        elementAt(*this, i) = value;
        value = Arithmetic<T>::add(value, increment);
    }
}

template <class T, class Vec, class Pick>
VecBody<T, Vec, Pick>::VecBody(const T* values, unsigned n) : VecBody(n) {
    take(values, 1, n);
}

template <class T, class Vec, class Pick>
VecBody<T, Vec, Pick>::VecBody(const Pick& pick) : VecBody(pick.length()) {
    pick.copyTo(begin_, stride_, length_);
}

template <class T, class Vec, class Pick>
VecBody<T, Vec, Pick>::VecBody(const Vec& v, int start, unsigned n, int stride)
    : block_(v.block_),
      begin_(n > 0 ? v.address(start) : v.begin_),
      length_(n),
      // One element may have any stride, so the product may not fit; it is not used then.
      stride_(Wrapping<int>::mul(v.stride_, stride)) {
    block_->addReference();
}

template <class T, class Vec, class Pick>
T* VecBody<T, Vec, Pick>::scratchCell() {
    scratch = T();
    return &scratch;
}

template <class T, class Vec, class Pick>
T* VecBody<T, Vec, Pick>::missing(int i) const {
    boundsCheck(i);
    return scratchCell();
}

template <class T, class Vec, class Pick>
void VecBody<T, Vec, Pick>::fill(T value, unsigned from) {
    if (stride_ == 1) {
        std::fill(begin_ + from, begin_ + length_, value);
    } else {
        for (unsigned i = from; i < length_; ++i) elementAt(*this, i) = value;
    }
}

// Stores n values, no more than the length, that do not overlap the elements.
template <class T, class Vec, class Pick>
void VecBody<T, Vec, Pick>::take(const T* values, int stride, unsigned n) {
    if (stride_ == 1 && stride == 1) {
        std::copy_n(values, n, begin_);
    } else {
        loops::map(n, values, stride, begin_, stride_, [](T x) { return x; });
    }
}

// ---- Views and copies

template <class T, class Vec, class Pick>
Vec VecBody<T, Vec, Pick>::slice(int start, unsigned n, int stride) const {
    if (sliceFits(start, n, stride)) return Vec(self(), start, n, stride);
    sliceCheck(start, n, stride);
    return Vec();
}

template <class T, class Vec, class Pick>
Pick VecBody<T, Vec, Pick>::vecPick(const IntVec& indices) const {
    return Pick(self(), indices);
}

template <class T, class Vec, class Pick>
void VecBody<T, Vec, Pick>::reference(const Vec& v) {
    v.block_->addReference();
    block_->removeReference();
    block_ = v.block_;
    begin_ = v.begin_;
    length_ = v.length_;
    stride_ = v.stride_;
}

template <class T, class Vec, class Pick>
Vec VecBody<T, Vec, Pick>::copy() const {
    Vec result(length_);
    result.take(begin_, stride_, length_);
    return result;
}

template <class T, class Vec, class Pick>
void VecBody<T, Vec, Pick>::deepenShallowCopy() {
    if (block_->references() < 2 && stride_ == 1 && begin_ == block_->data()) return;
    reference(copy());
}

template <class T, class Vec, class Pick>
void VecBody<T, Vec, Pick>::resize(unsigned n) {
    if (n == length_) return;
    Vec resized(n);
    const unsigned kept = std::min(n, length_);
    resized.take(begin_, stride_, kept);
    resized.fill(T(), kept);
    reference(resized);
}

template <class T, class Vec, class Pick>
void VecBody<T, Vec, Pick>::reshape(unsigned n) {
    if (n != length_) reference(Vec(n));
}

// ---- Assignment

// How many elements the operation reaches when the other operand has n.
template <class T, class Vec, class Pick>
unsigned VecBody<T, Vec, Pick>::matched(unsigned n) const {
    if (n != length_) lengthCheck(n);
    return std::min(n, length_);
}

// w itself, or a copy where writing to this vector would change it.
template <class T, class Vec, class Pick>
Vec VecBody<T, Vec, Pick>::operandFor(const Vec& w) const {
    const bool sameElements = begin_ == w.begin_ && stride_ == w.stride_;
    return block_ != w.block_ || sameElements ? w : w.copy();
}

template <class T, class Vec, class Pick>
void VecBody<T, Vec, Pick>::assign(const VecBody& w) {
    const unsigned n = matched(w.length_);
    if (&w == this) return;
    const Vec source = operandFor(w.self());
    if (source.begin_ != begin_) take(source.begin_, source.stride_, n);
}

template <class T, class Vec, class Pick>
Vec& VecBody<T, Vec, Pick>::operator=(T value) {
    fill(value, 0);
    return self();
}

template <class T, class Vec, class Pick>
Vec& VecBody<T, Vec, Pick>::operator=(const Pick& pick) {
    pick.lengthCheck(length_);
    const Vec values(pick);
    take(values.begin_, values.stride_, std::min(length_, values.length_));
    return self();
}

// ---- Arithmetic

template <class T, class Vec, class Pick>
template <class Loop>
Vec& VecBody<T, Vec, Pick>::changed(const Vec& w, Loop loop) {
    const unsigned n = matched(w.length_);
    if (block_ != w.block_) {
        loop(n, w.begin_, w.stride_, begin_, stride_);
    } else {
        const Vec operand = operandFor(w);
        loop(n, operand.begin_, operand.stride_, begin_, stride_);
    }
    return self();
}

template <class T, class Vec, class Pick>
template <class Loop>
Vec VecBody<T, Vec, Pick>::combined(const Vec& w, Loop loop) const {
    const unsigned n = matched(w.length_);
    Vec result(length_);
    if (result.stride_ == 0) return result;
    loop(n, begin_, stride_, w.begin_, w.stride_, result.begin_);
    if (n < length_) result.fill(T(), n);
    return result;
}

template <class T, class Vec, class Pick>
template <class Loop>
Vec VecBody<T, Vec, Pick>::transformed(Loop loop) const {
    Vec result(length_);
    if (result.stride_ != 0) loop(length_, begin_, stride_, result.begin_);
    return result;
}

template <class T, class Vec, class Pick>
Vec& VecBody<T, Vec, Pick>::operator+=(const Vec& w) {
    return changed(w, [](auto... args) { loops::addTo(args...); });
}

template <class T, class Vec, class Pick>
Vec& VecBody<T, Vec, Pick>::operator-=(const Vec& w) {
    return changed(w, [](auto... args) { loops::subFrom(args...); });
}

template <class T, class Vec, class Pick>
Vec& VecBody<T, Vec, Pick>::operator*=(const Vec& w) {
    return changed(w, [](auto... args) { loops::mulBy(args...); });
}

template <class T, class Vec, class Pick>
Vec& VecBody<T, Vec, Pick>::operator/=(const Vec& w) {
    return changed(w, [](auto... args) { loops::divBy(args...); });
}

template <class T, class Vec, class Pick>
Vec& VecBody<T, Vec, Pick>::operator+=(T s) {
    loops::addScalarTo(length_, s, begin_, stride_);
    return self();
}

template <class T, class Vec, class Pick>
Vec& VecBody<T, Vec, Pick>::operator*=(T s) {
    loops::scale(length_, s, begin_, stride_);
    return self();
}

template <class T, class Vec, class Pick>
Vec& VecBody<T, Vec, Pick>::operator/=(T s) {
    loops::unscale(length_, s, begin_, stride_);
    return self();
}

template <class T, class Vec, class Pick>
Vec& VecBody<T, Vec, Pick>::operator-=(T s) {
    return *this += Arithmetic<T>::negate(s);
}

template <class T, class Vec, class Pick>
Vec& VecBody<T, Vec, Pick>::operator++() {
    return *this += T(1);
}

template <class T, class Vec, class Pick>
Vec& VecBody<T, Vec, Pick>::operator--() {
    return *this += T(-1);
}

template <class T, class Vec, class Pick>
Vec VecBody<T, Vec, Pick>::operator-() const {
    return transformed([](auto... args) { loops::negate(args...); });
}

template <class T, class Vec, class Pick>
Vec VecBody<T, Vec, Pick>::plus(const Vec& w) const {
    return combined(w, [](auto... args) { loops::add(args...); });
}

template <class T, class Vec, class Pick>
Vec VecBody<T, Vec, Pick>::minus(const Vec& w) const {
    return combined(w, [](auto... args) { loops::sub(args...); });
}

template <class T, class Vec, class Pick>
Vec VecBody<T, Vec, Pick>::times(const Vec& w) const {
    return combined(w, [](auto... args) { loops::mul(args...); });
}

template <class T, class Vec, class Pick>
Vec VecBody<T, Vec, Pick>::over(const Vec& w) const {
    return combined(w, [](auto... args) { loops::div(args...); });
}

template <class T, class Vec, class Pick>
Vec VecBody<T, Vec, Pick>::plus(T s) const {
    return transformed(
        [s](unsigned n, const T* x, int stride, T* z) { loops::addScalar(n, x, stride, s, z); });
}

template <class T, class Vec, class Pick>
Vec VecBody<T, Vec, Pick>::times(T s) const {
    return transformed(
        [s](unsigned n, const T* x, int stride, T* z) { loops::mulScalar(n, x, stride, s, z); });
}

template <class T, class Vec, class Pick>
Vec VecBody<T, Vec, Pick>::over(T s) const {
    return transformed(
        [s](unsigned n, const T* x, int stride, T* z) { loops::divScalar(n, x, stride, s, z); });
}

template <class T, class Vec, class Pick>
Vec VecBody<T, Vec, Pick>::takenFrom(T s) const {
    return transformed(
        [s](unsigned n, const T* x, int stride, T* z) { loops::scalarMinus(n, s, x, stride, z); });
}

template <class T, class Vec, class Pick>
Vec VecBody<T, Vec, Pick>::dividing(T s) const {
    return transformed(
        [s](unsigned n, const T* x, int stride, T* z) { loops::scalarOver(n, s, x, stride, z); });
}

template <class T, class Vec, class Pick>
Vec VecBody<T, Vec, Pick>::minus(T s) const {
    return plus(Arithmetic<T>::negate(s));
}

template <class T, class Vec, class Pick>
int VecBody<T, Vec, Pick>::equals(const Vec& w) const {
    if (length_ != w.length_) return 0;
    const auto end = static_cast<std::ptrdiff_t>(length_);
    for (std::ptrdiff_t i = 0; i < end; ++i) {
        if (!(begin_[i * stride_] == w.begin_[i * w.stride_])) return 0;
    }
    return 1;
}

// ---- Checks

template <class T, class Vec, class Pick>
bool VecBody<T, Vec, Pick>::sliceFits(int start, unsigned n, int stride) const {
    if (n == 0) return true;
    const std::int64_t last = start + (std::int64_t{n} - 1) * stride;
    return start >= 0 && start < std::int64_t{length_} && last >= 0 && last < std::int64_t{length_};
}

template <class T, class Vec, class Pick>
void VecBody<T, Vec, Pick>::boundsCheck(int i) const {
    if (contains(i)) return;
    reportMathError({kIndex, kAsInCatalog, kIdentity<T>.vecCode}, kIdentity<T>.vec, i, length_ - 1);
}

template <class T, class Vec, class Pick>
void VecBody<T, Vec, Pick>::lengthCheck(unsigned n) const {
    if (length_ == n) return;
    reportMathError({kLengthMismatch, kAsInCatalog, kIdentity<T>.vecCode}, kIdentity<T>.vec,
                    length_, n);
}

template <class T, class Vec, class Pick>
void VecBody<T, Vec, Pick>::sliceCheck(int start, unsigned n, int stride) const {
    if (sliceFits(start, n, stride)) return;
    reportMathError({kSlice, kAsInCatalog, kIdentity<T>.vecCode}, kIdentity<T>.vec, start, n,
                    stride, length_);
}

template <class T, class Vec, class Pick>
void VecBody<T, Vec, Pick>::strideCheck() const {
    if (stride_ == 1) return;
    reportMathError({kStride, kAsInCatalog, kIdentity<T>.vecCode}, kIdentity<T>.vec);
}

template <class T, class Vec, class Pick>
void VecBody<T, Vec, Pick>::emptyErr(const char* function) const {
    reportMathError({kEmptyVector, kAsInCatalog, kIdentity<T>.vecCode}, kIdentity<T>.vec, function);
}

}  // namespace kelvo::linalg
