#include "KelvoBase/transforms.h"

#include <cmath>
#include <cstddef>

#include "KelvoBase/angles.h"

namespace {

constexpr double kLeastFactor = 0.0001;
constexpr double kProportional = 1e-9;

// Negative values inside the bounds come out positive as well; callers rely on it.
double floored(double v) {
    return -kLeastFactor < v && v < kLeastFactor ? kLeastFactor : v;
}

// Replaces rows i and j of m by c * row i + s * row j and c * row j - s * row i.
void mixRows(T4dDblMatrix& m, unsigned i, unsigned j, double c, double s) {
    for (int k = 0; k < 4; ++k) {
        const double ri = m[i][k], rj = m[j][k];
        m[i][k] = c * ri + s * rj;
        m[j][k] = c * rj - s * ri;
    }
}

T4dDblMatrix translationBy(const T4dDblVector& v) {
    return v;
}

// The position p without its weight.
T4dDblVector fromOrigin(const T4dDblPoint& p) {
    return p - T4dDblPoint();
}

T4dDblPoint atTip(const T4dDblVector& v) {
    return {v.x, v.y, v.z, 1.0};
}

T4dDblVector translationOf(const T4dDblMatrix& m) {
    T4dDblVector v;
    v = m;
    return v;
}

}  // namespace

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"
// The order of the fields is part of the interface.
struct kelvo::geometry::XformLayout {
    static_assert(sizeof(TgenXformMatrix) == sizeof(T4dDblMatrix));
    static_assert(sizeof(Tscale) == 32 && offsetof(Tscale, x) == 8 && offsetof(Tscale, z) == 24);

    using X = TxformMatrix;
    static_assert(sizeof(X) == 320 && offsetof(X, translation_) == 128);
    static_assert(offsetof(X, rotation_) == 152 && offsetof(X, scale_) == 184);
    static_assert(offsetof(X, rotateExit_) == 216 && offsetof(X, rotateEntry_) == 240);
    static_assert(offsetof(X, scaleExit_) == 264 && offsetof(X, scaleEntry_) == 288);
    static_assert(offsetof(X, modified_) == 312 && sizeof(X::modified_) == 4);

    using P = TpostXformMatrix;  // the matrix follows the pointer to the virtual functions
    static_assert(sizeof(P) == 296 && offsetof(P, translation_) == 136);
    static_assert(offsetof(P, rotation_) == 160 && offsetof(P, scale_) == 192);
    static_assert(offsetof(P, rotatePivot_) == 224 && offsetof(P, scalePivot_) == 256);
    static_assert(offsetof(P, modified_) == 288 && sizeof(P::modified_) == 4);
};
#pragma GCC diagnostic pop

void TgenXformMatrix::rotatex(Tangle& a) {
    mixRows(*this, 1, 2, a.cos(), a.sin());
}
void TgenXformMatrix::rotatey(Tangle& a) {
    mixRows(*this, 2, 0, a.cos(), a.sin());
}
void TgenXformMatrix::rotatez(Tangle& a) {
    mixRows(*this, 0, 1, a.cos(), a.sin());
}

void TgenXformMatrix::rotateAxis(const double axis[3], Tangle& a) {
    T4dDblMatrix turn;
    kelvo::geometry::setAxisRotation(turn, axis[0], axis[1], axis[2], a.cos(), a.sin());
    premultBy(turn);
}

void TgenXformMatrix::translate(double x, double y, double z) {
    TgenXformMatrix& m = *this;
    for (int j = 0; j < 4; ++j) m[3][j] += x * m[0][j] + y * m[1][j] + z * m[2][j];
}

void TgenXformMatrix::translate(const double v[3]) {
    translate(v[0], v[1], v[2]);
}

void TgenXformMatrix::scale(double x, double y, double z) {
    TgenXformMatrix& m = *this;
    for (int j = 0; j < 4; ++j) {
        m[0][j] *= x;
        m[1][j] *= y;
        m[2][j] *= z;
    }
}

void TgenXformMatrix::scale(const double v[3]) {
    scale(v[0], v[1], v[2]);
}
void TgenXformMatrix::scale(double k) {
    scale(k, k, k);
}
void TgenXformMatrix::multiplyBy(T4dDblMatrix& m) {
    premultBy(m);
}

void TgenXformMatrix::alignVectorWithZAxis(const double v[3]) {
    const double x = v[0], y = v[1], z = v[2];
    const double length = std::sqrt(x * x + y * y + z * z), inPlane = std::sqrt(x * x + z * z);
    if (length != 0.0) {
        Tangle up(inPlane / length, y / length);
        rotatex(up);
    }
    if (inPlane != 0.0) {
        Tangle around(z / inPlane, -x / inPlane);
        rotatey(around);
    }
}

