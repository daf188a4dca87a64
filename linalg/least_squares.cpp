#include <algorithm>
#include <cmath>
#include <utility>

#include "KelvoBase/math_error.h"
#include "KelvoBase/qr_svd.h"

using kelvo::linalg::kNotFactored;

DoubleLeastSqQR::DoubleLeastSqQR() = default;

DoubleLeastSqQR::DoubleLeastSqQR(const DoubleGenMat& x) : DoubleQRDecomp(x) {}

double DoubleLeastSqQR::setTolerance(double tolerance) {
    std::swap(tolerance, tolerance_);
    return tolerance;
}

int DoubleLeastSqQR::numEquations() const {
    return static_cast<int>(rows());
}

int DoubleLeastSqQR::numFreeCols() const {
    const int m = static_cast<int>(std::min(rows(), cols()));
    int free = static_cast<int>(cols()) - m;
    for (int k = m - 1; k >= 0 && std::abs(qr_.val(k, k)) <= tolerance_; --k) ++free;
    return free;
}

int DoubleLeastSqQR::isUnderDetermined() const {
    return numFreeCols() != 0;
}

DoubleVec DoubleLeastSqQR::solve(const DoubleVec& b) const {
    if (!fitsRows(b.length())) return DoubleVec();
    if (cols() == 0) {
        reportMathErrorId(kNotFactored);
        return DoubleVec();
    }
    return basicSolution(b, static_cast<int>(cols()) - numFreeCols());
}

DoubleVec DoubleLeastSqQR::residual(const DoubleVec& b) const {
    if (!fitsRows(b.length())) return DoubleVec();
    if (rows() == 0) {
        reportMathErrorId(kNotFactored);
        return DoubleVec();
    }
    return computeResidualVec(b, static_cast<int>(cols()) - numFreeCols());
}
