#include <limits>
#include <optional>

#include "KelvoBase/factorizations.h"
#include "linalg/fact_parts.h"
#include "linalg/kernels/cholesky_update.h"
#include "linalg/mat_access.h"

// What is carried along with a change of the factor. All borrowed, all may be null.
struct DoubleChDecomp::Carried {
    DoubleGenMat* z;
    const DoubleVec* y;
    DoubleVec* rho;
    DoubleVec* c;
    DoubleVec* s;

    unsigned columns() const { return z != nullptr ? z->cols() : 0; }
};

namespace {

using namespace kelvo::linalg;

bool isHeight(const DoubleGenMat* z, unsigned n) {
    if (z == nullptr || z->rows() == n) return true;
    reportMathErrorId(kDataHeight, z->rows(), n);
    return false;
}

bool isLength(const DoubleVec* v, unsigned n, unsigned short message) {
    if (v == nullptr || v->length() == n) return true;
    reportMathErrorId(message, v->length(), n);
    return false;
}

bool hasUnitStride(const DoubleVec* v) {
    if (v == nullptr || v->length() == 0 || v->stride() == 1) return true;
    reportMathErrorId(kPointerStride);
    return false;
}

// Gives r elements of its own, which copies of the object do not see change. False when there is no
// memory, which has been reported; r is then as it was.
bool makePrivate(DoubleGenMat& r) {
    if (VecAccess::isPrivate(MatAccess::data(r))) return true;
    const DoubleGenMat own = r.copy();
    if (!areUsable(MatAccess::data(own))) return false;
    r.reference(own);
    return true;
}

// Copies of what is carried along, stored back at the end only, so that a refused change leaves
// nothing half done.
struct CarriedCopy {
    DoubleGenMat z;
    DoubleVec y, rho;

    CarriedCopy(const DoubleGenMat& zGiven, const DoubleVec* yGiven, const DoubleVec* rhoGiven,
                double missingNorm)
        : z(zGiven.copy()),
          y(yGiven != nullptr ? yGiven->copy() : DoubleVec(z.cols(), 0.0)),
          rho(rhoGiven != nullptr ? rhoGiven->copy() : DoubleVec(z.cols(), missingNorm)) {}
};

void copyTo(DoubleVec& v, const double* values, unsigned count) {
    for (unsigned i = 0; i < count; ++i) elementAt(v, i) = values[i];
}

// The arrays that a kernel works on.
struct Working {
    unsigned n;
    Work rotations;  // cosines, then sines
    std::optional<CarriedCopy> carried;

    Working(unsigned order, const DoubleGenMat* z, const DoubleVec* y, const DoubleVec* rho,
            double missingNorm)
        : n(order), rotations(2 * n) {
        if (z != nullptr) carried.emplace(*z, y, rho, missingNorm);
    }

    bool isUsable() const {
        return rotations.isUsable() &&
               (!carried || areUsable(MatAccess::data(carried->z), carried->y, carried->rho));
    }
    int columns() const { return carried ? static_cast<int>(carried->z.cols()) : 0; }
    double* z() { return carried ? carried->z.data() : nullptr; }
    double* y() { return carried ? carried->y.data() : nullptr; }
    double* rho() { return carried ? carried->rho.data() : nullptr; }
    double* c() { return rotations.data(); }
    double* s() { return rotations.data() + n; }

    void storeBack(unsigned count, DoubleGenMat* zTarget, DoubleVec* rhoTarget, DoubleVec* c,
                   DoubleVec* s) {
        if (zTarget != nullptr) *zTarget = carried->z;
        if (rhoTarget != nullptr && carried) *rhoTarget = carried->rho;
        if (c != nullptr) copyTo(*c, this->c(), count);
        if (s != nullptr) copyTo(*s, this->s(), count);
    }
};

}  // namespace

int DoubleChDecomp::fits(const DoubleVec& x, const Carried& with) const {
    const unsigned n = r_.cols();
    return isRightSide(x, n) && isHeight(with.z, n) &&
           isLength(with.y, with.columns(), kResidualCount) &&
           isLength(with.rho, with.columns(), kResidualCount) &&
           isLength(with.c, n, kRotationLength) && isLength(with.s, n, kRotationLength) &&
           hasUnitStride(&x) && hasUnitStride(with.y) && hasUnitStride(with.rho) &&
           hasUnitStride(with.c) && hasUnitStride(with.s);
}

void DoubleChDecomp::update(const DoubleVec& x, DoubleGenMat* z, const DoubleVec* y, DoubleVec* rho,
                            DoubleVec* c, DoubleVec* s) {
    if (!fits(x, {z, y, rho, c, s})) return;
    const unsigned n = r_.cols();
    Working w(n, z, y, rho, -1.0);
    if (!w.isUsable() || !makePrivate(r_)) return;
    kelvo::kernels::dchud(r_.data(), r_.rows(), static_cast<int>(n), x.data(), w.z(), n,
                          w.columns(), w.y(), w.rho(), w.c(), w.s());
    w.storeBack(n, z, rho, c, s);
}

int DoubleChDecomp::downdate(const DoubleVec& x, DoubleGenMat* z, const DoubleVec* y,
                             DoubleVec* rho, DoubleVec* c, DoubleVec* s) {
    constexpr int kRefused = -1;
    if (!fits(x, {z, y, rho, c, s})) return kRefused;
    const unsigned n = r_.cols();
    // Nothing that is left of an infinite norm can be too large.
    Working w(n, z, y, rho, std::numeric_limits<double>::infinity());
    if (!w.isUsable() || !makePrivate(r_)) return kRefused;
    const int info = kelvo::kernels::dchdd(r_.data(), r_.rows(), static_cast<int>(n), x.data(),
                                           w.z(), n, w.columns(), w.y(), w.rho(), w.c(), w.s());
    if (info == kRefused) return kRefused;
    w.storeBack(n, z, rho, c, s);
    return info;
}

void DoubleChDecomp::shift(int k, int l, int direction, DoubleGenMat* z, DoubleVec* c,
                           DoubleVec* s) {
    constexpr int kRightJob = 1, kLeftJob = 2;  // of dchex
    const unsigned n = r_.cols();
    if (direction != 0 && direction != 1) return reportMathErrorId(kShiftDirection);
    if (k < 0 || k >= l || static_cast<unsigned>(l) >= n)
        return reportMathErrorId(kShiftColumns, k, l);
    const auto rotations = static_cast<unsigned>(l - k);
    if (!isHeight(z, n) || !isLength(c, rotations, kRotationLength) ||
        !isLength(s, rotations, kRotationLength))
        return;
    // The kernel needs more of s than the l - k sines.
    Working w(n, z, nullptr, nullptr, 0.0);
    if (!w.isUsable() || !makePrivate(r_)) return;
    kelvo::kernels::dchex(r_.data(), r_.rows(), static_cast<int>(n), k + 1, l + 1, w.z(), n,
                          w.columns(), w.c(), w.s(), direction > 0 ? kRightJob : kLeftJob);
    w.storeBack(rotations, z, nullptr, c, s);
}
