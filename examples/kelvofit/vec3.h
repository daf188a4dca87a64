// Points and directions of three-space, as much of them as the fitter needs.
#pragma once

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace kelvo::fit {

struct Vec3 {
    double x = 0, y = 0, z = 0;

    double operator[](int k) const { return k == 0 ? x : k == 1 ? y : z; }
    Vec3& operator+=(const Vec3& b) {
        x += b.x, y += b.y, z += b.z;
        return *this;
    }
};

inline Vec3 operator+(Vec3 a, const Vec3& b) {
    return a += b;
}
inline Vec3 operator-(const Vec3& a, const Vec3& b) {
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}
inline Vec3 operator*(double s, const Vec3& a) {
    return {s * a.x, s * a.y, s * a.z};
}
inline double dot(const Vec3& a, const Vec3& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}
inline Vec3 cross(const Vec3& a, const Vec3& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
inline double length(const Vec3& a) {
    return std::hypot(a.x, a.y, a.z);
}

/// `a` at length 1; `fallback` when its length is 0 or not finite.
inline Vec3 unit(const Vec3& a, const Vec3& fallback = {0, 0, 1}) {
    const double l = length(a);
    return l > 0 && std::isfinite(l) ? (1 / l) * a : fallback;
}

/// The axis-parallel box around points; empty (low above high) before the first one.
struct Box {
    Vec3 low{kFar, kFar, kFar}, high{-kFar, -kFar, -kFar};

    void add(const Vec3& p) {
        low = {std::min(low.x, p.x), std::min(low.y, p.y), std::min(low.z, p.z)};
        high = {std::max(high.x, p.x), std::max(high.y, p.y), std::max(high.z, p.z)};
    }
    /// Halves first: the sum of two large coordinates may overflow.
    Vec3 centre() const { return 0.5 * low + 0.5 * high; }
    double diagonal() const { return length(high - low); }

  private:
    static constexpr double kFar = std::numeric_limits<double>::infinity();
};

inline Box boxOf(const std::vector<Vec3>& points) {
    Box box;
    for (const Vec3& p : points) box.add(p);
    return box;
}

}  // namespace kelvo::fit
