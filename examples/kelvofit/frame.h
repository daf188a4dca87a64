// The plane over which scattered points are parametrised, and the rectangle around them in it.
#pragma once

#include <string>
#include <vector>

#include "vec3.h"

namespace kelvo::fit {

/// A rectangle in space, and coordinates over it. Lengths are in units of the input.
struct Frame {
    Vec3 origin;        // the corner u = v = 0
    Vec3 uAxis, vAxis;  // unit vectors along the rectangle
    Vec3 normal;        // uAxis x vAxis
    double uLength = 0, vLength = 0;
    double singular[3] = {};  // of the centred points; square roots of the sums of squares

    Vec3 at(double u, double v) const { return origin + u * uLength * uAxis + v * vLength * vAxis; }
    double u(const Vec3& p) const { return dot(p - origin, uAxis) / uLength; }
    double v(const Vec3& p) const { return dot(p - origin, vAxis) / vLength; }
};

/// Throws Failure, naming `file`, unless points with this diagonal can be computed with.
void checkSize(double diagonal, const std::string& file);

/// `axis` '\0': the plane of best fit (singular vectors of the centred points) with the smallest
/// rectangle around the points; 'x', 'y' or 'z': the plane across that axis. Throws Failure, naming
/// `file`, when the points coincide, lie on one line, or do so as seen along the axis.
Frame frameOf(const std::vector<Vec3>& points, char axis, const std::string& file);

}  // namespace kelvo::fit
