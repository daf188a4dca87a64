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

/// Places the points over the plane of `frame`, which is that of the same points.
Cloud cloudOver(const Frame& frame, const std::vector<Vec3>& points);

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

/// Where points have no single height above the plane, so that no surface over it can follow them.
struct Folds {
    double share = 0;   // of the points, that have others above or below them; 0: no fold
    double height = 0;  // the widest gap between two sheets, or scatter along a wall
    Vec3 at;            // where that is

    bool found() const { return share > 0; }
};

/// Looks at the neighbours in the plane of every point, or of a sample when there are many. It is a
/// fold where their heights fall into two groups over the same ground with a gap much wider than
/// the groups, or scatter much wider than the cloud is thick in space (a wall seen edge-on). Noise,
/// an outlier, a steep slope and a cliff are no folds.
Folds findFolds(const Cloud& cloud);

}  // namespace kelvo::fit
