#include <algorithm>

#include "linalg/pick_body.h"
#include "linalg/vec_body.h"
#include "linalg/vec_functions.h"
#include "linalg/vec_text.h"

namespace kelvo::linalg {
template class VecBody<signed char, SCharVec, SCharVecPick>;
template class PickBody<signed char, SCharVec, SCharVecPick>;
}  // namespace kelvo::linalg

using namespace kelvo::linalg;

SCharVec::operator IntVec() const {
    IntVec result(length());
    loops::map(length(), data(), stride(), result.data(), result.stride(),
               [](signed char x) { return int{x}; });
    return result;
}

int SCharVec::isEqual(signed char value) const {
    return allOf(*this, [=](signed char x) { return x == value; });
}

unsigned SCharVec::countValue(signed char value) const {
    return countWhere(*this, [=](signed char x) { return x == value; });
}

IntVec SCharVec::valueIndex(signed char value) const {
    return indicesWhere(*this, [=](signed char x) { return x == value; });
}

IntVec SCharVec::nonValueIndex(signed char value) const {
    return indicesWhere(*this, [=](signed char x) { return x != value; });
}

IntVec SCharVec::lessIndex(signed char value) const {
    return indicesWhere(*this, [=](signed char x) { return x < value; });
}

SCharVec abs(const SCharVec& v) {
    SCharVec result(v.length());
    loops::map(v.length(), v.data(), v.stride(), result.data(), result.stride(),
               [](signed char x) { return x < 0 ? Wrapping<signed char>::negate(x) : x; });
    return result;
}

SCharVec cumsum(const SCharVec& v) {
    return runningSums(v);
}

SCharVec delta(const SCharVec& v) {
    return firstDifferences(v);
}

SCharVec reverse(const SCharVec& v) {
    return reversed(v);
}

signed char prod(const SCharVec& v) {
    return product(v);
}

int maxIndex(const SCharVec& v) {
    return firstLargest(v);
}

int minIndex(const SCharVec& v) {
    return firstSmallest(v);
}

signed char maxValue(const SCharVec& v) {
    return valueAt(v, maxIndex(v));
}

signed char minValue(const SCharVec& v) {
    return valueAt(v, minIndex(v));
}

signed char dot(const SCharVec& v, const SCharVec& w) {
    if (v.length() != w.length()) v.lengthCheck(w.length());
    const unsigned n = std::min(v.length(), w.length());
    return loops::dot(n, v.data(), v.stride(), w.data(), w.stride());
}

signed char sum(const SCharVec& v) {
    return loops::sum(v.length(), v.data(), v.stride());
}
