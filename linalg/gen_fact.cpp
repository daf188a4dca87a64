#include "KelvoBase/factorizations.h"
#include "linalg/fact_parts.h"
#include "linalg/kernels/lu.h"
#include "linalg/mat_access.h"

namespace {

using namespace kelvo::linalg;

constexpr int kDeterminant = 10, kInverse = 1;  // jobs of dgedi

// A copy of `a` with as many columns as rows.
DoubleGenMat squareCopy(const DoubleGenMat& a) {
    DoubleGenMat copy = a.copy();
    if (a.cols() != a.rows()) {
        reportMathErrorId(kFactorNotSquare, a.rows(), a.cols());
        copy.resize(a.rows(), a.rows());
    }
    return copy;
}

}  // namespace

DoubleGenFact::DoubleGenFact() = default;

DoubleGenFact::DoubleGenFact(const DoubleGenMat& a, int estimateCondition)
    : factors_(squareCopy(a)), pivots_(factors_.rows()) {
    factorCopy(estimateCondition);
}

DoubleGenFact& DoubleGenFact::operator=(const DoubleGenFact& other) {
    factors_.reference(other.factors_);
    pivots_.reference(other.pivots_);
    rcond_ = other.rcond_;
    return *this;
}

// Everything is made anew, because copies of this object may share the former results.
void DoubleGenFact::factor(const DoubleGenMat& a, int estimateCondition) {
    *this = DoubleGenFact(a, estimateCondition);
}

void DoubleGenFact::factorCopy(int estimateCondition) {
    const unsigned n = factors_.rows();
    if (!areUsable(MatAccess::data(factors_), pivots_)) return clear();
    const int order = static_cast<int>(n);
    double* const work = scratchMemory(kelvo::kernels::dgefaWork(order));
    if (n > 0 && estimateCondition != 0) {
        Work z(n);
        if (!z.isUsable()) return clear();
        rcond_ =
            kelvo::kernels::dgeco(factors_.data(), order, order, pivots_.data(), z.data(), work);
    } else if (n > 0) {
        const int info = kelvo::kernels::dgefa(factors_.data(), order, order, pivots_.data(), work);
        if (info != 0) rcond_ = 0.0;
    }
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
    if (!areUsable(MatAccess::data(inverse), work)) return DoubleGenMat();
    const int order = static_cast<int>(n);
    kelvo::kernels::dgedi(inverse.data(), order, order, pivots_.data(), nullptr, work.data(),
                          kInverse);
    return inverse;
}
