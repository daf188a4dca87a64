// Draws the fitted model as seen by a camera: its surfaces, curves and points, and its shadow.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "depth_buffer.h"
#include "fit_result.h"
#include "mesh.h"
#include "scene.h"

namespace kelvo::fit {

/// What all pictures of one result share.
struct PictureModel {
    /// `up` is where the light comes from; `top` is the deviation of the hottest colour.
    PictureModel(const FitResult& result, const Vec3& up, double top);

    const FitResult& result;
    Vec3 up;
    double top;
    Mesh mesh, shadowMesh;           // fine and coarse
    Box box;                         // of mesh and points
    double cell = 0;                 // size of a quad, in units of the model
    double floor = 0;                // height, along `up`, of the ground on which the shadow falls
    std::vector<std::size_t> shown;  // the points that are drawn

  private:
    void choosePoints();
};

class ModelPainter {
  public:
    ModelPainter(const PictureModel& model, const Camera& camera);

    std::string model();
    std::string shadow() const;
    /// CSS of the classes used here.
    static std::string styles();

  private:
    /// A piece of the mesh.
    struct Facet {
        std::array<Vec3, 4> corner, normal;
        bool filled = false;
    };

    void hide();
    DeepSpot deep(const Vec3& p) const { return {camera_.project(p), camera_.depth(p)}; }
    void addQuads();
    void addFacet(const Facet& facet, int splits);
    void drawFacet(const Facet& facet, const Vec3& middle);
    void addCurves();
    void addCurve(const SplineSurface& surface, bool alongU, double fixed, int cells,
                  const char* style);
    void addPoints();

    const PictureModel& model_;
    const FitResult& result_;
    const Camera& camera_;
    const Light light_;
    const double cell_;
    DepthBuffer hidden_;
    Painter painter_;
};

}  // namespace kelvo::fit
