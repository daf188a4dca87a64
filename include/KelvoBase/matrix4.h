// T4dDblMatrix: sixteen doubles, row after row.
//   1. Row vectors: a point is a row and moves as p' = p * M. Element (i,j) is row i, column j; the
//      translation is row 3; column 3 is (0, 0, 0, 1) in every affine matrix.
//   2. In A * B the transform A acts first on a point. premultBy(E) puts E before what is there.
//   3. Rotations are right-handed: counter-clockwise seen from the tip of the axis towards the
//      origin. Angles are radians.
//   4. Nothing here fails. Indices are not checked. A singular matrix inverts to non-finite
//      elements. Comparisons return 1 or 0. All products may name their own destination.
#pragma once

#include <cstdio>

#include "KelvoBase/geometry_fwd.h"
#include "KelvoBase/geometry_lanes.h"
#include "KelvoBase/kelvo_api.h"
#include "KelvoBase/points.h"
#include "KelvoBase/vectors.h"

/// Any 4 x 4 matrix: 128 bytes, nothing but the elements.
class KELVO_API T4dDblMatrix {
  public:
    /// The identity.
    T4dDblMatrix() : m_{{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}} {}
    T4dDblMatrix(const T4dDblMatrix&) = default;
    T4dDblMatrix& operator=(const T4dDblMatrix&) = default;
    /// Becomes the identity.
    T4dDblMatrix& setToIdentity() { return *this = T4dDblMatrix(); }

    /// Row i (0..3, unchecked) as double[4]; the next row follows it in memory.
    double* operator[](unsigned i) { return m_[i]; }
    const double* operator[](unsigned i) const { return m_[i]; }
    /// Element (i,j), both 0..3, unchecked.
    double& operator()(short i, short j) { return m_[i][j]; }
    const double& operator()(short i, short j) const { return m_[i][j]; }

    /// Becomes a * b: element (i,j) is a(i,0)*b(0,j) + a(i,1)*b(1,j) + a(i,2)*b(2,j) +
    /// a(i,3)*b(3,j), summed in this order. a and b may be this matrix.
    T4dDblMatrix& setToProduct(const T4dDblMatrix& a, const T4dDblMatrix& b);
    /// This matrix * m: this one acts first.
    T4dDblMatrix operator*(const T4dDblMatrix& m) const;
    /// Becomes m * (this matrix): m acts before what is here.
    T4dDblMatrix& premultBy(const T4dDblMatrix& m) { return setToProduct(m, *this); }
    /// Becomes (this matrix) * m: m acts after what is here.
    T4dDblMatrix& postmultBy(const T4dDblMatrix& m) { return setToProduct(*this, m); }
    T4dDblMatrix& operator*=(const T4dDblMatrix& m) { return postmultBy(m); }

    T4dDblMatrix& transposeIt();
    T4dDblMatrix transpose() const { return T4dDblMatrix(*this).transposeIt(); }
    /// Inverts in place by Gauss-Jordan elimination with row exchange (the largest square in the
    /// column is the pivot, the upper row wins a tie). A singular matrix is not reported: it leaves
    /// infinities and NaNs, or huge elements where rounding hides the zero pivot. Results are the
    /// same bit for bit on every processor.
    T4dDblMatrix& invertIt();
    T4dDblMatrix inverse() const;
    /// Determinant of the upper-left 3 x 3 block: negative for a mirroring transform.
    double det3x3() const;

    /// Becomes the rotation by `angle` radians about a. The axis is used as given: pass a unit
    /// vector, anything else scales and shears. An angle of exactly 0 gives the identity, whatever
    /// the axis. Source: Rodrigues' formula, transposed for row vectors.
    T4dDblMatrix& setToAxisRotate(const T4dDblVector& a, double angle);
    /// Becomes Rot(a, angle) * (this matrix): the rotation acts first. An angle of exactly 0 leaves
    /// every bit as it is.
    T4dDblMatrix& axisRotateIt(const T4dDblVector& a, double angle);

    /// 1 when no element differs from its partner in m by more than tol, else 0; a difference of
    /// exactly tol is equivalent, a NaN never is.
    int equivalent(const T4dDblMatrix& m, double tol) const;
    /// 1 when all sixteen elements are exactly equal, else 0.
    int operator==(const T4dDblMatrix& m) const;
    /// The negation of ==.
    int operator!=(const T4dDblMatrix& m) const { return !(*this == m); }

    /// Element by element to and from row-major arrays. Values out of float's range go to infinity.
    void copyToFloat(float to[4][4]) const;
    void setFromFloat(const float from[4][4]);
    void setFromDouble(const double from[4][4]);
    /// Writes four lines of four numbers ("%g %g %g %g\n"), a row each. Null does nothing.
    void print(FILE* to) const;

  private:
    enum Blank { kBlank };
    explicit T4dDblMatrix(Blank) {}

    double m_[4][4];
};

static_assert(sizeof(T4dDblMatrix) == 16 * sizeof(double), "handed out as double[4][4]");

// Inline bodies from here on.

inline T4dDblMatrix& T4dDblMatrix::setToProduct(const T4dDblMatrix& a, const T4dDblMatrix& b) {
    using namespace kelvo::geometry;
    // The destination may be either operand: b is in registers, and each row of a is read before it
    // is written.
    const Quad b0 = load(b.m_[0]), b1 = load(b.m_[1]), b2 = load(b.m_[2]), b3 = load(b.m_[3]);
    const auto row = [&](const double* ai) {
        return ai[0] * b0 + ai[1] * b1 + ai[2] * b2 + ai[3] * b3;
    };
    for (int i = 0; i < 4; ++i) store(m_[i], row(a.m_[i]));
    return *this;
}

