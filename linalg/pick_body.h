// Definitions of PickBody. Included like vec_body.h.
#pragma once

#include <algorithm>

#include "linalg/vec_access.h"
#include "linalg/vec_names.h"

namespace kelvo::linalg {

// Indices may change behind the pick, so each use of one is checked.
template <class T, class Vec, class Pick>
T* PickBody<T, Vec, Pick>::address(unsigned i) const {
    const int index = i < length() ? elementAt(indices_, i) : -1;
    if (!VecAccess::contains(vec_, index)) return &VecAccess::scratch<Vec>();
    return const_cast<T*>(vec_.data()) + static_cast<std::ptrdiff_t>(index) * vec_.stride();
}

// The first n values, to elements that are not picked ones.
template <class T, class Vec, class Pick>
void PickBody<T, Vec, Pick>::copyTo(T* target, int stride, unsigned n) const {
    for (unsigned i = 0; i < n; ++i) target[static_cast<std::ptrdiff_t>(i) * stride] = *address(i);
}

template <class T, class Vec, class Pick>
void PickBody<T, Vec, Pick>::assign(const Vec& v) {
    lengthCheck(v.length());
    const Vec source = VecAccess::sameBlock(v, vec_) ? v.copy() : v;
    const unsigned n = std::min(length(), v.length());
    for (unsigned i = 0; i < n; ++i) *address(i) = elementAt(source, i);
}

template <class T, class Vec, class Pick>
Pick& PickBody<T, Vec, Pick>::operator=(const Vec& v) {
    assign(v);
    return static_cast<Pick&>(*this);
}

template <class T, class Vec, class Pick>
Pick& PickBody<T, Vec, Pick>::operator=(T value) {
    for (unsigned i = 0; i < length(); ++i) *address(i) = value;
    return static_cast<Pick&>(*this);
}

template <class T, class Vec, class Pick>
void PickBody<T, Vec, Pick>::assertElements() const {
    for (unsigned i = 0; i < length(); ++i) {
        const int index = elementAt(indices_, i);
        if (VecAccess::contains(vec_, index)) continue;
        reportMathError({kIndex, kAsInCatalog, kIdentity<T>.pickCode}, kIdentity<T>.pick, index,
                        vec_.length() - 1);
    }
}

template <class T, class Vec, class Pick>
void PickBody<T, Vec, Pick>::lengthCheck(unsigned n) const {
    if (length() == n) return;
    reportMathError({kLengthMismatch, kAsInCatalog, kIdentity<T>.pickCode}, kIdentity<T>.pick,
                    length(), n);
}

}  // namespace kelvo::linalg
