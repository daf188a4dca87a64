#include "view.h"

#include <KelvoBase/modelling_tolerances.h>

#include <array>
#include <numbers>

namespace kelvo::fit {
namespace {

/// The part of `d` across the unit vector `up`, as a unit vector.
Vec3 level(const Vec3& d, const Vec3& up, const Vec3& fallback) {
    return unit(d - dot(d, up) * up, fallback);
}

/// `d` turned about the unit vector `axis`.
Vec3 turned(const Vec3& d, const Vec3& axis, double angle) {
    T4dDblMatrix rotation;
    rotation.setToAxisRotate({axis.x, axis.y, axis.z}, angle);
    const T4dDblVector v = T4dDblVector(d.x, d.y, d.z) * rotation;
    return {v.x, v.y, v.z};
}

// Surfaces that lie are looked at along their short side, those that stand from their front.
View viewOfCloud(const Frame& f, const Vec3& up) {
    constexpr double kStanding = 0.5;  // cosine of the angle between up and the normal
    constexpr double kAside = 0.4;     // radians
    if (std::abs(dot(f.normal, up)) < kStanding) {
        const Vec3 front = level(-1.0 * f.normal, up, f.uAxis);
        return {up, turned(front, up, kAside), 0.25};
    }
    const bool longU = f.uLength >= f.vLength;
    const Vec3 deep = longU ? f.vAxis : -1.0 * f.uAxis, wide = longU ? f.uAxis : f.vAxis;
    return {up, level(0.88 * deep - 0.47 * wide, up, wide), 0.62};
}

double cosineBetween(const TunitQuaternion& a, const TunitQuaternion& b) {
    return a.w * b.w + a.x * b.x + a.y * b.y + a.z * b.z;
}

}  // namespace

Vec3 upOf(const FitResult& result, bool worldUp) {
    if (result.scattered && !worldUp) return result.scattered->cloud.frame.normal;
    const double* up = VL_get_up_vector();
    return {up[0], up[1], up[2]};
}

View viewOf(const FitResult& result, bool worldUp) {
    const Vec3 up = upOf(result, worldUp);
    if (result.scattered) return viewOfCloud(result.scattered->cloud.frame, up);
    const Vec3 forward = VL_zIsUp() != 0 ? Vec3{-0.45, 0.89, 0} : Vec3{-0.45, 0, -0.89};
    return {up, unit(forward), 0.40};
}

TunitQuaternion poseOf(const View& view) {
    const double c = std::cos(view.elevation), s = std::sin(view.elevation);
    const Vec3 toViewer = unit(s * view.up - c * view.forward);
    const Vec3 right = unit(cross(view.forward, view.up));
    const Vec3 up = cross(toViewer, right);
    T4dDblMatrix axes;
    for (unsigned k = 0; k < 3; ++k) {
        axes[0][k] = right[static_cast<int>(k)];
        axes[1][k] = up[static_cast<int>(k)];
        axes[2][k] = toViewer[static_cast<int>(k)];
    }
    TunitQuaternion pose;
    return pose = axes;
}

std::vector<TunitQuaternion> posesAround(const View& view, int count) {
    constexpr int kKeys = 8;       // a turn; between them the path is smooth
    constexpr double kNod = 0.16;  // radians up and down
    // One key before the turn and two after it lead the path through its ends. A quaternion and its
    // negative are the same pose; each key takes the side of the one before.
    std::array<TunitQuaternion, kKeys + 3> keys;
    for (int k = 0; k < kKeys + 3; ++k) {
        const double angle = 2 * std::numbers::pi * (k - 1) / kKeys;
        const View at{view.up, turned(view.forward, view.up, angle),
                      view.elevation + kNod * std::sin(angle)};
        TunitQuaternion& key = keys[static_cast<std::size_t>(k)];
        key = poseOf(at);
        if (k > 0 && cosineBetween(key, keys[static_cast<std::size_t>(k - 1)]) < 0) key.negateIt();
    }
    std::vector<TunitQuaternion> poses;
    for (int n = 0; n < count; ++n) {
        const double place = static_cast<double>(kKeys) * n / count;
        const auto k = static_cast<std::size_t>(place) + 1;
        const TunitQuaternion a = squadControlPoint(keys[k], keys[k - 1], keys[k + 1]);
        const TunitQuaternion b = squadControlPoint(keys[k + 1], keys[k], keys[k + 2]);
        poses.push_back(squad(keys[k], a, b, keys[k + 1], place - std::floor(place)));
    }
    return poses;
}

}  // namespace kelvo::fit
