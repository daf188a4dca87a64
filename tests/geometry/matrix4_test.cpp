// What could break: side and order of products, products into an operand, the direction of
// rotations, exact zero angles, inclusive tolerance, transposition and conversion of layouts.
#include <cstdio>
#include <cstring>
#include <limits>

#include "KelvoBase/points.h"
#include "tests/geometry/geometry_testing.h"

using namespace geometry_testing;

namespace {

// Translation, then a quarter turn about z, written out by hand.
const T4dDblMatrix kMove = T4dDblVector(1, 2, 3);
const T4dDblMatrix kTurn = matrixOf({{0, 1, 0, 0}, {-1, 0, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}});
const T4dDblMatrix kMoveThenTurn =
    matrixOf({{0, 1, 0, 0}, {-1, 0, 0, 0}, {0, 0, 1, 0}, {-2, 1, 3, 1}});

TEST(Matrix4, PrintsRows) {
    char* text = nullptr;
    std::size_t size = 0;
    FILE* out = open_memstream(&text, &size);
    T4dDblMatrix().print(out);
    matrixOf({{1.5, -2e10, 0, 1e-7}, {0, 0, 0, 0}, {0, 0, 0, 0}, {1, 2, 3, 4}}).print(out);
    std::fclose(out);
    EXPECT_STREQ(
        "1 0 0 0\n0 1 0 0\n0 0 1 0\n0 0 0 1\n"
        "1.5 -2e+10 0 1e-07\n0 0 0 0\n0 0 0 0\n1 2 3 4\n",
        text);
    std::free(text);
    T4dDblMatrix().print(nullptr);
}

TEST(Matrix4, TheLeftFactorActsFirst) {
    EXPECT_TRUE(kMove * kTurn == kMoveThenTurn);
    EXPECT_TRUE(T3dDblPoint(1, 0, 0) * (kMove * kTurn) == T3dDblPoint(-2, 2, 3));
    T4dDblMatrix a(kMove), b(kTurn), c(kMove), d(kMove), e(kTurn);
    EXPECT_TRUE(a.postmultBy(kTurn) == kMoveThenTurn);
    EXPECT_TRUE(b.premultBy(kMove) == kMoveThenTurn);
    EXPECT_TRUE((c *= kTurn) == kMoveThenTurn);
    EXPECT_TRUE(d.setToProduct(d, kTurn) == kMoveThenTurn);
    EXPECT_TRUE(e.setToProduct(kMove, e) == kMoveThenTurn);
    T4dDblMatrix squared(kMoveThenTurn);
    squared.setToProduct(squared, squared);
    EXPECT_TRUE(squared == matrixOf({{-1, 0, 0, 0}, {0, -1, 0, 0}, {0, 0, 1, 0}, {-3, -1, 6, 1}}));
}

TEST(Matrix4, ProductOfFullMatrices) {
    const T4dDblMatrix m =
        matrixOf({{1, 2, 3, 4}, {5, 6, 7, 8}, {9, 10, 11, 12}, {13, 14, 15, 16}});
    EXPECT_TRUE(
        m * m.transpose() ==
        matrixOf(
            {{30, 70, 110, 150}, {70, 174, 278, 382}, {110, 278, 446, 614}, {150, 382, 614, 846}}));
    T4dDblMatrix t(m);
    EXPECT_TRUE(t.transposeIt().transposeIt() == m);
    EXPECT_EQ(5, m.transpose()(0, 1));
    EXPECT_EQ(-17, matrixOf({{2, 3, 1, 9}, {1, 2, -1, 9}, {4, 1, 0, 9}, {9, 9, 9, 9}}).det3x3());
}

TEST(Matrix4, InverseOfAnIntegerMatrix) {
    const T4dDblMatrix m = matrixOf({{0, 2, 1, 3}, {4, -1, 0, 2}, {1, 5, -2, 0}, {2, 0, 3, 1}});
    // Worked out in fractions; the first pivot is 0, so rows must be exchanged.
    const T4dDblMatrix want = matrixOf({{-8 / 53., 9 / 53., 5 / 53., 6 / 53.},
                                        {3 / 106., -5 / 53., 9 / 53., 11 / 106.},
                                        {-1 / 212., -8 / 53., -3 / 106., 67 / 212.},
                                        {67 / 212., 6 / 53., -11 / 106., -37 / 212.}});
    expectNear(want, m.inverse(), 1e-15);
    T4dDblMatrix inPlace(m);
    EXPECT_TRUE(inPlace.invertIt() == m.inverse());
}

TEST(Matrix4, AxisRotationIsCounterClockwise) {
    T4dDblMatrix m;
    m.setToAxisRotate(T4dDblVector(0, 0, 1), kPi / 2);
    expectNear(T4dDblVector(0, 1, 0), T4dDblVector(1, 0, 0) * m);
    m.setToAxisRotate(kAxis, 0.7);
    // Images of the axes and of (1, 2, 3), from Rodrigues' formula in 40 digits.
    expectNear({0.78403874342453018738, 0.52339175485081540432, 0.33368296295056430637},
               T4dDblVector(1, 0, 0) * m);
    expectNear({-0.58098142327094068769, 0.80803443859958238878, 0.097677693723438090286},
               T4dDblVector(0, 1, 0) * m);
    expectNear({-0.21850362611031373964, -0.27044669898381394038, 0.93761119254486427635},
               T4dDblVector(0, 0, 1) * m);
    expectNear({-1.0334349814482924069, 1.3281205350985383607, 3.341871928032033316},
               T3dDblPoint(1, 2, 3) * m);
    EXPECT_NEAR(1, m.det3x3(), 1e-14);
    EXPECT_TRUE(T4dDblVector(m[0][3], m[1][3], m[2][3]) == T4dDblVector() && m[3][3] == 1);
    // The axis is used as given, not normalised: with c = -1 its square stands in the diagonal.
    m.setToAxisRotate(T4dDblVector(0, 0, 2), kPi);
    EXPECT_NEAR(2 * 4 - 1, m[2][2], 1e-14);
}

TEST(Matrix4, ZeroAnglesAreExact) {
    const T4dDblVector nan(std::nan(""), 0, 0);
    EXPECT_TRUE(T4dDblMatrix(kMove).setToAxisRotate(nan, 0) == T4dDblMatrix());
    const T4dDblMatrix odd = matrixOf({{-0.0, 1, 0, 0}, {0, -0.0, 1e-320, 0}, {5, 5, 5, 5}, {}});
    T4dDblMatrix m(odd);
    m.axisRotateIt(nan, -0.0);
    EXPECT_EQ(0, std::memcmp(static_cast<void*>(&m), static_cast<const void*>(&odd), sizeof m));
    m = kMove;
    expectNear(T4dDblMatrix().setToAxisRotate(kAxis, 0.7) * kMove, m.axisRotateIt(kAxis, 0.7));
}

TEST(Matrix4, Comparisons) {
    for (short i = 0; i < 16; ++i) {
        T4dDblMatrix m(kMoveThenTurn);
        m(static_cast<short>(i / 4), static_cast<short>(i % 4)) += 0.25;
        EXPECT_EQ(1, kMoveThenTurn.equivalent(m, 0.25));  // inclusive
        EXPECT_EQ(0, kMoveThenTurn.equivalent(m, 0.2499));
        EXPECT_EQ(0, kMoveThenTurn == m);
        EXPECT_EQ(1, kMoveThenTurn != m);
        m[static_cast<unsigned>(i / 4)][i % 4] = std::nan("");
        EXPECT_EQ(0, m.equivalent(m, 1));
        EXPECT_EQ(0, m == m);
    }
    EXPECT_EQ(1, kMoveThenTurn == T4dDblMatrix(kMoveThenTurn));
}

TEST(Matrix4, FloatAndDoubleArrays) {
    const float in[4][4] = {{1, 2, 3, 4}, {5, 6, 7, 8}, {9, 10, 11, 12}, {13, 14, 15, 16}};
    float out[4][4];
    T4dDblMatrix m;
    m.setFromFloat(in);
    EXPECT_EQ(7, m[1][2]);
    m.copyToFloat(out);
    EXPECT_EQ(0, std::memcmp(in, out, sizeof in));
    m[0][1] = 1e300;
    m[3][0] = 0.1;
    m.copyToFloat(out);
    EXPECT_EQ(std::numeric_limits<float>::infinity(), out[0][1]);
    EXPECT_EQ(0.1f, out[3][0]);
    EXPECT_TRUE(m.setToIdentity() == T4dDblMatrix());
}

}  // namespace
