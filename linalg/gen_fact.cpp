#include "KelvoBase/factorizations.h"
#include "linalg/fact_parts.h"
#include "linalg/kernels/lu.h"

namespace {

using namespace kelvo::linalg;

constexpr int kDeterminant = 10, kInverse = 1;  // jobs of dgedi

}  // namespace

DoubleGenFact::DoubleGenFact() = default;

DoubleGenFact::DoubleGenFact(const DoubleGenMat& a, int estimateCondition) {
    factor(a, estimateCondition);
}

DoubleGenFact& DoubleGenFact::operator=(const DoubleGenFact& other) {
    factors_.reference(other.factors_);
    pivots_.reference(other.pivots_);
    rcond_ = other.rcond_;
    return *this;
}

void DoubleGenFact::factor(const DoubleGenMat& a, int estimateCondition) {
    // Everything is made anew, because copies of this object may share the former results.
    DoubleGenMat factors = a.copy();
    const unsigned n = a.rows();
    if (a.cols() != n) {
        reportMathErrorId(kFactorNotSquare, a.rows(), a.cols());
        factors.resize(n, n);
    }
    IntVec pivots(n);
    rcond_ = kNotEstimated;
    if (!areUsable(factors.dataVec(), pivots) || factors.rows() != n) return clear();
    const int order = static_cast<int>(n);
    double* const work = scratchMemory(kelvo::kernels::dgefaWork(order));
    if (n > 0 && estimateCondition != 0) {
        Work z(n);
        if (!z.isUsable()) return clear();
        rcond_ = kelvo::kernels::dgeco(factors.data(), order, order, pivots.data(), z.data(), work);
    } else if (n > 0) {
        const int info = kelvo::kernels::dgefa(factors.data(), order, order, pivots.data(), work);
        rcond_ = info != 0 ? 0.0 : kNotEstimated;
    }
    factors_.reference(factors);
    pivots_.reference(pivots);
}

// Without memory, which has been reported, this is the factorization of a 0 x 0 matrix.
void DoubleGenFact::clear() {
    factors_.reference(DoubleGenMat());
    pivots_.reference(IntVec());
}

int DoubleGenFact::fail() const {
    return factors_.rows() == 0 || isSingular();
}

int DoubleGenFact::good() const {
    return !fail();
}

int DoubleGenFact::isSingular() const {
    return isSingularCondition(rcond_);
}

double DoubleGenFact::condition() const {
    return checkedCondition(rcond_);
}

DoubleVec DoubleGenFact::solve(const DoubleVec& b) const {
    const unsigned n = factors_.rows();
    if (!isRightSide(b, n)) return DoubleVec();
    if (fail()) reportMathErrorId(kNotFactored);
    DoubleVec x = b.copy();
    if (!areUsable(x)) return DoubleVec();
    const int order = static_cast<int>(n);
    kelvo::kernels::dgesl(factors_.data(), order, order, pivots_.data(), x.data(), 0);
    return x;
}

double DoubleGenFact::determinant() const {
    const int n = static_cast<int>(factors_.rows());
    if (n < 1) return 0.0;
    DoubleGenMat factors = factors_;  // only read
    double det[2];
    kelvo::kernels::dgedi(factors.data(), n, n, pivots_.data(), det, nullptr, kDeterminant);
    return fromDecimal(det);
}

DoubleGenMat DoubleGenFact::inverse() const {
    if (fail()) reportMathErrorId(kNotFactored);
    const unsigned n = factors_.rows();
    DoubleGenMat inverse = factors_.copy();
    DoubleVec work(n);
    if (!areUsable(inverse.dataVec(), work)) return DoubleGenMat();
    const int order = static_cast<int>(n);
    kelvo::kernels::dgedi(inverse.data(), order, order, pivots_.data(), nullptr, work.data(),
                          kInverse);
    return inverse;
}
