// The functions that exist for more than one element type. They reach elements through the stride,
// so that a result without memory is safe to write.
#pragma once

#include "linalg/element_loops.h"
#include "linalg/vec_access.h"

namespace kelvo::linalg {

template <class Vec>
Vec runningSums(const Vec& v) {
    using T = typename Vec::value_type;
    Vec result(v.length());
    T total = T();
    for (unsigned i = 0; i < v.length(); ++i) {
        total = Arithmetic<T>::add(total, elementAt(v, i));
        elementAt(result, i) = total;
    }
    return result;
}

template <class Vec>
Vec firstDifferences(const Vec& v) {
    using T = typename Vec::value_type;
    Vec result(v.length());
    if (v.length() > 0) result(0) = v(0);
    for (unsigned i = 1; i < v.length(); ++i) {
        elementAt(result, i) = Arithmetic<T>::sub(elementAt(v, i), elementAt(v, i - 1));
    }
    return result;
}

template <class Vec>
Vec reversed(const Vec& v) {
    const unsigned n = v.length();
    Vec result(n);
    for (unsigned i = 0; i < n; ++i) elementAt(result, i) = elementAt(v, n - 1 - i);
    return result;
}

template <class Vec>
typename Vec::value_type product(const Vec& v) {
    using T = typename Vec::value_type;
    T total = T(1);
    for (unsigned i = 0; i < v.length(); ++i) total = Arithmetic<T>::mul(total, elementAt(v, i));
    return total;
}

// Index of the first element that no other one `precedes`; -1 after a report when there is none.
template <class Vec, class Precedes>
int extremeIndex(const Vec& v, const char* function, Precedes precedes) {
    if (v.length() == 0) {
        v.emptyErr(function);
        return -1;
    }
    unsigned best = 0;
    auto value = v(0);
    for (unsigned i = 1; i < v.length(); ++i) {
        const auto candidate = elementAt(v, i);
        if (!precedes(candidate, value)) continue;
        best = i;
        value = candidate;
    }
    return static_cast<int>(best);
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
    unsigned count = 0;
    for (unsigned i = 0; i < v.length(); ++i) {
        if (test(elementAt(v, i))) elementAt(found, count++) = static_cast<int>(i);
    }
    return found.slice(0, count, 1);
}

template <class Vec, class Test>
unsigned countWhere(const Vec& v, Test test) {
    unsigned count = 0;
    for (unsigned i = 0; i < v.length(); ++i) count += test(elementAt(v, i)) ? 1 : 0;
    return count;
}

template <class Vec, class Test>
int allOf(const Vec& v, Test test) {
    for (unsigned i = 0; i < v.length(); ++i) {
        if (!test(elementAt(v, i))) return 0;
    }
    return 1;
}

}  // namespace kelvo::linalg
