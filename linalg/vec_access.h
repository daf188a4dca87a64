// The parts of a vector that are nobody's business outside the linear algebra and the containers.
#pragma once

#include "KelvoBase/vec.h"

namespace kelvo::linalg {

struct VecAccess {
    /// Unchecked view: start, n and stride count in elements of v. n = 0 looks at nothing.
    template <class Vec>
    static Vec slice(const Vec& v, int start, unsigned n, int stride) {
        return Vec(v, start, n, stride);
    }

    /// A view of n elements from `begin` on, in the block of v.
    template <class Vec, class T>
    static Vec view(const Vec& v, T* begin, unsigned n, int stride) {
        return Vec(v.block_, begin, n, stride);
    }

    /// Stores the elements of v in w, which is as long and lies apart.
    template <class Vec>
    static void copyElements(const Vec& v, Vec& w) {
        w.take(v.begin_, v.stride_, v.length_);
    }

    /// Do both look at the same block, so that their elements may be the same?
    template <class Vec>
    static bool sameBlock(const Vec& v, const Vec& w) {
        return v.block_ == w.block_;
    }

    /// Are the elements compact and held by v alone?
    template <class Vec>
    static bool isPrivate(const Vec& v) {
        return v.block_->references() < 2 && v.stride_ == 1 && v.begin_ == v.block_->data();
    }

    /// Is there an element i?
    template <class Vec>
    static bool contains(const Vec& v, int i) {
        return v.contains(i);
    }

    /// The cell that stands for elements that do not exist. Reads 0 each time it is handed out.
    template <class Vec>
    static typename Vec::value_type& scratch() {
        return *Vec::scratchCell();
    }
};

/// Element i, unchecked; for loops over vectors that may be longer than an int index reaches.
template <class Body>
typename Body::value_type elementAt(const Body& v, unsigned i) {
    return v.data()[static_cast<std::ptrdiff_t>(i) * v.stride()];
}
template <class Body>
typename Body::value_type& elementAt(Body& v, unsigned i) {
    return v.data()[static_cast<std::ptrdiff_t>(i) * v.stride()];
}

}  // namespace kelvo::linalg
