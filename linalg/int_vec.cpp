#include <algorithm>

#include "linalg/pick_body.h"
#include "linalg/vec_body.h"
#include "linalg/vec_functions.h"
#include "linalg/vec_text.h"

namespace kelvo::linalg {
template class VecBody<int, IntVec, IntVecPick>;
template class PickBody<int, IntVec, IntVecPick>;
}  // namespace kelvo::linalg

using namespace kelvo::linalg;

IntVec::operator DoubleVec() const {
    DoubleVec result(length());
    loops::map(length(), data(), stride(), result.data(), result.stride(),
               [](int x) { return static_cast<double>(x); });
    return result;
}

SCharVec toChar(const IntVec& v) {
    SCharVec result(v.length());
    loops::map(v.length(), v.data(), v.stride(), result.data(), result.stride(),
               [](int x) { return static_cast<signed char>(x); });
    return result;
}

int IntVec::isEqual(int value) const {
    return allOf(*this, [=](int x) { return x == value; });
}

unsigned IntVec::countValue(int value) const {
    return countWhere(*this, [=](int x) { return x == value; });
}

IntVec IntVec::valueIndex(int value) const {
    return indicesWhere(*this, [=](int x) { return x == value; });
}

IntVec IntVec::nonValueIndex(int value) const {
    return indicesWhere(*this, [=](int x) { return x != value; });
}

IntVec IntVec::lessIndex(int value) const {
    return indicesWhere(*this, [=](int x) { return x < value; });
}

IntVec abs(const IntVec& v) {
    IntVec result(v.length());
    loops::map(v.length(), v.data(), v.stride(), result.data(), result.stride(),
               [](int x) { return x < 0 ? Wrapping<int>::negate(x) : x; });
    return result;
}

IntVec cumsum(const IntVec& v) {
    return runningSums(v);
}

IntVec delta(const IntVec& v) {
    return firstDifferences(v);
}

IntVec reverse(const IntVec& v) {
    return reversed(v);
}

int prod(const IntVec& v) {
    return product(v);
}

int maxIndex(const IntVec& v) {
    return firstLargest(v);
}

int minIndex(const IntVec& v) {
    return firstSmallest(v);
}

int maxValue(const IntVec& v) {
    return valueAt(v, maxIndex(v));
}

int minValue(const IntVec& v) {
    return valueAt(v, minIndex(v));
}

int dot(const IntVec& v, const IntVec& w) {
    if (v.length() != w.length()) v.lengthCheck(w.length());
    const unsigned n = std::min(v.length(), w.length());
    return loops::dot(n, v.data(), v.stride(), w.data(), w.stride());
}

int sum(const IntVec& v) {
    return loops::sum(v.length(), v.data(), v.stride());
}
