// From where the pictures look at the model.
#pragma once

#include <KelvoBase/quaternions.h>

#include <vector>

#include "fit_result.h"

namespace kelvo::fit {

/// Where the model is seen from.
struct View {
    Vec3 up;           // unit
    Vec3 forward;      // unit, across `up`: the horizontal direction in which the viewer looks
    double elevation;  // radians above the horizon
};

/// The unit vector that is up: the world's for patches, or when `worldUp` says so; for scattered
/// points otherwise the normal of the plane under them.
Vec3 upOf(const FitResult& result, bool worldUp);

/// The view that shows most. Up is upOf().
View viewOf(const FitResult& result, bool worldUp);

/// The camera's orientation: turns x, y and z into the directions to the right, up and to the
/// viewer.
TunitQuaternion poseOf(const View& view);

/// Orientations of a camera that goes once around the model, at even steps and a little up and down
/// on its way. The first is poseOf(view).
std::vector<TunitQuaternion> posesAround(const View& view, int count);

}  // namespace kelvo::fit
