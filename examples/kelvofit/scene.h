// The picture's camera, and a painter that draws from back to front.
#pragma once

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

/// Where the model is seen from.
struct View {
    Vec3 up;           // unit
    Vec3 forward;      // unit, across `up`: the horizontal direction in which the viewer looks
    double elevation;  // radians above the horizon
};

/// A mildly perspective view of everything that has been shown to it.
class Camera {
  public:
    Camera(const View& view, const Box& box);

    /// Makes the window hold all these points.
    void fit(const std::vector<Vec3>& points, const Window& window);
    Spot project(const Vec3& p) const;
    /// Larger is nearer to the viewer; in units of the model.
    double depth(const Vec3& p) const { return dot(p - centre_, toViewer_); }
    /// The direction from p to the viewer's eye.
    Vec3 towards(const Vec3& p) const { return unit(eye_ - p); }
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
