#include "mesh.h"

namespace kelvo::fit {
namespace {

int cellsFor(int spans, int perSpan, int least, int most) {
    // Whole cells in each span, so that the mesh follows the knots, as long as there is room.
    int each = std::max(perSpan, (least + spans - 1) / spans);
    if (each * spans > most) each = std::max(1, most / spans);
    return each * spans;
}

void addGrid(const FitResult& result, const DataCover& cover, int index, int uCells, int vCells,
             Mesh& mesh) {
    const SplineSurface& surface = result.surfaces[static_cast<std::size_t>(index)];
    const int base = static_cast<int>(mesh.vertices.size());
    for (int j = 0; j <= vCells; ++j)
        for (int i = 0; i <= uCells; ++i) {
            const double u = static_cast<double>(i) / uCells, v = static_cast<double>(j) / vCells;
            mesh.vertices.push_back(surface.evaluate(u, v).at);
            mesh.normals.push_back(surface.normal(u, v));
        }
    for (int j = 0; j < vCells; ++j)
        for (int i = 0; i < uCells; ++i) {
            const int at = base + j * (uCells + 1) + i;
            const bool filled = !cover.covers((i + 0.5) / uCells, (j + 0.5) / vCells);
            mesh.quads.push_back({{at, at + 1, at + uCells + 2, at + uCells + 1}, index, filled});
        }
}

}  // namespace

Mesh meshOf(const FitResult& result, int perSpan, int least, int most) {
    Mesh mesh;
    const DataCover cover(result);
    for (std::size_t k = 0; k < result.surfaces.size(); ++k) {
        const SplineSurface& surface = result.surfaces[k];
        addGrid(result, cover, static_cast<int>(k),
                cellsFor(surface.u().spans(), perSpan, least, most),
                cellsFor(surface.v().spans(), perSpan, least, most), mesh);
    }
    return mesh;
}

}  // namespace kelvo::fit
