// Quaternions: Tquaternion (any length) and TunitQuaternion (rotations), and interpolation of them.
//   1. Stored and constructed as (w, x, y, z), the scalar part first.
//   2. Row vectors: the matrix of a quaternion is applied as p' = p * M. The rotation by an angle
//      about a unit axis n is (cos(angle/2), n * sin(angle/2)), counter-clockwise seen from the
//      tip.
//   3. The product is Hamilton's. With M(q) the matrix of q: M(b * a) = M(a) * M(b), so that in
//      b * a the rotation a acts first on a point.
//   4. Angles are radians. q and -q are the same rotation but neither equal nor equivalent.
//   5. Nothing here fails: inverse and matrix of the zero quaternion are non-finite. Comparisons
//      return 1 or 0.
#pragma once

#include <cmath>

#include "KelvoBase/geometry_fwd.h"
#include "KelvoBase/geometry_lanes.h"
#include "KelvoBase/kelvo_api.h"
#include "KelvoBase/matrix4.h"
#include "KelvoBase/vectors.h"

/// A quaternion of any length: four doubles w, x, y, z.
class KELVO_API Tquaternion {
  public:
    double w, x, y, z;

    /// The identity (1, 0, 0, 0).
    constexpr Tquaternion() : w(1.0), x(0.0), y(0.0), z(0.0) {}
    constexpr Tquaternion(double qw, double qx, double qy, double qz)
        : w(qw), x(qx), y(qy), z(qz) {}
    Tquaternion(const Tquaternion&) = default;
    Tquaternion& operator=(const Tquaternion&) = default;
    /// Becomes the unit quaternion of the upper-left 3 x 3 block of m, which must be a proper
    /// rotation (orthonormal, not mirroring); otherwise the result means nothing. The sign of w is
    /// not fixed for rotations of more than a third of a turn. Source: Shepperd's method.
    Tquaternion& operator=(const T4dDblMatrix& m);

    Tquaternion operator+(const Tquaternion& b) const;
    Tquaternion operator-(const Tquaternion& b) const;
    /// All four components negated: the same rotation.
    Tquaternion operator-() const { return {-w, -x, -y, -z}; }
    Tquaternion& negateIt() { return *this = -*this; }
    /// All four components times k.
    Tquaternion& scaleIt(double k);
    /// The Hamilton product (this) * b: as rotations, b acts first.
    Tquaternion operator*(const Tquaternion& b) const;

    /// (w, -x, -y, -z).
    Tquaternion conjugate() const { return {w, -x, -y, -z}; }
    Tquaternion& conjugateIt() { return *this = conjugate(); }
    /// The conjugate divided by the squared norm; non-finite for the zero quaternion.
    Tquaternion inverse() const;
    Tquaternion& invertIt() { return *this = inverse(); }
    /// Makes the four-component norm 1; a norm of 1e-9 or less (or NaN) gives the identity.
    Tquaternion& normalizeIt();
    /// A copy treated by normalizeIt().
    TunitQuaternion normalize() const;
    /// exp of the vector part alone: (cos t, v * sin(t)/t) with t the length of v = (x, y, z).
    /// w takes no part.
    Tquaternion exp() const;

    /// 1 when the distance of the four components is at most tol (a negative tol counts as 0).
    int equivalent(const Tquaternion& b, double tol) const;
    /// 1 when all four components are exactly equal, else 0.
    int operator==(const Tquaternion& b) const {
        return w == b.w && x == b.x && y == b.y && z == b.z;
    }
    /// The negation of ==.
    int operator!=(const Tquaternion& b) const { return !(*this == b); }

    /// Sets m to the rotation: a pure one for every length but 0, which gives NaN.
    void convertToMatrix(T4dDblMatrix& m) const;
    operator T4dDblMatrix() const;
    /// Sets angle to 2 * acos(w), 0..2 pi radians, and axis to (x, y, z) / sin(angle/2): a unit
    /// vector for a unit quaternion, except next to a full turn (w near -1), where it means nothing.
    /// An angle of 1e-9 or less leaves axis untouched; abs(w) > 1 gives NaN.
    void getPivotAxis(double& angle, T4dDblVector& axis) const;
    /// Becomes the rotation by `angle` radians about axis, which may have any length. A squared
    /// length of 1e-9 or less gives the identity.
    Tquaternion& setToPivotAxis(double angle, const T4dDblVector& axis);

