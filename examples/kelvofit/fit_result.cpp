#include "fit_result.h"

namespace kelvo::fit {
namespace {

template <class Distance>
Spread spreadOf(const std::vector<MeasuredPoint>& points, Distance distance) {
    Spread spread;
    for (std::size_t i = 0; i < points.size(); ++i)
        if (distance(points[i]) > spread.largest)
            spread.largest = distance(points[i]), spread.worst = i;
    double sum = 0;  // of ratios: squares of tiny deviations would vanish
    for (const MeasuredPoint& p : points) {
        const double ratio = spread.largest > 0 ? distance(p) / spread.largest : 0;
        sum += ratio * ratio;
    }
    if (!points.empty())
        spread.rms = spread.largest * std::sqrt(sum / static_cast<double>(points.size()));
    return spread;
}

}  // namespace

int PatchResult::worseFirst(void* newSlot, void* existingSlot) {
    const PatchResult &a = **static_cast<PatchResult**>(newSlot),
                      &b = **static_cast<PatchResult**>(existingSlot);
    if (a.controlError != b.controlError) return a.controlError < b.controlError ? 1 : -1;
    return a.number > b.number ? 1 : -1;
}

void measure(FitResult& result) {
    for (MeasuredPoint& p : result.points) {
        const SplineSurface& surface = result.surfaces[static_cast<std::size_t>(p.surface)];
        double u = p.u, v = p.v;
        p.atParameter = length(surface.evaluate(u, v).at - p.at);
        p.toSurface = footPoint(surface, p.at, u, v);
    }
    result.atParameter = spreadOf(result.points, [](const auto& p) { return p.atParameter; });
    result.toSurface = spreadOf(result.points, [](const auto& p) { return p.toSurface; });
}

DataCover::DataCover(const FitResult& result) : result_(result) {
    if (result.scattered) neighbours_.emplace(result.scattered->cloud);
}

bool DataCover::covers(double u, double v) const {
    return !neighbours_ || neighbours_->distance(u, v) <= result_.scattered->filledBeyond;
}

}  // namespace kelvo::fit
