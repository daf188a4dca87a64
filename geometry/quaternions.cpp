#include "KelvoBase/quaternions.h"

#include <cmath>
#include <cstddef>

namespace {

constexpr double kPi = 3.141592653589793;
constexpr double kTiny = 1e-9;

// -1 or 1 without a vector part.
bool isRealUnit(const Tquaternion& q) {
    return std::fabs(std::fabs(q.w) - 1.0) < kTiny && std::fabs(q.x) < kTiny &&
           std::fabs(q.y) < kTiny && std::fabs(q.z) < kTiny;
}

}  // namespace

static_assert(offsetof(Tquaternion, w) == 0 && offsetof(Tquaternion, x) == sizeof(double) &&
              offsetof(Tquaternion, z) == 3 * sizeof(double));

Tquaternion Tquaternion::exp() const {
    const double theta = std::sqrt(x * x + y * y + z * z);
    const double f = theta > kTiny ? std::sin(theta) / theta : 1.0;
    return {std::cos(theta), f * x, f * y, f * z};
}

int Tquaternion::equivalent(const Tquaternion& b, double tol) const {
    const Tquaternion d = *this - b;
    const double distance = std::sqrt(d.w * d.w + d.x * d.x + d.y * d.y + d.z * d.z);
    return distance <= (tol < 0.0 ? 0.0 : tol);
}

void Tquaternion::getPivotAxis(double& angle, T4dDblVector& axis) const {
    angle = 2.0 * std::acos(w);
    if (std::fabs(angle) <= kTiny) return;
    const double s = std::sin(angle * 0.5);
    axis.set(x / s, y / s, z / s);
}

Tquaternion& Tquaternion::setToPivotAxis(double angle, const T4dDblVector& axis) {
    const double squared = axis.norm();
    if (!(squared > kTiny)) return *this = Tquaternion();
    const double f = std::sin(angle * 0.5) / std::sqrt(squared);
    return *this = Tquaternion(std::cos(angle * 0.5), axis.x * f, axis.y * f, axis.z * f);
}

Tquaternion TunitQuaternion::log() const {
    const double n = std::sqrt(x * x + y * y + z * z);
    const double f = n > 0.0 ? std::atan2(n, w) / n : 0.0;
    return {0.0, f * x, f * y, f * z};
}

void TunitQuaternion::setBetweenOpposites(const TunitQuaternion& a, const TunitQuaternion& b,
                                          double t) {
    if (std::fabs(a.w + b.w) < kTiny && isRealUnit(a)) {
        *this = b;
        return;
    }
    // Half way lies a perpendicular of a. Its scalar part is not blended; callers rely on it.
    const double ka = std::sin((0.5 - t) * kPi), kb = std::sin(t * kPi);
    *this = TunitQuaternion({a.z, ka * a.x + kb * -a.y, ka * a.y + kb * a.x, ka * a.z + kb * -a.w});
}

TunitQuaternion squad(const TunitQuaternion& p, const TunitQuaternion& a, const TunitQuaternion& b,
                      const TunitQuaternion& q, double t) {
    return slerp(slerp(p, q, t), slerp(a, b, t), 2.0 * t * (1.0 - t));
}

TunitQuaternion squadControlPoint(const TunitQuaternion& q, const TunitQuaternion& qa,
                                  const TunitQuaternion& qb) {
    const TunitQuaternion back = q.conjugate();
    const Tquaternion bend = -0.25 * ((back * qa).log() + (back * qb).log());
    return q * bend.exp().normalize();
}
