#include "spline.h"

namespace kelvo::fit {

int CubicAxis::spanOf(double t) const {
    return std::clamp(static_cast<int>(t * spans_), 0, spans_ - 1);
}

double CubicAxis::knot(int i) const {
    return static_cast<double>(std::clamp(i - 3, 0, spans_)) / spans_;
}

double CubicAxis::greville(int i) const {
    return (knot(i + 1) + knot(i + 2) + knot(i + 3)) / 3;
}

Basis CubicAxis::basis(double t) const {
    Basis b;
    b.span = spanOf(t);
    const int last = b.span + 3;  // the knot interval is [knot(last), knot(last + 1)]
    double left[4], right[4], quadratic[3] = {};
    b.value[0] = 1;
    for (int degree = 1; degree <= 3; ++degree) {
        left[degree] = t - knot(last + 1 - degree);
        right[degree] = knot(last + degree) - t;
        double carried = 0;
        for (int r = 0; r < degree; ++r) {
            const auto at = static_cast<std::size_t>(r);
            const double share = b.value[at] / (right[r + 1] + left[degree - r]);
            b.value[at] = carried + right[r + 1] * share;
            carried = left[degree - r] * share;
        }
        b.value[static_cast<std::size_t>(degree)] = carried;
        if (degree == 2) std::copy_n(b.value.begin(), 3, quadratic);
    }
    double before = 0;
    for (int k = 0; k < 4; ++k) {
        const int i = b.span + k;
        const double after = k < 3 ? 3 * quadratic[k] / (knot(i + 4) - knot(i + 1)) : 0;
        b.slope[static_cast<std::size_t>(k)] = before - after;
        before = after;
    }
    return b;
}

SplineSurface::SplineSurface(int uSpans, int vSpans)
    : u_(uSpans), v_(vSpans), net_(3, u_.size(), v_.size(), 0.0), cells_(net_.data().data()) {}

SplineSurface& SplineSurface::operator=(const SplineSurface& other) {
    u_ = other.u_, v_ = other.v_;
    net_.reference(other.net_);  // assignment would copy values and wants equal sizes
    cells_ = other.cells_;
    return *this;
}

Vec3 SplineSurface::control(int i, int j) const {
    const double* p = cells_ + 3 * (u_.size() * j + i);
    return {p[0], p[1], p[2]};
}

void SplineSurface::setControl(int i, int j, const Vec3& p) {
    double* cell = cells_ + 3 * (u_.size() * j + i);
    cell[0] = p.x, cell[1] = p.y, cell[2] = p.z;
}

SurfacePoint SplineSurface::evaluate(double u, double v) const {
    const Basis bu = u_.basis(u), bv = v_.basis(v);
    SurfacePoint s;
    for (int j = 0; j < 4; ++j) {
        Vec3 row, slope;
        for (int i = 0; i < 4; ++i) {
            const auto k = static_cast<std::size_t>(i);
            const Vec3 p = control(bu.span + i, bv.span + j);
            row += bu.value[k] * p;
            slope += bu.slope[k] * p;
        }
        const auto k = static_cast<std::size_t>(j);
        s.at += bv.value[k] * row;
        s.du += bv.value[k] * slope;
        s.dv += bv.slope[k] * row;
    }
    return s;
}

Vec3 SplineSurface::normal(double u, double v, const Vec3& fallback) const {
    // Sines of the angle between the tangents, and tangents themselves, below this are rounding.
    constexpr double kFlat = 1e-9;
    // At a collapsed edge one tangent vanishes; a little further inside it does not.
    for (double pull = 0; pull < 0.5; pull = pull == 0 ? 1e-6 : 10 * pull) {
        const SurfacePoint s = evaluate(u + pull * (0.5 - u), v + pull * (0.5 - v));
        const Vec3 n = cross(s.du, s.dv);
        const double longest = std::max(length(s.du), length(s.dv));
        if (length(n) > kFlat * longest * longest && longest > 0) return unit(n, fallback);
    }
    return fallback;
}

double footPoint(const SplineSurface& surface, const Vec3& p, double& u, double& v) {
    constexpr int kSteps = 6;
    SurfacePoint s = surface.evaluate(u, v);
    double best = length(s.at - p);
    for (int step = 0; step < kSteps; ++step) {
        const Vec3 r = p - s.at;
        const double a = dot(s.du, s.du), b = dot(s.du, s.dv), c = dot(s.dv, s.dv);
        const double determinant = a * c - b * b;
        if (!(determinant > 1e-12 * a * c)) break;
        const double x = dot(s.du, r), y = dot(s.dv, r);
        const double nextU = std::clamp(u + (c * x - b * y) / determinant, 0.0, 1.0);
        const double nextV = std::clamp(v + (a * y - b * x) / determinant, 0.0, 1.0);
        s = surface.evaluate(nextU, nextV);
        const double distance = length(s.at - p);
        if (!(distance < best)) break;
        const bool settled = best - distance < 1e-3 * best;
        best = distance, u = nextU, v = nextV;
        if (settled) break;
    }
    return best;
}

}  // namespace kelvo::fit
