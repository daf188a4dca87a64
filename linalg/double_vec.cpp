#include <algorithm>
#include <cmath>
#include <limits>

#include "linalg/pick_body.h"
#include "linalg/vec_body.h"
#include "linalg/vec_functions.h"
#include "linalg/vec_text.h"

namespace kelvo::linalg {
template class VecBody<double, DoubleVec, DoubleVecPick>;
template class PickBody<double, DoubleVec, DoubleVecPick>;
}  // namespace kelvo::linalg

using namespace kelvo::linalg;

namespace {

// Is an element within `tol` of `value`? Never for what is not a number.
struct Within {
    double value;
    double tol;
    bool operator()(double x) const { return std::fabs(x - value) <= tol; }
};

struct NotWithin {
    Within within;
    bool operator()(double x) const { return !within(x); }
};

}  // namespace

double DoubleVec::vecLen() const {
    return kelvo::kernels::nrm2(length(), data(), stride());
}

int DoubleVec::normalise() {
    const double len = vecLen();
    if (!(len > 0.0)) return 0;
    *this *= 1.0 / len;
    return 1;
}

int DoubleVec::isZero(double tol) const {
    return isEqual(0.0, tol);
}

int DoubleVec::isEqual(double value, double tol) const {
    return allOf(*this, Within{value, tol});
}

unsigned DoubleVec::countZero(double tol) const {
    return countValue(0.0, tol);
}

unsigned DoubleVec::countValue(double value, double tol) const {
    return countWhere(*this, Within{value, tol});
}

IntVec DoubleVec::zeroIndex(double tol) const {
    return valueIndex(0.0, tol);
}

IntVec DoubleVec::nonZeroIndex(double tol) const {
    return nonValueIndex(0.0, tol);
}

IntVec DoubleVec::valueIndex(double value, double tol) const {
    return indicesWhere(*this, Within{value, tol});
}

IntVec DoubleVec::nonValueIndex(double value, double tol) const {
    return indicesWhere(*this, NotWithin{{value, tol}});
}

IntVec DoubleVec::lessIndex(double value) const {
    return indicesWhere(*this, [=](double x) { return x < value; });
}

void DoubleVec::clampZero(double tol) {
    const Within isSmall{0.0, tol};
    loops::map(length(), data(), stride(), data(), stride(),
               [=](double x) { return isSmall(x) ? 0.0 : x; });
}

IntVec toInt(const DoubleVec& v) {
    IntVec result(v.length());
    loops::map(v.length(), v.data(), v.stride(), result.data(), result.stride(), [](double x) {
        const bool fits = x > -2147483649.0 && x < 2147483648.0;
        return fits ? static_cast<int>(x) : std::numeric_limits<int>::min();
    });
    return result;
}

double mean(const DoubleVec& v) {
    return sum(v) / v.length();
}

double variance(const DoubleVec& v) {
    constexpr int kNeeded = 2;
    if (v.length() < kNeeded) {
        reportMathError({kTooFewPoints, kAsInCatalog, kNoClassCode}, "DoubleVec", v.length(),
                        "Variance needs minimum of", kNeeded);
    }
    const DoubleVec deviations = v - mean(v);
    return dot(deviations, deviations) / v.length();
}

DoubleVec cumsum(const DoubleVec& v) {
    return runningSums(v);
}

DoubleVec delta(const DoubleVec& v) {
    return firstDifferences(v);
}

DoubleVec reverse(const DoubleVec& v) {
    return reversed(v);
}

double prod(const DoubleVec& v) {
    return product(v);
}

int maxIndex(const DoubleVec& v) {
    return firstLargest(v);
}

int minIndex(const DoubleVec& v) {
    return firstSmallest(v);
}

double maxValue(const DoubleVec& v) {
    return valueAt(v, maxIndex(v));
}

double minValue(const DoubleVec& v) {
    return valueAt(v, minIndex(v));
}

static_assert(kShortSum == kelvo::kernels::kShortLength, "sums in the same order");

double kelvo::linalg::dotCompact(unsigned n, const double* x, const double* y) {
    return kelvo::kernels::activeTable->dot(n, x, y);
}

void kelvo::linalg::addCompact(unsigned n, const double* x, double* y) {
    kelvo::kernels::activeTable->add(n, y, x, y);
}

double kelvo::linalg::dotOf(const DoubleVec& v, const DoubleVec& w) {
    if (v.length() != w.length()) v.lengthCheck(w.length());
    const unsigned n = std::min(v.length(), w.length());
    return loops::dot(n, v.data(), v.stride(), w.data(), w.stride());
}

double sum(const DoubleVec& v) {
    return loops::sum(v.length(), v.data(), v.stride());
}
