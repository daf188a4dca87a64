#include "picture.h"

#include <KelvoBase/modelling_tolerances.h>

#include <numeric>

#include "mesh.h"
#include "text_output.h"

namespace kelvo::fit {
namespace {

constexpr std::size_t kMostPoints = 6000;  // shown; more would hide the surface and fill the file
constexpr int kColours = 36;               // classes of points
constexpr Colour kFront = {0.86, 0.89, 0.93}, kBack = {0.80, 0.76, 0.71};
constexpr Colour kFilled = {0.97, 0.93, 0.84};

/// The direction that is up, and from where a view shows most.
View viewOf(const FitResult& result) {
    if (result.scattered) {
        const Frame& f = result.scattered->cloud.frame;
        const bool longU = f.uLength >= f.vLength;
        const Vec3 deep = longU ? f.vAxis : -1.0 * f.uAxis, wide = longU ? f.uAxis : f.vAxis;
        return {f.normal, unit(0.88 * deep - 0.47 * wide), 0.62};
    }
    const double* up = VL_get_up_vector();
    const bool zUp = VL_zIsUp() != 0;
    return {{up[0], up[1], up[2]}, unit(zUp ? Vec3{-0.45, 0.89, 0} : Vec3{-0.45, 0, -0.89}), 0.40};
}

class ModelPainter {
  public:
    ModelPainter(const FitResult& result, const DeviationScale& scale);

    std::string model();
    std::size_t pointsShown() const { return shown_.size(); }
    std::string shadow() const;
    static std::string styles();

  private:
    void addQuads();
    void addCurves();
    void addCurve(const SplineSurface& surface, bool alongU, double fixed, int cells,
                  const char* style);
    void addPoints();
    void choosePoints();

