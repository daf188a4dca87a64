#include "colour.h"

#include <iterator>

namespace kelvo::fit {

std::string hexColour(const Colour& colour) {
    constexpr char kHex[] = "0123456789abcdef";
    std::string text = "#";
    for (int k = 0; k < 3; ++k) {
        const int level = static_cast<int>(std::lround(255 * std::clamp(colour[k], 0.0, 1.0)));
        text += kHex[level >> 4];
        text += kHex[level & 15];
    }
    return text;
}

Colour scaleColour(double t) {
    constexpr Colour kStops[] = {{0.13, 0.33, 0.62}, {0.10, 0.56, 0.62}, {0.36, 0.71, 0.42},
                                 {0.95, 0.77, 0.20}, {0.92, 0.46, 0.15}, {0.74, 0.10, 0.18}};
    constexpr int kLast = static_cast<int>(std::size(kStops)) - 1;
    if (!(t > 0)) return kStops[0];
    const double at = std::min(t, 1.0) * kLast;
    const int below = std::min(static_cast<int>(at), kLast - 1);
    return mix(kStops[below], kStops[below + 1], at - below);
}

Colour Light::shade(const Colour& material, const Vec3& normal) const {
    constexpr double kAmbient = 0.36, kSky = 0.17, kKey = 0.50, kFill = 0.13;
    constexpr double kGloss = 0.26, kSharpness = 36;
    const double sky = 0.5 + 0.5 * dot(normal, up);
    const double amount = kAmbient + kSky * sky + kKey * std::max(0.0, dot(normal, key)) +
                          kFill * std::max(0.0, dot(normal, fill));
    const Vec3 half = unit(key + toViewer);
    const double gloss = kGloss * std::pow(std::max(0.0, dot(normal, half)), kSharpness);
    return amount * material + gloss * Colour{1, 1, 1};
}

}  // namespace kelvo::fit
