// Directions and displacements: T4dDblVector.
//   1. Row vectors: v' = v * M (row form). "Column form" means M * v, for callers who hold the
//      transposed matrix; it turns a vector the other way than the row form of the same rotation.
//   2. Three components are stored. The fourth homogeneous one is 0 by definition, so that only the
//      upper-left 3 x 3 block of a matrix acts on a vector and its translation never does.
//   3. Angles are Tangle values or radians, counter-clockwise seen from the tip of the axis.
//   4. Nothing here fails; non-finite input gives non-finite output. A vector of length 1e-9 or
//      less has no direction: normalising leaves it as it is. Comparisons return 1 or 0.
//   5. What takes a point is in points.h, what takes a matrix in matrix4.h, and the result of
//      rotateTo in quaternions.h: include these where they are used.
//   6. Plain values without heap or virtual functions; every ...It and product may name itself.
#pragma once

#include <cmath>

#include "KelvoBase/angles.h"
#include "KelvoBase/geometry_fwd.h"
#include "KelvoBase/kelvo_api.h"

/// The three coordinate axes, as T4dDblVector::dominantAxis returns them; usable as an index.
enum Taxis { TAXIS_X = 0, TAXIS_Y = 1, TAXIS_Z = 2 };

/// A direction or displacement: three doubles x, y, z, contiguous.
class KELVO_API T4dDblVector {
  public:
    double x, y, z;

    /// (0, 0, 0).
    constexpr T4dDblVector() : x(0.0), y(0.0), z(0.0) {}
    constexpr T4dDblVector(double vx, double vy, double vz) : x(vx), y(vy), z(vz) {}
    /// The vector from the origin to p. Implicit: points and vectors mix.
    T4dDblVector(const T3dDblPoint& p);
    /// x, y, z as they stand. The weight is ignored, not divided out: call p.cartesian() first when
    /// it may differ from 1.
    T4dDblVector(const T4dDblPoint& p);
    T4dDblVector(const T4dDblVector&) = default;
    T4dDblVector& operator=(const T4dDblVector&) = default;
    /// Becomes the translation of M: elements (3,0), (3,1), (3,2).
    T4dDblVector& operator=(const T4dDblMatrix& M);
    /// Stores the three values as given; returns this vector.
    T4dDblVector& set(double vx, double vy, double vz);
    /// The matrix that translates by this vector: the identity with row 3 (x, y, z, 1).
    operator T4dDblMatrix() const;

    /// The components as double[3], x first. Lives as long as the vector.
    double* array() { return reinterpret_cast<double*>(this); }
    const double* array() const { return reinterpret_cast<const double*>(this); }
    /// 0: x, 1: y, every other index: z. No index is an error.
    double& operator[](unsigned i) { return i == 0 ? x : i == 1 ? y : z; }
    double operator[](unsigned i) const { return i == 0 ? x : i == 1 ? y : z; }
    double& operator()(short i) { return i == 0 ? x : i == 1 ? y : z; }
    double operator()(short i) const { return i == 0 ? x : i == 1 ? y : z; }

    /// The SQUARED length, despite the name. length() takes the root.
    double norm() const;
    /// The length. Overflows to infinity above about 1e154 and underflows to 0 below about 1e-162.
    double length() const;
    double dotProduct(const T4dDblVector& v) const;
    /// Becomes a x b (right-handed). a and b may be this vector.
    T4dDblVector& setToCrossProduct(const T4dDblVector& a, const T4dDblVector& b);
    /// (this vector) x v. Note that ^ binds weaker than + and == in C++: bracket it.
    T4dDblVector crossProduct(const T4dDblVector& v) const;
    T4dDblVector operator^(const T4dDblVector& v) const;

    T4dDblVector& operator+=(const T4dDblVector& v);
    T4dDblVector operator+(const T4dDblVector& v) const;
    T4dDblVector operator-(const T4dDblVector& v) const;
    /// The negated vector ("inverse" of a displacement).
    T4dDblVector operator-() const;
    T4dDblVector inverse() const;
    /// Negates in place.
    T4dDblVector& invertIt();
    T4dDblVector operator*(double s) const;
    T4dDblVector& operator*=(double s);

    /// Makes the length 1; a vector of length 1e-9 or less (or NaN) stays as it is.
    T4dDblVector& normalizeIt();
    /// The same for callers who know the length: multiplies by 1/len when len > 1e-9.
    T4dDblVector& normalizeIt(double len);
    /// A copy treated by normalizeIt().
    T4dDblVector getNormal() const;
    /// 1 when the length differs from 1 by less than tol (strictly), else 0.
    int unitLength(double tol) const;

    /// 1 when the distance to v is less than tol, else 0. A distance of exactly tol is not
    /// equivalent, unlike for the points.
    int equivalent(const T4dDblVector& v, double tol) const;
    /// 1 when all three components are exactly equal, else 0.
    int operator==(const T4dDblVector& v) const { return x == v.x && y == v.y && z == v.z; }
    /// The negation of ==.
    int operator!=(const T4dDblVector& v) const { return !(*this == v); }
    /// The same with the coordinates of a point.
    int operator==(const T3dDblPoint& p) const;
    int operator!=(const T3dDblPoint& p) const;
    /// 1 when the unit vectors of this and of v, or of this and of -v, are less than tol apart
    /// (a chord, about the angle in radians). Opposite directions count as parallel. Vectors of
    /// length 1e-9 or less are compared as they are.
    int parallel(const T4dDblVector& v, double tol) const;
    /// The axis of the component of largest magnitude; a tie goes to the later axis, so (1,1,0)
    /// gives TAXIS_Y and (0,0,0) gives TAXIS_Z.
    Taxis dominantAxis() const;

