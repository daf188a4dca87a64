// What could break: weights (who divides, who ignores, who keeps), row and column form mixed up,
// products into an operand, exact against tolerant and strict against inclusive comparison, ties of
// the dominant axis, half turns.
#include <cstring>
#include <limits>

#include "KelvoBase/angles.h"
#include "KelvoBase/points.h"
#include "tests/geometry/geometry_testing.h"

using namespace geometry_testing;

namespace {

const double kInf = std::numeric_limits<double>::infinity();
const T4dDblMatrix kCounting =
    matrixOf({{1, 2, 3, 4}, {5, 6, 7, 8}, {9, 10, 11, 12}, {13, 14, 15, 16}});

TEST(Points, AreArraysOfDoubles) {
    T4dDblPoint p(1, 2, 3, 4);
    T4dDblVector v(5, 6, 7);
    for (short i = 0; i < 4; ++i) EXPECT_TRUE(p.array()[i] == i + 1 && p(i) == i + 1);
    p.array()[3] = 9;
    EXPECT_EQ(9, p.w);
    EXPECT_EQ(9, p(-1));
    EXPECT_EQ(9, p(7));
    for (unsigned i = 0; i < 3; ++i) EXPECT_EQ(v.array()[i], v[i]);
    EXPECT_EQ(7, v[7]);
    EXPECT_EQ(7, v(-1));
    v[1] = 0;
    v(2) = 1;
    EXPECT_TRUE(v == T4dDblVector(5, 0, 1));
}

TEST(Points, DefaultsAndConversions) {
    EXPECT_TRUE(T4dDblPoint() == T4dDblPoint(0, 0, 0, 1));
    EXPECT_TRUE(T3dDblPoint() == T3dDblPoint(0, 0, 0));
    EXPECT_TRUE(T4dDblVector() == T4dDblVector(0, 0, 0));
    const T4dDblVector weightIgnored = T4dDblPoint(2, 4, 6, 2);
    EXPECT_TRUE(weightIgnored == T4dDblVector(2, 4, 6));
    T3dDblPoint p = weightIgnored;
    p = T4dDblVector(1, 2, 3);
    EXPECT_TRUE(p == T3dDblPoint(1, 2, 3));
    const T4dDblMatrix m = T4dDblVector(1, 2, 3);
    EXPECT_TRUE(m == matrixOf({{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {1, 2, 3, 1}}));
    T4dDblVector v;
    v = m;
    EXPECT_TRUE(v == T4dDblVector(1, 2, 3));
    EXPECT_TRUE(v == p && p == v && !(v != p) && !(p != v));
    v.z = 4;
    EXPECT_TRUE(v != p && p != v && !(v == p) && !(p == v));
}

TEST(Points, WeightsAreDividedMultipliedOrKept) {
    const struct {
        T4dDblPoint given, cartesian, rational, homogenous;
    } kRows[] = {{{2, 4, 6, 2}, {1, 2, 3, 1}, {1, 2, 3, 2}, {4, 8, 12, 2}},
                 {{5, 6, 7, 1}, {5, 6, 7, 1}, {5, 6, 7, 1}, {5, 6, 7, 1}},
                 {{1, -2, 4, -0.5}, {-2, 4, -8, 1}, {-2, 4, -8, -0.5}, {-0.5, 1, -2, -0.5}},
                 {{1, -2, 3, 0}, {kInf, -kInf, kInf, 1}, {kInf, -kInf, kInf, 0}, {0, 0, 0, 0}}};
    for (const auto& row : kRows) {
        T4dDblPoint c(row.given), r(row.given), h(row.given);
        EXPECT_TRUE(c.cartesianizeIt() == row.cartesian && &c.cartesianizeIt() == &c);
        EXPECT_TRUE(r.rationalizeIt() == row.rational);
        EXPECT_TRUE(h.homogenizeIt() == row.homogenous);
        EXPECT_TRUE(row.given.cartesian() == row.cartesian && row.given.rational() == row.rational);
        EXPECT_TRUE(row.given.homogenous() == row.homogenous);
    }
}

TEST(Points, DifferencesAreCartesian) {
    const T4dDblPoint a(2, 4, 6, 2), b(0, 0, 8, 4);
    EXPECT_TRUE(a - b == T4dDblVector(1, 2, 1));
    EXPECT_EQ(std::sqrt(6.0), a.distanceTo(b));
    EXPECT_TRUE(a + T4dDblVector(1, 1, 1) == T4dDblPoint(2, 3, 4, 1));
    EXPECT_TRUE(a - T4dDblVector(1, 1, 1) == T4dDblPoint(0, 1, 2, 1));
    EXPECT_TRUE(T3dDblPoint(1, 2, 3) - T3dDblPoint(3, 2, 1) == T4dDblVector(-2, 0, 2));
    EXPECT_TRUE(T3dDblPoint(1, 2, 3) - T4dDblVector(3, 2, 1) == T3dDblPoint(-2, 0, 2));
    EXPECT_TRUE(T3dDblPoint(1, 2, 3) + T4dDblVector(3, 2, 1) == T3dDblPoint(4, 4, 4));
}

TEST(Points, ComparisonsUseStoredComponents) {
    const T4dDblPoint a(2, 0, 0, 2), b(1, 0, 0, 1);
    EXPECT_EQ(0, a.distanceTo(b));
    EXPECT_EQ(0, a == b);
    EXPECT_EQ(1, a != b);
    EXPECT_EQ(0, a.equivalent(b, 0.5));
    EXPECT_EQ(1, a.equivalent(b, std::sqrt(2.0)));
    // A distance of exactly the tolerance: the points accept it, the vector does not.
    EXPECT_EQ(25, T3dDblPoint(3, 4, 0).distance2To(T3dDblPoint()));
    EXPECT_EQ(1, T3dDblPoint(3, 4, 0).equivalent(T3dDblPoint(), 5));
    EXPECT_EQ(1, T3dDblPoint(3, 4, 0).equivalent(T3dDblPoint(), -5));
    EXPECT_EQ(1, T4dDblPoint(3, 4, 0, 1).equivalent(T4dDblPoint(), 5));
    EXPECT_EQ(0, T4dDblVector(3, 4, 0).equivalent(T4dDblVector(), 5));
    EXPECT_EQ(1, T4dDblVector(3, 4, 0).equivalent(T4dDblVector(), 5.0000001));
    const T3dDblPoint nan(std::nan(""), 0, 0);
    EXPECT_EQ(0, nan == nan);
    EXPECT_EQ(1, nan != nan);
    EXPECT_EQ(0, nan.equivalent(nan, 1));
}

TEST(Points, RowAndColumnProductsMayNameThemselves) {
    T3dDblPoint p3(1, 2, 3);
    T4dDblPoint p4(1, 2, 3, 2), row(p4), column(p4), pre(p4), post(p4);
    T4dDblVector v(1, 2, 3), w(v), x(v);
    T4dDblMatrix poisoned(kCounting);
    for (unsigned i = 0; i < 4; ++i) poisoned[i][3] = std::nan("");
    EXPECT_TRUE(p3 * poisoned == T3dDblPoint(51, 58, 65) && p3 * kCounting == p3 * poisoned);
    EXPECT_TRUE(v * poisoned == T4dDblVector(38, 44, 50) && v * kCounting == v * poisoned);
    EXPECT_TRUE(p4 * kCounting == T4dDblPoint(64, 72, 80, 88));
    EXPECT_TRUE(row.setToProduct(row, kCounting) == p4 * kCounting);
    EXPECT_TRUE(post.postmultBy(kCounting) == p4 * kCounting);
    EXPECT_TRUE(kCounting * p4 == T4dDblPoint(22, 54, 86, 118));
    EXPECT_TRUE(column.setToProduct(kCounting, column) == kCounting * p4);
    EXPECT_TRUE(pre.premultBy(kCounting) == kCounting * p4);
    EXPECT_TRUE(kCounting * v == T4dDblVector(14, 38, 62));
    EXPECT_TRUE(w.premultBy(kCounting) == kCounting * v);
    EXPECT_TRUE(v.postmultBy(kCounting) == T4dDblVector(38, 44, 50));
    EXPECT_TRUE(p3.setToProduct(p3, kCounting) == T3dDblPoint(51, 58, 65));
    EXPECT_TRUE(x.setToCrossProduct(x, T4dDblVector(4, 5, 6)) == T4dDblVector(-3, 6, -3));
}

TEST(Vectors, Arithmetic) {
    const T4dDblVector a(3, 4, 0), b(1, 2, 3);
    EXPECT_EQ(25, a.norm());
    EXPECT_EQ(5, a.length());
    EXPECT_EQ(11, a.dotProduct(b));
    EXPECT_TRUE((a ^ b) == T4dDblVector(12, -9, 2) && a.crossProduct(b) == (a ^ b));
    EXPECT_TRUE(a + b == T4dDblVector(4, 6, 3) && a - b == T4dDblVector(2, 2, -3));
    EXPECT_TRUE(2.0 * b == T4dDblVector(2, 4, 6) && b * 2 == 2.0 * b);
    EXPECT_TRUE(-b == T4dDblVector(-1, -2, -3) && b.inverse() == -b);
    T4dDblVector c(b);
    EXPECT_TRUE(((c += a) *= 2).invertIt() == T4dDblVector(-8, -12, -6));
}

TEST(Vectors, OnlyVectorsWithADirectionAreNormalised) {
    const double limit = 1e-9;
    const T4dDblVector kKept[] = {{0, 0, 0}, {1e-10, 0, 0}, {0, limit, 0}, {std::nan(""), 1, 2}};
    for (const T4dDblVector& v : kKept) {
        T4dDblVector n(v);
        n.normalizeIt();
        EXPECT_EQ(0, std::memcmp(n.array(), v.array(), 3 * sizeof(double)));
    }
    EXPECT_TRUE(T4dDblVector(0, 0, 2).getNormal() == T4dDblVector(0, 0, 1));
    EXPECT_NEAR(1, T4dDblVector(0, std::nextafter(limit, 1), 0).getNormal().length(), 1e-15);
    EXPECT_TRUE(T4dDblVector(4, 8, 0).normalizeIt(4) == T4dDblVector(1, 2, 0));
    EXPECT_TRUE(T4dDblVector(4, 8, 0).normalizeIt(limit) == T4dDblVector(4, 8, 0));
    EXPECT_EQ(0, T4dDblVector(1.5, 0, 0).unitLength(0.5));  // strict
    EXPECT_EQ(1, T4dDblVector(1.5, 0, 0).unitLength(0.500001));
}

TEST(Vectors, OppositeDirectionsAreParallel) {
    const T4dDblVector x(1, 0, 0);
    EXPECT_EQ(1, x.parallel(T4dDblVector(-3, 0, 0), 1e-6));
    EXPECT_EQ(1, x.parallel(T4dDblVector(7, 0, 0), 1e-6));
    EXPECT_EQ(0, x.parallel(T4dDblVector(7, 1, 0), 1e-6));
    EXPECT_EQ(0, x.parallel(T4dDblVector(7, 0, 0), 0));
    EXPECT_EQ(0, x.parallel(T4dDblVector(1e-10, 0, 0), 1e-6));  // no direction: compared as it is
}

TEST(Vectors, DominantAxisTiesGoToTheLaterOne) {
    const struct {
        T4dDblVector v;
        Taxis axis;
    } kRows[] = {{{-5, 2, 3}, TAXIS_X}, {{1, 1, 0}, TAXIS_Y},  {{2, 2, 2}, TAXIS_Z},
                 {{3, 1, -3}, TAXIS_Z}, {{0, -2, 2}, TAXIS_Z}, {{1, -4, 2}, TAXIS_Y},
                 {{0, 0, 0}, TAXIS_Z},  {{2, 1, 3}, TAXIS_Z}};
    for (const auto& row : kRows) EXPECT_EQ(row.axis, row.v.dominantAxis()) << row.v.x;
    EXPECT_TRUE(TAXIS_X == 0 && TAXIS_Y == 1 && TAXIS_Z == 2);
}

TEST(Vectors, TurnsAboutTheAxesEqualTheMatrices) {
    Tangle a(40.0);
    const T4dDblVector axes[3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    for (unsigned i = 0; i < 3; ++i) {
        T4dDblVector v(1, 2, 3);
        i == 0 ? v.rotateItX(a) : i == 1 ? v.rotateItY(a) : v.rotateItZ(a);
        expectNear(T4dDblVector(1, 2, 3) * T4dDblMatrix().setToAxisRotate(axes[i], a.radians()), v);
    }
}

TEST(Vectors, RotateToTurnsOneDirectionIntoTheOther) {
    Random random;
    for (int i = 0; i < 200; ++i) {
        const T4dDblVector a = random.vector(3), b = random.vector(5);
        const T4dDblMatrix m = a.rotateTo(b);
        expectNear(b.getNormal(), (a * m).getNormal(), 1e-13);
        const T4dDblVector axis = a ^ b;  // the shortest turn leaves the common normal alone
        expectNear(axis, axis * m, 1e-13);
    }
    const T4dDblVector kHalfTurned[] = {{1, 0, 0}, {0, 2, 0}, {0, 0, -3}, {1, 2, 3}, {-3, 2, 1}};
    for (const T4dDblVector& v : kHalfTurned) {
        expectNear(-v, v * T4dDblMatrix(v.rotateTo(v * -2)), 1e-13);
    }
    const TunitQuaternion half = T4dDblVector(1, 0, 0).rotateTo(T4dDblVector(-1, 0, 0));
    expectNear(Tquaternion(0, 0, 1, 0), half);
    EXPECT_TRUE(T4dDblVector().rotateTo(T4dDblVector(1, 0, 0)) == TunitQuaternion());
    EXPECT_TRUE(T4dDblVector(1e-5, 0, 0).rotateTo(T4dDblVector(0, 9e-5, 0)) == TunitQuaternion());
    EXPECT_TRUE(T4dDblVector(1, 0, 0).rotateTo(T4dDblVector(1, 3e-5, 0)) == TunitQuaternion());
}

}  // namespace
