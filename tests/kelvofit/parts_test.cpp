// What could break here: the banded solver against a dense one when columns depend on each other,
// the basis at its ends and joints, fits that should be exact, neighbours that are missed.
#include <KelvoBase/ma_memory_manager.h>
#include <KelvoBase/qr_svd.h>
#include <gtest/gtest.h>

#include <numeric>
#include <random>

#include "Base/zo_os_system.h"
#include "examples/kelvofit/banded_least_squares.h"
#include "examples/kelvofit/patch_fit.h"
#include "examples/kelvofit/spline_fit.h"
#include "examples/kelvofit/text_output.h"

namespace kelvo::fit {
namespace {

using Random = std::mt19937_64;

double uniform(Random& random) {
    return std::uniform_real_distribution<double>(-1, 1)(random);
}

/// The same rows for the banded solver and as one dense matrix.
struct System {
    int blocks, size;
    std::vector<std::vector<double>> rows;  // all columns, then the sides

    int columns() const { return blocks * size; }
};

/// `gap` leaves the columns of one block in three empty, `repeat` makes neighbours equal.
System randomSystem(int blocks, int size, int rowsEach, bool gap, bool repeat, Random& random,
                    BandedLeastSquares& banded) {
    System system{blocks, size, {}};
    const int width = BandedLeastSquares::kBand * size;
    for (int window = 0; window + BandedLeastSquares::kBand <= blocks; ++window)
        for (int r = 0; r < rowsEach; ++r) {
            double* row = banded.newRow(window);
            for (int c = 0; c < width; ++c) {
                const bool empty = gap && (window + c / size) % 3 == 1;
                row[c] = empty ? 0 : uniform(random);
                if (repeat && c % 2 == 1) row[c] = 2 * row[c - 1];
            }
            for (int k = 0; k < 3; ++k) row[width + k] = uniform(random);
            std::vector<double>& dense =
                system.rows.emplace_back(static_cast<std::size_t>(system.columns() + 3), 0.0);
            std::copy(row, row + width, dense.begin() + window * size);
            std::copy(row + width, row + width + 3, dense.end() - 3);
        }
    banded.finish();
    return system;
}

double residual(const System& system, const std::vector<double>& x, int side) {
    double sum = 0;
    for (const auto& row : system.rows) {
        double r = row[static_cast<std::size_t>(system.columns() + side)];
        for (int c = 0; c < system.columns(); ++c)
            r -= row[static_cast<std::size_t>(c)] * x[static_cast<std::size_t>(3 * c + side)];
        sum += r * r;
    }
    return std::sqrt(sum);
}

TEST(BandedLeastSquares, HasRankAndResidualOfTheDenseSolution) {
    const struct {
        int blocks, size, rowsEach;
        bool gap, repeat;
    } kRows[] = {{4, 4, 40, false, false},  {4, 4, 5, false, false}, {9, 4, 12, false, false},
                 {7, 6, 300, false, false}, {8, 4, 3, false, false}, {9, 4, 20, true, false},
                 {9, 4, 20, false, true},   {12, 6, 9, true, true},  {5, 4, 1, false, false}};
    Random random(3);
    for (const auto& row : kRows) {
        SCOPED_TRACE(testing::Message() << row.blocks << " blocks of " << row.size << ", rows "
                                        << row.rowsEach << row.gap << row.repeat);
        BandedLeastSquares banded(row.blocks, row.size, 1e-9);
        const System system =
            randomSystem(row.blocks, row.size, row.rowsEach, row.gap, row.repeat, random, banded);
        const auto rows = static_cast<unsigned>(system.rows.size());
        const auto columns = static_cast<unsigned>(system.columns());
        DoubleGenMat dense(rows, columns);
        for (unsigned i = 0; i < rows; ++i)
            for (unsigned j = 0; j < columns; ++j)
                dense(static_cast<int>(i), static_cast<int>(j)) = system.rows[i][j];
        DoubleLeastSqQR reference;
        reference.doPivoting(1);
        reference.setTolerance(1e-9);
        reference.factor(dense);
        EXPECT_EQ(static_cast<int>(columns) - reference.numFreeCols(), banded.rank());
        const std::vector<double> x = banded.solve();
        for (int c : banded.freeColumns())
            EXPECT_EQ(0, x[static_cast<std::size_t>(3 * c)]) << "free column " << c;
        for (int side = 0; side < 3; ++side) {
            DoubleVec b(rows);
            for (unsigned i = 0; i < rows; ++i)
                b(static_cast<int>(i)) = system.rows[i][columns + static_cast<unsigned>(side)];
            const double best = reference.residual(b).vecLen();
            EXPECT_NEAR(best, residual(system, x, side), 1e-9 * (1 + best)) << "side " << side;
        }
    }
}

TEST(CubicAxis, BasisSumsToOneAndReproducesStraightLines) {
    for (int spans : {1, 2, 3, 7, 30, 100}) {
        const CubicAxis axis(spans);
        for (double t : {0.0, 1e-9, 0.1, 1.0 / 3, 0.5, 0.75, 1 - 1e-9, 1.0}) {
            SCOPED_TRACE(testing::Message() << spans << " spans at " << t);
            const Basis b = axis.basis(t);
            double sum = 0, line = 0, slopes = 0, slope = 0;
            for (int k = 0; k < 4; ++k) {
                const auto at = static_cast<std::size_t>(k);
                EXPECT_GE(b.value[at], 0);
                sum += b.value[at], slopes += b.slope[at];
                line += b.value[at] * axis.greville(b.span + k);
                slope += b.slope[at] * axis.greville(b.span + k);
            }
            EXPECT_NEAR(1, sum, 1e-14);
            EXPECT_NEAR(t, line, 1e-14);
            EXPECT_NEAR(0, slopes, 1e-11);
            EXPECT_NEAR(1, slope, 1e-11);
        }
    }
    // Bernstein polynomials at 1/4: 27, 27, 9, 1 of 64.
    const Basis b = CubicAxis(1).basis(0.25);
    EXPECT_DOUBLE_EQ(27.0 / 64, b.value[0]);
    EXPECT_DOUBLE_EQ(1.0 / 64, b.value[3]);
}

SplineSurface wavy(int uSpans, int vSpans, Random& random) {
    SplineSurface surface(uSpans, vSpans);
    for (int i = 0; i < surface.u().size(); ++i)
        for (int j = 0; j < surface.v().size(); ++j)
            surface.setControl(
                i, j,
                {3 * surface.u().greville(i), 2 * surface.v().greville(j), 0.2 * uniform(random)});
    return surface;
}

TEST(SplineFit, FindsTheSurfaceThatThePointsComeFrom) {
    Random random(5);
    for (const auto& [uSpans, vSpans] : {std::pair{1, 1}, {5, 3}, {3, 9}, {12, 12}}) {
        SCOPED_TRACE(testing::Message() << uSpans << " x " << vSpans);
        const SplineSurface known = wavy(uSpans, vSpans, random);
        std::vector<Vec3> points;
        for (int i = 0; i <= 60; ++i)
            for (int j = 0; j <= 60; ++j) points.push_back(known.evaluate(i / 60.0, j / 60.0).at);
        const Cloud cloud = cloudOf(points, 'z', "test");
        const SplineFit fit = fitSpline(cloud, uSpans, vSpans);
        EXPECT_EQ((uSpans + 3) * (vSpans + 3), fit.rank);
        EXPECT_EQ(0, fit.weakColumns);
        EXPECT_LT(fit.deviation.largest, 1e-13);
        for (int i = 0; i < known.u().size(); ++i)
            for (int j = 0; j < known.v().size(); ++j)
                EXPECT_LT(length(known.control(i, j) - fit.surface.control(i, j)), 1e-12);
    }
}

bool isScratch(Workspace& array) {
    return Ma_shrinkMmapMemory(array.data(), 0xFFFF0000) != 0;
}

// The block ends with its array; one that is too large for a block, or refused, is on the heap.
TEST(Workspace, IsZeroAndWhereItWasWanted) {
    Workspace heap(1000, Memory::kHeap), scratch(1000, Memory::kScratch);
    EXPECT_FALSE(isScratch(heap));
    EXPECT_TRUE(isScratch(scratch));
    for (std::size_t i = 0; i < 1000; ++i) EXPECT_EQ(0, heap[i] + scratch[i]);
    scratch[999] = 7;
    double* const block = scratch.data();
    heap = std::move(scratch);
    EXPECT_EQ(7, heap[999]);
    heap = Workspace();
    EXPECT_EQ(0u, Ma_shrinkMmapMemory(block, 0xFFFF0000));
    zoOS::Probes probes;
    probes.sysInfo = [] { return zoOS::SysInfo(); };
    zoOS::setProbes(&probes);
    Workspace refused(1000, Memory::kScratch);
    zoOS::setProbes(nullptr);
    EXPECT_FALSE(isScratch(refused));
    EXPECT_EQ(0, refused[999]);
}

TEST(SplineFit, CoefficientsWithHardlyAnyPointsDoNotBlowUp) {
    constexpr double kSigma = 0.01;
    Random random(8);
    std::normal_distribution<double> blur(0, kSigma);
    const auto height = [](double x, double y) { return 0.2 * std::sin(3 * x) + 0.1 * x * y; };
    std::vector<Vec3> points;
    while (points.size() < 4000) {
        const double x = uniform(random), y = uniform(random);
        if (std::hypot(x - 0.2, y) > 0.3) points.push_back({x, y, height(x, y) + blur(random)});
    }
    const Cloud cloud = cloudOf(points, 'z', "test");
    const SplineFit fit = fitSpline(cloud, 24, 24);
    EXPECT_GT(fit.freeColumns, 3);
    EXPECT_GT(fit.weakColumns, fit.freeColumns);
    EXPECT_NEAR(std::sqrt(4000.0 - fit.rank) * kSigma / std::sqrt(4000.0), fit.deviation.rms,
                0.05 * kSigma);
    // Noise grows in holes and corners, but not by the hundreds that least squares alone gives.
    for (double u = 0; u <= 1; u += 0.01)
        for (double v = 0; v <= 1; v += 0.01) {
            const Vec3 p = fit.surface.evaluate(u, v).at;
            ASSERT_NEAR(height(p.x, p.y), p.z, 30 * kSigma) << p.x << ", " << p.y;
        }
}

TEST(SplineSurface, AssignmentTakesOverAnySize) {
    Random random(1);
    SplineSurface small, large = wavy(4, 6, random);
    small = large;
    EXPECT_EQ(7, small.u().size());
    EXPECT_EQ(0, length(small.control(6, 8) - large.control(6, 8)));
}

TEST(SplineSurface, NormalsExistWhereAnEdgeHasCollapsed) {
    // A cone-like patch: the edge u = 0 is one point, its normal is that of the axis direction
    // next to it.
    SplineSurface patch;
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j) patch.setControl(i, j, {i / 3.0, i * (j / 3.0) / 3, 0});
    for (double v : {0.0, 0.5, 1.0}) EXPECT_NEAR(1, patch.normal(0, v, {1, 0, 0}).z, 1e-9) << v;
    const SplineSurface point;  // all control points in one place
    EXPECT_EQ(1, point.normal(0.5, 0.5, {1, 0, 0}).x);
}

TEST(FootPoint, ReachesTheNearestPlaceAndNeverMovesAway) {
    Random random(9);
    const SplineSurface surface = wavy(4, 3, random);
    for (int k = 0; k < 200; ++k) {
        double u = 0.5 + 0.5 * uniform(random), v = 0.5 + 0.5 * uniform(random);
        const SurfacePoint s = surface.evaluate(u, v);
        const double height = 0.01 * uniform(random);
        const Vec3 p = s.at + height * unit(cross(s.du, s.dv));
        double startU = std::clamp(u + 0.005, 0.0, 1.0), startV = std::clamp(v - 0.005, 0.0, 1.0);
        const double before = length(surface.evaluate(startU, startV).at - p);
        const double after = footPoint(surface, p, startU, startV);
        EXPECT_LE(after, before);
        EXPECT_LE(after, std::abs(height) + 1e-6);
        EXPECT_EQ(after, length(surface.evaluate(startU, startV).at - p));
    }
}

TEST(Neighbours, AreTheNearestAsASearchOfAllFindsThem) {
    Random random(2);
    for (double height : {2.0, 1e-4}) {  // a thin strip has cells along it only
        std::vector<Vec3> points;
        for (int k = 0; k < 500; ++k)
            points.push_back({uniform(random), height * uniform(random), uniform(random) * 0.01});
        const Cloud cloud = cloudOf(points, 'z', "test");
        const Neighbours neighbours(cloud);
        for (int k = 0; k < 50; ++k) {
            const double u = 0.5 + 0.5 * uniform(random), v = 0.5 + 0.5 * uniform(random);
            std::vector<double> all;
            const auto distance = [&](const CloudPoint& p) {
                return std::hypot((p.u - u) * cloud.frame.uLength, (p.v - v) * cloud.frame.vLength);
            };
            for (const CloudPoint& p : cloud.points) all.push_back(distance(p));
            std::sort(all.begin(), all.end());
            const std::vector<int> found = neighbours.nearest(u, v, 20);
            ASSERT_EQ(20U, found.size());
            for (std::size_t n = 0; n < 20; ++n)
                EXPECT_EQ(all[n], distance(cloud.points[static_cast<std::size_t>(found[n])]));
        }
    }
}

TEST(Frame, HasTheSmallestRectangleAndARightHandedUpwardAxis) {
    // A 4 x 1 rectangle of points turned by 30 degrees, in a plane that leans.
    std::vector<Vec3> points;
    const double c = std::cos(0.5236), s = std::sin(0.5236);
    for (int i = 0; i <= 20; ++i)
        for (int j = 0; j <= 5; ++j) {
            const double a = 0.2 * i, b = 0.2 * j;
            const double x = c * a - s * b, y = s * a + c * b;
            points.push_back({x, y * 0.8, y * 0.6 + 7});
        }
    const Frame frame = frameOf(points, '\0', "test");
    EXPECT_NEAR(4, std::max(frame.uLength, frame.vLength), 1e-9);
    EXPECT_NEAR(1, std::min(frame.uLength, frame.vLength), 1e-9);
    EXPECT_NEAR(1, dot(cross(frame.uAxis, frame.vAxis), frame.normal), 1e-12);
    EXPECT_NEAR(0.8, frame.normal.z, 1e-9);
    for (const Vec3& p : points) EXPECT_LT(length(frame.at(frame.u(p), frame.v(p)) - p), 1e-12);
}

TEST(Noise, HasItsMomentsAndKeepsPointsWithoutIt) {
    Noise none(0, 1), noise(2, 42);
    EXPECT_EQ(0, length(none.blur({1, 2, 3}) - Vec3{1, 2, 3}));
    constexpr int kCount = 20000;
    double sum = 0, squares = 0, outside = 0;
    for (int k = 0; k < kCount; ++k) {
        const Vec3 d = noise.blur({0, 0, 0});
        for (int axis = 0; axis < 3; ++axis) {
            sum += d[axis], squares += d[axis] * d[axis];
            if (std::abs(d[axis]) > 2) ++outside;
        }
    }
    EXPECT_NEAR(0, sum / (3 * kCount), 0.03);
    EXPECT_NEAR(4, squares / (3 * kCount), 0.1);
    EXPECT_NEAR(0.3173, outside / (3 * kCount), 0.01);
}

TEST(TextOutput, MakesAnyBytesSafe) {
    EXPECT_EQ("\"a\\\"\\\\\\u000a\"", jsonString("a\"\\\n"));
    EXPECT_EQ("&lt;&amp;&gt;&quot;\xEF\xBF\xBD", xmlText("<&>\"\x02"));
    const struct {
        std::string bytes, valid;
    } kRows[] = {{"\xE2\x82\xAC", "\xE2\x82\xAC"},
                 {"\xC0\xAF", "\xEF\xBF\xBD\xEF\xBF\xBD"},                  // too long a form
                 {"\xED\xA0\x80", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},  // half a pair
                 {"\xE2\x82", "\xEF\xBF\xBD\xEF\xBF\xBD"},
                 {"\xF4\x8F\xBF\xBF", "\xF4\x8F\xBF\xBF"}};
    for (const auto& row : kRows) EXPECT_EQ(row.valid, validUtf8(row.bytes));
    EXPECT_EQ(
        "12\xE2\x80\x89"
        "345\xE2\x80\x89"
        "678",
        grouped(12345678));
    EXPECT_EQ("999", grouped(999));
}

}  // namespace
}  // namespace kelvo::fit
