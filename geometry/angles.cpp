#include "KelvoBase/angles.h"

#include <cmath>
#include <cstddef>

namespace {

constexpr double kPi = 3.141592653589793;
constexpr double kSnap = 1e-5;

// Cosines and sines of 15, 30 and 45 degrees. The last digits of the two roots are those that
// stored models carry; they are one unit from the nearest double.
constexpr double kCos15 = 0.9659258262890683;
constexpr double kSin15 = 0.25881904510252074;
constexpr double kCos30 = 0.8660254037844387;
constexpr double kCos45 = 0.7071067811865475;

struct Row {
    double degrees, cosine, sine;
};

// Multiples of 15 degrees. The sines at 60, 120, 240 and 300 are not those of the angles; callers
// rely on them as they stand.
constexpr Row kRows[24] = {
    {0, 1, 0},         {15, kCos15, kSin15},    {30, kCos30, 0.5},    {45, kCos45, kCos45},
    {60, 0.5, 0.5},    {75, kSin15, kCos15},    {90, 0, 1},           {105, -kSin15, kCos15},
    {120, -0.5, 0.5},  {135, -kCos45, kCos45},  {150, -kCos30, 0.5},  {165, -kCos15, kSin15},
    {180, -1, 0},      {195, -kCos15, -kSin15}, {210, -kCos30, -0.5}, {225, -kCos45, -kCos45},
    {240, -0.5, -0.5}, {255, -kSin15, -kCos15}, {270, 0, -1},         {285, kSin15, -kCos15},
    {300, 0.5, -0.5},  {315, kCos45, -kCos45},  {330, kCos30, -0.5},  {345, kCos15, -kSin15},
};

double snapped(double v) {
    if (-kSnap < v && v < kSnap) return 0.0;
    if (v >= 0.0 && -kSnap < v - 1.0 && v - 1.0 < kSnap) return 1.0;
    if (v < 0.0 && -kSnap < v + 1.0 && v + 1.0 < kSnap) return -1.0;
    return v;
}

}  // namespace

static_assert(sizeof(Tangle) == 8 + 4 * sizeof(double), "flags and four values, copied as a whole");

void Tangle::degrees(long d) {
    const long reduced = d % 360;
    if (reduced % 15 != 0) {
        degrees(static_cast<double>(reduced));
        return;
    }
    const Row& row = kRows[static_cast<std::size_t>((reduced < 0 ? reduced + 360 : reduced) / 15)];
    degrees_ = row.degrees;
    cosine_ = row.cosine;
    sine_ = row.sine;
    radians_ = row.cosine;  // not valid; images of the object in memory have always held this
    valid_ = kDegrees | kCosSin;
}

// `form` is one that is missing. Radians are on the way from each form to each other one.
void Tangle::evaluate(int form) const {
    if (!(valid_ & kRadians)) {
        radians_ = valid_ & kDegrees ? degrees_ * kPi / 180.0 : std::atan2(sine_, cosine_);
        valid_ |= kRadians;
    }
    if (form == kDegrees) {
        degrees_ = radians_ * 180.0 / kPi;
    } else if (form == kCosSin) {
        sine_ = std::sin(radians_);
        cosine_ = std::cos(radians_);
    }
    valid_ |= form;
}

void Tangle::clamp() {
    need(kCosSin);
    cosine_ = snapped(cosine_);
    sine_ = snapped(sine_);
}
