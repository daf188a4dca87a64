#include "frame.h"

#include <KelvoBase/qr_svd.h>

#include <utility>

#include "failure.h"

namespace kelvo::fit {
namespace {

// Extents below this share of the largest are rounding, not shape.
constexpr double kFlat = 1e-10;

using Flat = std::pair<double, double>;

double turn(const Flat& a, const Flat& b, const Flat& c) {
    return (b.first - a.first) * (c.second - a.second) -
           (b.second - a.second) * (c.first - a.first);
}

// Convex hull, counter-clockwise. Source: A. M. Andrew's monotone chain, 1979.
std::vector<Flat> hullOf(std::vector<Flat> points) {
    std::sort(points.begin(), points.end());
    std::vector<Flat> hull;
    for (int side = 0; side < 2; ++side) {
        const std::size_t start = hull.size();
        for (const Flat& p : points) {
            while (hull.size() >= start + 2 && turn(hull[hull.size() - 2], hull.back(), p) <= 0)
                hull.pop_back();
            hull.push_back(p);
        }
        hull.pop_back();  // the first of the other side
        std::reverse(points.begin(), points.end());
    }
    return hull;
}

// The direction of a side of the smallest rectangle: it runs along a side of the hull. Source:
// H. Freeman, R. Shapira, 1975. Hulls of thousands of corners are round; some sides will do then.
Flat smallestRectangle(const std::vector<Flat>& hull) {
    Flat best{1, 0};
    constexpr double kFar = std::numeric_limits<double>::infinity();
    double least = kFar;
    const std::size_t stride = hull.size() / 512 + 1;
    for (std::size_t i = 0; i < hull.size(); i += stride) {
        const Flat &a = hull[i], &b = hull[(i + 1) % hull.size()];
        const double length = std::hypot(b.first - a.first, b.second - a.second);
        if (!(length > 0)) continue;
        const Flat d{(b.first - a.first) / length, (b.second - a.second) / length};
        double low[2] = {kFar, kFar}, high[2] = {-kFar, -kFar};
        for (const Flat& p : hull) {
            const double along[2] = {p.first * d.first + p.second * d.second,
                                     p.second * d.first - p.first * d.second};
            for (int k = 0; k < 2; ++k) {
                low[k] = std::min(low[k], along[k]);
                high[k] = std::max(high[k], along[k]);
            }
        }
        const double area = (high[0] - low[0]) * (high[1] - low[1]);
        if (area < least) least = area, best = d;
    }
    return best;
}

Vec3 meanOf(const std::vector<Vec3>& points) {
    // Running mean: sums of large coordinates would lose digits or overflow.
    Vec3 mean;
    double count = 0;
    for (const Vec3& p : points) mean += (1 / ++count) * (p - mean);
    return mean;
}

void spanRectangle(const std::vector<Vec3>& points, const Vec3& mean, Frame& frame) {
    double low[2] = {0, 0}, high[2] = {0, 0};
    for (const Vec3& p : points) {
        const double along[2] = {dot(p - mean, frame.uAxis), dot(p - mean, frame.vAxis)};
        for (int k = 0; k < 2; ++k) {
            low[k] = std::min(low[k], along[k]);
            high[k] = std::max(high[k], along[k]);
        }
    }
    frame.uLength = high[0] - low[0];
    frame.vLength = high[1] - low[1];
    frame.origin = mean + low[0] * frame.uAxis + low[1] * frame.vAxis;
}

void bestPlane(const std::vector<Vec3>& points, const Vec3& mean, const DoubleGenMat& axes,
               Frame& frame) {
    const auto column = [&](int j) { return Vec3{axes(0, j), axes(1, j), axes(2, j)}; };
    const Vec3 first = column(0), second = column(1);
    std::vector<Flat> flat;
    flat.reserve(points.size());
    for (const Vec3& p : points) flat.emplace_back(dot(p - mean, first), dot(p - mean, second));
    const Flat d = smallestRectangle(hullOf(std::move(flat)));
    frame.uAxis = unit(d.first * first + d.second * second);
    frame.vAxis = unit(d.first * second - (d.second * first));
    // Up is where people expect it: the normal points to the side of its largest coordinate.
    const Vec3 n = cross(frame.uAxis, frame.vAxis);
    const Vec3 size{std::abs(n.x), std::abs(n.y), std::abs(n.z)};
    const double largest = size.z >= size.x && size.z >= size.y ? n.z
                           : size.y >= size.x                   ? n.y
                                                                : n.x;
    if (largest < 0) frame.vAxis = -1.0 * frame.vAxis;
}

}  // namespace

void checkSize(double diagonal, const std::string& file) {
    // Squares and products of lengths must neither overflow nor vanish.
    constexpr double kLargest = 1e100;
    if (diagonal == 0) failAt({file}, "all points coincide");
    if (!(diagonal < kLargest)) failAt({file}, "the points lie too far apart to compute with");
    if (!(diagonal > 1 / kLargest)) failAt({file}, "the points lie too close to compute with");
}

Frame frameOf(const std::vector<Vec3>& points, char axis, const std::string& file) {
    const Vec3 mean = meanOf(points);
    const double size = boxOf(points).diagonal();
    checkSize(size, file);
    DoubleGenMat centred(static_cast<unsigned>(points.size()), 3);
    for (std::size_t i = 0; i < points.size(); ++i)
        for (int k = 0; k < 3; ++k) centred(static_cast<int>(i), k) = (points[i] - mean)[k] / size;
    DoubleSVDecomp svd;
    svd.computeLeftVecs(0);
    svd.factor(centred);
    if (svd.fail()) failAt({file}, "no plane fits the points");

    Frame frame;
    for (int k = 0; k < 3; ++k) frame.singular[k] = size * svd.singularValues()(k);
    if (!(frame.singular[1] > kFlat * frame.singular[0]))
        failAt({file}, "all points lie on one line");
    if (axis == '\0') {
        bestPlane(points, mean, svd.rightVecs(), frame);
    } else {
        frame.uAxis = axis == 'x' ? Vec3{0, 1, 0} : axis == 'y' ? Vec3{0, 0, 1} : Vec3{1, 0, 0};
        frame.vAxis = axis == 'x' ? Vec3{0, 0, 1} : axis == 'y' ? Vec3{1, 0, 0} : Vec3{0, 1, 0};
    }
    frame.normal = cross(frame.uAxis, frame.vAxis);
    spanRectangle(points, mean, frame);
    if (!(std::min(frame.uLength, frame.vLength) > kFlat * size))
        failAt({file}, std::string("seen along the ") + axis + " axis, all points lie on one line");
    return frame;
}

}  // namespace kelvo::fit
