#include "patch_fit.h"

#include <KelvoBase/qr_svd.h>

#include <numbers>

namespace kelvo::fit {
namespace {

constexpr double kFreeTolerance = 1e-10;

/// All patches have the same parameters, hence one matrix.
DoubleGenMat sampleMatrix(int samples) {
    DoubleGenMat matrix(static_cast<unsigned>(samples * samples), 16);
    const CubicAxis axis;
    for (int a = 0; a < samples; ++a)
        for (int b = 0; b < samples; ++b) {
            const Basis u = axis.basis(a / (samples - 1.0)), v = axis.basis(b / (samples - 1.0));
            for (std::size_t k = 0; k < 16; ++k)
                matrix(a * samples + b, static_cast<int>(k)) = u.value[k / 4] * v.value[k % 4];
        }
    return matrix;
}

SplineSurface knownPatch(const PatchModel& model, const std::array<std::size_t, 16>& corners) {
    SplineSurface surface;
    for (int k = 0; k < 16; ++k)
        surface.setControl(k / 4, k % 4, model.points[corners[static_cast<std::size_t>(k)]]);
    return surface;
}

std::vector<MeasuredPoint> sample(const SplineSurface& known, int index, int samples,
                                  Noise& noise) {
    std::vector<MeasuredPoint> points;
    for (int a = 0; a < samples; ++a)
        for (int b = 0; b < samples; ++b) {
            MeasuredPoint& p = points.emplace_back();
            p.u = a / (samples - 1.0), p.v = b / (samples - 1.0);
            p.at = noise.blur(known.evaluate(p.u, p.v).at);
            p.surface = index;
        }
    return points;
}

SplineSurface refit(const DoubleLeastSqQR& system, const std::vector<MeasuredPoint>& points) {
    SplineSurface surface;
    double fitted[16][3];
    DoubleVec side(static_cast<unsigned>(points.size()));
    const Vec3 centre = points.front().at;  // models far from the origin keep their digits
    for (int k = 0; k < 3; ++k) {
        for (std::size_t i = 0; i < points.size(); ++i)
            side(static_cast<int>(i)) = (points[i].at - centre)[k];
        const DoubleVec found = system.solve(side);
        for (int c = 0; c < 16; ++c) fitted[c][k] = found(c);
    }
    for (int c = 0; c < 16; ++c)
        surface.setControl(c / 4, c % 4, centre + Vec3{fitted[c][0], fitted[c][1], fitted[c][2]});
    return surface;
}

double controlError(const SplineSurface& known, const SplineSurface& fitted) {
    double largest = 0;
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            largest = std::max(largest, length(known.control(i, j) - fitted.control(i, j)));
    return largest;
}

}  // namespace

Vec3 Noise::blur(const Vec3& p) {
    if (sigma_ == 0) return p;
    const double x = next(), y = next(), z = next();
    return p + sigma_ * Vec3{x, y, z};
}

// Box and Muller, 1958; the standard library's distribution differs between systems.
double Noise::next() {
    constexpr double kUnit = 0x1p-53;
    const double a = (static_cast<double>(random_() >> 11) + 1) * kUnit;  // above 0
    const double b = static_cast<double>(random_() >> 11) * kUnit;
    return std::sqrt(-2 * std::log(a)) * std::cos(2 * std::numbers::pi * b);
}

void samplePatches(const PatchModel& model, int samples, Noise& noise, FitResult& result) {
    int number = 0;
    for (const auto& corners : model.patches) {
        const auto points = sample(knownPatch(model, corners), number++, samples, noise);
        result.points.insert(result.points.end(), points.begin(), points.end());
    }
}

void fitPatches(const PatchModel& model, int samples, Noise& noise, FitResult& result,
                const std::function<bool(const FitResult&, const PatchResult&)>& report) {
    DoubleLeastSqQR system;
    system.doPivoting(1);
    system.setTolerance(kFreeTolerance);
    system.factor(sampleMatrix(samples));
    PatchesResult& done = result.patches.emplace();
    done.wanted = model.patches.size();
    int number = 0;
    for (const auto& corners : model.patches) {
        const SplineSurface known = knownPatch(model, corners);
        const std::vector<MeasuredPoint> points = sample(known, number, samples, noise);
        const SplineSurface& fitted = result.surfaces.emplace_back(refit(system, points));
        result.points.insert(result.points.end(), points.begin(), points.end());
        PatchResult& patch = done.patches.add({});
        patch.number = number++;
        patch.freeColumns = system.numFreeCols();
        patch.rank = 16 - patch.freeColumns;
        patch.controlError = controlError(known, fitted);
        done.controlError = std::max(done.controlError, patch.controlError);
        if (report(result, patch)) {
            result.stopped = done.patches.size() < done.wanted;
            break;
        }
    }
}

}  // namespace kelvo::fit
