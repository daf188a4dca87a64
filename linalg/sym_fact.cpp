#include "KelvoBase/factorizations.h"
#include "linalg/fact_parts.h"
#include "linalg/kernels/symmetric.h"
#include "linalg/mat_access.h"

namespace {

using namespace kelvo::linalg;

constexpr int kDeterminant = 10, kInverse = 1;  // jobs of dspdi

}  // namespace

DoubleSymFact::DoubleSymFact() = default;

DoubleSymFact::DoubleSymFact(const DoubleSymMat& a, int estimateCondition)
    : factors_(a.copy()), pivots_(a.rows()) {
    factorCopy(estimateCondition);
}

DoubleSymFact& DoubleSymFact::operator=(const DoubleSymFact& other) {
    factors_.reference(other.factors_);
    pivots_.reference(other.pivots_);
    rcond_ = other.rcond_;
    return *this;
}

// Everything is made anew, because copies of this object may share the former results.
void DoubleSymFact::factor(const DoubleSymMat& a, int estimateCondition) {
    *this = DoubleSymFact(a, estimateCondition);
}

void DoubleSymFact::factorCopy(int estimateCondition) {
    const unsigned n = factors_.rows();
    if (!areUsable(MatAccess::data(factors_), pivots_)) return clear();
    const int order = static_cast<int>(n);
    double* const work = scratchMemory(kelvo::kernels::dspfaWork(order));
    if (n > 0 && estimateCondition != 0) {
        Work z(n);
        if (!z.isUsable()) return clear();
        rcond_ = kelvo::kernels::dspco(factors_.data(), order, pivots_.data(), z.data(), work);
    } else if (n > 0) {
        const int info = kelvo::kernels::dspfa(factors_.data(), order, pivots_.data(), work);
        if (info != 0) rcond_ = 0.0;
    }
}

// Without memory, which has been reported, this is the factorization of a 0 x 0 matrix.
void DoubleSymFact::clear() {
    factors_.reference(DoubleSymMat());
    pivots_.reference(IntVec());
}

int DoubleSymFact::fail() const {
    return factors_.rows() == 0 || isSingular();
}

int DoubleSymFact::good() const {
    return !fail();
}

int DoubleSymFact::isSingular() const {
    return isSingularCondition(rcond_);
}

double DoubleSymFact::condition() const {
    return checkedCondition(rcond_);
}

DoubleVec DoubleSymFact::solve(const DoubleVec& b) const {
    const unsigned n = factors_.rows();
    if (!isRightSide(b, n)) return DoubleVec();
    if (fail()) reportMathErrorId(kNotFactored);
    DoubleVec x = b.copy();
    if (!areUsable(x)) return DoubleVec();
    kelvo::kernels::dspsl(factors_.data(), static_cast<int>(n), pivots_.data(), x.data());
    return x;
}

double DoubleSymFact::determinant() const {
    const int n = static_cast<int>(factors_.rows());
    if (n < 1) return 0.0;
    DoubleSymMat factors = factors_;  // only read
    double det[2];
    kelvo::kernels::dspdi(factors.data(), n, pivots_.data(), det, nullptr, nullptr, kDeterminant);
    return fromDecimal(det);
}

DoubleSymMat DoubleSymFact::inverse() const {
    if (fail()) reportMathErrorId(kNotFactored);
    const unsigned n = factors_.rows();
    DoubleSymMat inverse = factors_.copy();
    DoubleVec work(n);
    if (!areUsable(MatAccess::data(inverse), work)) return DoubleSymMat();
    kelvo::kernels::dspdi(inverse.data(), static_cast<int>(n), pivots_.data(), nullptr, nullptr,
                          work.data(), kInverse);
    return inverse;
}
