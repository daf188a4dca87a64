#include <algorithm>

#include "KelvoBase/qr_svd.h"
#include "linalg/kernels/dsvdc.h"
#include "linalg/scratch.h"

namespace {

// Values of the tens digit of the job code.
constexpr int kAllLeft = 1;
constexpr int kFirstLeft = 2;

int leftDigit(int job) {
    return job / 10;
}
int rightDigit(int job) {
    return job % 10;
}

// False when there was no memory for the elements, which has been reported then.
bool isUsable(const DoubleVec& v) {
    return v.length() == 0 || v.stride() == 1;
}

// The vectors of a matrix without rows or columns: leading columns of the identity.
DoubleGenMat unitVectors(unsigned rows, unsigned cols) {
    DoubleGenMat unit(rows, cols, 0.0);
    unit.diagonal(0) = 1.0;
    return unit;
}

}  // namespace

DoubleSVDecomp::DoubleSVDecomp() = default;

DoubleSVDecomp::DoubleSVDecomp(const DoubleGenMat& x) {
    factor(x);
}

DoubleSVDecomp& DoubleSVDecomp::operator=(const DoubleSVDecomp& other) {
    s_.reference(other.s_);
    e_.reference(other.e_);
    u_.reference(other.u_);
    v_.reference(other.v_);
    info_ = other.info_;
    job_ = other.job_;
    return *this;
}

void DoubleSVDecomp::factor(const DoubleGenMat& x) {
    const unsigned n = x.rows();
    const unsigned p = x.cols();
    const unsigned m = std::min(n, p);
    const int left = leftDigit(job_);
    const int right = rightDigit(job_);
    // All results are made anew, because callers and copies of this object may share the old ones.
    if (left != 0) u_.reference(unitVectors(n, left == kAllLeft ? n : m));
    if (right != 0) v_.reference(unitVectors(p, p));
    // The method needs one place more than there are singular values when rows < cols.
    DoubleVec s(std::min(n + 1, p), 0.0);
    DoubleVec e(p, 0.0);
    info_ = 0;
    if (m > 0) {
        DoubleGenMat a = x.copy();
        DoubleVec work(n);
        if (isUsable(a.dataVec()) && isUsable(work) && isUsable(s) && isUsable(e) &&
            isUsable(u_.dataVec()) && isUsable(v_.dataVec())) {
            const int rows = static_cast<int>(n);
            const int cols = static_cast<int>(p);
            info_ = kelvo::kernels::dsvdc(
                a.data(), rows, rows, cols, s.data(), e.data(), left != 0 ? u_.data() : nullptr,
                rows, right != 0 ? v_.data() : nullptr, cols, work.data(), job_,
                kelvo::linalg::scratchMemory(kelvo::kernels::dsvdcScratch(rows, cols)));
        } else {
            info_ = static_cast<int>(m);
        }
    }
    s.resize(m);
    s_.reference(s);
    e_.reference(e);
}

int DoubleSVDecomp::computeLeftVecs(int flag) {
    const int before = leftDigit(job_) != 0;
    if (flag != 0 && before == 0) job_ += 10 * kAllLeft;
    if (flag == 0) job_ = rightDigit(job_);
    return before;
}

int DoubleSVDecomp::computeAllLeftVecs(int flag) {
    const int digit = leftDigit(job_);
    if (digit == kFirstLeft && flag != 0) job_ = 10 * kAllLeft + rightDigit(job_);
    if (digit == kAllLeft && flag == 0) job_ = 10 * kFirstLeft + rightDigit(job_);
    return digit == kAllLeft;
}

int DoubleSVDecomp::computeRightVecs(int flag) {
    const int before = rightDigit(job_) != 0;
    if (flag != 0 && before == 0) job_ += 1;
    if (flag == 0) job_ -= rightDigit(job_);
    return before;
}

DoubleVec DoubleSVDecomp::singularValues() const {
    return s_;
}

DoubleVec DoubleSVDecomp::eValues() const {
    return e_;
}

DoubleGenMat DoubleSVDecomp::leftVecs() const {
    return u_;
}

DoubleGenMat DoubleSVDecomp::rightVecs() const {
    return v_;
}

int DoubleSVDecomp::numSVsFound() const {
    return static_cast<int>(s_.length()) - info_;
}

int DoubleSVDecomp::fail() const {
    return s_.length() == 0 || info_ != 0;
}

int DoubleSVDecomp::good() const {
    return !fail();
}
