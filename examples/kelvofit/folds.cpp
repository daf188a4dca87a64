// Detection of sheets that lie above each other (declared in cloud.h).
#include <array>

#include "cloud.h"

namespace kelvo::fit {
namespace {

constexpr std::size_t kNeighbours = 14;
constexpr std::size_t kSmallestGroup = 3;  // fewer are outliers
constexpr double kClearGap = 3;            // gap to the height of both groups together
constexpr double kLeastGap = 2e-3;         // gap to the diagonal of all points
constexpr double kSameGround = 4;          // squared Mahalanobis distance of the groups
constexpr double kLeastShare = 2e-3;       // of all points, for a fold to be reported

struct Place {
    double height, x, y;  // above the plane, and in it
};

/// Whether two groups of places overlap in the plane: the distance of their centres in units of
/// their own spread. Neighbours on both sides of a cliff or in two rows of a grid do not overlap.
bool onSameGround(const Place* places, std::size_t split, std::size_t count) {
    std::array<double, 2> centre[2] = {};
    for (std::size_t i = 0; i < count; ++i) {
        const bool upper = i >= split;
        const double share = 1.0 / static_cast<double>(upper ? count - split : split);
        centre[upper][0] += share * places[i].x;
        centre[upper][1] += share * places[i].y;
    }
    double xx = 0, xy = 0, yy = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const double dx = places[i].x - centre[i >= split][0];
        const double dy = places[i].y - centre[i >= split][1];
        xx += dx * dx, xy += dx * dy, yy += dy * dy;
    }
    const double n = static_cast<double>(count - 2);
    xx /= n, xy /= n, yy /= n;
    const double dx = centre[1][0] - centre[0][0], dy = centre[1][1] - centre[0][1];
    const double ground = xx * yy - xy * xy;
    if (!(ground > 1e-12 * (xx + yy) * (xx + yy))) return false;
    return (yy * dx * dx - 2 * xy * dx * dy + xx * dy * dy) / ground < kSameGround;
}

/// The width of the gap that splits the places, sorted by height, into two sheets; 0 for none.
double sheetGap(std::vector<Place>& places, double least) {
    std::sort(places.begin(), places.end(),
              [](const Place& a, const Place& b) { return a.height < b.height; });
    const std::size_t count = places.size();
    double widest = 0;
    std::size_t split = 0;
    for (std::size_t i = kSmallestGroup; i + kSmallestGroup <= count; ++i) {
        const double gap = places[i].height - places[i - 1].height;
        if (gap > widest) widest = gap, split = i;
    }
    const double rest = places.back().height - places.front().height - widest;
    if (!(widest > least && widest > kClearGap * rest)) return 0;
    return onSameGround(places.data(), split, count) ? widest : 0;
}

}  // namespace

Folds findFolds(const Cloud& cloud, const Neighbours& neighbours) {
    Folds folds;
    std::vector<Place> places;
    for (std::size_t i = 0; i < cloud.points.size(); ++i) {
        const CloudPoint& p = cloud.points[i];
        places.clear();
        for (int k : neighbours.nearest(p.u, p.v, kNeighbours)) {
            const CloudPoint& q = cloud.points[static_cast<std::size_t>(k)];
            places.push_back({dot(q.at - p.at, cloud.frame.normal), q.u * cloud.frame.uLength,
                              q.v * cloud.frame.vLength});
        }
        const double gap = sheetGap(places, kLeastGap * cloud.diagonal);
        if (gap == 0) continue;
        ++folds.points;
        if (gap > folds.gap) folds.gap = gap, folds.example = static_cast<int>(i);
    }
    const double share =
        static_cast<double>(folds.points) / static_cast<double>(cloud.points.size());
    if (folds.points < kSmallestGroup || share < kLeastShare) return {};
    return folds;
}

}  // namespace kelvo::fit
