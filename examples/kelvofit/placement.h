// Where the fit is put: turned, scaled and moved before the geometry and the pictures are written.
#pragma once

#include <KelvoBase/matrix4.h>

#include "fit_result.h"

namespace kelvo::fit {

/// Scales and turns about the pivot, x first, then y, then z, and moves at last.
struct Placement {
    Vec3 rotate;  // degrees about x, y and z
    double scale = 1;
    Vec3 move, pivot;  // units of the input

    bool turns() const { return length(rotate) > 0; }
    /// Whether everything stays where it is.
    bool isNone() const { return !turns() && scale == 1 && length(move) == 0; }
};

/// p' = p * M for row vectors, translation in the last row.
T4dDblMatrix matrixOf(const Placement& placement);

/// A copy whose surfaces, points and axes are placed. Lengths, deviations among them, stay in units
/// of the input; FitResult::scale leads from there to the units of the copy.
FitResult placedCopy(const FitResult& result, const Placement& placement);

}  // namespace kelvo::fit
