// The picture's camera, and a painter that draws from back to front.
#pragma once

#include <KelvoBase/quaternions.h>

#include <string>
#include <vector>

#include "colour.h"
#include "vec3.h"

namespace kelvo::fit {

/// A place on the paper, in tenths of a pixel, y down.
struct Spot {
    double x = 0, y = 0;
};

/// A rectangle of the paper, in tenths of a pixel.
struct Window {
    double left, top, width, height;
};

/// A mildly perspective view of everything that has been shown to it.
class Camera {
  public:
    /// `pose` as of poseOf() (view.h), `up` is where the light comes from.
    Camera(const TunitQuaternion& pose, const Vec3& up, const Box& box);

    /// The room that points take in this view, for fit(); z is 0.
    Box extent(const std::vector<Vec3>& points) const;
    /// Makes the window hold this room.
    void fit(const Box& extent, const Window& window);
    Spot project(const Vec3& p) const;
    /// Larger is nearer to the viewer; in units of the model.
    double depth(const Vec3& p) const { return dot(p - centre_, toViewer_); }
    /// The direction from p to the viewer's eye.
    Vec3 towards(const Vec3& p) const { return unit(eye_ - p); }
    const Vec3& right() const { return right_; }
    Light light() const;

  private:
    Spot flat(const Vec3& p) const;  // in units of the model

    Vec3 centre_, right_, up_, toViewer_, worldUp_, eye_;
    double distance_;
    double scale_ = 1;
    Spot origin_;
};

/// Collects pieces of SVG and puts them in order.
class Painter {
  public:
    void add(double depth, std::string svg) { pieces_.push_back({depth, std::move(svg)}); }
    /// All pieces, the furthest first.
    std::string paint();

  private:
    struct Piece {
        double depth;
        std::string svg;
    };
    std::vector<Piece> pieces_;
};

/// "M x y l dx dy ..." in whole units, `closed` with a z.
std::string pathData(const std::vector<Spot>& spots, bool closed);

}  // namespace kelvo::fit
