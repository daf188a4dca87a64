#include "scene.h"

namespace kelvo::fit {

Camera::Camera(const TunitQuaternion& pose, const Vec3& up, const Box& box)
    : centre_(box.centre()), worldUp_(up) {
    constexpr double kDistance = 3.4;  // to the diagonal: no strong perspective
    const T4dDblMatrix axes = pose;
    const auto row = [&](unsigned i) { return Vec3{axes[i][0], axes[i][1], axes[i][2]}; };
    right_ = row(0), up_ = row(1), toViewer_ = row(2);
    distance_ = kDistance * box.diagonal();
    eye_ = centre_ + distance_ * toViewer_;
}

Spot Camera::flat(const Vec3& p) const {
    const Vec3 q = p - centre_;
    const double scale = distance_ / std::max(distance_ - dot(q, toViewer_), 0.1 * distance_);
    return {scale * dot(q, right_), -scale * dot(q, up_)};
}

Box Camera::extent(const std::vector<Vec3>& points) const {
    Box box;
    for (const Vec3& p : points) {
        const Spot s = flat(p);
        box.add({s.x, s.y, 0});
    }
    return box;
}

void Camera::fit(const Box& extent, const Window& window) {
    const Vec3 size = extent.high - extent.low;
    scale_ = std::min(window.width / size.x, window.height / size.y);
    if (!std::isfinite(scale_)) scale_ = 1;
    const Vec3 middle = extent.centre();
    origin_ = {window.left + window.width / 2 - scale_ * middle.x,
               window.top + window.height / 2 - scale_ * middle.y};
}

Spot Camera::project(const Vec3& p) const {
    const Spot s = flat(p);
    return {origin_.x + scale_ * s.x, origin_.y + scale_ * s.y};
}

Light Camera::light() const {
    const auto direction = [&](double x, double y, double z) {
        return unit(x * right_ + y * up_ + z * toViewer_);
    };
    return {direction(-0.50, 0.62, 0.60), direction(0.85, 0.10, 0.50), worldUp_, toViewer_};
}

std::string Painter::paint() {
    std::stable_sort(pieces_.begin(), pieces_.end(),
                     [](const Piece& a, const Piece& b) { return a.depth < b.depth; });
    std::string svg;
    for (const Piece& piece : pieces_) svg += piece.svg;
    return svg;
}

std::string pathData(const std::vector<Spot>& spots, bool closed) {
    std::string data;
    long x = 0, y = 0;
    for (std::size_t k = 0; k < spots.size(); ++k) {
        const long nextX = std::lround(spots[k].x), nextY = std::lround(spots[k].y);
        const long dx = nextX - x, dy = nextY - y;
        if (k < 2) data += k == 0 ? 'M' : 'l';
        if (k > 1 && dx >= 0) data += ' ';
        data += std::to_string(dx);
        if (dy >= 0) data += ' ';
        data += std::to_string(dy);
        x = nextX, y = nextY;
    }
    return closed ? data + 'z' : data;
}

}  // namespace kelvo::fit
