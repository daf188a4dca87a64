// What a run found out; everything that is written comes from here.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cloud.h"
#include "editor.h"
#include "item_list.h"
#include "readers.h"
#include "refine.h"
#include "spline.h"

namespace kelvo::fit {

/// An input point and how far the fit is from it, in units of the input.
struct MeasuredPoint {
    Vec3 at;
    int surface = 0;      // index into FitResult::surfaces
    double u = 0, v = 0;  // its parameters
    double atParameter = 0;
    double toSurface = 0;  // to the foot of the perpendicular, near those parameters
};

struct Spread {
    double largest = 0, rms = 0;
    std::size_t worst = 0;  // index of the point with the largest
};

/// What belongs to a fit of scattered points.
struct CloudResult {
    Cloud cloud;
    Refinement refinement;
    Folds folds;
    double filledBeyond = 0;  // places further from every point than this count as filled
};

/// One refitted patch.
struct PatchResult {
    int number = 0;  // in the input, from 0
    int rank = 0, freeColumns = 0;
    double controlError = 0;  // largest distance of a control point from the known one

    /// Comparator for lists: the largest error first, the smaller number among equals.
    static int worseFirst(void* newSlot, void* existingSlot);
};

/// What belongs to a fit of known patches.
struct PatchesResult {
    std::size_t wanted = 0;  // patches in the input; fewer are fitted when the user stops
    ItemList<PatchResult> patches;
    double controlError = 0;  // the largest of all
};

struct FitResult {
    InputKind kind = InputKind::kXyz;
    Box box;  // of the input: points or control points
    double tolerance = 0;
    double scale = 1;      // from lengths here to lengths between the points and surfaces
    bool stopped = false;  // by the user
    bool kept = false;     // the fit is from the cache
    std::vector<SplineSurface> surfaces;
    std::vector<MeasuredPoint> points;
    Spread atParameter, toSurface;
    std::optional<CloudResult> scattered;
    std::optional<PatchesResult> patches;
    std::optional<EditResult> edits;
};

/// Fills the deviations of all points and the two spreads.
void measure(FitResult& result);

/// Whether the surface at (u, v) has points nearby or was only filled in between.
class DataCover {
  public:
    explicit DataCover(const FitResult& result);
    bool covers(double u, double v) const;

  private:
    const FitResult& result_;
    std::optional<Neighbours> neighbours_;
};

}  // namespace kelvo::fit
