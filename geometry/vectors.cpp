#include "KelvoBase/vectors.h"

#include <cmath>
#include <type_traits>

#include "KelvoBase/matrix4.h"
#include "KelvoBase/points.h"
#include "KelvoBase/quaternions.h"

namespace {

constexpr double kPi = 3.141592653589793;
constexpr double kDegenerate = 1e-9;

// Points and vectors are handed out as arrays and copied as bytes.
template <class T, int count>
constexpr bool kIsArrayOf = sizeof(T) == count * sizeof(double) &&
                            std::is_standard_layout_v<T>&& std::is_trivially_copyable_v<
                                T>&& std::is_trivially_destructible_v<T>;
static_assert(kIsArrayOf<T3dDblPoint, 3> && kIsArrayOf<T4dDblPoint, 4> &&
              kIsArrayOf<T4dDblVector, 3> && kIsArrayOf<T4dDblMatrix, 16> &&
              kIsArrayOf<Tquaternion, 4> && kIsArrayOf<TunitQuaternion, 4>);

}  // namespace

int T4dDblVector::parallel(const T4dDblVector& v, double tol) const {
    const T4dDblVector a = getNormal(), b = v.getNormal();
    return (a - b).length() < tol || (a - (-b)).length() < tol;
}

Taxis T4dDblVector::dominantAxis() const {
    const double ax = std::fabs(x), ay = std::fabs(y), az = std::fabs(z);
    if (ay < ax) return az < ax ? TAXIS_X : TAXIS_Z;
    return az < ay ? TAXIS_Y : TAXIS_Z;
}

TunitQuaternion T4dDblVector::rotateTo(const T4dDblVector& v) const {
    TunitQuaternion q;
    const double p = length() * v.length();
    if (std::fabs(p) < kDegenerate) return q;
    double c = dotProduct(v) / p;
    if (c < -1.0) c = -1.0;
    if (c > 1.0) c = 1.0;
    const double angle = std::acos(c);
    if (!(std::fabs(angle - kPi) < kDegenerate)) return q.setToPivotAxis(angle, crossProduct(v));

    // Opposite vectors have no cross product: take the perpendicular in the plane of the dominant
    // axis and the one after it.
    const unsigned d = dominantAxis(), next = (d + 1) % 3;
    T4dDblVector axis;
    axis[d] = -(*this)[next];
    axis[next] = (*this)[d];
    return q.setToPivotAxis(angle, axis);
}
