// What could break here: the order of scale, turns and move, the pivot, the camera's path around
// the model (jumps, a wrong start, a tilted horizon), results that are not where they should be.
#include <gtest/gtest.h>

#include <numbers>
#include <sstream>

#include "examples/kelvofit/placement.h"
#include "examples/kelvofit/view.h"
#include "program.h"

namespace kelvo::test {
namespace {

using fit::Placement;
using fit::Vec3;
using fit::View;

void expectNear(const Vec3& expected, const Vec3& found, double tolerance) {
    for (int k = 0; k < 3; ++k) EXPECT_NEAR(expected[k], found[k], tolerance) << "coordinate " << k;
}

TEST(KelvofitPlacement, ScalesAndTurnsAboutThePivotAndMovesLast) {
    const struct {
        const char* what;
        Placement placement;
        Vec3 from, to;
    } kRows[] = {
        {"none", {}, {1, 2, 3}, {1, 2, 3}},
        {"move", {{}, 1, {10, 20, 30}, {}}, {1, 2, 3}, {11, 22, 33}},
        {"scale", {{}, 3, {}, {}}, {1, 2, 3}, {3, 6, 9}},
        {"scale about a pivot", {{}, 3, {}, {1, 1, 1}}, {1, 2, 3}, {1, 4, 7}},
        {"x: y goes to z", {{90, 0, 0}, 1, {}, {}}, {1, 2, 3}, {1, -3, 2}},
        {"y: z goes to x", {{0, 90, 0}, 1, {}, {}}, {1, 2, 3}, {3, 2, -1}},
        {"z: x goes to y", {{0, 0, 90}, 1, {}, {}}, {1, 2, 3}, {-2, 1, 3}},
        {"x, then z", {{90, 0, 90}, 1, {}, {}}, {1, 2, 3}, {3, 1, 2}},
        {"x, then y, then z", {{90, 90, 90}, 1, {}, {}}, {1, 2, 3}, {3, 2, -1}},
        {"turn about a pivot", {{0, 0, 90}, 1, {}, {1, 1, 0}}, {2, 1, 5}, {1, 2, 5}},
        {"all", {{0, 0, -90}, 2, {100, 0, 1}, {1, 1, 0}}, {2, 3, 4}, {105, -1, 9}},
        {"the smallest scale", {{}, 1e-4, {}, {}}, {1, 2, 3}, {1e-4, 2e-4, 3e-4}},
        {"the largest scale", {{}, 1e4, {}, {1, 2, 3}}, {1, 2, 4}, {1, 2, 10003}},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.what);
        const T3dDblPoint p =
            T3dDblPoint(row.from.x, row.from.y, row.from.z) * matrixOf(row.placement);
        expectNear(row.to, {p.x, p.y, p.z}, 1e-13 * (1 + length(row.to)));
    }
}

TEST(KelvofitPlacement, TheCameraGoesAroundSmoothlyWithALevelHorizon) {
    const View kViews[] = {{{0, 0, 1}, {0, 1, 0}, 0.4},
                           {{0, 1, 0}, fit::unit({-0.45, 0, -0.89}), 0.62},
                           {fit::unit({1, 1, 1}), fit::unit({1, -1, 0}), 0.2}};
    constexpr int kCount = 90;
    for (const View& view : kViews) {
        std::vector<Vec3> eyes;
        for (const TunitQuaternion& pose : posesAround(view, kCount)) {
            const T4dDblMatrix axes = pose;
            EXPECT_NEAR(0, dot({axes[0][0], axes[0][1], axes[0][2]}, view.up), 0.02) << "tilted";
            EXPECT_GT(dot({axes[1][0], axes[1][1], axes[1][2]}, view.up), 0.5) << "upside down";
            eyes.push_back({axes[2][0], axes[2][1], axes[2][2]});
        }
        ASSERT_EQ(static_cast<std::size_t>(kCount), eyes.size());
        expectNear(std::sin(view.elevation) * view.up - std::cos(view.elevation) * view.forward,
                   eyes.front(), 1e-12);
        double turned = 0;
        for (std::size_t k = 0; k < eyes.size(); ++k) {
            const Vec3 &a = eyes[k], &b = eyes[(k + 1) % eyes.size()];
            const Vec3 p = a - dot(a, view.up) * view.up, q = b - dot(b, view.up) * view.up;
            const double step = std::atan2(dot(cross(p, q), view.up), dot(p, q));
            EXPECT_NEAR(2 * std::numbers::pi / kCount, step, 0.012) << "step " << k;
            turned += step;
        }
        EXPECT_NEAR(2 * std::numbers::pi, turned, 1e-9);
    }
}

std::vector<Vec3> vertices(const std::string& obj) {
    std::vector<Vec3> points;
    std::istringstream in(obj);
    for (std::string line; std::getline(in, line);) {
        Vec3 p;
        if (std::sscanf(line.c_str(), "v %lf %lf %lf", &p.x, &p.y, &p.z) == 3) points.push_back(p);
    }
    return points;
}

TEST(KelvofitPlacement, GeometryIsPlacedAndFiguresStayInUnitsOfTheInput) {
    const Bench bench;
    for (const std::string& input : {kHills, kTeapot}) {
        SCOPED_TRACE(input);
        const Json before = bench.fit("plain", {input});
        // The values of an option may be negative, and options may follow the input.
        const Json after =
            bench.fit("placed", {input, "--rotate", "0", "0", "-90", "--scale", "2.5", "--pivot",
                                 "1", "-2", "0", "--move", "-1", "0", "7"});
        for (const char* file : {"/net.obj", "/surface.obj"}) {
            const std::vector<Vec3> plain = vertices(bench.read(std::string("plain") + file));
            const std::vector<Vec3> placed = vertices(bench.read(std::string("placed") + file));
            ASSERT_EQ(plain.size(), placed.size());
            ASSERT_FALSE(plain.empty());
            for (std::size_t k = 0; k < plain.size(); ++k) {
                const Vec3& p = plain[k];
                expectNear({2.5 * (p.y + 2), -2.5 * (p.x - 1) - 2, 2.5 * p.z + 7}, placed[k],
                           1e-11);
            }
        }
        for (const char* which : {"at_parameter", "to_surface"})
            EXPECT_TRUE(before["deviation"][which]["largest"] ==
                        after["deviation"][which]["largest"]);
        const Json& rows = after["placement"]["matrix"];
        ASSERT_EQ(4U, rows.items.size());
        EXPECT_NEAR(-2.5, rows.items[0].items[1].number, 1e-12);
        EXPECT_NEAR(4 + 1, rows.items[3].items[0].number, 1e-12);
        EXPECT_EQ(2.5, after["placement"]["scale"].number);
    }
}

TEST(KelvofitPlacement, TheUpAxisSteersThePictureAlone) {
    const Bench bench;
    for (const char* up : {"y", "z"})
        EXPECT_EQ(up, bench.fit(up, {"--up", up, kTeapot})["placement"]["up"].string);
    EXPECT_EQ(bench.read("y/surface.obj"), bench.read("z/surface.obj"));
    EXPECT_NE(bench.read("y/fit.svg"), bench.read("z/fit.svg"));
}

TEST(KelvofitTurntable, WritesANumberedSequenceAndDropsALongerOldOne) {
    const Bench bench;
    const Names results = {"fit.svg", "net.obj", "report.json", "surface.obj"};
    const auto expected = [&](int count) {
        Names names;
        for (int k = 1; k <= count; ++k) names.push_back("fit.000" + std::to_string(k) + ".svg");
        names.insert(names.end(), results.begin(), results.end());
        return names;
    };
    for (const int count : {5, 2}) {
        const Json report = bench.fit("out", {"--turntable", std::to_string(count), kHills});
        EXPECT_EQ(expected(count), bench.list("out"));
        EXPECT_EQ(count, report["placement"]["turntable"].number);
        for (int k = 1; k <= count; ++k) {
            const std::string svg = bench.read("out/fit.000" + std::to_string(k) + ".svg");
            EXPECT_LT(svg.size(), 2000000U);
            EXPECT_EQ("</svg>\n", svg.substr(svg.size() - 7));
            EXPECT_EQ(k == 1, bench.read("out/fit.0001.svg") == svg);
        }
    }
    // Without the option the sequence is not touched.
    bench.fit("out", {kHills});
    EXPECT_EQ(expected(2), bench.list("out"));
}

}  // namespace
}  // namespace kelvo::test
