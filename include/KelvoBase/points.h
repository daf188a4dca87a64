// Points: T3dDblPoint (Cartesian) and T4dDblPoint (homogeneous, with a weight w).
//   1. Row vectors: p' = p * M. The translation of M is its last row, (3,0) (3,1) (3,2), and in
//      p * A * B the transform A acts first. "Column form" means M * p, for callers who hold the
//      transposed matrix.
//   2. A point with w == 1 is Cartesian. Nothing is flagged: an operation that needs Cartesian
//      coordinates looks at w itself, and divides only when w is not exactly 1.
//   3. Nothing here fails. A zero weight gives infinities or NaNs. Comparisons return 1 or 0.
//   4. Operations that take a matrix need matrix4.h.
//   5. Plain values without heap or virtual functions; every ...It and product may name itself.
#pragma once

#include <cmath>

#include "KelvoBase/geometry_fwd.h"
#include "KelvoBase/kelvo_api.h"
#include "KelvoBase/vectors.h"

/// A Cartesian point: three doubles x, y, z, contiguous, so that &p.x serves as double[3].
class KELVO_API T3dDblPoint {
  public:
    double x, y, z;

    /// The origin (0, 0, 0).
    constexpr T3dDblPoint() : x(0.0), y(0.0), z(0.0) {}
    constexpr T3dDblPoint(double px, double py, double pz) : x(px), y(py), z(pz) {}
    /// The tip of v drawn from the origin. Implicit, as is the way back: points and vectors mix.
    T3dDblPoint(const T4dDblVector& v);
    T3dDblPoint(const T3dDblPoint&) = default;
    ~T3dDblPoint() = default;
    T3dDblPoint& operator=(const T3dDblPoint&) = default;
    T3dDblPoint& operator=(const T4dDblVector& v);

    /// 1 when all three components are exactly equal (0.0 equals -0.0, NaN equals nothing), else 0.
    int operator==(const T3dDblPoint& p) const { return x == p.x && y == p.y && z == p.z; }
    /// The negation of ==.
    int operator!=(const T3dDblPoint& p) const { return !(*this == p); }
    /// The same with the components of a vector (C++20 cannot choose between the conversions).
    int operator==(const T4dDblVector& v) const { return *this == T3dDblPoint(v); }
    int operator!=(const T4dDblVector& v) const { return !(*this == v); }
    /// The vector from p to this point.
    T4dDblVector operator-(const T3dDblPoint& p) const;
    /// This point displaced by -v.
    T3dDblPoint operator-(const T4dDblVector& v) const;
    /// This point displaced by v.
    T3dDblPoint operator+(const T4dDblVector& v) const;

    /// Squared distance to p: no square root is taken.
    double distance2To(const T3dDblPoint& p) const;
    /// 1 when the squared distance is at most tol * tol, else 0. A distance of exactly tol counts
    /// as equivalent, which T4dDblVector::equivalent does not grant; the sign of tol is irrelevant.
    int equivalent(const T3dDblPoint& p, double tol) const;

    /// Becomes p * M with the translation added. The fourth column of M takes no part and nothing
    /// is divided by a weight, so M should be affine. p may be this point.
    T3dDblPoint& setToProduct(const T3dDblPoint& p, const T4dDblMatrix& M);
    /// Becomes (this point) * M, as setToProduct.
    T3dDblPoint& postmultBy(const T4dDblMatrix& M);
    /// This point * M, as setToProduct.
    T3dDblPoint operator*(const T4dDblMatrix& M) const;
};

/// A homogeneous point: four doubles x, y, z, w, contiguous.
class KELVO_API T4dDblPoint {
  public:
    double x, y, z, w;

    /// The origin with weight 1: (0, 0, 0, 1).
    constexpr T4dDblPoint() : x(0.0), y(0.0), z(0.0), w(1.0) {}
    constexpr T4dDblPoint(double px, double py, double pz, double pw)
        : x(px), y(py), z(pz), w(pw) {}
    T4dDblPoint(const T4dDblPoint&) = default;
    T4dDblPoint& operator=(const T4dDblPoint&) = default;
    /// Stores the four values as given; returns this point.
    T4dDblPoint& set(double px, double py, double pz, double pw);

    /// The components as double[4], x first. Lives as long as the point.
    double* array() { return reinterpret_cast<double*>(this); }
    const double* array() const { return reinterpret_cast<const double*>(this); }
    /// 0: x, 1: y, 2: z, every other index: w. No index is an error.
    double& operator()(short i);
    double operator()(short i) const;

    /// Divides x, y, z by w and makes w 1; nothing when w == 1. With w == 0: infinities or NaNs.
    T4dDblPoint& cartesianizeIt();
    /// Divides x, y, z by w and keeps w; nothing when w == 1. With w == 0: infinities or NaNs.
    T4dDblPoint& rationalizeIt();
    /// Multiplies x, y, z by w and keeps w; nothing when w == 1.
    T4dDblPoint& homogenizeIt();
    /// Copies treated by cartesianizeIt, rationalizeIt and homogenizeIt (in this order).
    T4dDblPoint cartesian() const;
    T4dDblPoint rational() const;
    T4dDblPoint homogenous() const;

