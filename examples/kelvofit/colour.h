// Colours of the picture.
#pragma once

#include <string>

#include "vec3.h"

namespace kelvo::fit {

/// Red, green, blue in 0 .. 1, as they are shown.
using Colour = Vec3;

inline Colour mix(const Colour& a, const Colour& b, double t) {
    return a + t * (b - a);
}

/// "#rrggbb"; components outside 0 .. 1 are cut off.
std::string hexColour(const Colour& colour);

/// The colour of a deviation: `t` 0 is none, 1 the top of the scale. Cool to hot, and evenly
/// brighter up to the middle, so that it reads in grey as well.
Colour scaleColour(double t);

/// Two lamps and a bright sky: the light on a surface as seen by the camera.
struct Light {
    Vec3 key, fill, up, toViewer;  // unit vectors towards each

    /// The colour of a material at a place with this unit normal, seen from its front.
    Colour shade(const Colour& material, const Vec3& normal) const;
};

}  // namespace kelvo::fit
