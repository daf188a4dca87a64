// Quadrilateral meshes of the fitted surfaces, for the OBJ file and the picture.
#pragma once

#include <array>
#include <vector>

#include "fit_result.h"

namespace kelvo::fit {

struct Quad {
    std::array<int, 4> corner{};  // indices of vertices, counter-clockwise seen from the normals
    int surface = 0;
    bool filled = false;  // no points nearby: the shape is a guess
};

struct Mesh {
    std::vector<Vec3> vertices, normals;  // of the same length
    std::vector<Quad> quads;
};

/// Evaluates every surface on a grid with `perSpan` cells in each span, but in each direction at
/// least `least` and at most `most` cells.
Mesh meshOf(const FitResult& result, int perSpan, int least, int most);

/// The mesh as Wavefront OBJ with normals, in the groups "surface" and "filled". Faces at collapsed
/// edges are triangles, cells without any area are left out.
std::string meshObj(const Mesh& mesh, const std::string& title);
/// The control nets as OBJ: their points, and lines along rows and columns.
std::string netObj(const FitResult& result, const std::string& title);

}  // namespace kelvo::fit
