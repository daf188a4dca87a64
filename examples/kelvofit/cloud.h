// Scattered points with their places in the plane of a frame.
#pragma once

#include <vector>

#include "frame.h"

namespace kelvo::fit {

struct CloudPoint {
    Vec3 at;
    double u = 0, v = 0;  // 0 .. 1
};

struct Cloud {
    Frame frame;
    std::vector<CloudPoint> points;
    double diagonal = 0;  // of the bounding box
};

/// Places the points over the plane that `axis` names (frame.h, also for what it throws).
Cloud cloudOf(const std::vector<Vec3>& points, char axis, const std::string& file);

/// Finds points near a place of the parameter rectangle, in cells of a few points each.
class Neighbours {
  public:
    explicit Neighbours(const Cloud& cloud);

    /// The `count` points next to (u, v) in the plane (lengths of the input), nearest first.
    std::vector<int> nearest(double u, double v, std::size_t count) const;
    /// The distance in the plane to the nearest point.
    double distance(double u, double v) const;
    /// The side of a square that holds one point if they were spread evenly.
    double spacing() const { return spacing_; }

  private:
    double distanceTo(int point, double u, double v) const;
    int cellOf(double t, int cells) const;

    const Cloud& cloud_;
    int uCells_ = 1, vCells_ = 1;
    double spacing_ = 0;
    std::vector<std::vector<int>> cells_;
};

/// Where a cloud has more than one sheet above the same place, so that no surface over its plane
/// can follow it.
struct Folds {
    std::size_t points = 0;  // that have a second sheet beside them
    int example = -1;        // the point with the widest gap
    double gap = 0;          // there, along the normal

    bool found() const { return points > 0; }
};

/// Looks at every point's neighbours: heights that fall into two groups with an empty gap between,
/// much wider than either group, over the same ground. A steep step, an outlier or noise is no
/// fold.
Folds findFolds(const Cloud& cloud, const Neighbours& neighbours);

}  // namespace kelvo::fit