  protected:
    const double* array() const { return reinterpret_cast<const double*>(this); }
    /// 0: w, 1: x, 2: y, every other index: z.
    double& operator()(int i) { return i == 0 ? w : i == 1 ? x : i == 2 ? y : z; }
    double operator()(int i) const { return i == 0 ? w : i == 1 ? x : i == 2 ? y : z; }
};

/// All four components of q times k.
inline Tquaternion operator*(double k, const Tquaternion& q);

/// A rotation. Its length is 1 by convention: it stays so under the operations here up to rounding,
/// and renormalizeIt() restores it after long chains of products.
class KELVO_API TunitQuaternion : public Tquaternion {
  public:
    /// The identity (1, 0, 0, 0).
    constexpr TunitQuaternion() = default;
    TunitQuaternion(const TunitQuaternion&) = default;
    TunitQuaternion& operator=(const TunitQuaternion&) = default;
    /// As Tquaternion::operator=.
    TunitQuaternion& operator=(const T4dDblMatrix& m);

    TunitQuaternion& normalizeIt();
    TunitQuaternion& renormalizeIt() { return normalizeIt(); }
    /// All four are the conjugate: nothing is divided.
    TunitQuaternion conjugate() const;
    TunitQuaternion& conjugateIt();
    TunitQuaternion inverse() const { return conjugate(); }
    TunitQuaternion& invertIt() { return conjugateIt(); }
    /// The Hamilton product (this) * b, not renormalised: as rotations, b acts first.
    TunitQuaternion operator*(const TunitQuaternion& b) const;
    Tquaternion operator*(const Tquaternion& b) const { return Tquaternion::operator*(b); }
    using Tquaternion::operator-;  // the difference, too
    TunitQuaternion operator-() const;
    TunitQuaternion& negateIt();
    /// As Tquaternion::setToPivotAxis.
    TunitQuaternion& setToPivotAxis(double angle, const T4dDblVector& axis);
    /// (0, h * n) for the rotation by 2 h radians about the unit axis n, h in 0..pi; (0, 0, 0, 0)
    /// without a vector part. exp() is its inverse, except for (-1, 0, 0, 0).
    Tquaternion log() const;

  protected:
    /// Takes the four values as they are; the caller vouches for the length.
    constexpr explicit TunitQuaternion(const Tquaternion& q) : Tquaternion(q) {}
    friend class Tquaternion;
    friend TunitQuaternion slerp(const TunitQuaternion& a, const TunitQuaternion& b, double t);

  private:
    // Becomes what slerp gives for b = -a.
    void setBetweenOpposites(const TunitQuaternion& a, const TunitQuaternion& b, double t);
};

/// Spherical interpolation from a (t = 0) to b (t = 1) at constant angular speed. b is not flipped
/// to the near side: for a negative dot product the long way round is taken; pass -b for the short
/// one. Ends that are nearly equal are blended linearly. Opposite ends (b = -a) describe one
/// rotation and give a fixed path of their own, not of unit length throughout. Source: Shoemake
/// 1985.
inline TunitQuaternion slerp(const TunitQuaternion& a, const TunitQuaternion& b, double t);
/// A smooth curve from p (t = 0) to q (t = 1) with the inner control points a and b, which
/// squadControlPoint supplies: slerp(slerp(p, q, t), slerp(a, b, t), 2 t (1 - t)).
KELVO_API TunitQuaternion squad(const TunitQuaternion& p, const TunitQuaternion& a,
                                const TunitQuaternion& b, const TunitQuaternion& q, double t);
/// The control point at key q between its neighbours qa and qb (in either order), so that squad
/// curves meet smoothly there.
KELVO_API TunitQuaternion squadControlPoint(const TunitQuaternion& q, const TunitQuaternion& qa,
                                            const TunitQuaternion& qb);

// Inline bodies from here on.

inline Tquaternion Tquaternion::operator+(const Tquaternion& b) const {
    return {w + b.w, x + b.x, y + b.y, z + b.z};
}

