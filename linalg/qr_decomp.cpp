#include <algorithm>

#include "KelvoBase/math_error.h"
#include "KelvoBase/qr_svd.h"
#include "linalg/kernels/dqrdc.h"
#include "linalg/kernels/dqrsl.h"
#include "linalg/scratch.h"

namespace {

using kelvo::linalg::kNotFactored;
using kelvo::linalg::kPermuteLength;
using kelvo::linalg::kRightSideLength;

// False when there was no memory for the elements, which has been reported then.
bool isUsable(const DoubleVec& v) {
    return v.length() == 0 || v.stride() == 1;
}

// The permutation of n columns that stay where they are.
IntVec identity(unsigned n) {
    return IntVec(n, 0, 1);
}

}  // namespace

DoubleQRDecomp::DoubleQRDecomp() = default;

DoubleQRDecomp::DoubleQRDecomp(const DoubleGenMat& x) {
    factor(x);
}

DoubleQRDecomp& DoubleQRDecomp::operator=(const DoubleQRDecomp& other) {
    qr_.reference(other.qr_);
    pivots_.reference(other.pivots_);
    pivoting_ = other.pivoting_;
    qraux_.reference(other.qraux_);
    return *this;
}

void DoubleQRDecomp::doPivoting(int flag) {
    pivoting_ = flag;
}

void DoubleQRDecomp::factor(const DoubleGenMat& x) {
    // Everything is made anew, because copies of this object may share the former results.
    DoubleGenMat qr = x.copy();
    const unsigned n = qr.rows();
    const unsigned p = qr.cols();
    IntVec pivots = pivoting_ != 0 ? IntVec(p, 0) : identity(p);
    DoubleVec qraux(p, 0.0);
    DoubleVec work(pivoting_ != 0 ? p : 0);
    const bool pivotsUsable = p == 0 || pivots.stride() == 1;
    if (!isUsable(qr.dataVec()) || !isUsable(qraux) || !isUsable(work) || !pivotsUsable) {
        qr_.reference(DoubleGenMat());
        pivots_.reference(IntVec());
        qraux_.reference(DoubleVec());
        return;
    }
    const int rows = static_cast<int>(n);
    const int cols = static_cast<int>(p);
    const int job = pivoting_ != 0;
    kelvo::kernels::dqrdc(
        qr.data(), rows, rows, cols, qraux.data(), pivots.data(), work.data(), job,
        kelvo::linalg::scratchMemory(kelvo::kernels::dqrdcScratch(rows, cols, job)));
    if (pivoting_ != 0) --pivots;  // the kernel counts from 1
    qr_.reference(qr);
    pivots_.reference(pivots);
    qraux_.reference(qraux);
}

unsigned DoubleQRDecomp::rows() const {
    return qr_.rows();
}

unsigned DoubleQRDecomp::cols() const {
    return qr_.cols();
}

IntVec DoubleQRDecomp::pivots() const {
    return pivots_;
}

int DoubleQRDecomp::rank() const {
    const int m = static_cast<int>(std::min(rows(), cols()));
    int rank = m;
    for (int k = 0; k < m; ++k) rank -= qr_.val(k, k) == 0.0;
    return rank;
}

int DoubleQRDecomp::isSingular() const {
    const auto found = static_cast<unsigned>(rank());
    return found != rows() && found != cols();
}

DoubleVec DoubleQRDecomp::permute(const DoubleVec& v) const {
    if (v.length() != cols()) {
        reportMathErrorId(kPermuteLength, v.length(), cols());
        return DoubleVec();
    }
    DoubleVec result(cols());
    for (int i = 0; i < static_cast<int>(cols()); ++i) result(i) = v(pivots_(i));
    return result;
}

DoubleVec DoubleQRDecomp::unpermute(const DoubleVec& v) const {
    if (v.length() != cols()) {
        reportMathErrorId(kPermuteLength, v.length(), cols());
        return DoubleVec();
    }
    DoubleVec result(cols());
    for (int i = 0; i < static_cast<int>(cols()); ++i) result(pivots_(i)) = v(i);
    return result;
}

DoubleVec DoubleQRDecomp::computeQy(const DoubleVec& y, int k) const {
    return project(y, k, kelvo::kernels::kQrQy);
}

DoubleVec DoubleQRDecomp::computeQTy(const DoubleVec& y, int k) const {
    return project(y, k, kelvo::kernels::kQrQty);
}

DoubleVec DoubleQRDecomp::partialSolve(const DoubleVec& y, int k) const {
    return project(y, k, kelvo::kernels::kQrCoefficients);
}

DoubleVec DoubleQRDecomp::computeResidualVec(const DoubleVec& y, int k) const {
    return project(y, k, kelvo::kernels::kQrResidual);
}

DoubleVec DoubleQRDecomp::computeXb(const DoubleVec& y, int k) const {
    return project(y, k, kelvo::kernels::kQrFit);
}

DoubleVec DoubleQRDecomp::solve(const DoubleVec& b) const {
    if (!fitsRows(b.length())) return DoubleVec();
    return basicSolution(b, static_cast<int>(std::min(rows(), cols())));
}

DoubleVec DoubleQRDecomp::basicSolution(const DoubleVec& b, int k) const {
    const DoubleVec coefficients = partialSolve(b, k);
    DoubleVec x(cols(), 0.0);
    for (int i = 0; i < static_cast<int>(coefficients.length()); ++i) {
        x(pivots_(i)) = coefficients(i);
    }
    return x;
}

int DoubleQRDecomp::fitsRows(unsigned length) const {
    if (length == rows()) return 1;
    reportMathErrorId(kRightSideLength, length, rows());
    return 0;
}

// `job` is one of the job codes of dqrsl; all results but the coefficients have the length of y and
// are computed in place.
DoubleVec DoubleQRDecomp::project(const DoubleVec& y, int k, int job) const {
    if (!fitsRows(y.length())) return DoubleVec();
    const int n = static_cast<int>(rows());
    const int m = static_cast<int>(std::min(rows(), cols()));
    if (k < 0 || k > m) k = m;
    const bool coefficients = job == kelvo::kernels::kQrCoefficients;
    DoubleVec vector = y.copy();
    DoubleVec b(coefficients ? static_cast<unsigned>(k) : 0, 0.0);
    if (!isUsable(vector) || !isUsable(b)) return DoubleVec();
    double* v = vector.data();
    const int info = kelvo::kernels::dqrsl(qr_.data(), n, n, k, qraux_.data(), v, v, v,
                                           coefficients ? b.data() : nullptr, v, v, job);
    if (info != 0) reportMathErrorId(kNotFactored);
    return coefficients ? b : vector;
}
