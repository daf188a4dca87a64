// Tensor-product cubic B-splines with clamped, evenly spaced knots over the unit square. One span
// in each direction is a bicubic Bezier patch. Source of the formulas: de Boor's recurrence, C. de
// Boor, A Practical Guide to Splines, 1978.
#pragma once

#include <KelvoBase/tuple_containers.h>

#include <array>
#include <vector>

#include "vec3.h"

namespace kelvo::fit {

/// The values of the four functions that live on one span; function k belongs to coefficient
/// `span + k`.
struct Basis {
    int span = 0;
    std::array<double, 4> value{};
    std::array<double, 4> slope{};  // derivative by the parameter
};

/// The functions in one direction.
class CubicAxis {
  public:
    explicit CubicAxis(int spans = 1) : spans_(spans) {}

    int spans() const { return spans_; }
    /// Number of coefficients: spans + 3.
    int size() const { return spans_ + 3; }
    /// The span that holds t; t outside 0 .. 1 goes to the first or last one.
    int spanOf(double t) const;
    /// Values and slopes at t.
    Basis basis(double t) const;
    /// The mean of the three inner knots of coefficient i: coefficients set to these reproduce t.
    double greville(int i) const;

  private:
    double knot(int i) const;  // i = 0 .. spans + 6

    int spans_;
};

/// A point of a surface with its two tangents (derivatives by u and by v).
struct SurfacePoint {
    Vec3 at, du, dv;
};

/// A surface over the unit square: u selects the row of the net, v the column. Copies share the
/// net.
class SplineSurface {
  public:
    SplineSurface() : SplineSurface(1, 1) {}
    /// All control points at the origin.
    SplineSurface(int uSpans, int vSpans);
    SplineSurface(const SplineSurface& other) = default;
    SplineSurface& operator=(const SplineSurface& other);
    ~SplineSurface() = default;

    const CubicAxis& u() const { return u_; }
    const CubicAxis& v() const { return v_; }
    Vec3 control(int i, int j) const;
    void setControl(int i, int j, const Vec3& p);
    /// The control points: row i, column j.
    const TtupleMatrix& net() const { return net_; }

    SurfacePoint evaluate(double u, double v) const;
    /// Unit normal du x dv; where an edge has collapsed, that of the place next to it. `fallback`
    /// when the surface has none around there.
    Vec3 normal(double u, double v, const Vec3& fallback = {0, 0, 1}) const;

  private:
    CubicAxis u_, v_;
    TtupleMatrix net_;
    double* cells_;  // borrowed from net_
};

/// Moves (u, v) towards the foot of the perpendicular from p, by a few Gauss-Newton steps that stay
/// in the unit square and never increase the distance. Returns the distance that is reached.
double footPoint(const SplineSurface& surface, const Vec3& p, double& u, double& v);

}  // namespace kelvo::fit