inline Tquaternion Tquaternion::operator-(const Tquaternion& b) const {
    return {w - b.w, x - b.x, y - b.y, z - b.z};
}

inline Tquaternion& Tquaternion::scaleIt(double k) {
    return *this = k * *this;
}

inline Tquaternion operator*(double k, const Tquaternion& q) {
    return {k * q.w, k * q.x, k * q.y, k * q.z};
}

inline Tquaternion Tquaternion::operator*(const Tquaternion& b) const {
    using namespace kelvo::geometry;
    const double* const q = b.array();
#ifdef __FMA__
    const double* const p = array();
    typedef Quad::Lanes Lanes;
    const Lanes wxyz = load(q).v;
    const Lanes xwzy = __builtin_shufflevector(wxyz, wxyz, 1, 0, 3, 2);
    const Lanes yzwx = __builtin_shufflevector(wxyz, wxyz, 2, 3, 0, 1);
    const Lanes zyxw = __builtin_shufflevector(wxyz, wxyz, 3, 2, 1, 0);
    Tquaternion r;
    store(reinterpret_cast<double*>(&r),
          {p[0] * wxyz + p[1] * withSigns(xwzy, -0.0, 0.0, -0.0, 0.0) +
           p[2] * withSigns(yzwx, -0.0, 0.0, 0.0, -0.0) +
           p[3] * withSigns(zyxw, -0.0, -0.0, 0.0, 0.0)});
    return r;
#else
    // Two components at a time. The sums are paired so that the vector part of q * conjugate(q) is
    // exactly 0 without contraction.
    const Pair bwx = loadPair(q), byz = loadPair(q + 2), ww = {w, w}, zz = {z, z};
    const Pair xx = -negatedFirst(x), yy = negatedFirst(y);
    const Pair wx = (ww * bwx + yy * byz) + reversed(xx * bwx - zz * byz);
    const Pair yz = (ww * byz - yy * bwx) + reversed(xx * byz + zz * bwx);
    return {wx[0], wx[1], yz[0], yz[1]};
#endif
}

inline Tquaternion Tquaternion::inverse() const {
    const double n = w * w + x * x + y * y + z * z;
    return {w / n, -x / n, -y / n, -z / n};
}

inline Tquaternion& Tquaternion::normalizeIt() {
    const double n = std::sqrt(w * w + x * x + y * y + z * z);
    return n > 1e-9 ? scaleIt(1.0 / n) : *this = Tquaternion();
}

inline TunitQuaternion Tquaternion::normalize() const {
    return TunitQuaternion(Tquaternion(*this).normalizeIt());
}

inline void Tquaternion::convertToMatrix(T4dDblMatrix& m) const {
    using namespace kelvo::geometry;
#ifdef __AVX__
    // With the columns of signed components that each two rows share:
    //   row 0 = y (-y, x, -w) + z (-z, w, x)      row 1 = z (-w, -z, y) - x (-y, x, -w)
    //   row 2 = -x (-z, w, x) - y (-w, -z, y)     all times k, with 1 added on the diagonal.
    typedef Quad::Lanes Lanes;
    const Lanes q = load(array()).v, squares = q * q;
    const Lanes pairs = squares + __builtin_shufflevector(squares, squares, 1, 0, 3, 2);
    const Lanes k =
        Lanes{2.0, 2.0, 2.0, 2.0} / (pairs + __builtin_shufflevector(pairs, pairs, 2, 3, 0, 1));
    const Lanes yxw = withSigns(__builtin_shufflevector(q, q, 2, 1, 0, 3), -0.0, 0.0, -0.0, 0.0);
    const Lanes zwx = withSigns(__builtin_shufflevector(q, q, 3, 0, 1, 2), -0.0, 0.0, 0.0, 0.0);
    const Lanes wzy = withSigns(__builtin_shufflevector(q, q, 0, 3, 2, 1), -0.0, -0.0, 0.0, 0.0);
    const Lanes r0 = y * yxw + z * zwx, r1 = z * wzy - x * yxw, r2 = -(x * zwx) - y * wzy;
    // Adding -0.0 changes nothing, whatever the sign of a zero.
    store(m[0], {withoutLast(Lanes{1.0, -0.0, -0.0, 0.0} + r0 * k)});
    store(m[1], {withoutLast(Lanes{-0.0, 1.0, -0.0, 0.0} + r1 * k)});
    store(m[2], {withoutLast(Lanes{-0.0, -0.0, 1.0, 0.0} + r2 * k)});
    store(m[3], {Lanes{0.0, 0.0, 0.0, 1.0}});
#else
    const double k = 2.0 / (w * w + x * x + y * y + z * z);
    const double xx = x * x, yy = y * y, zz = z * z, xy = x * y, xz = x * z, yz = y * z;
    const double wx = w * x, wy = w * y, wz = w * z;
    setRow(m[0], 1.0 - (yy + zz) * k, (xy + wz) * k, (xz - wy) * k);
    setRow(m[1], (xy - wz) * k, 1.0 - (xx + zz) * k, (yz + wx) * k);
    setRow(m[2], (xz + wy) * k, (yz - wx) * k, 1.0 - (xx + yy) * k);
    setRow(m[3], 0.0, 0.0, 0.0, 1.0);
#endif
}