    /// Turns this vector by a about the x, y or z axis, in place.
    T4dDblVector& rotateItX(Tangle& a);
    T4dDblVector& rotateItY(Tangle& a);
    T4dDblVector& rotateItZ(Tangle& a);
    /// The shortest rotation that turns this direction into that of v. Identity when the product of
    /// the lengths is below 1e-9, and when the cross product is shorter than about 3.2e-5:
    /// normalise both first, and know that turns of less than 3.2e-5 radians are dropped. When the
    /// angle computes to a half turn within 1e-9 radians: the half turn about a fixed perpendicular
    /// of this vector. Opposite directions whose cosine is rounded to more than -1 miss that and
    /// give the identity; callers that meet opposite directions test for them first.
    TunitQuaternion rotateTo(const T4dDblVector& v) const;

    /// Column form on the 3 x 3 block: becomes M * v. v may be this vector.
    T4dDblVector& setToProduct(const T4dDblMatrix& M, const T4dDblVector& v);
    /// Row form on the 3 x 3 block: becomes v * M. v may be this vector.
    T4dDblVector& setToProduct(const T4dDblVector& v, const T4dDblMatrix& M);
    /// Becomes M * (this vector), column form.
    T4dDblVector& premultBy(const T4dDblMatrix& M);
    /// Becomes (this vector) * M, row form.
    T4dDblVector& postmultBy(const T4dDblMatrix& M);
    /// This vector * M, row form.
    T4dDblVector operator*(const T4dDblMatrix& M) const;
};

/// s * v.
inline T4dDblVector operator*(double s, T4dDblVector v);
/// M * v, column form. A T3dDblPoint given as v is taken as a vector: the translation is ignored.
inline T4dDblVector operator*(const T4dDblMatrix& M, const T4dDblVector& v);

// Inline bodies from here on.

inline T4dDblVector& T4dDblVector::set(double vx, double vy, double vz) {
    x = vx;
    y = vy;
    z = vz;
    return *this;
}

inline double T4dDblVector::norm() const {
    return x * x + y * y + z * z;
}

inline double T4dDblVector::length() const {
    return std::sqrt(norm());
}

inline double T4dDblVector::dotProduct(const T4dDblVector& v) const {
    return x * v.x + y * v.y + z * v.z;
}

inline T4dDblVector& T4dDblVector::setToCrossProduct(const T4dDblVector& a, const T4dDblVector& b) {
    return set(a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x);
}

inline T4dDblVector T4dDblVector::crossProduct(const T4dDblVector& v) const {
    T4dDblVector r;
    return r.setToCrossProduct(*this, v);
}

inline T4dDblVector T4dDblVector::operator^(const T4dDblVector& v) const {
    return crossProduct(v);
}

inline T4dDblVector& T4dDblVector::operator+=(const T4dDblVector& v) {
    return set(x + v.x, y + v.y, z + v.z);
}

inline T4dDblVector T4dDblVector::operator+(const T4dDblVector& v) const {
    return {x + v.x, y + v.y, z + v.z};
}

inline T4dDblVector T4dDblVector::operator-(const T4dDblVector& v) const {
    return {x - v.x, y - v.y, z - v.z};
}

inline T4dDblVector T4dDblVector::operator-() const {
    return {-x, -y, -z};
}

inline T4dDblVector T4dDblVector::inverse() const {
    return -*this;
}

inline T4dDblVector& T4dDblVector::invertIt() {
    return set(-x, -y, -z);
}

inline T4dDblVector T4dDblVector::operator*(double s) const {
    return {x * s, y * s, z * s};
}

inline T4dDblVector& T4dDblVector::operator*=(double s) {
    return set(x * s, y * s, z * s);
}

inline T4dDblVector operator*(double s, T4dDblVector v) {
    return v *= s;
}

inline T4dDblVector& T4dDblVector::normalizeIt() {
    return normalizeIt(length());
}

inline T4dDblVector& T4dDblVector::normalizeIt(double len) {
    if (len > 1e-9) *this *= 1.0 / len;
    return *this;
}

inline T4dDblVector T4dDblVector::getNormal() const {
    return T4dDblVector(*this).normalizeIt();
}

inline int T4dDblVector::unitLength(double tol) const {
    return std::fabs(length() - 1.0) < tol;
}

inline int T4dDblVector::equivalent(const T4dDblVector& v, double tol) const {
    return (*this - v).length() < tol;
}

inline T4dDblVector& T4dDblVector::rotateItX(Tangle& a) {
    const double c = a.cos(), s = a.sin();
    return set(x, c * y - s * z, s * y + c * z);
}

inline T4dDblVector& T4dDblVector::rotateItY(Tangle& a) {
    const double c = a.cos(), s = a.sin();
    return set(c * x + s * z, y, c * z - s * x);
}

inline T4dDblVector& T4dDblVector::rotateItZ(Tangle& a) {
    const double c = a.cos(), s = a.sin();
    return set(c * x - s * y, s * x + c * y, z);
}
