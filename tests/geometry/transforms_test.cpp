// What could break: the side on which an operation enters, the floor of the scale factors and where
// it does not apply, pivots that move what they should not. Components are checked against the
// composed transform that they stand for, which is the inverse of inverse().
#include "KelvoBase/transforms.h"

#include <cstdlib>
#include <cstring>

#include "KelvoBase/angles.h"
#include "tests/geometry/geometry_testing.h"

using namespace geometry_testing;

namespace {

T4dDblMatrix composed(const TxformMatrix& x) {
    return x.inverse().inverse();
}

// A transform with all components in use.
TxformMatrix anyTransform(Random& random) {
    TxformMatrix x;
    x = random.rotation();
    x = Tscale(1 + random(0.5), 2 + random(), -1 + random(0.5));
    x.setScalePivotPoint(T4dDblPoint(1, 2, 3, 1));
    x.setRotatePivotPoint(T4dDblPoint(-3, 1, 2, 1));
    x += random.vector(3);
    x += random.rotation();
    return x;
}

int modifiedFlag(const void* object, std::size_t offset) {
    int flag;
    std::memcpy(&flag, static_cast<const char*>(object) + offset, sizeof flag);
    return flag;
}

TEST(GenXform, TheNewestOperationActsFirst) {
    TgenXformMatrix m;
    m.translate(1, 0, 0);
    m.scale(2.0, 2.0, 2.0);
    EXPECT_TRUE(T3dDblPoint(1, 0, 0) * m == T3dDblPoint(3, 0, 0));
    const double v[3] = {0, 5, 0}, k[3] = {1, 3, 1};
    m.translate(v);
    m.scale(k);
    m.scale(10.0);
    EXPECT_TRUE(T3dDblPoint(1, 1, 1) * m == T3dDblPoint(21, 70, 20));
}

TEST(GenXform, RotationsEqualAxisRotations) {
    Tangle a(50.0);
    const double axes[4][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {kAxis.x, kAxis.y, kAxis.z}};
    for (int i = 0; i < 4; ++i) {
        TgenXformMatrix m;
        m.translate(1, 2, 3);
        T4dDblMatrix want(m);
        i == 0   ? m.rotatex(a)
        : i == 1 ? m.rotatey(a)
        : i == 2 ? m.rotatez(a)
                 : m.rotateAxis(axes[i], a);
        const T4dDblVector axis(axes[i][0], axes[i][1], axes[i][2]);
        expectNear(want.axisRotateIt(axis, a.radians()), m);
        T4dDblMatrix left = T4dDblVector(1, 0, 0);
        want.premultBy(left);
        m.multiplyBy(left);
        expectNear(want, m);
    }
}

TEST(GenXform, VectorsAreMovedAndPointsAreNotDivided) {
    TgenXformMatrix m;
    m.translate(1, 2, 3);
    m[0][3] = 7;  // the fourth column takes no part
    double v[3] = {0, 0, 0}, p[4] = {1, 1, 1, 2}, out[3];
    m.transformVector(v, out);
    EXPECT_TRUE(out[0] == 1 && out[1] == 2 && out[2] == 3);
    m.transformPoint(p, out);
    EXPECT_TRUE(out[0] == 3 && out[1] == 5 && out[2] == 7);
    m.transformVector(v);
    m.transformPoint(p);
    EXPECT_TRUE(v[0] == 1 && v[2] == 3 && p[0] == 3 && p[2] == 7 && p[3] == 2);
    m.scale(0.0);
    const double a[3] = {1, 2, 3}, b[3] = {4, 5, 6}, c[3] = {7, 8, 9};
    m.setOrientation(a, b, c);
    EXPECT_TRUE(m == matrixOf({{1, 4, 7, 0}, {2, 5, 8, 0}, {3, 6, 9, 0}, {1, 2, 3, 1}}));
    m.setOrientation(m[0], m[1], m[2]);  // its own rows
    EXPECT_TRUE(m == matrixOf({{1, 2, 3, 0}, {4, 5, 6, 0}, {7, 8, 9, 0}, {1, 2, 3, 1}}));
}

TEST(GenXform, AlignsVectorsWithTheZAxis) {
    const double kVectors[][3] = {{1, 2, 3}, {-4, 0.5, -2}, {0, 5, 0}, {0, -5, 0},
                                  {3, 0, 0}, {0, 0, -2},    {0, 0, 1}, {0, 0, 0}};
    for (const double* v : kVectors) {
        const T4dDblVector given(v[0], v[1], v[2]), up(0, 0, given.length());
        TgenXformMatrix to, from;
        to.alignVectorWithZAxis(v);
        from.alignZAxisWithVector(v);
        expectNear(up, given * to);
        expectNear(given, up * from);
        expectNear(T4dDblMatrix(), to * from);
        EXPECT_NEAR(1, to.det3x3(), 1e-14);
    }
}

TEST(Scale, KeepsAwayFromZero) {
    const Tscale s(0.00005, -0.00005, -0.0001);
    EXPECT_TRUE(s.x == 0.0001 && s.y == 0.0001 && s.z == -0.0001);
    const Tscale inverse = Tscale(0, 2, 3).inverse();
    EXPECT_TRUE(inverse.x == 1 / 0.0001 && inverse.y == 0.5 && inverse.z == 1 / 3.);
    Tscale big(1e6, -1e6, 1);
    big.invertIt();
    EXPECT_TRUE(big.x == 0.0001 && big.y == 0.0001 && big.z == 1);
    EXPECT_EQ(-7, Tscale().set(-7).y);
    Tscale copy(s);
    copy.x = 0;  // written past the setters: floored wherever it is used
    EXPECT_EQ(0, Tscale(copy).x);
    const T4dDblMatrix m = copy;
    EXPECT_TRUE(m ==
                matrixOf({{0.0001, 0, 0, 0}, {0, 0.0001, 0, 0}, {0, 0, -0.0001, 0}, {0, 0, 0, 1}}));
    EXPECT_EQ(1, Tscale(2, 2, 2 + 1e-10).proportionalScale());
    EXPECT_EQ(0, Tscale(2, 2, 2 + 1e-8).proportionalScale());
    EXPECT_EQ(1, Tscale(1, 1, 1).equivalent(Tscale(1, 1, 1.00005), 0));  // tolerance floored
    EXPECT_EQ(0, Tscale(1, 1, 1).equivalent(Tscale(1, 1, 1.0002), 0));
    EXPECT_EQ(1, Tscale(1, 1, 1).equivalent(Tscale(1, 1.5, 1), 0.5));
    EXPECT_EQ(0, Tscale().equivalent(Tscale(), -1));
}

TEST(Xform, SplitsAMatrixAndComposesIt) {
    Random random;
    for (int i = 0; i < 100; ++i) {
        const double mirror = i % 2 ? -1 : 1;
        const Tscale s(1 + random(0.9), 2 + random(), mirror * (1 + random(0.9)));
        const T4dDblMatrix r = random.rotation(), move = random.vector(9);
        const T4dDblMatrix m = T4dDblMatrix(s) * r * move;
        const TxformMatrix x(m);
        EXPECT_TRUE(x == m);
        expectNear(m, composed(x), 1e-12);
        expectNear(r, T4dDblMatrix(x.rotation()));
        EXPECT_EQ(1, x.scale().equivalent(s, 1e-4));
        EXPECT_NEAR(s.z, x.scale().z, 1e-13);
        EXPECT_EQ(0, modifiedFlag(&x, 312));
        EXPECT_TRUE(x.rotatePivotPoint() == T4dDblPoint() && x.scalePivotPoint() == T4dDblPoint());
    }
    T4dDblMatrix flat;  // factors of a matrix are not floored, and a zero row is not guarded
    flat[0][0] = 1e-5;
    EXPECT_EQ(1e-5, TxformMatrix(flat).scale().x);
    flat[0][0] = 0;
    EXPECT_TRUE(std::isnan(TxformMatrix(flat).rotation().w));
}

TEST(Xform, TranslationsAreDisplacementsOfTheUntransformedSpace) {
    Random random;
    for (int i = 0; i < 50; ++i) {
        TxformMatrix x = anyTransform(random);
        const T4dDblVector v = random.vector(4), p = random.vector();
        const T4dDblMatrix before = composed(x);
        x += v;
        expectNear(T3dDblPoint(p + v) * before, T3dDblPoint(p) * composed(x), 1e-12);
        x = v;  // wherever the pivots are, the origin goes where v goes without them
        expectNear((p + v) * before, T3dDblPoint(p) * composed(x), 1e-12);

        TxformMatrix plain;
        plain = random.rotation();
        plain = Tscale(2, 3, -0.5);
        plain = v;
        expectNear(v, plain.translation(), 1e-13);
    }
}

TEST(Xform, MovingAPivotMovesNothingElse) {
    Random random;
    for (int i = 0; i < 50; ++i) {
        TxformMatrix x = anyTransform(random);
        const T4dDblMatrix before = x.inverse();
        const T4dDblVector a = random.vector(5), b = random.vector(5);
        x.setScalePivotPoint(T4dDblPoint(2 * a.x, 2 * a.y, 2 * a.z, 2));
        expectNear(before, x.inverse(), 1e-11);
        expectNear(a, x.scalePivotPoint(), 1e-13);
        x.setRotatePivotPoint(T4dDblPoint(-b.x, -b.y, -b.z, -1));
        expectNear(before, x.inverse(), 1e-11);
        expectNear(b, x.rotatePivotPoint().cartesian(), 1e-12);
    }
}

TEST(Xform, NewComponentsActAboutTheirPivots) {
    const T4dDblPoint p(1, 2, 3, 1);
    const T4dDblMatrix toPivot = T4dDblVector(-1, -2, -3), back = T4dDblVector(1, 2, 3);
    const T4dDblMatrix turn = T4dDblMatrix().setToAxisRotate(kAxis, 0.7);
    TunitQuaternion q;
    q = turn;
    TxformMatrix x;
    x += TunitQuaternion().setToPivotAxis(2, T4dDblVector(1, 1, 0));
    x.setRotatePivotPoint(p);  // keeps the old turn about the origin until a new one is set
    x = q;
    expectNear(toPivot * turn * back, composed(x), 1e-13);
    TxformMatrix y;
    y = Tscale(5, 6, 7);
    y.setScalePivotPoint(p);
    const Tscale k(2, 3, -4);
    y = k;
    expectNear(toPivot * k * back, composed(y), 1e-13);
    y += Tscale(0.001, 1, 1);
    y += Tscale(0.001, 1, 1);
    EXPECT_DOUBLE_EQ(2e-6, y.scale().x);  // += has no floor
}

TEST(Xform, AddedRotationsActFirst) {
    Random random;
    const TunitQuaternion q = random.rotation(), r = random.rotation();
    TxformMatrix x;
    x = q;
    x += r;
    expectNear(T4dDblMatrix(r) * q, composed(x), 1e-13);
    TpostXformMatrix post;
    post = q;
    post += r;
    expectNear(T4dDblMatrix(q) * r, post.inverse().inverse(), 1e-13);
}

TEST(Xform, SettersMarkAndLeaveTheStoredMatrix) {
    const T4dDblMatrix stored = matrixOf({{2, 0, 0, 0}, {0, 3, 0, 0}, {0, 0, 4, 0}, {5, 6, 7, 1}});
    void (*const kSetters[])(TxformMatrix&) = {
        [](TxformMatrix& x) { x = T4dDblVector(1, 1, 1); },
        [](TxformMatrix& x) { x += T4dDblVector(1, 1, 1); },
        [](TxformMatrix& x) { x = TunitQuaternion(); },
        [](TxformMatrix& x) { x += TunitQuaternion(); },
        [](TxformMatrix& x) { x = Tscale(); },
        [](TxformMatrix& x) { x += Tscale(); },
        [](TxformMatrix& x) { x.setScalePivotPoint(T4dDblPoint(1, 1, 1, 1)); },
        [](TxformMatrix& x) { x.setRotatePivotPoint(T4dDblPoint(1, 1, 1, 1)); }};
    for (const auto set : kSetters) {
        TxformMatrix x(stored);
        set(x);
        EXPECT_EQ(1, modifiedFlag(&x, 312));
        EXPECT_TRUE(static_cast<const T4dDblMatrix&>(x) == stored);
        const TxformMatrix copy(x);
        EXPECT_EQ(1, modifiedFlag(&copy, 312));
        expectNear(x.inverse(), copy.inverse(), 0);
        x = Tquaternion(0, 2, 0, 0);  // by way of its matrix: a half turn about x
        EXPECT_EQ(0, modifiedFlag(&x, 312));
        expectNear(Tquaternion(0, 1, 0, 0), x.rotation());
    }
}

TEST(PostXform, ComposesWithoutPivots) {
    TpostXformMatrix x;
    TunitQuaternion q;
    q.setToPivotAxis(0.7, kAxis);
    const Tscale s(2, 3, -4);
    const T4dDblVector t(5, 6, 7);
    x = s;
    x = q;
    x = t;
    x.setScalePivotPoint(T4dDblPoint(1, 2, 3, 2));
    x.setRotatePivotPoint(T4dDblPoint(4, 5, 6, 3));
    EXPECT_TRUE(x.scalePivotPoint() == T4dDblPoint(1, 2, 3, 2));
    EXPECT_TRUE(x.rotatePivotPoint() == T4dDblPoint(4, 5, 6, 3));
    const T4dDblMatrix want = T4dDblMatrix(s) * q * T4dDblMatrix(t);
    EXPECT_EQ(1, modifiedFlag(&x, 288));
    EXPECT_TRUE(static_cast<T4dDblMatrix&>(x) == T4dDblMatrix());
    expectNear(want.inverse(), x.inverse(), 1e-13);
    EXPECT_EQ(0, modifiedFlag(&x, 288));
    expectNear(want, x, 1e-13);  // the matrix follows now
    x[3][0] += 1;                // and is what counts until a component changes
    EXPECT_FALSE(x.inverse().equivalent(want.inverse(), 1e-3));
    x += T4dDblVector(1, 0, 0);
    expectNear((want * T4dDblMatrix(T4dDblVector(1, 0, 0))).inverse(), x.inverse(), 1e-13);
    EXPECT_TRUE(x.translation() == T4dDblVector(6, 6, 7));
}

TEST(PostXform, AdditionsKeepTheirPivots) {
    Random random;
    for (int i = 0; i < 50; ++i) {
        const T4dDblVector pivot = random.vector(4), t = random.vector(4);
        const T4dDblMatrix toPivot = -pivot, back = pivot;
        const T4dDblPoint weighted(2 * pivot.x, 2 * pivot.y, 2 * pivot.z, 2);
        const TunitQuaternion q = random.rotation(), r = random.rotation();
        TpostXformMatrix x;
        x = t;
        x = q;
        x.setRotatePivotPoint(weighted);
        x += r;
        expectNear(T4dDblMatrix(q) * T4dDblMatrix(t) * toPivot * r * back, x.inverse().inverse(),
                   1e-12);

        TpostXformMatrix y;
        y = t;
        y = q;
        y.setScalePivotPoint(weighted);
        const Tscale k(2, 0.5, -3);
        y += k;  // scaled along the rotated axes, about the pivot
        const T4dDblMatrix along = T4dDblMatrix(q.inverse()) * k * q;
        expectNear(T3dDblPoint(t) * (toPivot * along * back), y.translation(), 1e-12);
        y += Tscale(1e-3, 1, 1);
        y += Tscale(1e-3, 1, 1);
        EXPECT_EQ(0.0001, y.scale().x);  // floored here
    }
}

}  // namespace
