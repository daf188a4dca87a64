// The functions that exist for more than one element type. They reach elements through the stride,
// so that a result without memory is safe to write.
#pragma once

#include "linalg/element_loops.h"

namespace kelvo::linalg {

template <class Vec>
Vec runningSums(const Vec& v) {
    using T = typename Vec::value_type;
    Vec result(v.length());
    T total = T();
    for (unsigned i = 0; i < v.length(); ++i) {
        const int k = static_cast<int>(i);
        total = Arithmetic<T>::add(total, v(k));
        result(k) = total;
    }
    return result;
}

template <class Vec>
Vec firstDifferences(const Vec& v) {
    using T = typename Vec::value_type;
    Vec result(v.length());
    T previous = T();
    for (unsigned i = 0; i < v.length(); ++i) {
        const int k = static_cast<int>(i);
        result(k) = i == 0 ? v(k) : Arithmetic<T>::sub(v(k), previous);
        previous = v(k);
    }
    return result;
}

template <class Vec>
Vec reversed(const Vec& v) {
    const unsigned n = v.length();
    return n == 0 ? Vec() : v.slice(static_cast<int>(n - 1), n, -1).copy();
}

template <class Vec>
typename Vec::value_type product(const Vec& v) {
    using T = typename Vec::value_type;
    T total = T(1);
    for (unsigned i = 0; i < v.length(); ++i) {
        total = Arithmetic<T>::mul(total, v(static_cast<int>(i)));
    }
    return total;
}

// Index of the first element that no other one `precedes`; -1 after a report when there is none.
template <class Vec, class Precedes>
int extremeIndex(const Vec& v, const char* function, Precedes precedes) {
    if (v.length() == 0) {
        v.emptyErr(function);
        return -1;
    }
    int best = 0;
    auto value = v(0);
    for (unsigned i = 1; i < v.length(); ++i) {
        const int k = static_cast<int>(i);
        if (precedes(v(k), value)) {
            best = k;
            value = v(k);
        }
    }
    return best;
}

template <class Vec>
int firstLargest(const Vec& v) {
    return extremeIndex(v, "maxIndex", [](auto a, auto b) { return a > b; });
}

template <class Vec>
int firstSmallest(const Vec& v) {
    return extremeIndex(v, "minIndex", [](auto a, auto b) { return a < b; });
}

template <class Vec>
typename Vec::value_type valueAt(const Vec& v, int index) {
    return index < 0 ? typename Vec::value_type() : v(index);
}

// The indices of the elements that the test accepts, as the first part of a block for all of them.
template <class Vec, class Test>
IntVec indicesWhere(const Vec& v, Test test) {
    IntVec found(v.length());
    int count = 0;
    for (unsigned i = 0; i < v.length(); ++i) {
        const int k = static_cast<int>(i);
        if (test(v(k))) found(count++) = k;
    }
    return found.slice(0, static_cast<unsigned>(count), 1);
}

template <class Vec, class Test>
unsigned countWhere(const Vec& v, Test test) {
    unsigned count = 0;
    for (unsigned i = 0; i < v.length(); ++i) count += test(v(static_cast<int>(i))) ? 1 : 0;
    return count;
}

template <class Vec, class Test>
int allOf(const Vec& v, Test test) {
    for (unsigned i = 0; i < v.length(); ++i) {
        if (!test(v(static_cast<int>(i)))) return 0;
    }
    return 1;
}

}  // namespace kelvo::linalg
