// fit.svg: the shaded surfaces with the points on them, coloured by deviation.
#pragma once

#include <string>

#include "fit_result.h"
#include "options.h"
#include "scene.h"

namespace kelvo::fit {

/// The whole picture as an SVG text, below 2 MB whatever the number of points.
std::string pictureSvg(const FitResult& result, const Options& options);

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

/// Width and height of the picture in pixels, and the part that the model may fill.
constexpr int kPictureWidth = 1280, kPictureHeight = 860;
constexpr Window kModelWindow = {500, 1250, 9300, 6600};

}  // namespace kelvo::fit
