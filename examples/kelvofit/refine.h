// Refinement: more spans until the fit is good enough or more spans do not help.
#pragma once

#include <functional>

#include "spline_fit.h"

namespace kelvo::fit {

enum class StopReason { kTolerance, kSpanLimit, kNoImprovement, kUser };

struct RefineSettings {
    double tolerance = 0;  // largest deviation that is good enough, units of the input
    int maxSpans = 30;     // in each direction
    std::function<bool()> stop = [] { return false; };  // asked before every further fit
    Memory memory = Memory::kHeap;                      // of the least-squares matrices
    Method method = Method::kAuto;
};

/// One fit that was made and taken.
struct RefineStep {
    int uSpans, vSpans;
    double largest, rms;
};

struct Refinement {
    SplineFit best;
    StopReason reason = StopReason::kTolerance;
    std::vector<RefineStep> steps;
    int fits = 0;  // made in all, those that were tried and dropped included
};

/// More steps than a refinement up to maxSpans can take.
int mostSteps(int maxSpans);

/// Called after every step.
using StepReport = std::function<void(int step, const SplineFit& fit)>;

/// Starts with one span in each direction. A step doubles the spans in the direction, or both,
/// where that lowers the noise estimate most. It counts as a help when it lowers the noise estimate
/// by a twentieth or the largest deviation by a fifth. When no step does, larger ones are tried
/// (waves shorter than a span show only then) before refining is given up. Fits with more unknowns
/// than four fifths of the points are not taken: they would follow the noise. A fit within the
/// tolerance is thinned out in the end: the fewest spans, by halving, that keep it.
Refinement refine(const Cloud& cloud, const RefineSettings& settings, const StepReport& report);

}  // namespace kelvo::fit