    const FitResult& result_;
    const DeviationScale& scale_;
    View view_;
    Mesh mesh_;
    Camera camera_;
    Light light_;
    double cell_ = 0;  // size of a quad, in units of the model
    std::vector<std::size_t> shown_;
    Painter painter_;
};

Box boxOfModel(const Mesh& mesh, const FitResult& result) {
    Box box = boxOf(mesh.vertices);
    for (const MeasuredPoint& p : result.points) box.add(p.at);
    return box;
}

ModelPainter::ModelPainter(const FitResult& result, const DeviationScale& scale)
    : result_(result),
      scale_(scale),
      view_(viewOf(result)),
      mesh_(result.scattered ? meshOf(result, 4, 64, 96)
                             : meshOf(result, 1, result.surfaces.size() > 100 ? 5 : 14, 14)),
      camera_(view_, boxOfModel(mesh_, result)) {
    camera_.fit(mesh_.vertices, kModelWindow);
    light_ = camera_.light();
    for (const Quad& quad : mesh_.quads)
        cell_ += length(mesh_.vertices[static_cast<std::size_t>(quad.corner[0])] -
                        mesh_.vertices[static_cast<std::size_t>(quad.corner[2])]);
    cell_ /= static_cast<double>(mesh_.quads.size());
    choosePoints();
}

void ModelPainter::choosePoints() {
    shown_.resize(result_.points.size());
    std::iota(shown_.begin(), shown_.end(), std::size_t{0});
    if (shown_.size() <= kMostPoints) return;
    // The worst hundred always, of the others an even share.
    const auto worse = [&](std::size_t a, std::size_t b) {
        return result_.points[a].atParameter > result_.points[b].atParameter;
    };
    std::nth_element(shown_.begin(), shown_.begin() + 100, shown_.end(), worse);
    std::sort(shown_.begin() + 100, shown_.end());
    const double step = static_cast<double>(shown_.size() - 100) / (kMostPoints - 100);
    for (std::size_t k = 100; k < kMostPoints; ++k)
        shown_[k] = shown_[100 + static_cast<std::size_t>(static_cast<double>(k - 100) * step)];
    shown_.resize(kMostPoints);
}

void ModelPainter::addQuads() {
    constexpr double kOverlap = 4;  // tenths of a pixel, against hairlines between quads
    for (const Quad& quad : mesh_.quads) {
        Vec3 middle, normal;
        Spot centre;
        std::vector<Spot> spots;
        for (int c : quad.corner) {
            const auto at = static_cast<std::size_t>(c);
            middle += 0.25 * mesh_.vertices[at];
            normal += mesh_.normals[at];
            const Spot s = camera_.project(mesh_.vertices[at]);
            centre.x += s.x / 4, centre.y += s.y / 4;
            spots.push_back(s);
        }
        for (Spot& s : spots) {
            const double reach = std::hypot(s.x - centre.x, s.y - centre.y);
            const double grow = reach > 0 ? 1 + kOverlap / reach : 1;
            s = {centre.x + grow * (s.x - centre.x), centre.y + grow * (s.y - centre.y)};
        }
        normal = unit(normal);
        const bool front = dot(normal, camera_.towards(middle)) >= 0;
        const Colour material = mix(front ? kFront : kBack, kFilled, quad.filled ? 0.8 : 0.0);
        const Colour colour = light_.shade(material, front ? normal : -1.0 * normal);
        painter_.add(camera_.depth(middle), "<path d=\"" + pathData(spots, true) + "\" fill=\"" +
                                                hexColour(colour) + "\"/>\n");
    }
}

void ModelPainter::addCurve(const SplineSurface& surface, bool alongU, double fixed, int cells,
                            const char* style) {
    const auto place = [&](int k) {
        const double t = static_cast<double>(k) / cells;
        return surface.evaluate(alongU ? t : fixed, alongU ? fixed : t).at;
    };
    Vec3 before = place(0);
    for (int k = 1; k <= cells; ++k) {
        const Vec3 after = place(k);
        painter_.add(camera_.depth(0.5 * (before + after)) + 0.3 * cell_,
                     std::string("<path class=\"") + style + "\" d=\"" +
                         pathData({camera_.project(before), camera_.project(after)}, false) +
                         "\"/>\n");
        before = after;
    }
}

// Edges, and curves at the knots; single patches get some curves inside.
void ModelPainter::addCurves() {
    const int cells = result_.scattered ? 60 : 14;
    const bool many = result_.surfaces.size() > 100;
    for (const SplineSurface& surface : result_.surfaces)
        for (bool alongU : {true, false}) {
            const int spans = (alongU ? surface.v() : surface.u()).spans();
            const int lines = many ? 1 : result_.scattered ? spans : 4;
            for (int k = 0; k <= lines; ++k)
                addCurve(surface, alongU, static_cast<double>(k) / lines, many ? 5 : cells,
                         k == 0 || k == lines ? "e" : "k");
        }
}

void ModelPainter::addPoints() {
    for (std::size_t k : shown_) {
        const MeasuredPoint& p = result_.points[k];
        const double t = std::clamp(p.atParameter / scale_.top, 0.0, 1.0);
        const int colour = std::min(static_cast<int>(t * kColours), kColours - 1);
        painter_.add(camera_.depth(p.at) + 1.2 * cell_,
                     "<path class=\"p p" + std::to_string(colour) + "\" d=\"" +
                         pathData({camera_.project(p.at)}, false) + "h0\"/>\n");
    }
}

std::string ModelPainter::model() {
    addQuads();
    addCurves();
    addPoints();
    const double radius =
        std::clamp(150.0 / std::sqrt(static_cast<double>(shown_.size())), 2.2, 7.0);
    return "<g transform=\"scale(.1)\" stroke-width=\"" + rounded(20 * radius / 2, 3) + "\">\n" +
           painter_.paint() + "</g>\n";
}

// The model's shadow on a floor just below it.
std::string ModelPainter::shadow() const {
    double floor = std::numeric_limits<double>::infinity();
    for (const Vec3& p : mesh_.vertices) floor = std::min(floor, dot(p, view_.up));
    if (result_.scattered) floor -= 0.03 * boxOf(mesh_.vertices).diagonal();
    // Light falls from the upper left, a little from the front.
    const Vec3 right = cross(view_.forward, view_.up);
    std::string data;
    for (const Quad& quad : mesh_.quads) {
        std::vector<Spot> spots;
        double area = 0;
        for (int c : quad.corner) {
            const Vec3& p = mesh_.vertices[static_cast<std::size_t>(c)];
            const double height = dot(p, view_.up) - floor;
            const Vec3 fallen = p + height * (0.30 * right + 0.18 * view_.forward - view_.up);
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

}  // namespace

std::string pictureSvg(const FitResult& result, const Options& options) {
    const DeviationScale scale = scaleFor(result.atParameter.largest);
    ModelPainter painter(result, scale);
    const std::string shadow = painter.shadow();
    const std::string model = painter.model();
    const std::string size = std::to_string(kPictureWidth) + " " + std::to_string(kPictureHeight);
    std::string svg = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
    svg += "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 " + size + "\" width=\"" +
           std::to_string(kPictureWidth) + "\" height=\"" + std::to_string(kPictureHeight) +
           "\" font-family=\"Inter, 'Helvetica Neue', 'Segoe UI', Roboto, 'DejaVu Sans', "
           "sans-serif\">\n";
    svg += "<style>\n" + ModelPainter::styles() + "</style>\n";
    svg +=
        "<defs><filter id=\"soft\" x=\"-20%\" y=\"-20%\" width=\"140%\" height=\"140%\">"
        "<feGaussianBlur stdDeviation=\"110\"/></filter>\n"
        "<linearGradient id=\"paper\" x1=\"0\" y1=\"0\" x2=\"0\" y2=\"1\">"
        "<stop offset=\"0\" stop-color=\"#ffffff\"/><stop offset=\"1\" stop-color=\"#e9edf2\"/>"
        "</linearGradient></defs>\n"
        "<rect width=\"100%\" height=\"100%\" fill=\"url(#paper)\"/>\n";
    svg += shadow + model + frameSvg(result, options, scale, painter.pointsShown());
    return svg + "</svg>\n";
}

}  // namespace kelvo::fit
