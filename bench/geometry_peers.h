// The same operations in four libraries, for benchmarks that compare them. All matrices hold the
// row-vector transform in memory: glm and Eigen, column-major with column vectors, see the same
// sixteen doubles and multiply in the opposite order.
#pragma once

#include <Imath/ImathMatrix.h>
#include <Imath/ImathMatrixAlgo.h>
#include <Imath/ImathQuat.h>

#include <Eigen/Geometry>
#include <glm/glm.hpp>
#include <glm/gtc/matrix_transform.hpp>
#include <glm/gtc/quaternion.hpp>

#include "KelvoBase/matrix4.h"
#include "KelvoBase/points.h"
#include "KelvoBase/quaternions.h"
#include "KelvoBase/vectors.h"

struct Kelvo {
    using Matrix = T4dDblMatrix;
    using Point = T3dDblPoint;
    using Vector = T4dDblVector;
    using Quat = TunitQuaternion;

    static Vector vector(double x, double y, double z) { return {x, y, z}; }
    static Quat rotation(double angle, const Vector& axis) {
        return Quat().setToPivotAxis(angle, axis);
    }
    static void multiply(Matrix& r, const Matrix& a, const Matrix& b) { r.setToProduct(a, b); }
    static void transform(Point& r, const Point& p, const Matrix& m) { r.setToProduct(p, m); }
    static void crossNormal(Vector& r, const Vector& a, const Vector& b) {
        r.setToCrossProduct(a, b).normalizeIt();
    }
    static void product(Quat& r, const Quat& a, const Quat& b) { r = a * b; }
    static void toMatrix(Matrix& r, const Quat& q) { q.convertToMatrix(r); }
    static void toQuat(Quat& r, const Matrix& m) { r = m; }
    static void slerp(Quat& r, const Quat& a, const Quat& b, double t) { r = ::slerp(a, b, t); }
    static void axisRotate(Matrix& r, const Vector& axis, double angle) {
        r.setToAxisRotate(axis, angle);
    }
    static void invert(Matrix& r, const Matrix& m) { r = m.inverse(); }
};

struct ImathPeer {
    using Matrix = Imath::M44d;
    using Point = Imath::V3d;
    using Vector = Imath::V3d;
    using Quat = Imath::Quatd;

    static Vector vector(double x, double y, double z) { return {x, y, z}; }
    static Quat rotation(double angle, const Vector& axis) {
        return Quat().setAxisAngle(axis, angle);
    }
    static void multiply(Matrix& r, const Matrix& a, const Matrix& b) { r = a * b; }
    static void transform(Point& r, const Point& p, const Matrix& m) { m.multVecMatrix(p, r); }
    static void crossNormal(Vector& r, const Vector& a, const Vector& b) {
        r = a.cross(b).normalized();
    }
    static void product(Quat& r, const Quat& a, const Quat& b) { r = a * b; }
    static void toMatrix(Matrix& r, const Quat& q) { r = q.toMatrix44(); }
    static void toQuat(Quat& r, const Matrix& m) { r = Imath::extractQuat(m); }
    static void slerp(Quat& r, const Quat& a, const Quat& b, double t) {
        r = Imath::slerp(a, b, t);
    }
    static void axisRotate(Matrix& r, const Vector& axis, double angle) {
        r.setAxisAngle(axis, angle);
    }
    static void invert(Matrix& r, const Matrix& m) { r = m.gjInverse(); }
};

struct GlmPeer {
    using Matrix = glm::dmat4;
    using Point = glm::dvec3;
    using Vector = glm::dvec3;
    using Quat = glm::dquat;

    static Vector vector(double x, double y, double z) { return {x, y, z}; }
    static Quat rotation(double angle, const Vector& axis) {
        return glm::angleAxis(angle, glm::normalize(axis));
    }
    static void multiply(Matrix& r, const Matrix& a, const Matrix& b) { r = b * a; }
    static void transform(Point& r, const Point& p, const Matrix& m) {
        r = Point(m * glm::dvec4(p, 1.0));
    }
    static void crossNormal(Vector& r, const Vector& a, const Vector& b) {
        r = glm::normalize(glm::cross(a, b));
    }
    static void product(Quat& r, const Quat& a, const Quat& b) { r = a * b; }
    static void toMatrix(Matrix& r, const Quat& q) { r = glm::mat4_cast(q); }
    static void toQuat(Quat& r, const Matrix& m) { r = glm::quat_cast(m); }
    static void slerp(Quat& r, const Quat& a, const Quat& b, double t) { r = glm::slerp(a, b, t); }
    static void axisRotate(Matrix& r, const Vector& axis, double angle) {
        r = glm::rotate(Matrix(1.0), angle, axis);
    }
    static void invert(Matrix& r, const Matrix& m) { r = glm::inverse(m); }
};

struct EigenPeer {
    using Matrix = Eigen::Matrix4d;
    using Point = Eigen::Vector3d;
    using Vector = Eigen::Vector3d;
    using Quat = Eigen::Quaterniond;

    static Vector vector(double x, double y, double z) { return {x, y, z}; }
    static Quat rotation(double angle, const Vector& axis) {
        return Quat(Eigen::AngleAxisd(angle, axis.normalized()));
    }
    static void multiply(Matrix& r, const Matrix& a, const Matrix& b) { r.noalias() = b * a; }
    static void transform(Point& r, const Point& p, const Matrix& m) {
        r = m.topLeftCorner<3, 3>() * p + m.topRightCorner<3, 1>();
    }
    static void crossNormal(Vector& r, const Vector& a, const Vector& b) {
        r = a.cross(b).normalized();
    }
    static void product(Quat& r, const Quat& a, const Quat& b) { r = a * b; }
    static void toMatrix(Matrix& r, const Quat& q) {
        r.setIdentity();
        r.topLeftCorner<3, 3>() = q.toRotationMatrix();
    }
    static void toQuat(Quat& r, const Matrix& m) {
        r = Quat(Eigen::Matrix3d(m.topLeftCorner<3, 3>()));
    }
    static void slerp(Quat& r, const Quat& a, const Quat& b, double t) { r = a.slerp(t, b); }
    static void axisRotate(Matrix& r, const Vector& axis, double angle) {
        r.setIdentity();
        r.topLeftCorner<3, 3>() = Eigen::AngleAxisd(angle, axis).toRotationMatrix();
    }
    static void invert(Matrix& r, const Matrix& m) { r = m.inverse(); }
};