    /// Column form, all four components: becomes M * p. p may be this point.
    T4dDblPoint& setToProduct(const T4dDblMatrix& M, const T4dDblPoint& p);
    /// Row form, all four components: becomes p * M. p may be this point.
    T4dDblPoint& setToProduct(const T4dDblPoint& p, const T4dDblMatrix& M);
    /// Becomes M * (this point), column form.
    T4dDblPoint& premultBy(const T4dDblMatrix& M);
    /// Becomes (this point) * M, row form.
    T4dDblPoint& postmultBy(const T4dDblMatrix& M);
    /// This point * M, row form.
    T4dDblPoint operator*(const T4dDblMatrix& M) const;

    /// The vector from p to this point, each made Cartesian first.
    T4dDblVector operator-(const T4dDblPoint& p) const;
    /// This point made Cartesian, then displaced by v or by -v; the weight of the result is 1.
    T4dDblPoint operator+(const T4dDblVector& v) const;
    T4dDblPoint operator-(const T4dDblVector& v) const;
    /// Cartesian distance to p.
    double distanceTo(T4dDblPoint p) const;

    /// 1 when all four stored components are exactly equal, else 0. The weights are compared, not
    /// divided out: (2,0,0,2) and (1,0,0,1) are the same place and still differ here.
    int operator==(const T4dDblPoint& p) const {
        return x == p.x && y == p.y && z == p.z && w == p.w;
    }
    /// The negation of ==.
    int operator!=(const T4dDblPoint& p) const { return !(*this == p); }
    /// 1 when the distance of the four stored components (weights not divided out) is at most tol.
    int equivalent(const T4dDblPoint& p, double tol) const;
};

/// M * p, column form, all four components.
inline T4dDblPoint operator*(const T4dDblMatrix& M, const T4dDblPoint& p);

// Inline bodies from here on.

inline T4dDblVector::T4dDblVector(const T3dDblPoint& p) : x(p.x), y(p.y), z(p.z) {}
inline T4dDblVector::T4dDblVector(const T4dDblPoint& p) : x(p.x), y(p.y), z(p.z) {}
inline T3dDblPoint::T3dDblPoint(const T4dDblVector& v) : x(v.x), y(v.y), z(v.z) {}

inline int T4dDblVector::operator==(const T3dDblPoint& p) const {
    return p == *this;
}
inline int T4dDblVector::operator!=(const T3dDblPoint& p) const {
    return !(p == *this);
}

inline T3dDblPoint& T3dDblPoint::operator=(const T4dDblVector& v) {
    x = v.x;
    y = v.y;
    z = v.z;
    return *this;
}

inline T4dDblVector T3dDblPoint::operator-(const T3dDblPoint& p) const {
    return {x - p.x, y - p.y, z - p.z};
}

inline T3dDblPoint T3dDblPoint::operator-(const T4dDblVector& v) const {
    return {x - v.x, y - v.y, z - v.z};
}

inline T3dDblPoint T3dDblPoint::operator+(const T4dDblVector& v) const {
    return {x + v.x, y + v.y, z + v.z};
}

inline double T3dDblPoint::distance2To(const T3dDblPoint& p) const {
    return (*this - p).norm();
}

inline int T3dDblPoint::equivalent(const T3dDblPoint& p, double tol) const {
    return distance2To(p) <= tol * tol;
}

inline T4dDblPoint& T4dDblPoint::set(double px, double py, double pz, double pw) {
    return *this = T4dDblPoint(px, py, pz, pw);
}

inline double& T4dDblPoint::operator()(short i) {
    return i == 0 ? x : i == 1 ? y : i == 2 ? z : w;
}

inline double T4dDblPoint::operator()(short i) const {
    return i == 0 ? x : i == 1 ? y : i == 2 ? z : w;
}

inline T4dDblPoint& T4dDblPoint::rationalizeIt() {
    if (w != 1.0) {
        const double s = 1.0 / w;
        x *= s;
        y *= s;
        z *= s;
    }
    return *this;
}

inline T4dDblPoint& T4dDblPoint::cartesianizeIt() {
    rationalizeIt();
    w = 1.0;
    return *this;
}

inline T4dDblPoint& T4dDblPoint::homogenizeIt() {
    if (w != 1.0) {
        x *= w;
        y *= w;
        z *= w;
    }
    return *this;
}

inline T4dDblPoint T4dDblPoint::cartesian() const {
    return T4dDblPoint(*this).cartesianizeIt();
}

inline T4dDblPoint T4dDblPoint::rational() const {
    return T4dDblPoint(*this).rationalizeIt();
}

inline T4dDblPoint T4dDblPoint::homogenous() const {
    return T4dDblPoint(*this).homogenizeIt();
}

inline T4dDblVector T4dDblPoint::operator-(const T4dDblPoint& p) const {
    const T4dDblPoint a = cartesian(), b = p.cartesian();
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}

inline T4dDblPoint T4dDblPoint::operator+(const T4dDblVector& v) const {
    const T4dDblPoint a = cartesian();
    return {a.x + v.x, a.y + v.y, a.z + v.z, 1.0};
}

inline T4dDblPoint T4dDblPoint::operator-(const T4dDblVector& v) const {
    const T4dDblPoint a = cartesian();
    return {a.x - v.x, a.y - v.y, a.z - v.z, 1.0};
}

inline double T4dDblPoint::distanceTo(T4dDblPoint p) const {
    return (*this - p).length();
}

inline int T4dDblPoint::equivalent(const T4dDblPoint& p, double tol) const {
    const double dx = x - p.x, dy = y - p.y, dz = z - p.z, dw = w - p.w;
    return std::sqrt(dx * dx + dy * dy + dz * dz + dw * dw) <= tol;
}
