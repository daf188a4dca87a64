// Detection of points that have no single height over the plane (declared in cloud.h).
#include <KelvoBase/qr_svd.h>

#include <algorithm>
#include <numeric>
#include <random>

#include "cloud.h"

namespace kelvo::fit {
namespace {

constexpr std::size_t kLooked = 2500;  // points; enough to see a fold, quick for any cloud
constexpr std::size_t kNeighbours = 14;
constexpr std::size_t kSmallestSheet = 3;  // fewer are outliers
constexpr double kClearGap = 3;            // gap to the height of both sheets together
constexpr double kSameGround = 4;          // squared Mahalanobis distance of the sheets
constexpr double kWallGap = 0.5;           // widest gap of a wall to its height
constexpr double kWallHeight = 12;         // scatter of heights to the thickness in space
constexpr double kLeastHeight = 2e-3;      // gap or scatter to the diagonal of all points
constexpr double kLeastShare = 2e-3;       // of all points, for a fold to be reported

struct Place {
    double height, x, y;  // above the plane, and in it
};

/// Second moments of places in the plane.
struct Ground {
    double xx = 0, xy = 0, yy = 0;
    double determinant() const { return xx * yy - xy * xy; }
    bool flat() const { return !(determinant() > 1e-12 * (xx + yy) * (xx + yy)); }
};

/// Whether two groups of places overlap in the plane: the distance of their centres in units of
/// their own spread. Neighbours on both sides of a cliff or in two rows of a grid do not overlap.
bool onSameGround(const std::vector<Place>& places, std::size_t split) {
    const std::size_t count = places.size();
    double x[2] = {}, y[2] = {};
    for (std::size_t i = 0; i < count; ++i) {
        const double share = 1.0 / static_cast<double>(i >= split ? count - split : split);
        x[i >= split] += share * places[i].x;
        y[i >= split] += share * places[i].y;
    }
    Ground g;
    const double weight = 1.0 / static_cast<double>(count - 2);
    for (std::size_t i = 0; i < count; ++i) {
        const double dx = places[i].x - x[i >= split], dy = places[i].y - y[i >= split];
        g.xx += weight * dx * dx, g.xy += weight * dx * dy, g.yy += weight * dy * dy;
    }
    if (g.flat()) return false;
    const double dx = x[1] - x[0], dy = y[1] - y[0];
    return (g.yy * dx * dx - 2 * g.xy * dx * dy + g.xx * dy * dy) / g.determinant() < kSameGround;
}

/// The rms distance of heights from the plane that fits them best over their ground.
double scatterOf(const std::vector<Place>& places) {
    const double weight = 1.0 / static_cast<double>(places.size());
    Place mean{};
    for (const Place& p : places)
        mean.height += weight * p.height, mean.x += weight * p.x, mean.y += weight * p.y;
    Ground g;
    double hh = 0, hx = 0, hy = 0;
    for (const Place& p : places) {
        const double x = p.x - mean.x, y = p.y - mean.y, h = p.height - mean.height;
        g.xx += weight * x * x, g.xy += weight * x * y, g.yy += weight * y * y;
        hh += weight * h * h, hx += weight * h * x, hy += weight * h * y;
    }
    // Places on one line leave the slope across it open: none then.
    const double soften = 1e-4 * (g.xx + g.yy);
    g.xx += soften, g.yy += soften;
    if (!(g.determinant() > 0)) return std::sqrt(hh);
    const double explained =
        (g.yy * hx * hx - 2 * g.xy * hx * hy + g.xx * hy * hy) / g.determinant();
    return std::sqrt(std::max(hh - explained, 0.0));
}

/// How the heights around a point tell that there is more than one.
enum class Find { kNothing, kSheets, kPerhapsWall };

struct Look {
    Find find = Find::kNothing;
    double height = 0;  // gap between the sheets, or scatter
};

/// Two sheets leave a wide gap and share their ground; a wall seen edge-on has no gap at all, and
/// what lies between is a cliff or an outlier.
Look lookAt(std::vector<Place>& places, double least) {
    std::sort(places.begin(), places.end(),
              [](const Place& a, const Place& b) { return a.height < b.height; });
    const std::size_t count = places.size();
    double widest = 0;
    std::size_t split = 0;
    for (std::size_t i = 1; i < count; ++i) {
        const double gap = places[i].height - places[i - 1].height;
        if (gap > widest) widest = gap, split = i;
    }
    const double range = places.back().height - places.front().height;
    if (widest > least && widest > kClearGap * (range - widest)) {
        const bool sheets = split >= kSmallestSheet && split + kSmallestSheet <= count;
        return sheets && onSameGround(places, split) ? Look{Find::kSheets, widest} : Look{};
    }
    const double scatter = scatterOf(places);
    if (scatter > least && widest < kWallGap * range) return {Find::kPerhapsWall, scatter};
    return {};
}

/// The thickness of the cloud around a point: the extent of its neighbours in space across the
/// plane that fits them best. Noise is as thick as it is high; a clean wall is thin.
double thicknessAt(const Cloud& cloud, const Vec3& centre) {
    std::vector<std::pair<double, const Vec3*>> near;
    near.reserve(cloud.points.size());
    for (const CloudPoint& q : cloud.points) {
        const Vec3 d = q.at - centre;
        near.emplace_back(dot(d, d), &q.at);
    }
    const std::size_t count = std::min(kNeighbours, near.size());
    std::nth_element(near.begin(), near.begin() + static_cast<std::ptrdiff_t>(count) - 1,
                     near.end());
    Vec3 mean;
    for (std::size_t k = 0; k < count; ++k)
        mean += (1.0 / static_cast<double>(count)) * (*near[k].second - centre);
    DoubleGenMat centred(static_cast<unsigned>(count), 3);
    for (std::size_t k = 0; k < count; ++k)
        for (int axis = 0; axis < 3; ++axis)
            centred(static_cast<int>(k), axis) = (*near[k].second - centre - mean)[axis];
    DoubleSVDecomp svd;
    svd.computeLeftVecs(0);
    svd.computeRightVecs(0);
    svd.factor(centred);
    return svd.singularValues()(2) / std::sqrt(static_cast<double>(count));
}

/// At most kLooked of the points, the same for the same input.
Cloud someOf(const Cloud& cloud) {
    Cloud some{cloud.frame, cloud.points, cloud.diagonal};
    if (some.points.size() <= kLooked) return some;
    std::mt19937_64 random(1);
    for (std::size_t k = 0; k < kLooked; ++k)
        std::swap(some.points[k], some.points[k + random() % (some.points.size() - k)]);
    some.points.resize(kLooked);
    return some;
}

}  // namespace

Folds findFolds(const Cloud& whole) {
    const Cloud cloud = someOf(whole);
    const Neighbours neighbours(cloud);
    std::size_t found = 0;
    Folds folds;
    std::vector<Place> places;
    for (const CloudPoint& p : cloud.points) {
        places.clear();
        for (int k : neighbours.nearest(p.u, p.v, kNeighbours)) {
            const CloudPoint& q = cloud.points[static_cast<std::size_t>(k)];
            places.push_back({dot(q.at - p.at, cloud.frame.normal), q.u * cloud.frame.uLength,
                              q.v * cloud.frame.vLength});
        }
        const Look look = lookAt(places, kLeastHeight * cloud.diagonal);
        if (look.find == Find::kNothing) continue;
        if (look.find == Find::kPerhapsWall && look.height < kWallHeight * thicknessAt(cloud, p.at))
            continue;
        ++found;
        if (look.height > folds.height) folds.height = look.height, folds.at = p.at;
    }
    folds.share = static_cast<double>(found) / static_cast<double>(cloud.points.size());
    return found >= kSmallestSheet && folds.share >= kLeastShare ? folds : Folds{};
}

}  // namespace kelvo::fit
