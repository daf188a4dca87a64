#include "picture.h"

namespace kelvo::fit {

Picture::Picture(const FitResult& result, const Options& options)
    : options_(options),
      scale_(scaleFor(result.atParameter.largest)),
      view_(viewOf(result, options.up != 0 || options.placement.turns())),
      model_(result, view_.up, scale_.top) {}

std::vector<Camera> Picture::cameras(int count) const {
    std::vector<Camera> cameras;
    Box room;
    for (const TunitQuaternion& pose : posesAround(view_, count)) {
        const Box extent =
            cameras.emplace_back(pose, view_.up, model_.box).extent(model_.mesh.vertices);
        room.add(extent.low);
        room.add(extent.high);
    }
    for (Camera& camera : cameras) camera.fit(room, kModelWindow);
    return cameras;
}

std::string Picture::svg(const Camera& camera) const {
    ModelPainter painter(model_, camera);
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
    svg += painter.shadow() + painter.model() +
           frameSvg(model_.result, options_, scale_, model_.shown.size());
    return svg + "</svg>\n";
}

}  // namespace kelvo::fit