void TgenXformMatrix::alignZAxisWithVector(const double v[3]) {
    const double x = v[0], y = v[1], z = v[2];
    const double length = std::sqrt(x * x + y * y + z * z), inPlane = std::sqrt(x * x + z * z);
    if (inPlane != 0.0) {
        Tangle around(z / inPlane, x / inPlane);
        rotatey(around);
    }
    if (length != 0.0) {
        Tangle up(inPlane / length, -y / length);
        rotatex(up);
    }
}

void TgenXformMatrix::setOrientation(const double a[3], const double b[3], const double c[3]) {
    // Everything is read before the first store: the columns may be rows of this matrix.
    const double block[3][3] = {{a[0], b[0], c[0]}, {a[1], b[1], c[1]}, {a[2], b[2], c[2]}};
    for (unsigned r = 0; r < 3; ++r) {
        for (unsigned j = 0; j < 3; ++j) (*this)[r][j] = block[r][j];
    }
}

void TgenXformMatrix::transformVector(const double in[3], double out[3]) const {
    const double homogeneous[4] = {in[0], in[1], in[2], 1.0};
    transformPoint(homogeneous, out);
}

void TgenXformMatrix::transformPoint(const double in[4], double out[3]) const {
    const TgenXformMatrix& m = *this;
    const double x = in[0], y = in[1], z = in[2], w = in[3];
    for (int j = 0; j < 3; ++j) out[j] = x * m[0][j] + y * m[1][j] + z * m[2][j] + w * m[3][j];
}

Tscale& Tscale::set(double sx, double sy, double sz) {
    x = floored(sx);
    y = floored(sy);
    z = floored(sz);
    return *this;
}

Tscale::operator T4dDblMatrix() const {
    T4dDblMatrix m;
    m[0][0] = floored(x);
    m[1][1] = floored(y);
    m[2][2] = floored(z);
    return m;
}

int Tscale::proportionalScale() const {
    return std::fabs(x - y) <= kProportional && std::fabs(y - z) <= kProportional &&
           std::fabs(x - z) <= kProportional;
}

int Tscale::equivalent(const Tscale& o, double tol) const {
    const double t = floored(tol);
    return std::fabs(x - o.x) <= t && std::fabs(y - o.y) <= t && std::fabs(z - o.z) <= t;
}

Tscale Tscale::inverse() const {
    return {1.0 / floored(x), 1.0 / floored(y), 1.0 / floored(z)};
}

TxformMatrix& TxformMatrix::operator=(const T4dDblMatrix& m) {
    T4dDblMatrix::operator=(m);
    extractVectorsFromMatrix();
    modified_ = 0;
    return *this;
}

void TxformMatrix::extractVectorsFromMatrix() {
    T4dDblMatrix m(*this);
    T4dDblVector rows[3];
    double factors[3];
    for (unsigned i = 0; i < 3; ++i) {
        const T4dDblVector row(m[i][0], m[i][1], m[i][2]);
        factors[i] = row.length();
        rows[i].set(row.x / factors[i], row.y / factors[i], row.z / factors[i]);
    }
    if (rows[0].crossProduct(rows[1]).dotProduct(rows[2]) < 0.0) {
        factors[2] = -factors[2];
        rows[2].invertIt();
    }
    for (unsigned i = 0; i < 3; ++i) {
        for (unsigned j = 0; j < 3; ++j) m[i][j] = rows[i][j];
    }
    // Past the floor: the factors describe this very matrix.
    scale_.x = factors[0];
    scale_.y = factors[1];
    scale_.z = factors[2];
    rotation_ = m;
    translation_ = m;
    rotateExit_ = rotateEntry_ = scaleExit_ = scaleEntry_ = T4dDblVector();
}

// The composition up to and including the rotate pivot's exit: everything but the translation.
T4dDblMatrix TxformMatrix::toRotatedFrame() const {
    const T4dDblMatrix s = scale_, r = rotation_;
    return translationBy(scaleEntry_) * s * translationBy(rotateEntry_ + scaleExit_) * r *
           translationBy(rotateExit_);
}

// The inverse of that without its first step, the rotate pivot's exit.
T4dDblMatrix TxformMatrix::fromRotatedFrame() const {
    const T4dDblMatrix s = scale_.inverse(), r = rotation_.inverse();
    return r * translationBy(-(rotateEntry_ + scaleExit_)) * s * translationBy(-scaleEntry_);
}

