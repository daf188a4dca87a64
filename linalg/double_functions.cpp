// The functions that act on each element alone.
#include <algorithm>
#include <cmath>

#include "linalg/element_loops.h"
#include "linalg/vec_access.h"

using namespace kelvo::linalg;

namespace {

template <class Function>
DoubleVec ofEach(const DoubleVec& v, Function function) {
    DoubleVec result(v.length());
    loops::map(v.length(), v.data(), v.stride(), result.data(), result.stride(), function);
    return result;
}

template <class Function>
DoubleVec ofEach(const DoubleVec& v, const DoubleVec& w, Function function) {
    if (v.length() != w.length()) v.lengthCheck(w.length());
    DoubleVec result(v.length());
    const unsigned n = std::min(v.length(), w.length());
    loops::map(n, v.data(), v.stride(), w.data(), w.stride(), result.data(), result.stride(),
               function);
    for (unsigned i = n; i < v.length(); ++i) elementAt(result, i) = 0.0;
    return result;
}

}  // namespace

DoubleVec DoubleVec::apply(double (*f)(double)) const {
    return ofEach(*this, f);
}

DoubleVec abs(const DoubleVec& v) {
    return ofEach(v, [](double x) { return std::abs(x); });
}

DoubleVec acos(const DoubleVec& v) {
    return ofEach(v, [](double x) { return std::acos(x); });
}

DoubleVec asin(const DoubleVec& v) {
    return ofEach(v, [](double x) { return std::asin(x); });
}

DoubleVec atan(const DoubleVec& v) {
    return ofEach(v, [](double x) { return std::atan(x); });
}

DoubleVec ceil(const DoubleVec& v) {
    return ofEach(v, [](double x) { return std::ceil(x); });
}

DoubleVec cos(const DoubleVec& v) {
    return ofEach(v, [](double x) { return std::cos(x); });
}

DoubleVec cosh(const DoubleVec& v) {
    return ofEach(v, [](double x) { return std::cosh(x); });
}

DoubleVec exp(const DoubleVec& v) {
    return ofEach(v, [](double x) { return std::exp(x); });
}

DoubleVec floor(const DoubleVec& v) {
    return ofEach(v, [](double x) { return std::floor(x); });
}

DoubleVec log(const DoubleVec& v) {
    return ofEach(v, [](double x) { return std::log(x); });
}

DoubleVec log10(const DoubleVec& v) {
    return ofEach(v, [](double x) { return std::log10(x); });
}

DoubleVec sin(const DoubleVec& v) {
    return ofEach(v, [](double x) { return std::sin(x); });
}

DoubleVec sinh(const DoubleVec& v) {
    return ofEach(v, [](double x) { return std::sinh(x); });
}

DoubleVec sqrt(const DoubleVec& v) {
    return ofEach(v, [](double x) { return std::sqrt(x); });
}

DoubleVec tan(const DoubleVec& v) {
    return ofEach(v, [](double x) { return std::tan(x); });
}

DoubleVec tanh(const DoubleVec& v) {
    return ofEach(v, [](double x) { return std::tanh(x); });
}

DoubleVec atan2(const DoubleVec& y, const DoubleVec& x) {
    return ofEach(y, x, [](double a, double b) { return std::atan2(a, b); });
}

DoubleVec pow(const DoubleVec& x, const DoubleVec& y) {
    return ofEach(x, y, [](double a, double b) { return std::pow(a, b); });
}
