// What hides what, pixel by pixel: so that hidden pieces need not be drawn at all.
#pragma once

#include <vector>

#include "scene.h"

namespace kelvo::fit {

/// A place on the paper with its depth (larger is nearer).
struct DeepSpot {
    Spot spot;
    double depth = 0;
};

class DepthBuffer {
  public:
    /// For a picture of this size in pixels; empty at first.
    DepthBuffer(int width, int height);

    /// Adds a triangle that hides what lies behind it.
    void add(const DeepSpot& a, const DeepSpot& b, const DeepSpot& c);
    /// Whether something at this place would be seen: nothing, or only what is less than `slack`
    /// nearer, lies before it. Outside the picture everything is seen.
    bool sees(const DeepSpot& place, double slack) const;

  private:
    int width_, height_;
    std::vector<double> nearest_;
};

}  // namespace kelvo::fit
