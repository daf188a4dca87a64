#include "model_painter.h"

#include <numeric>

#include "picture.h"
#include "text_output.h"

namespace kelvo::fit {
namespace {

constexpr std::size_t kMostPoints = 6000;  // shown; more would hide the surface and fill the file
constexpr int kColours = 36;               // classes of points
constexpr Colour kFront = {0.70, 0.77, 0.86}, kBack = {0.78, 0.74, 0.70};
constexpr Colour kFilled = {0.93, 0.87, 0.74};

/// Cells along a patch: fine shading as long as there are few patches.
int patchCells(const FitResult& result) {
    constexpr double kMostQuads = 16000;
    const double each = kMostQuads / static_cast<double>(result.surfaces.size());
    return static_cast<int>(std::clamp(std::sqrt(each), 1.0, 32.0));
}

Mesh fineMesh(const FitResult& result) {
    const int cells = patchCells(result);
    return result.scattered ? meshOf(result, 4, 80, 96) : meshOf(result, 1, cells, cells);
}

Mesh coarseMesh(const FitResult& result) {
    const int cells = result.scattered ? 28 : std::max(1, patchCells(result) / 3);
    return meshOf(result, 1, cells, cells);
}

}  // namespace

PictureModel::PictureModel(const FitResult& fit, const Vec3& upwards, double hottest)
    : result(fit),
      up(upwards),
      top(hottest),
      mesh(fineMesh(fit)),
      shadowMesh(coarseMesh(fit)),
      box(boxOf(mesh.vertices)) {
    for (const MeasuredPoint& p : result.points) box.add(p.at);
    for (const Quad& quad : mesh.quads)
        cell += length(mesh.vertices[static_cast<std::size_t>(quad.corner[0])] -
                       mesh.vertices[static_cast<std::size_t>(quad.corner[2])]);
    cell /= static_cast<double>(mesh.quads.size());
    floor = std::numeric_limits<double>::infinity();
    for (const Vec3& p : shadowMesh.vertices) floor = std::min(floor, dot(p, up));
    if (result.scattered) floor -= 0.03 * boxOf(shadowMesh.vertices).diagonal();
    choosePoints();
}

void PictureModel::choosePoints() {
    shown.resize(result.points.size());
    std::iota(shown.begin(), shown.end(), std::size_t{0});
    if (shown.size() <= kMostPoints) return;
    // The worst hundred always, of the others an even share.
    const auto worse = [&](std::size_t a, std::size_t b) {
        return result.points[a].atParameter > result.points[b].atParameter;
    };
    std::nth_element(shown.begin(), shown.begin() + 100, shown.end(), worse);
    std::sort(shown.begin() + 100, shown.end());
    const double step = static_cast<double>(shown.size() - 100) / (kMostPoints - 100);
    for (std::size_t k = 100; k < kMostPoints; ++k)
        shown[k] = shown[100 + static_cast<std::size_t>(static_cast<double>(k - 100) * step)];
    shown.resize(kMostPoints);
}

ModelPainter::ModelPainter(const PictureModel& model, const Camera& camera)
    : model_(model),
      result_(model.result),
      camera_(camera),
      light_(camera.light()),
      cell_(model.cell),
      hidden_(kPictureWidth, kPictureHeight) {
    hide();
}

void ModelPainter::hide() {
    for (const Quad& quad : model_.mesh.quads) {
        DeepSpot corners[4];
        for (std::size_t k = 0; k < 4; ++k)
            corners[k] = deep(model_.mesh.vertices[static_cast<std::size_t>(quad.corner[k])]);
        hidden_.add(corners[0], corners[1], corners[2]);
        hidden_.add(corners[0], corners[2], corners[3]);
    }
}

void ModelPainter::addQuads() {
    constexpr int kSplits = 2;
    for (const Quad& quad : model_.mesh.quads) {
        Facet facet;
        facet.filled = quad.filled;
        for (std::size_t k = 0; k < 4; ++k) {
            const auto at = static_cast<std::size_t>(quad.corner[k]);
            facet.corner[k] = model_.mesh.vertices[at];
            facet.normal[k] = model_.mesh.normals[at];
        }
        addFacet(facet, kSplits);
    }
}

// Draws a facet unless it is hidden; one that is hidden in part is split, so that the line where
// surfaces meet comes out clean.
void ModelPainter::addFacet(const Facet& facet, int splits) {
    const double slack = 0.2 * cell_;
    const Vec3 middle =
        0.25 * (facet.corner[0] + facet.corner[1] + facet.corner[2] + facet.corner[3]);
    int seen = hidden_.sees(deep(middle), slack) ? 1 : 0;
    for (const Vec3& p : facet.corner) seen += hidden_.sees(deep(p), slack) ? 1 : 0;
    if (seen == 0) return;
    const Spot a = camera_.project(facet.corner[0]), b = camera_.project(facet.corner[2]);
    const bool small = std::hypot(a.x - b.x, a.y - b.y) < 40;  // tenths of a pixel
    if (seen == 5 || splits == 0 || small) {
        drawFacet(facet, middle);
        return;
    }
    const auto at = [](const std::array<Vec3, 4>& c, double u, double v) {
        return mix(mix(c[0], c[1], u), mix(c[3], c[2], u), v);
    };
    for (int part = 0; part < 4; ++part) {
        const double u = 0.5 * (part % 2), v = 0.5 * (part / 2);
        Facet piece;
        piece.filled = facet.filled;
        for (std::size_t k = 0; k < 4; ++k) {
            const double s = u + (k == 1 || k == 2 ? 0.5 : 0.0), t = v + (k > 1 ? 0.5 : 0.0);
            piece.corner[k] = at(facet.corner, s, t);
            piece.normal[k] = at(facet.normal, s, t);
        }
        addFacet(piece, splits - 1);
    }
}

void ModelPainter::drawFacet(const Facet& facet, const Vec3& middle) {
    constexpr double kOverlap = 4;  // tenths of a pixel, against hairlines between facets
    Spot spots[4];
    for (std::size_t k = 0; k < 4; ++k) spots[k] = camera_.project(facet.corner[k]);
    std::vector<Spot> grown;
    for (std::size_t k = 0; k < 4; ++k) {
        Spot s = spots[k];
        for (std::size_t other : {(k + 1) % 4, (k + 3) % 4}) {
            const double dx = spots[k].x - spots[other].x, dy = spots[k].y - spots[other].y;
            const double reach = std::hypot(dx, dy);
            if (reach > 0) s.x += kOverlap * dx / reach, s.y += kOverlap * dy / reach;
        }
        grown.push_back(s);
    }
    const Vec3 normal = unit(facet.normal[0] + facet.normal[1] + facet.normal[2] + facet.normal[3]);
    const bool front = dot(normal, camera_.towards(middle)) >= 0;
    const Colour material = mix(front ? kFront : kBack, kFilled, facet.filled ? 0.8 : 0.0);
    const Colour colour = light_.shade(material, front ? normal : -1.0 * normal);
    painter_.add(camera_.depth(middle), "<path d=\"" + pathData(grown, true) + "\" fill=\"" +
                                            hexColour(colour) + "\"/>\n");
}

void ModelPainter::addCurve(const SplineSurface& surface, bool alongU, double fixed, int cells,
                            const char* style) {
    const auto place = [&](int k) {
        const double t = static_cast<double>(k) / cells;
        return surface.evaluate(alongU ? t : fixed, alongU ? fixed : t).at;
    };
    Vec3 before = place(0);
    for (int k = 1; k <= cells; ++k) {
        const Vec3 after = place(k), middle = 0.5 * (before + after);
        if (hidden_.sees(deep(middle), cell_))
            painter_.add(camera_.depth(middle) + cell_,
                         std::string("<path class=\"") + style + "\" d=\"" +
                             pathData({camera_.project(before), camera_.project(after)}, false) +
                             "\"/>\n");
        before = after;
    }
}

// Edges, and curves at the knots; single patches get some curves inside.
void ModelPainter::addCurves() {
    const bool many = result_.surfaces.size() > 100;
    const int cells = result_.scattered ? 60 : many ? 5 : 16;
    for (const SplineSurface& surface : result_.surfaces)
        for (bool alongU : {true, false}) {
            const int spans = (alongU ? surface.v() : surface.u()).spans();
            const int lines = many ? 1 : result_.scattered ? spans : 4;
            for (int k = 0; k <= lines; ++k)
                addCurve(surface, alongU, static_cast<double>(k) / lines, cells,
                         k == 0 || k == lines ? "e" : "k");
        }
}

void ModelPainter::addPoints() {
    for (std::size_t k : model_.shown) {
        const MeasuredPoint& p = result_.points[k];
        // Points below the surface by their deviation are meant to be seen.
        const double slack = result_.scale * p.atParameter + cell_;
        if (!hidden_.sees(deep(p.at), slack)) continue;
        const double t = std::clamp(p.atParameter / model_.top, 0.0, 1.0);
        const int colour = std::min(static_cast<int>(t * kColours), kColours - 1);
        painter_.add(camera_.depth(p.at) + slack,
                     "<path class=\"p p" + std::to_string(colour) + "\" d=\"" +
                         pathData({camera_.project(p.at)}, false) + "h0\"/>\n");
    }
}

std::string ModelPainter::model() {
    addQuads();
    addCurves();
    addPoints();
    const double radius =
        std::clamp(150.0 / std::sqrt(static_cast<double>(model_.shown.size())), 2.2, 7.0);
    return "<g transform=\"scale(.1)\" stroke-width=\"" + rounded(20 * radius / 2, 3) + "\">\n" +
           painter_.paint() + "</g>\n";
}

// On the floor just below the model.
std::string ModelPainter::shadow() const {
    const Vec3& up = model_.up;
    // Light falls from the upper left, a little from the front.
    const Vec3 right = camera_.right(), forward = unit(cross(up, right));
    const Mesh& mesh = model_.shadowMesh;
    std::string data;
    for (const Quad& quad : mesh.quads) {
        std::vector<Spot> spots;
        double area = 0;
        for (int c : quad.corner) {
            const Vec3& p = mesh.vertices[static_cast<std::size_t>(c)];
            const double height = dot(p, up) - model_.floor;
            const Vec3 fallen = p + height * (0.30 * right + 0.18 * forward - up);
            spots.push_back(camera_.project(fallen));
        }
        for (std::size_t k = 0; k < 4; ++k) {
            const Spot &a = spots[k], &b = spots[(k + 1) % 4];
            area += a.x * b.y - b.x * a.y;
        }
        // One sense of turning for all, so that none cancels another.
        if (area < 0) std::reverse(spots.begin(), spots.end());
        data += pathData(spots, true);
    }
    return "<path class=\"shadow\" transform=\"scale(.1)\" d=\"" + data + "\"/>\n";
}

std::string ModelPainter::styles() {
    std::string css =
        ".shadow{fill:#26303c;opacity:.20;filter:url(#soft)}\n"
        ".e{fill:none;stroke:#2b3a4d;stroke-width:9;stroke-opacity:.42;stroke-linecap:round}\n"
        ".k{fill:none;stroke:#2b3a4d;stroke-width:5;stroke-opacity:.20;stroke-linecap:round}\n"
        ".p{stroke-linecap:round}\n";
    for (int k = 0; k < kColours; ++k)
        css += ".p" + std::to_string(k) +
               "{stroke:" + hexColour(scaleColour((k + 0.5) / kColours)) + "}\n";
    return css;
}

}  // namespace kelvo::fit
