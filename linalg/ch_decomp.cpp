#include "KelvoBase/factorizations.h"
#include "linalg/fact_parts.h"
#include "linalg/kernels/cholesky.h"
#include "linalg/mat_access.h"

namespace {

using namespace kelvo::linalg;

// The permutation of n columns that stay where they are.
IntVec identity(unsigned n) {
    return IntVec(n, 0, 1);
}

// A copy of `a` with no fewer rows than columns.
DoubleGenMat tallCopy(const DoubleGenMat& a) {
    DoubleGenMat copy = a.copy();
    if (a.rows() < a.cols()) {
        reportMathErrorId(kTooFewRows, static_cast<int>(a.rows()), static_cast<int>(a.cols()));
        copy.resize(a.cols(), a.cols());
    }
    return copy;
}

int isFitForPermuting(const DoubleVec& v, unsigned n) {
    if (v.length() == n) return 1;
    reportMathErrorId(kPermuteLength, v.length(), n);
    return 0;
}

}  // namespace

DoubleChDecomp::DoubleChDecomp() = default;

DoubleChDecomp::DoubleChDecomp(const DoubleGenMat& a) : r_(tallCopy(a)) {
    factorCopy();
}

DoubleChDecomp& DoubleChDecomp::operator=(const DoubleChDecomp& other) {
    r_.reference(other.r_);
    lastPositive_ = other.lastPositive_;
    pivots_.reference(other.pivots_);
    pivoting_ = other.pivoting_;
    specifiers_.reference(other.specifiers_);
    factoredPivoting_ = other.factoredPivoting_;
    factored_ = other.factored_;
    return *this;
}

void DoubleChDecomp::doPivoting(int flag) {
    pivoting_ = flag;
}

int DoubleChDecomp::setPivoting(int column, int specifier) {
    if (column < 0) {
        specifiers_.boundsCheck(column);
        return FREE;
    }
    const bool known = static_cast<unsigned>(column) < specifiers_.length();
    const int previous = known ? specifiers_(column) : FREE;
    if (specifier < FINAL || specifier > INITIAL) {
        reportMathErrorId(kPivotSpecifier, specifier);
        return previous;
    }
    IntVec changed = specifiers_.copy();  // copies of this object keep theirs
    if (!known && areUsable(changed)) changed.resize(static_cast<unsigned>(column) + 1);
    if (!areUsable(changed)) return previous;
    changed(column) = specifier;
    specifiers_.reference(changed);
    if (!factored_) pivots_.reference(specifiers_);
    return previous;
}

// Everything is made anew, because copies of this object may share the former results.
void DoubleChDecomp::factor(const DoubleGenMat& a) {
    r_.reference(tallCopy(a));
    factorCopy();
}

void DoubleChDecomp::factorCopy() {
    factored_ = 1;
    factoredPivoting_ = pivoting_;
    lastPositive_ = 0;
    const unsigned p = r_.cols();
    if (pivoting_ != 0) {
        pivots_.reference(specifiers_.copy());
        pivots_.resize(p);
    } else if (pivots_.length() > 0) {
        pivots_.reference(IntVec());
    }
    if (specifiers_.length() > 0) specifiers_.reference(IntVec());
    Work work(p);
    if (!areUsable(MatAccess::data(r_), pivots_) || !work.isUsable()) {
        r_.reference(DoubleGenMat());
        pivots_.reference(IntVec());
        return;
    }
    const int order = static_cast<int>(p);
    double* const scratch = scratchMemory(kelvo::kernels::dchdcScratch(order, pivoting_));
    lastPositive_ = kelvo::kernels::dchdc(r_.data(), r_.rows(), order, work.data(), pivots_.data(),
                                          pivoting_, scratch);
    if (pivoting_ != 0) --pivots_;  // the kernel counts from 1
}

int DoubleChDecomp::isPD() const {
    return static_cast<unsigned>(lastPositive_) == r_.rows();
}

int DoubleChDecomp::lastPosFactor() const {
    return lastPositive_;
}

IntVec DoubleChDecomp::pivots() const {
    return factored_ && !factoredPivoting_ ? identity(r_.cols()) : pivots_;
}

int DoubleChDecomp::fail() const {
    const unsigned n = r_.cols();
    for (unsigned k = static_cast<unsigned>(lastPositive_) - 1; k < n; ++k)
        if (r_.val(static_cast<int>(k), static_cast<int>(k)) < 0.0) return 1;
    return 0;
}

int DoubleChDecomp::good() const {
    return !fail();
}

double DoubleChDecomp::condition() const {
    if (factoredPivoting_ == 0) {
        reportMathErrorId(kNoCondition);
        return kNotEstimated;
    }
    const int n = static_cast<int>(r_.cols());
    if (n < 1 || lastPositive_ != n - 1) return 0.0;
    const double ratio = r_.val(n - 1, n - 1) / r_.val(0, 0);
    return ratio * ratio;
}

DoubleVec DoubleChDecomp::permute(const DoubleVec& v) const {
    const unsigned n = r_.cols();
    if (!isFitForPermuting(v, n)) return DoubleVec();
    if (!factoredPivoting_) return v.copy();
    DoubleVec result(n);
    for (int i = 0; i < static_cast<int>(n); ++i) result(i) = v(pivots_(i));
    return result;
}

DoubleVec DoubleChDecomp::unpermute(const DoubleVec& v) const {
    const unsigned n = r_.cols();
    if (!isFitForPermuting(v, n)) return DoubleVec();
    if (!factoredPivoting_) return v.copy();
    DoubleVec result(n);
    for (int i = 0; i < static_cast<int>(n); ++i) result(pivots_(i)) = v(i);
    return result;
}

DoubleVec DoubleChDecomp::partialSolve(const DoubleVec& b, int k) const {
    if (!isRightSide(b, static_cast<unsigned>(k))) return DoubleVec();
    if (k > lastPositive_) reportMathErrorId(kNotFactored);
    if (k > static_cast<int>(r_.cols())) return DoubleVec();
    DoubleVec x = b.copy();
    if (!areUsable(x)) return DoubleVec();
    kelvo::kernels::dposl(r_.data(), r_.rows(), k, x.data());
    return x;
}

DoubleVec DoubleChDecomp::solve(const DoubleVec& b) const {
    const unsigned n = r_.cols();
    if (!isFitForPermuting(b, n)) return DoubleVec();
    if (!factoredPivoting_) return partialSolve(b, static_cast<int>(n));
    const DoubleVec x = partialSolve(permute(b), static_cast<int>(n));
    return x.length() == n ? unpermute(x) : x;
}
