#include "refine.h"

#include <optional>

namespace kelvo::fit {
namespace {

constexpr double kLowerNoise = 0.98;
constexpr double kLowerLargest = 0.8;
constexpr double kSameNoise = 1.005;
constexpr double kSigmas = 4;          // by which a gain must exceed what chance gives
constexpr double kMostUnknowns = 0.8;  // to the points

int more(int spans, int most) {
    return std::min(2 * spans, most);
}

class Refiner {
  public:
    Refiner(const Cloud& cloud, const RefineSettings& settings, const StepReport& report)
        : cloud_(cloud), settings_(settings), report_(report) {}

    Refinement run();

  private:
    bool helps(const SplineFit& fit) const;
    bool atLimit() const { return std::min(uSpans(), vSpans()) >= settings_.maxSpans; }
    int uSpans() const { return result_.best.surface.u().spans(); }
    int vSpans() const { return result_.best.surface.v().spans(); }

    std::optional<SplineFit> tryFit(int uSpans, int vSpans);
    std::optional<SplineFit> nextStep();
    bool take(const SplineFit& fit);
    void thin(bool u);

    const Cloud& cloud_;
    const RefineSettings& settings_;
    const StepReport& report_;
    Refinement result_;
    bool stopped_ = false;  // by the user
};

bool Refiner::helps(const SplineFit& fit) const {
    const SplineFit& best = result_.best;
    const double points = static_cast<double>(cloud_.points.size());
    const double more = fit.rank - best.rank;
    const auto squares = [&](const SplineFit& f) { return f.noise * f.noise * (points - f.rank); };
    // If only noise is left, each further coefficient takes its square once, give or take.
    const double byChance = fit.noise * fit.noise * (more + kSigmas * std::sqrt(2 * more));
    if (more > 0 && squares(best) - squares(fit) < byChance) return false;
    return fit.noise < kLowerNoise * best.noise ||
           (fit.deviation.largest < kLowerLargest * best.deviation.largest &&
            fit.noise <= best.noise);
}

std::optional<SplineFit> Refiner::tryFit(int u, int v) {
    if (u == uSpans() && v == vSpans()) return std::nullopt;
    stopped_ = stopped_ || settings_.stop();
    if (stopped_) return std::nullopt;
    ++result_.fits;
    SplineFit fit = fitSpline(cloud_, u, v, settings_.memory, settings_.method);
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
    for (int factor = 1; !best && !stopped_; factor *= 2) {
        const int tryU = std::min(factor * u, settings_.maxSpans);
        const int tryV = std::min(factor * v, settings_.maxSpans);
        consider(tryU, tryV);
        if (tryU == settings_.maxSpans && tryV == settings_.maxSpans) break;
    }
    return best;
}

// Makes `fit` the result; true when that ends the refinement.
bool Refiner::take(const SplineFit& fit) {
    result_.best = fit;
    result_.steps.push_back({uSpans(), vSpans(), fit.deviation.largest, fit.deviation.rms});
    report_(static_cast<int>(result_.steps.size()), fit);
    if (fit.deviation.largest <= settings_.tolerance)
        result_.reason = StopReason::kTolerance;
    else if (stopped_)
        result_.reason = StopReason::kUser;
    else if (atLimit())
        result_.reason = StopReason::kSpanLimit;
    else
        return false;
    return true;
}

// Takes spans off in one direction as long as the fit stays good enough: within the tolerance, or
// where it is noise that stopped the refinement, with hardly more noise.
void Refiner::thin(bool u) {
    const double noise = kSameNoise * result_.best.noise;
    const bool within = result_.reason == StopReason::kTolerance;
    int high = u ? uSpans() : vSpans(), low = 0;  // low does not suffice
    while (high - low > 1 && !stopped_) {
        const int middle = (low + high) / 2;
        const std::optional<SplineFit> fit =
            u ? tryFit(middle, vSpans()) : tryFit(uSpans(), middle);
        if (fit && (within ? fit->deviation.largest <= settings_.tolerance : fit->noise <= noise)) {
            const StopReason reason = result_.reason;
            take(*fit);
            result_.reason = reason;
            high = middle;
        } else {
            low = middle;
        }
    }
}

Refinement Refiner::run() {
    ++result_.fits;
    bool ended = take(fitSpline(cloud_, 1, 1, settings_.memory, settings_.method));
    while (!ended) {
        const std::optional<SplineFit> step = nextStep();
        if (!step) result_.reason = stopped_ ? StopReason::kUser : StopReason::kNoImprovement;
        ended = !step || take(*step);
    }
    const bool worth =
        result_.reason == StopReason::kTolerance || result_.reason == StopReason::kNoImprovement;
    if (worth) {
        // The direction with more spans first: there is more to gain.
        const bool uFirst = uSpans() >= vSpans();
        thin(uFirst);
        thin(!uFirst);
    }
    return std::move(result_);
}

}  // namespace

int mostSteps(int maxSpans) {
    int steps = 0;
    for (int spans = 1; spans < maxSpans; spans = more(spans, maxSpans)) ++steps;
    return 4 * steps + 1;  // both directions, up and thinning
}

Refinement refine(const Cloud& cloud, const RefineSettings& settings, const StepReport& report) {
    return Refiner(cloud, settings, report).run();
}

}  // namespace kelvo::fit