inline T4dDblMatrix T4dDblMatrix::operator*(const T4dDblMatrix& m) const {
    T4dDblMatrix r(kBlank);
    r.setToProduct(*this, m);
    return r;
}

inline T4dDblMatrix& T4dDblMatrix::transposeIt() {
    for (int i = 0; i < 4; ++i) {
        for (int j = i + 1; j < 4; ++j) {
            const double upper = m_[i][j];
            m_[i][j] = m_[j][i];
            m_[j][i] = upper;
        }
    }
    return *this;
}

inline double T4dDblMatrix::det3x3() const {
    return m_[0][0] * (m_[1][1] * m_[2][2] - m_[1][2] * m_[2][1]) -
           m_[0][1] * (m_[1][0] * m_[2][2] - m_[1][2] * m_[2][0]) +
           m_[0][2] * (m_[1][0] * m_[2][1] - m_[1][1] * m_[2][0]);
}

namespace kelvo::geometry {

// Writes the rotation whose angle has the cosine c and the sine s into m.
inline void setAxisRotation(T4dDblMatrix& m, double x, double y, double z, double c, double s) {
    const double k = 1.0 - c;
    setRow(m[0], x * x * k + c, x * y * k + z * s, x * z * k - y * s);
    setRow(m[1], x * y * k - z * s, y * y * k + c, y * z * k + x * s);
    setRow(m[2], x * z * k + y * s, y * z * k - x * s, z * z * k + c);
    setRow(m[3], 0.0, 0.0, 0.0, 1.0);
}

}  // namespace kelvo::geometry

inline T4dDblMatrix& T4dDblMatrix::setToAxisRotate(const T4dDblVector& a, double angle) {
    if (angle == 0.0) return setToIdentity();
    kelvo::geometry::setAxisRotation(*this, a.x, a.y, a.z, std::cos(angle), std::sin(angle));
    return *this;
}

// Points and vectors with a matrix.

inline T3dDblPoint& T3dDblPoint::setToProduct(const T3dDblPoint& p, const T4dDblMatrix& M) {
    using namespace kelvo::geometry;
    store3(reinterpret_cast<double*>(this),
           p.x * load3(M[0]) + p.y * load3(M[1]) + p.z * load3(M[2]) + load3(M[3]));
    return *this;
}

inline T3dDblPoint& T3dDblPoint::postmultBy(const T4dDblMatrix& M) {
    return setToProduct(*this, M);
}

inline T3dDblPoint T3dDblPoint::operator*(const T4dDblMatrix& M) const {
    T3dDblPoint r;
    return r.setToProduct(*this, M);
}

inline T4dDblPoint& T4dDblPoint::setToProduct(const T4dDblMatrix& M, const T4dDblPoint& p) {
    const T4dDblPoint old(p);
    for (int i = 0; i < 4; ++i) {
        const double* row = M[static_cast<unsigned>(i)];
        array()[i] = row[0] * old.x + row[1] * old.y + row[2] * old.z + row[3] * old.w;
    }
    return *this;
}

inline T4dDblPoint& T4dDblPoint::setToProduct(const T4dDblPoint& p, const T4dDblMatrix& M) {
    using namespace kelvo::geometry;
    store(array(), p.x * load(M[0]) + p.y * load(M[1]) + p.z * load(M[2]) + p.w * load(M[3]));
    return *this;
}

inline T4dDblPoint& T4dDblPoint::premultBy(const T4dDblMatrix& M) {
    return setToProduct(M, *this);
}

inline T4dDblPoint& T4dDblPoint::postmultBy(const T4dDblMatrix& M) {
    return setToProduct(*this, M);
}

inline T4dDblPoint T4dDblPoint::operator*(const T4dDblMatrix& M) const {
    T4dDblPoint r;
    return r.setToProduct(*this, M);
}

inline T4dDblPoint operator*(const T4dDblMatrix& M, const T4dDblPoint& p) {
    T4dDblPoint r;
    return r.setToProduct(M, p);
}

inline T4dDblVector& T4dDblVector::operator=(const T4dDblMatrix& M) {
    return set(M[3][0], M[3][1], M[3][2]);
}

inline T4dDblVector::operator T4dDblMatrix() const {
    T4dDblMatrix m;
    m[3][0] = x;
    m[3][1] = y;
    m[3][2] = z;
    return m;
}

inline T4dDblVector& T4dDblVector::setToProduct(const T4dDblMatrix& M, const T4dDblVector& v) {
    return set(M[0][0] * v.x + M[0][1] * v.y + M[0][2] * v.z,
               M[1][0] * v.x + M[1][1] * v.y + M[1][2] * v.z,
               M[2][0] * v.x + M[2][1] * v.y + M[2][2] * v.z);
}

inline T4dDblVector& T4dDblVector::setToProduct(const T4dDblVector& v, const T4dDblMatrix& M) {
    using namespace kelvo::geometry;
    store3(array(), v.x * load3(M[0]) + v.y * load3(M[1]) + v.z * load3(M[2]));
    return *this;
}

inline T4dDblVector& T4dDblVector::premultBy(const T4dDblMatrix& M) {
    return setToProduct(M, *this);
}

inline T4dDblVector& T4dDblVector::postmultBy(const T4dDblMatrix& M) {
    return setToProduct(*this, M);
}

inline T4dDblVector T4dDblVector::operator*(const T4dDblMatrix& M) const {
    T4dDblVector r;
    return r.setToProduct(*this, M);
}

inline T4dDblVector operator*(const T4dDblMatrix& M, const T4dDblVector& v) {
    T4dDblVector r;
    return r.setToProduct(M, v);
}