inline Tquaternion::operator T4dDblMatrix() const {
    T4dDblMatrix m;
    convertToMatrix(m);
    return m;
}

inline Tquaternion& Tquaternion::operator=(const T4dDblMatrix& m) {
    const double trace = m[0][0] + m[1][1] + m[2][2];
    if (trace > 0.0) {
        const double root = std::sqrt(trace + 1.0), s = 0.5 / root;
        return *this = Tquaternion(root * 0.5, (m[1][2] - m[2][1]) * s, (m[2][0] - m[0][2]) * s,
                                   (m[0][1] - m[1][0]) * s);
    }
    unsigned i = m[1][1] > m[0][0] ? 1 : 0;
    if (m[2][2] > m[i][i]) i = 2;
    const unsigned j = (i + 1) % 3, k = (j + 1) % 3;
    const double root = std::sqrt(m[i][i] - (m[j][j] + m[k][k]) + 1.0), s = 0.5 / root;
    double v[3];
    v[i] = root * 0.5;
    v[j] = (m[i][j] + m[j][i]) * s;
    v[k] = (m[i][k] + m[k][i]) * s;
    return *this = Tquaternion((m[j][k] - m[k][j]) * s, v[0], v[1], v[2]);
}

inline TunitQuaternion& TunitQuaternion::operator=(const T4dDblMatrix& m) {
    Tquaternion::operator=(m);
    return *this;
}

inline TunitQuaternion& TunitQuaternion::normalizeIt() {
    Tquaternion::normalizeIt();
    return *this;
}

inline TunitQuaternion TunitQuaternion::conjugate() const {
    return TunitQuaternion(Tquaternion::conjugate());
}

inline TunitQuaternion& TunitQuaternion::conjugateIt() {
    return *this = conjugate();
}

inline TunitQuaternion TunitQuaternion::operator*(const TunitQuaternion& b) const {
    return TunitQuaternion(Tquaternion::operator*(b));
}

inline TunitQuaternion TunitQuaternion::operator-() const {
    return TunitQuaternion(Tquaternion::operator-());
}

inline TunitQuaternion& TunitQuaternion::negateIt() {
    return *this = -*this;
}

inline TunitQuaternion& TunitQuaternion::setToPivotAxis(double angle, const T4dDblVector& axis) {
    Tquaternion::setToPivotAxis(angle, axis);
    return *this;
}

inline TunitQuaternion slerp(const TunitQuaternion& a, const TunitQuaternion& b, double t) {
    using namespace kelvo::geometry;
    // At this distance of the cosine from -1 or 1 the ends count as opposite or equal.
    constexpr double limit = 1e-5;
    const double c = (a.w * b.w + a.x * b.x) + (a.y * b.y + a.z * b.z);
    TunitQuaternion r;
    if (!(1.0 + c > limit)) {
        r.setBetweenOpposites(a, b, t);
        return r;
    }
    double ka = 1.0 - t, kb = t;
    if (1.0 - c > limit) {
        const double omega = std::acos(c), s = std::sin(omega);
        ka = std::sin(ka * omega) / s;
        kb = std::sin(kb * omega) / s;
    }
    store(reinterpret_cast<double*>(&r), ka * load(a.array()) + kb * load(b.array()));
    return r;
}
