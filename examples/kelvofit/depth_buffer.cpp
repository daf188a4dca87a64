#include "depth_buffer.h"

namespace kelvo::fit {
namespace {

constexpr double kTenths = 10;  // spots are in tenths of a pixel

double edge(const Spot& a, const Spot& b, double x, double y) {
    return (b.x - a.x) * (y - a.y) - (b.y - a.y) * (x - a.x);
}

}  // namespace

DepthBuffer::DepthBuffer(int width, int height)
    : width_(width),
      height_(height),
      nearest_(static_cast<std::size_t>(width) * static_cast<std::size_t>(height),
               -std::numeric_limits<double>::infinity()) {}

void DepthBuffer::add(const DeepSpot& a, const DeepSpot& b, const DeepSpot& c) {
    const double area = edge(a.spot, b.spot, c.spot.x, c.spot.y);
    if (area == 0 || !std::isfinite(area)) return;
    const auto [left, right] = std::minmax({a.spot.x, b.spot.x, c.spot.x});
    const auto [top, bottom] = std::minmax({a.spot.y, b.spot.y, c.spot.y});
    const auto pixel = [](double t, int size) {
        return static_cast<int>(std::clamp(std::floor(t / kTenths), 0.0, size - 1.0));
    };
    const int endX = pixel(right, width_), endY = pixel(bottom, height_);
    for (int y = pixel(top, height_); y <= endY; ++y)
        for (int x = pixel(left, width_); x <= endX; ++x) {
            const double atX = (x + 0.5) * kTenths, atY = (y + 0.5) * kTenths;
            const double wa = edge(b.spot, c.spot, atX, atY) / area;
            const double wb = edge(c.spot, a.spot, atX, atY) / area;
            const double wc = 1 - wa - wb;
            if (wa < 0 || wb < 0 || wc < 0) continue;
            double& cell = nearest_[static_cast<std::size_t>(y * width_ + x)];
            cell = std::max(cell, wa * a.depth + wb * b.depth + wc * c.depth);
        }
}

bool DepthBuffer::sees(const DeepSpot& place, double slack) const {
    const double x = std::floor(place.spot.x / kTenths), y = std::floor(place.spot.y / kTenths);
    if (!(x >= 0 && y >= 0 && x < width_ && y < height_)) return true;
    const auto at = static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) +
                    static_cast<std::size_t>(x);
    return place.depth >= nearest_[at] - slack;
}

}  // namespace kelvo::fit
