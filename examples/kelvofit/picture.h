// fit.svg and the pictures of a turntable: the shaded surfaces with the points on them, coloured by deviation.
#pragma once

#include <string>

#include "model_painter.h"
#include "options.h"
#include "view.h"

namespace kelvo::fit {

/// The colour scale: deviations from 0 to `top`, a round figure.
struct DeviationScale {
    double top = 1;
    double step = 0.2;  // between ticks
    int exponent = 0;   // ticks are shown in units of 10 to this
};

/// The scale for deviations up to `largest`.
DeviationScale scaleFor(double largest);

/// What stands around the model: title, colour scale and figures.
std::string frameSvg(const FitResult& result, const Options& options, const DeviationScale& scale,
                     std::size_t pointsShown);

/// The pictures of one result, which must live as long as this.
class Picture {
  public:
    Picture(const FitResult& result, const Options& options);

    /// `count` cameras around the model at even steps, all at the same scale; the first one, or the
    /// only one, is where most is seen.
    std::vector<Camera> cameras(int count) const;
    /// What one of them sees as an SVG text, below 2 MB whatever the number of points.
    std::string svg(const Camera& camera) const;

  private:
    const Options& options_;
    DeviationScale scale_;
    View view_;
    PictureModel model_;
};

/// Width and height of the picture in pixels, and the part that the model may fill.
constexpr int kPictureWidth = 1280, kPictureHeight = 860;
constexpr Window kModelWindow = {500, 1300, 9000, 6400};

}  // namespace kelvo::fit
