// Transforms on top of T4dDblMatrix: TgenXformMatrix accumulates elementary operations, Tscale
// holds scale factors, TxformMatrix and TpostXformMatrix keep a transform as editable components.
//   1. Row vectors, p' = p * M; in A * B the transform A acts first (see matrix4.h). T(v) below is
//      the translation by v, R the matrix of the rotation, S that of the scale, X_3 the upper-left
//      3 x 3 block of X. Rotations are right-handed; angles are radians or Tangle values.
//   2. TgenXformMatrix: every operation goes in front of what is there, so that the newest one acts
//      first on a point: m.translate(...); m.scale(...) scales, then translates.
//   3. TxformMatrix: "=" sets a component, "+=" adds to it. The stored matrix is the one last
//      assigned and does not follow; inverse() and translation() work from the components, and the
//      composed matrix is inverse().inverse().
//   4. Nothing here fails; degenerate input gives what the arithmetic gives.
#pragma once

#include "KelvoBase/geometry_fwd.h"
#include "KelvoBase/kelvo_api.h"
#include "KelvoBase/matrix4.h"
#include "KelvoBase/points.h"
#include "KelvoBase/quaternions.h"
#include "KelvoBase/vectors.h"

/// A matrix that accumulates elementary operations, the newest one first. Arrays must not be null.
class KELVO_API TgenXformMatrix : public T4dDblMatrix {
  public:
    /// Turns about the x, y or z axis by a.
    void rotatex(Tangle& a);
    void rotatey(Tangle& a);
    void rotatez(Tangle& a);
    /// Turns about axis by a. The axis is used as given: pass a unit vector.
    void rotateAxis(const double axis[3], Tangle& a);
    void translate(double x, double y, double z);
    void translate(const double v[3]);
    void scale(double x, double y, double z);
    void scale(const double v[3]);
    /// Scales all three axes by k. A literal 0 is ambiguous with a null array: write 0.0.
    void scale(double k);
    /// As premultBy(m).
    void multiplyBy(T4dDblMatrix& m);
    /// Turns v onto the positive z axis: v becomes (0, 0, length of v). A part of the turn whose
    /// lengths are zero is left out, so that a zero v changes nothing.
    void alignVectorWithZAxis(const double v[3]);
    /// The inverse turn: (0, 0, length of v) becomes v.
    void alignZAxisWithVector(const double v[3]);

    /// Makes a, b and c the columns of the upper-left 3 x 3 block (not the rows); row 3 and column
    /// 3 stay. Nothing is premultiplied. The arrays may be rows of this matrix.
    void setOrientation(const double a[3], const double b[3], const double c[3]);
    /// out = (in, 1) * M without the fourth component. The translation IS added, despite the name.
    /// in and out may be the same.
    void transformVector(const double in[3], double out[3]) const;
    /// out = in * M without the fourth component, for a homogeneous input; nothing is divided by a
    /// weight. Four doubles in, three out; in and out may be the same.
    void transformPoint(const double in[4], double out[3]) const;
    /// The same in place; the fourth double of transformPoint's array stays.
    void transformVector(double v[3]) const { transformVector(v, v); }
    void transformPoint(double v[4]) const { transformPoint(v, v); }
};

/// Three scale factors that stay away from zero: a factor strictly between -0.0001 and 0.0001 is
/// stored as +0.0001, so that a scale can always be inverted. Negative factors mirror.
class KELVO_API Tscale {
  public:
    double x, y, z;

    /// (1, 1, 1).
    Tscale() : x(1.0), y(1.0), z(1.0) {}
    /// Each factor floored as above.
    Tscale(double sx, double sy, double sz) { set(sx, sy, sz); }
    Tscale(const Tscale&) = default;
    Tscale& operator=(const Tscale&) = default;
    virtual ~Tscale() = default;
    /// Stores the factors, floored.
    Tscale& set(double sx, double sy, double sz);
    Tscale& set(double k) { return set(k, k, k); }

    /// The scaling matrix: the factors, floored once more, on the diagonal.
    operator T4dDblMatrix() const;
    /// 1 when no two factors differ by more than 1e-9, else 0.
    int proportionalScale() const;
    /// 1 when no factor differs from its partner in o by more than tol, else 0. tol is floored like
    /// a factor: 0 means 0.0001.
    int equivalent(const Tscale& o, double tol) const;
    /// The reciprocals of the floored factors, floored again: factors beyond 10000 come back as
    /// 0.0001.
    Tscale inverse() const;
    Tscale& invertIt() { return *this = inverse(); }
};

namespace kelvo::geometry {
struct XformLayout;
}

/// A transform as components with pivots: T(D) * S * T(B + C) * R * T(A + t), that is, move the
/// scale pivot to the origin (D), scale, move back and on to the rotate pivot (C, B), rotate, move
/// back (A) and translate (t). A pivot can be moved without moving what is transformed: A and C
/// take up the difference. The matrix it derives from is the one last assigned: to apply the composed
/// transform use `x.inverse().inverse()`, not x itself.
class KELVO_API TxformMatrix : public T4dDblMatrix {
  public:
    /// The identity: no translation, no rotation, scale 1, both pivots at the origin.
    TxformMatrix() = default;
    /// Stores m and splits it into translation, rotation and scale, as operator= does.
    TxformMatrix(const T4dDblMatrix& m) { *this = m; }
    TxformMatrix(const TxformMatrix&) = default;
    TxformMatrix& operator=(const TxformMatrix&) = default;
    /// Stores m and splits it: the scale factors are the lengths of the first three rows (not
    /// floored), the z factor negative when m mirrors; pivots at the origin. Shear is lost. A zero
    /// row gives NaN.
    TxformMatrix& operator=(const T4dDblMatrix& m);

