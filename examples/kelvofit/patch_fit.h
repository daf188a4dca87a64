// Fits of what the program knows already: Bezier patches are sampled, blurred and fitted again.
#pragma once

#include <cstdint>
#include <functional>
#include <random>

#include "fit_result.h"

namespace kelvo::fit {

/// Normally distributed numbers, the same on every system for the same seed.
class Noise {
  public:
    Noise(double sigma, std::uint64_t seed) : sigma_(sigma), random_(seed) {}
    /// `p` displaced by sigma in each coordinate; `p` itself when sigma is 0.
    Vec3 blur(const Vec3& p);

  private:
    double next();

    double sigma_;
    std::mt19937_64 random_;
};

/// Appends to the result the points that fitPatches() samples from all patches.
void samplePatches(const PatchModel& model, int samples, Noise& noise, FitResult& result);

/// Samples every patch at samples x samples parameters, fits each again from these points alone,
/// and compares. `report` is called after each patch, with it; true stops with those fitted so far.
void fitPatches(const PatchModel& model, int samples, Noise& noise, FitResult& result,
                const std::function<bool(const FitResult&, const PatchResult&)>& report);

}  // namespace kelvo::fit
