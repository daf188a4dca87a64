// What could break: units, the table's odd sines, the cache of an angle, the sense of rotations
// against the matrices, half turns in every branch, the fixed oddities of slerp.
#include <cstring>
#include <limits>

#include "KelvoBase/angles.h"
#include "KelvoBase/points.h"
#include "tests/geometry/geometry_testing.h"

using namespace geometry_testing;

namespace {

int validForms(const Tangle& a) {
    int flags;
    std::memcpy(&flags, static_cast<const void*>(&a), sizeof flags);
    return flags;
}

TEST(Angles, UnitsAndCache) {
    EXPECT_DOUBLE_EQ(kPi / 2, Tangle(90.0).radians());  // double means degrees
    Tangle a;
    EXPECT_EQ(7, validForms(a));
    EXPECT_TRUE(a.radians() == 0 && a.degrees() == 0 && a.cos() == 1 && a.sin() == 0);
    a.radians(kPi);
    EXPECT_EQ(2, validForms(a));
    EXPECT_EQ(180, a.degrees());
    EXPECT_EQ(3, validForms(a));
    EXPECT_EQ(-1, a.cos());
    EXPECT_EQ(7, validForms(a));
    a.degrees(720.0);
    EXPECT_EQ(1, validForms(a));
    EXPECT_DOUBLE_EQ(4 * kPi, a.radians());
    a.setCosSin(0, -2);  // not normalised
    EXPECT_EQ(4, validForms(a));
    EXPECT_TRUE(a.cos() == 0 && a.sin() == -2);
    EXPECT_DOUBLE_EQ(-90, a.degrees());
    EXPECT_EQ(7, validForms(a));
    const Tangle copy(a);
    EXPECT_EQ(-2, copy.sin());
    double c = 0, s = 0;
    Tangle(-1.0, 0.0).getCosSin(c, s);
    EXPECT_TRUE(c == -1 && s == 0);
    EXPECT_DOUBLE_EQ(kPi, Tangle(-1.0, 0.0).radians());
    EXPECT_EQ(0.8660254037844386, Tangle(60.0).sin());
}

TEST(Angles, TableOfMultiplesOf15) {
    for (long d = -720; d <= 720; ++d) {
        const Tangle a(d);
        if (d % 15 != 0) {
            EXPECT_EQ(1, validForms(a));
            EXPECT_EQ(static_cast<double>(d % 360), a.degrees());
            continue;
        }
        const long k = (d % 360 + 360) % 360;
        EXPECT_EQ(5, validForms(a));
        EXPECT_EQ(static_cast<double>(k), a.degrees());
        EXPECT_NEAR(std::cos(static_cast<double>(k) * kPi / 180), a.cos(), 6e-16) << k;
        if (k % 60 == 0 && k % 180 != 0) {
            EXPECT_EQ(k < 180 ? 0.5 : -0.5, a.sin()) << k;  // kept as stored models have it
        } else {
            EXPECT_NEAR(std::sin(static_cast<double>(k) * kPi / 180), a.sin(), 6e-16) << k;
        }
        EXPECT_DOUBLE_EQ(static_cast<double>(k) * kPi / 180, a.radians());
    }
    const struct {
        long degrees;
        double cosine, sine;
    } kExact[] = {{0, 1, 0},
                  {90, 0, 1},
                  {180, -1, 0},
                  {270, 0, -1},
                  {30, 0.8660254037844387, 0.5},
                  {405, 0.7071067811865475, 0.7071067811865475},
                  {15, 0.9659258262890683, 0.25881904510252074},
                  {285, 0.25881904510252074, -0.9659258262890683}};
    for (const auto& row : kExact) {
        EXPECT_EQ(row.cosine, Tangle(row.degrees).cos()) << row.degrees;
        EXPECT_EQ(row.sine, Tangle(row.degrees).sin()) << row.degrees;
    }
    EXPECT_EQ(330, Tangle(-30L).degrees());
    EXPECT_EQ(-31, Tangle(-31L).degrees());
    const long most = std::numeric_limits<long>::max();  // 7 modulo 360
    EXPECT_EQ(7, Tangle(most).degrees());
    EXPECT_EQ(-8, Tangle(-most - 1).degrees());
}

TEST(Angles, ClampSnapsEachValueForItself) {
    const struct {
        double given, want;
    } kRows[] = {{9.9e-6, 0},       {-9.9e-6, 0},     {1e-5, 1e-5},       {-1e-5, -1e-5},
                 {0.99999001, 1},   {1.0000099, 1},   {0.9999, 0.9999},   {1.00002, 1.00002},
                 {-0.99999001, -1}, {-1.0000099, -1}, {-0.9999, -0.9999}, {0.5, 0.5}};
    for (const auto& row : kRows) {
        Tangle c(row.given, 0.5), s(0.5, row.given);
        c.clamp();
        s.clamp();
        EXPECT_TRUE(c.cos() == row.want && c.sin() == 0.5) << row.given;
        EXPECT_TRUE(s.sin() == row.want && s.cos() == 0.5) << row.given;
    }
    Tangle quarter(90.0);
    EXPECT_NE(0, quarter.cos());
    quarter.clamp();
    EXPECT_TRUE(quarter.cos() == 0 && quarter.sin() == 1 && quarter.degrees() == 90);
}

TEST(Quaternions, HamiltonProduct) {
    const Tquaternion i(0, 1, 0, 0), j(0, 0, 1, 0), k(0, 0, 0, 1), minus(-1, 0, 0, 0);
    EXPECT_TRUE(i * j == k && j * k == i && k * i == j);
    EXPECT_TRUE(j * i == -k && k * j == -i && i * k == -j);
    EXPECT_TRUE(i * i == minus && j * j == minus && k * k == minus);
    const Tquaternion a(1, 2, 3, 4), b(5, -6, 7, 8);
    EXPECT_TRUE(a * b == Tquaternion(-36, 0, -18, 60));  // worked out by hand
    EXPECT_TRUE(a * a.conjugate() == Tquaternion(30, 0, 0, 0));
    EXPECT_TRUE(a + b == Tquaternion(6, -4, 10, 12) && a - b == Tquaternion(-4, 8, -4, -4));
    EXPECT_TRUE(2.0 * a == Tquaternion(2, 4, 6, 8) && Tquaternion(a).scaleIt(2) == 2.0 * a);
    expectNear(Tquaternion(), b * b.inverse());
    EXPECT_TRUE(Tquaternion(0, 2, 0, 0).invertIt() == Tquaternion(0, -0.5, 0, 0));
    EXPECT_TRUE(std::isnan(Tquaternion(0, 0, 0, 0).inverse().w));
}

TEST(Quaternions, NormalisationAndComparison) {
    EXPECT_TRUE(Tquaternion(0, 0, 0, 0).normalizeIt() == Tquaternion());
    EXPECT_TRUE(Tquaternion(0, 1e-9, 0, 0).normalizeIt() == Tquaternion());
    EXPECT_TRUE(Tquaternion(0, 0, -0x1p-29, 0).normalize() == Tquaternion(0, 0, -1, 0));
    EXPECT_TRUE(Tquaternion(NAN, 0, 0, 0).normalize() == Tquaternion());
    const Tquaternion a(1, 2, 3, 4);
    EXPECT_EQ(1, a.equivalent(Tquaternion(1, 5, 3, 8), 5));  // inclusive
    EXPECT_EQ(0, a.equivalent(Tquaternion(1, 5, 3, 8), 4.999));
    EXPECT_EQ(1, a.equivalent(a, -1));
    EXPECT_EQ(0, a.equivalent(-a, 1));
    EXPECT_EQ(1, a != -a);
}

TEST(Quaternions, UnitInverseIsTheConjugate) {
    TunitQuaternion u;
    u.w = 2;  // beyond the convention: shows that nothing is divided
    u.x = 3;
    EXPECT_TRUE(u.inverse() == Tquaternion(2, -3, 0, 0) && u.conjugate() == u.inverse());
    EXPECT_TRUE(TunitQuaternion(u).invertIt() == u.inverse());
    EXPECT_TRUE(TunitQuaternion(u).conjugateIt() == u.inverse());
    EXPECT_TRUE(u * u == Tquaternion(-5, 12, 0, 0));
    EXPECT_TRUE(u + u == 2.0 * u && u - 2.0 * u == -u);  // as for any quaternion
    EXPECT_TRUE(TunitQuaternion(u).negateIt() == -u);
    EXPECT_NEAR(2 / std::sqrt(13.0), u.renormalizeIt().w, 1e-15);
}

TEST(Quaternions, AgreeWithTheMatrices) {
    TunitQuaternion q;
    q.setToPivotAxis(0.7, kAxis * 5);  // 40-digit values
    expectNear(Tquaternion(0.93937271284737892004, 0.097970802130128956911, -0.14695620319519343537,
                           0.29391240639038687073),
               q);
    expectNear(T4dDblMatrix().setToAxisRotate(kAxis, 0.7), T4dDblMatrix(q));
    expectNear(T4dDblMatrix(q), T4dDblMatrix(3.0 * q));  // any length gives a pure rotation
    Random random;
    for (int i = 0; i < 200; ++i) {
        const TunitQuaternion a = random.rotation(), b = random.rotation();
        expectNear(T4dDblMatrix(b) * a, T4dDblMatrix(a * b));
        TunitQuaternion back;
        back = T4dDblMatrix(a);
        expectNear(back.w * a.w + back.x * a.x + back.y * a.y + back.z * a.z < 0 ? -a : a, back);
    }
    for (const double w : {0.0, HUGE_VAL}) {  // NaN stays inside the 3 x 3 block
        const T4dDblMatrix m = Tquaternion(w, 0, 0, 0);
        EXPECT_TRUE(std::isnan(m[0][1]) && m[0][3] == 0 && m[2][3] == 0 && m[3][3] == 1);
    }
}

TEST(Quaternions, HalfTurnsTakeTheDiagonalBranches) {
    const Tquaternion kHalf[] = {{0, 1, 0, 0},       {0, 0, 1, 0},      {0, 0, 0, 1},
                                 {0, 0.6, 0.8, 0},   {0, 0.6, 0, -0.8}, {0, 0, 0.8, 0.6},
                                 {0.28, 0, -0.96, 0}};
    for (const Tquaternion& q : kHalf) {
        Tquaternion back;
        back = T4dDblMatrix(q);
        const double lead = std::fabs(q.x) >= std::fabs(q.y) && std::fabs(q.x) >= std::fabs(q.z)
                                ? q.x
                            : std::fabs(q.y) >= std::fabs(q.z) ? q.y
                                                               : q.z;
        expectNear(lead < 0 ? -q : q, back);  // the largest component comes out positive
    }
    TunitQuaternion half;
    half.setToPivotAxis(kPi, T4dDblVector(0, 0, 2));
    expectNear(Tquaternion(0, 0, 0, 1), half);
    expectNear(T4dDblVector(-1, 0, 0), T4dDblVector(1, 0, 0) * T4dDblMatrix(half));
}

TEST(Quaternions, AxisAndAngle) {
    double angle = 9;
    T4dDblVector axis(7, 8, 9);
    TunitQuaternion().getPivotAxis(angle, axis);
    EXPECT_TRUE(angle == 0 && axis == T4dDblVector(7, 8, 9));
    for (const double given : {0.1, 1.0, 3.0, 6.0}) {
        TunitQuaternion().setToPivotAxis(given, kAxis).getPivotAxis(angle, axis);
        EXPECT_NEAR(given, angle, 1e-13);
        expectNear(kAxis, axis, 1e-13);
    }
    Tquaternion(1.5, 0, 0, 0).getPivotAxis(angle, axis);
    EXPECT_TRUE(std::isnan(angle) && std::isnan(axis.x));
    // The squared length of the axis is what is compared with 1e-9.
    EXPECT_TRUE(TunitQuaternion().setToPivotAxis(1, T4dDblVector(3e-5, 0, 0)) == Tquaternion());
    EXPECT_NE(1, TunitQuaternion().setToPivotAxis(1, T4dDblVector(3.3e-5, 0, 0)).w);
}

TEST(Quaternions, ExponentialAndLogarithm) {
    const Tquaternion e = Tquaternion(5, 0.7 * kAxis.x, 0.7 * kAxis.y, 0.7 * kAxis.z).exp();
    expectNear(TunitQuaternion().setToPivotAxis(1.4, kAxis), e);  // w takes no part
    EXPECT_TRUE(Tquaternion(5, 1e-10, 0, 0).exp() == Tquaternion(1, 1e-10, 0, 0));
    Random random;
    for (int i = 0; i < 100; ++i) {
        const TunitQuaternion q = random.rotation();
        expectNear(q, q.log().exp());
        EXPECT_EQ(0, q.log().w);
    }
    EXPECT_TRUE((-TunitQuaternion()).log() == Tquaternion(0, 0, 0, 0));
}

TEST(Slerp, MovesAtConstantSpeed) {
    const TunitQuaternion a = TunitQuaternion().setToPivotAxis(0.4, kAxis);
    const TunitQuaternion b = TunitQuaternion().setToPivotAxis(1.9, kAxis);
    expectNear(Tquaternion(0.91103873295403367564, 0.11780593764097850214, -0.17670890646146775321,
                           0.35341781292293550642),
               slerp(a, b, 0.3));
    expectNear(a, slerp(a, b, 0));
    expectNear(b, slerp(a, b, 1));
    // Not flipped: from the identity to minus a turn of 0.4 by the long way (40 digits).
    const TunitQuaternion far = -TunitQuaternion().setToPivotAxis(0.4, kAxis);
    expectNear(Tquaternion(0.74156369134647772084, -0.19168070637935537106, 0.2875210595690330566,
                           -0.57504211913806611319),
               slerp(TunitQuaternion(), far, 0.25), 1e-13);
    // Nearly equal ends: a straight blend, which is not of unit length.
    EXPECT_TRUE(slerp(a, a, 0.3).equivalent(a, 1e-16));
    const TunitQuaternion near = TunitQuaternion().setToPivotAxis(0.405, kAxis);
    const Tquaternion blend = 0.5 * (a + near);
    EXPECT_TRUE(slerp(a, near, 0.5).equivalent(blend, 1e-16));
}

TEST(Slerp, OppositeEndsFollowAFixedPath) {
    const TunitQuaternion one;
    EXPECT_TRUE(slerp(one, -one, 0.3) == -one);
    EXPECT_TRUE(slerp(-one, one, 0.9) == one);
    TunitQuaternion a;
    a.w = 0.1;
    a.x = 0.5;
    a.y = 0.7;
    a.z = 0.5;
    // Half way: the perpendicular (z, -y, x, -w).
    expectNear(Tquaternion(0.5, -0.7, 0.5, -0.1), slerp(a, -a, 0.5), 1e-15);
    // Elsewhere x, y, z are blended with sin((0.5 - t) pi) and sin(t pi), and w is not.
    expectNear(Tquaternion(0.5, 0.5, 0.7, 0.5), slerp(a, -a, 0), 1e-15);
    const double c = std::sqrt(0.5);
    expectNear(Tquaternion(0.5, c * (0.5 - 0.7), c * (0.7 + 0.5), c * (0.5 - 0.1)),
               slerp(a, -a, 0.25), 1e-15);
}

TEST(Squad, PassesItsKeysAndCountsOnItsNeighbours) {
    Random random;
    const auto turn = [](double angle) { return TunitQuaternion().setToPivotAxis(angle, kAxis); };
    const TunitQuaternion p = random.rotation(), a = random.rotation(), b = random.rotation(),
                          q = random.rotation();
    expectNear(p, squad(p, a, b, q, 0));
    expectNear(q, squad(p, a, b, q, 1));
    expectNear(slerp(slerp(p, q, 0.25), slerp(a, b, 0.25), 0.375), squad(p, a, b, q, 0.25));
    // About one axis all is linear: 0.8 - ((0.2 - 0.8) + (1.8 - 0.8)) / 4 = 0.7.
    expectNear(turn(0.7), squadControlPoint(turn(0.8), turn(0.2), turn(1.8)));
    expectNear(turn(0.7), squadControlPoint(turn(0.8), turn(1.8), turn(0.2)));
    expectNear(turn(0.8), squadControlPoint(turn(0.8), turn(0.3), turn(1.3)));
}

}  // namespace
