#include "refine.h"

#include <optional>

namespace kelvo::fit {
namespace {

constexpr double kLowerNoise = 0.95;
constexpr double kLowerLargest = 0.8;
constexpr double kMostUnknowns = 0.8;  // to the points
constexpr int kLookAhead[] = {2, 4};   // factors on the spans when ordinary steps do not help

int more(int spans, int most) {
    return std::min(spans + std::max(1, spans / 2), most);
}

class Refiner {
  public:
    Refiner(const Cloud& cloud, const RefineSettings& settings, const StepReport& report)
        : cloud_(cloud), settings_(settings), report_(report) {}

    Refinement run();

  private:
    bool helps(const SplineFit& fit) const {
        const SplineFit& best = result_.best;
        return fit.noise < kLowerNoise * best.noise ||
               (fit.deviation.largest < kLowerLargest * best.deviation.largest &&
                fit.noise <= best.noise);
    }
    bool atLimit() const { return std::min(uSpans(), vSpans()) >= settings_.maxSpans; }
    int uSpans() const { return result_.best.surface.u().spans(); }
    int vSpans() const { return result_.best.surface.v().spans(); }

    std::optional<SplineFit> tryFit(int uSpans, int vSpans);
    std::optional<SplineFit> nextStep();
    bool take(const SplineFit& fit);

    const Cloud& cloud_;
    const RefineSettings& settings_;
    const StepReport& report_;
    Refinement result_;
    bool tooFewPoints_ = false;
};

std::optional<SplineFit> Refiner::tryFit(int u, int v) {
    if (u == uSpans() && v == vSpans()) return std::nullopt;
    ++result_.fits;
    SplineFit fit = fitSpline(cloud_, u, v);
    if (fit.rank > kMostUnknowns * static_cast<double>(cloud_.points.size())) return std::nullopt;
    return fit;
}

// The best of the steps that help.
std::optional<SplineFit> Refiner::nextStep() {
    const int u = more(uSpans(), settings_.maxSpans);
    const int v = more(vSpans(), settings_.maxSpans);
    std::optional<SplineFit> best;
    const auto consider = [&](int tryU, int tryV) {
        std::optional<SplineFit> fit = tryFit(tryU, tryV);
        if (fit && helps(*fit) && (!best || fit->noise < best->noise)) best = std::move(fit);
    };
    consider(u, vSpans());
    consider(uSpans(), v);
    if (best) return best;
    consider(u, v);
    for (int factor : kLookAhead) {
        if (best) break;
        consider(std::min(factor * u, settings_.maxSpans),
                 std::min(factor * v, settings_.maxSpans));
    }
    return best;
}

// Makes `fit` the result; true when that ends the refinement.
bool Refiner::take(const SplineFit& fit) {
    result_.best = fit;
    result_.steps.push_back({uSpans(), vSpans(), fit.deviation.largest, fit.deviation.rms});
    const bool stop = report_(static_cast<int>(result_.steps.size()), fit);
    if (fit.deviation.largest <= settings_.tolerance)
        result_.reason = StopReason::kTolerance;
    else if (stop)
        result_.reason = StopReason::kUser;
    else if (atLimit())
        result_.reason = StopReason::kSpanLimit;
    else
        return false;
    return true;
}

Refinement Refiner::run() {
    ++result_.fits;
    if (take(fitSpline(cloud_, 1, 1))) return std::move(result_);
    for (;;) {
        const std::optional<SplineFit> step = nextStep();
        if (!step) {
            result_.reason = StopReason::kNoImprovement;
            return std::move(result_);
        }
        if (take(*step)) return std::move(result_);
    }
}

}  // namespace

int mostSteps(int maxSpans) {
    int steps = 0;
    for (int spans = 1; spans < maxSpans; spans = more(spans, maxSpans)) ++steps;
    return 2 * steps + 1;
}

Refinement refine(const Cloud& cloud, const RefineSettings& settings, const StepReport& report) {
    return Refiner(cloud, settings, report).run();
}

}  // namespace kelvo::fit
