#include "cloud.h"

#include <cstdint>

namespace kelvo::fit {

Cloud cloudOf(const std::vector<Vec3>& points, char axis, const std::string& file) {
    return cloudOver(frameOf(points, axis, file), points);
}

Cloud cloudOver(const Frame& frame, const std::vector<Vec3>& points) {
    Cloud cloud;
    cloud.frame = frame;
    cloud.diagonal = boxOf(points).diagonal();
    cloud.points.reserve(points.size());
    for (const Vec3& p : points)
        cloud.points.push_back(
            {p, std::clamp(cloud.frame.u(p), 0.0, 1.0), std::clamp(cloud.frame.v(p), 0.0, 1.0)});
    return cloud;
}

Neighbours::Neighbours(const Cloud& cloud) : cloud_(cloud) {
    constexpr double kPerCell = 3;
    const Frame& f = cloud.frame;
    const double count = static_cast<double>(cloud.points.size());
    spacing_ = std::sqrt(f.uLength * f.vLength / count);
    const double cell = spacing_ * std::sqrt(kPerCell);
    // A thin strip would ask for any number of cells along and for less than one across.
    const double most = std::max(1.0, count / kPerCell);
    uCells_ = static_cast<int>(std::clamp(f.uLength / cell, 1.0, most));
    vCells_ = static_cast<int>(std::clamp(f.vLength / cell, 1.0, most / uCells_ + 1));
    cells_.resize(static_cast<std::size_t>(uCells_) * static_cast<std::size_t>(vCells_));
    for (std::size_t i = 0; i < cloud.points.size(); ++i) {
        const CloudPoint& p = cloud.points[i];
        const int at = cellOf(p.v, vCells_) * uCells_ + cellOf(p.u, uCells_);
        cells_[static_cast<std::size_t>(at)].push_back(static_cast<int>(i));
    }
}

int Neighbours::cellOf(double t, int cells) const {
    return std::clamp(static_cast<int>(t * cells), 0, cells - 1);
}

double Neighbours::distanceTo(int point, double u, double v) const {
    const CloudPoint& p = cloud_.points[static_cast<std::size_t>(point)];
    return std::hypot((p.u - u) * cloud_.frame.uLength, (p.v - v) * cloud_.frame.vLength);
}

std::vector<int> Neighbours::nearest(double u, double v, std::size_t count) const {
    const int cu = cellOf(u, uCells_), cv = cellOf(v, vCells_);
    const double step = std::min(cloud_.frame.uLength / uCells_, cloud_.frame.vLength / vCells_);
    std::vector<std::pair<double, int>> found;
    count = std::min(count, cloud_.points.size());
    for (int ring = 0; ring <= std::max(uCells_, vCells_); ++ring) {
        for (int j = std::max(cv - ring, 0); j <= std::min(cv + ring, vCells_ - 1); ++j) {
            const bool edge = j == cv - ring || j == cv + ring;
            for (int i = cu - ring; i <= cu + ring; i += edge || ring == 0 ? 1 : 2 * ring) {
                if (i < 0 || i >= uCells_) continue;
                for (int p : cells_[static_cast<std::size_t>(j * uCells_ + i)])
                    found.emplace_back(distanceTo(p, u, v), p);
            }
        }
        // Points of rings further out are at least this far away.
        const double safe = ring * step;
        if (found.size() < count) continue;
        std::nth_element(found.begin(), found.begin() + static_cast<std::ptrdiff_t>(count) - 1,
                         found.end());
        if (found[count - 1].first <= safe) break;
    }
    std::partial_sort(found.begin(), found.begin() + static_cast<std::ptrdiff_t>(count),
                      found.end());
    std::vector<int> points;
    for (std::size_t k = 0; k < count; ++k) points.push_back(found[k].second);
    return points;
}

double Neighbours::distance(double u, double v) const {
    return distanceTo(nearest(u, v, 1).front(), u, v);
}

}  // namespace kelvo::fit