TxformMatrix& TxformMatrix::operator=(const T4dDblVector& v) {
    const T4dDblMatrix p = toRotatedFrame();
    translation_ = v * p - T4dDblVector(T4dDblPoint() * p);
    modified_ = 1;
    return *this;
}

TxformMatrix& TxformMatrix::operator+=(const T4dDblVector& v) {
    translation_ += v * toRotatedFrame();
    modified_ = 1;
    return *this;
}

TxformMatrix& TxformMatrix::operator=(const TunitQuaternion& r) {
    rotateExit_ = -rotateEntry_;
    rotation_ = r;
    modified_ = 1;
    return *this;
}

TxformMatrix& TxformMatrix::operator+=(const TunitQuaternion& r) {
    rotation_ = rotation_ * r;
    modified_ = 1;
    return *this;
}

TxformMatrix& TxformMatrix::operator=(const Tscale& k) {
    scaleExit_ = -scaleEntry_;
    scale_ = k;
    modified_ = 1;
    return *this;
}

TxformMatrix& TxformMatrix::operator+=(const Tscale& k) {
    scale_.x *= k.x;
    scale_.y *= k.y;
    scale_.z *= k.z;
    modified_ = 1;
    return *this;
}

T4dDblVector TxformMatrix::translation() const {
    return translation_ * (translationBy(-rotateExit_) * fromRotatedFrame());
}

T4dDblPoint TxformMatrix::scalePivotPoint() const {
    return T4dDblPoint() + (-scaleEntry_);
}

T4dDblPoint TxformMatrix::rotatePivotPoint() const {
    const T4dDblMatrix s = scale_.inverse();
    return T4dDblPoint() * (translationBy(-rotateEntry_) * translationBy(-scaleExit_) * s *
                            translationBy(-scaleEntry_));
}

void TxformMatrix::setScalePivotPoint(const T4dDblPoint& p) {
    const T4dDblMatrix s = scale_, back = scale_.inverse();
    const T4dDblVector pivot = fromOrigin(p);
    scaleExit_ = translationOf(back * translationBy(pivot) * translationBy(scaleEntry_) * s *
                               translationBy(scaleExit_));
    scaleEntry_ = -pivot;
    modified_ = 1;
}

void TxformMatrix::setRotatePivotPoint(const T4dDblPoint& p) {
    const T4dDblMatrix s = scale_, r = rotation_, back = rotation_.inverse();
    const T4dDblVector pivot =
        fromOrigin(p * (translationBy(scaleEntry_) * s * translationBy(scaleExit_)));
    rotateExit_ = translationOf(back * translationBy(pivot) * translationBy(rotateEntry_) * r *
                                translationBy(rotateExit_));
    rotateEntry_ = -pivot;
    modified_ = 1;
}

T4dDblMatrix TxformMatrix::inverse() const {
    return translationBy(-(translation_ + rotateExit_)) * fromRotatedFrame();
}

TpostXformMatrix& TpostXformMatrix::operator=(const T4dDblVector& v) {
    translation_ = v;
    modified_ = 1;
    return *this;
}

TpostXformMatrix& TpostXformMatrix::operator+=(const T4dDblVector& v) {
    translation_ += v;
    modified_ = 1;
    return *this;
}

TpostXformMatrix& TpostXformMatrix::operator=(const TunitQuaternion& r) {
    rotation_ = r;
    modified_ = 1;
    return *this;
}

TpostXformMatrix& TpostXformMatrix::operator+=(const TunitQuaternion& r) {
    const T4dDblVector d = atTip(translation_) - rotatePivot_;
    translation_ = rotatePivot_ + d * T4dDblMatrix(r);
    rotation_ = r * rotation_;
    modified_ = 1;
    return *this;
}

TpostXformMatrix& TpostXformMatrix::operator=(const Tscale& k) {
    scale_ = k;
    modified_ = 1;
    return *this;
}

TpostXformMatrix& TpostXformMatrix::operator+=(const Tscale& k) {
    scale_.set(scale_.x * k.x, scale_.y * k.y, scale_.z * k.z);
    const T4dDblMatrix r = rotation_, back = rotation_.inverse();
    const T4dDblVector d = (atTip(translation_) - scalePivot_) * back;
    const T4dDblVector scaled(d.x * k.x, d.y * k.y, d.z * k.z);
    translation_ = scalePivot_ + scaled * r;
    modified_ = 1;
    return *this;
}

T4dDblMatrix TpostXformMatrix::inverse() {
    if (modified_) {
        const T4dDblMatrix s = scale_, r = rotation_;
        modified_ = 0;
        T4dDblMatrix::operator=(s* r* translationBy(translation_));
    }
    return T4dDblMatrix::inverse();
}