    /// Sets the translation from a displacement v of the untransformed space. With pivots at the
    /// origin translation() gives v back; otherwise it is offset by where the origin goes.
    TxformMatrix& operator=(const T4dDblVector& v);
    /// Adds the displacement v of the untransformed space to the translation.
    TxformMatrix& operator+=(const T4dDblVector& v);
    /// Sets the rotation. The offset that kept the transform when the rotate pivot was moved is
    /// dropped.
    TxformMatrix& operator=(const TunitQuaternion& r);
    /// Puts r before the stored rotation: r acts first (TpostXformMatrix: last).
    TxformMatrix& operator+=(const TunitQuaternion& r);
    /// Sets the scale. The offset that kept the transform when the scale pivot was moved is
    /// dropped.
    TxformMatrix& operator=(const Tscale& k);
    /// Multiplies the scale factors by those of k, without floor.
    TxformMatrix& operator+=(const Tscale& k);

    /// The translation, carried back into the untransformed space.
    T4dDblVector translation() const;
    TunitQuaternion rotation() const { return rotation_; }
    Tscale scale() const { return scale_; }
    /// The scale pivot, in untransformed space.
    T4dDblPoint scalePivotPoint() const;
    /// The rotate pivot, carried back through the scale stage into untransformed space.
    T4dDblPoint rotatePivotPoint() const;
    /// Moves a pivot to p (any weight but 0) and leaves the composed transform as it is.
    void setScalePivotPoint(const T4dDblPoint& p);
    void setRotatePivotPoint(const T4dDblPoint& p);
    /// The inverse of the composed transform, from the components; the stored matrix is not read.
    T4dDblMatrix inverse() const;

  protected:
    /// Sets the components from the stored matrix, as operator=(const T4dDblMatrix&) tells. The
    /// modified flag stays.
    void extractVectorsFromMatrix();

  private:
    friend struct kelvo::geometry::XformLayout;

    T4dDblMatrix toRotatedFrame() const;
    T4dDblMatrix fromRotatedFrame() const;

    T4dDblVector translation_;
    TunitQuaternion rotation_;
    Tscale scale_;
    T4dDblVector rotateExit_;   // A: after the rotation
    T4dDblVector rotateEntry_;  // B: before the rotation, minus the rotate pivot in scaled space
    T4dDblVector scaleExit_;    // C: after the scaling
    T4dDblVector scaleEntry_;   // D: before the scaling, minus the scale pivot
    int modified_ = 0;          // 1: components changed since the matrix was assigned
};

/// A transform as components S * R * T(t). The pivots are not part of it: they are the fixed points
/// of what "+=" adds.
class KELVO_API TpostXformMatrix : public T4dDblMatrix {
  public:
    /// The identity, with both pivots at the origin.
    TpostXformMatrix() = default;
    TpostXformMatrix(const TpostXformMatrix&) = default;
    TpostXformMatrix& operator=(const TpostXformMatrix&) = default;
    virtual ~TpostXformMatrix() = default;

    /// Sets the translation, or adds to it.
    TpostXformMatrix& operator=(const T4dDblVector& v);
    TpostXformMatrix& operator+=(const T4dDblVector& v);
    /// Sets the rotation; the translation stays.
    TpostXformMatrix& operator=(const TunitQuaternion& r);
    /// Turns by r about the rotate pivot after everything else (TxformMatrix: before): the
    /// translation is carried along.
    TpostXformMatrix& operator+=(const TunitQuaternion& r);
    /// Sets the scale; the translation stays.
    TpostXformMatrix& operator=(const Tscale& k);
    /// Multiplies the scale factors by those of k (floored) and scales the translation about the
    /// scale pivot, along the rotated axes.
    TpostXformMatrix& operator+=(const Tscale& k);

    T4dDblVector translation() const { return translation_; }
    TunitQuaternion rotation() const { return rotation_; }
    Tscale scale() const { return scale_; }
    /// The pivots, as they were set (default (0, 0, 0, 1)).
    T4dDblPoint scalePivotPoint() const { return scalePivot_; }
    T4dDblPoint rotatePivotPoint() const { return rotatePivot_; }
    void setScalePivotPoint(const T4dDblPoint& p) { scalePivot_ = p; }
    void setRotatePivotPoint(const T4dDblPoint& p) { rotatePivot_ = p; }
    /// The inverse of the matrix, which is first rebuilt as S * R * T(t) when a component has
    /// changed; therefore not const.
    T4dDblMatrix inverse();

  private:
    friend struct kelvo::geometry::XformLayout;

    T4dDblVector translation_;
    TunitQuaternion rotation_;
    Tscale scale_;
    T4dDblPoint rotatePivot_;
    T4dDblPoint scalePivot_;
    int modified_ = 0;  // 1: the matrix does not yet follow the components
};
