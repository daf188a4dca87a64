// What could break here: shapes (one row, one column, wide), job digits, signs and order of the
// values, vectors that no longer fit their values, iterations that do not end on odd input, and
// over- or underflow on the way.
#include <gtest/gtest.h>
#include <lapacke.h>

#include "linalg/kernels/bidiagonal_svd.h"
#include "linalg/kernels/dsvdc.h"
#include "tests/linalg/kernel_support.h"
#include "tests/linalg/reference/svd.h"

namespace kelvo::test {
namespace {

using kernels::dsvdc;

constexpr double kTolerance = 20.0;  // scaled residuals: a few rounding errors

struct Svd {
    Matrix u, v;
    std::vector<double> s, e;
    int info;
};

// Room for the results.
Svd prepared(const Matrix& a, int job) {
    const int n = a.rows, p = a.cols, m = std::min(n, p);
    return {Matrix(n, job / 10 == 0   ? 0
                      : job / 10 == 1 ? n
                                      : m),
            Matrix(p, job % 10 ? p : 0), std::vector<double>(count(std::min(n + 1, p)), kMark),
            std::vector<double>(count(p), kMark), -1};
}

Svd decompose(const Matrix& a, int job, bool blocks = true) {
    Svd d = prepared(a, job);
    Matrix x = a;
    std::vector<double> work(count(a.rows)), scratch(kernels::dsvdcScratch(a.rows, a.cols));
    d.info = dsvdc(x.data(), a.ld(), a.rows, a.cols, d.s.data(), d.e.data(),
                   d.u.cols ? d.u.data() : nullptr, a.ld(), d.v.cols ? d.v.data() : nullptr,
                   std::max(a.cols, 1), work.data(), job, blocks ? scratch.data() : nullptr);
    return d;
}

// By the published method, which wants a matrix of ordinary size.
Svd published(const Matrix& a, int job) {
    Svd d = prepared(a, job);
    Matrix x = a;
    const int exponent = largest(a) == 0.0 ? 0 : std::ilogb(largest(a));
    for (double& value : x.a) value = std::scalbn(value, -exponent);
    std::vector<double> work(count(a.rows));
    const reference::Svd task = {{x.data(), a.ld()},   a.rows,       a.cols,
                                 {d.s.data()},         {d.e.data()}, {d.u.data(), a.ld()},
                                 {d.v.data(), a.cols}, d.u.cols,     d.v.cols > 0,
                                 {work.data()}};
    d.info = reference::dsvdc(task, 30 + 2 * task.order());
    for (double& value : d.s) value = std::scalbn(value, exponent);
    return d;
}

std::vector<double> lapackValues(Matrix a) {
    const int m = std::min(a.rows, a.cols);
    std::vector<double> s(count(m)), superb(count(m) + 1);
    double none = 0.0;
    if (m == 0) return s;
    EXPECT_EQ(0, LAPACKE_dgesvd(LAPACK_COL_MAJOR, 'N', 'N', a.rows, a.cols, a.data(), a.ld(),
                                s.data(), &none, 1, &none, 1, superb.data()));
    return s;
}

Matrix recomposed(const Svd& d) {
    const int m = std::min({d.u.cols, d.v.cols, static_cast<int>(d.s.size())});
    Matrix us(d.u.rows, m), v(d.v.rows, m);
    for (int j = 0; j < m; ++j) {
        for (int i = 0; i < us.rows; ++i) us(i, j) = d.u(i, j) * d.s[count(j)];
        for (int i = 0; i < v.rows; ++i) v(i, j) = d.v(i, j);
    }
    return us * transposed(v);
}

// Column j is that of `expected`, within `turn`, times `sign`; 0 for either sign. Returns the sign.
double expectSameColumn(const Matrix& expected, const Matrix& m, int j, double turn, double sign) {
    double product = 0.0;
    for (int i = 0; i < m.rows; ++i) product += expected(i, j) * m(i, j);
    if (sign == 0.0) sign = std::copysign(1.0, product);
    for (int i = 0; i < m.rows; ++i) EXPECT_NEAR(sign * expected(i, j), m(i, j), turn) << i;
    return sign;
}

// Up to rounding. Vectors turn by the error over the distance to the next value; both of a pair
// may change their sign where values of mere rounding noise decide on the order of the steps.
void expectAsPublished(const Matrix& a, double norm, double sign) {
    const Svd expected = published(a, 11);
    const double error = kTolerance * DBL_EPSILON * norm * std::max(a.rows, a.cols) + DBL_TRUE_MIN;
    for (bool blocks : {true, false}) {
        const Svd d = decompose(a, 11, blocks);
        EXPECT_EQ(expected.info, d.info);
        EXPECT_EQ(expected.e, d.e);
        double before = HUGE_VAL;
        for (std::size_t j = 0; j < d.s.size(); ++j) {
            ASSERT_NEAR(expected.s[j], d.s[j], error) << j;
            const double after = j + 1 < d.s.size() ? d.s[j + 1] : 0.0;
            const double turn = 10.0 * error / std::min(before - d.s[j], d.s[j] - after);
            before = d.s[j];
            if (!(turn < 0.01)) continue;
            SCOPED_TRACE(testing::Message() << "vectors " << j);
            const int k = static_cast<int>(j);
            expectSameColumn(expected.v, d.v, k, turn,
                             expectSameColumn(expected.u, d.u, k, turn, sign));
        }
    }
}

void expectDecomposition(const Matrix& a, double sign = 0.0) {
    const std::vector<double> peer = lapackValues(a);
    const double norm = peer.empty() ? 0.0 : peer[0];
    const double unit = DBL_EPSILON * norm * std::max(a.rows, a.cols) + DBL_TRUE_MIN;
    std::vector<double> first;
    for (int job : {11, 21, 0, 10, 20, 1}) {
        SCOPED_TRACE(testing::Message() << "job " << job);
        const Svd d = decompose(a, job);
        EXPECT_EQ(0, d.info);
        EXPECT_EQ(std::vector<double>(d.e.size()), d.e);
        if (job == 11) first = d.s;
        EXPECT_EQ(first, d.s);  // vectors do not change the values
        EXPECT_LE(orthogonalityError(d.u), kTolerance);
        EXPECT_LE(orthogonalityError(d.v), kTolerance);
        if (job > 10 && job % 10) {
            EXPECT_LE(scaledDifference(recomposed(d), a, norm), kTolerance);
        }
    }
    if (a.rows > 0 && a.cols > 0) expectAsPublished(a, norm, sign);
    for (std::size_t i = 0; i < peer.size(); ++i) {
        EXPECT_LE(std::fabs(first[i] - peer[i]) / unit, kTolerance) << i;
        EXPECT_FALSE(std::signbit(first[i]) || (i > 0 && first[i] > first[i - 1])) << i;
    }
    if (first.size() > peer.size()) {
        EXPECT_EQ(0.0, first.back());
    }
}

// Random ones are so far from singular that all signs are those of the published method.
void expectDecompositions(Kind kind, const Matrix& a) {
    expectDecomposition(a, kind == Kind::kRandom ? 1.0 : 0.0);
}

TEST(SingularValues, AreThePublishedOnesAndThoseOfLapack) {
    onEveryKind(smallShapes(), expectDecompositions);
    onEveryKind(kBlockedShapes, expectDecompositions);
    onEveryLevel([] { onEveryKind(std::vector<Shape>{{70, 66}}, expectDecompositions); });
}

TEST(SingularValues, OfHandMadeMatrices) {
    const auto diagonal = [](std::vector<double> d) {
        const int n = static_cast<int>(d.size());
        Matrix m(n, n);
        for (int i = 0; i < n; ++i) m(i, i) = d[count(i)];
        return m;
    };
    EXPECT_EQ((std::vector<double>{4, 3, 2, 1}), decompose(diagonal({-3, 1, 4, -2}), 11).s);
    EXPECT_EQ((std::vector<double>{1, 1e-310, 0}), decompose(diagonal({0, 1, 1e-310}), 11).s);
    EXPECT_EQ((std::vector<double>{1e308, 1e-250}), decompose(diagonal({1e-250, 1e308}), 11).s);
    EXPECT_EQ(kInf, decompose(Matrix(2, 2, 1e308), 11).s[0]);  // twice that is no double
    // Zeros on the diagonal of a bidiagonal matrix: the deflating and splitting passes.
    for (int zeros = 0; zeros < 32; ++zeros) {
        SCOPED_TRACE(zeros);
        Matrix b(5, 5);
        for (int i = 0; i < 5; ++i) {
            b(i, i) = zeros >> i & 1 ? 0.0 : i + 1.0;
            if (i < 4) b(i, i + 1) = 1.0;
        }
        expectDecomposition(b);
    }
}

// The shift is lost beside the large end, which costs some 0.8 steps for each value.
TEST(SingularValues, DecayingIntoRoundingNoiseAreFound) {
    Matrix b(60, 60);
    for (int i = 0; i < 60; ++i) {
        b(i, i) = std::pow(10.0, -16.0 * i / 60);
        if (i < 59) b(i, i + 1) = b(i, i);
    }
    expectDecomposition(b);
}

// With rows of padding below the matrix, which nobody may touch.
TEST(SingularValues, VectorsMayTakeThePlaceOfTheMatrix) {
    const struct {
        int n, p, job;
        bool right;
    } kRows[] = {{4, 4, 10, false}, {4, 7, 11, false},   {7, 4, 21, false},
                 {1, 3, 11, false}, {4, 4, 11, true},    {7, 4, 11, true},
                 {7, 4, 1, true},   {70, 90, 11, false}, {90, 70, 21, false}};
    for (const auto& row : kRows) {
        SCOPED_TRACE(testing::Message() << row.n << "x" << row.p << " job " << row.job);
        const Matrix a = makeMatrix(Kind::kRandom, row.n, row.p);
        const Svd apart = decompose(a, row.job);
        Cells x(a);
        Matrix u = apart.u, v = apart.v;
        std::vector<double> s = apart.s, e = apart.e, work(count(row.n));
        std::vector<double> scratch(kernels::dsvdcScratch(row.n, row.p));
        dsvdc(x.data(), x.ld, row.n, row.p, s.data(), e.data(), row.right ? u.data() : x.data(),
              row.right ? row.n : x.ld, row.right ? x.data() : v.data(), row.right ? x.ld : row.p,
              work.data(), row.job, scratch.data());
        EXPECT_TRUE(x.keptMarks());
        EXPECT_EQ(apart.s, s);
        EXPECT_EQ(apart.u.a, u.a);
        EXPECT_EQ(apart.v.a, v.a);
        const Matrix& shared = row.right ? v : u;
        for (int j = 0; j < shared.cols; ++j)
            for (int i = 0; i < shared.rows; ++i) EXPECT_EQ(shared(i, j), x(i, j)) << i << "," << j;
    }
}

TEST(SingularValues, NonFiniteInputEndsWithNothingFound) {
    for (double bad : {kNan, kInf, -kInf})
        for (int n : {1, 2, 5})
            for (int p : {1, 2, 5})
                for (int at = 0; at < n * p; ++at) {
                    Matrix a = makeMatrix(Kind::kRandom, n, p);
                    a.a[count(at)] = bad;
                    const Svd d = decompose(a, 11);
                    EXPECT_EQ(std::min(n, p), d.info);
                    for (const auto* result : {&d.s, &d.e, &d.u.a, &d.v.a})
                        for (double value : *result) ASSERT_TRUE(std::isnan(value));
                }
}

// The iteration alone, on entries from all over the number range and beyond it.
TEST(BidiagonalIteration, EndsOnAnyInput) {
    const double kPalette[] = {0.0,           -0.0,    1.0,   -1.0,   1e-8,
                               3e-16,         1e-160,  1e160, 1e-308, DBL_TRUE_MIN,
                               -DBL_TRUE_MIN, DBL_MAX, kInf,  -kInf,  kNan};
    std::mt19937 engine(4);
    std::uniform_int_distribution<std::size_t> pick(0, std::size(kPalette) - 1);
    int finite = 0;
    for (int trial = 0; trial < 20000; ++trial) {
        const int m = 1 + trial % 7;
        const std::size_t choices = trial % 2 ? std::size(kPalette) : 11;  // odd trials: anything
        std::vector<double> s(count(m)), e(s.size());
        for (double& value : s) value = kPalette[pick(engine) % choices];
        for (double& value : e) value = kPalette[pick(engine) % choices];
        e.back() = 0.0;
        Matrix u = identity(m), v = identity(m), b(m, m);
        for (int i = 0; i < m; ++i) b(i, i) = s[count(i)];
        for (int i = 0; i + 1 < m; ++i) b(i, i + 1) = e[count(i)];
        const int missing = kernels::diagonalize(m, s.data(), e.data(), {u.data(), m, m, m},
                                                 {v.data(), m, m, m}, nullptr);
        ASSERT_TRUE(missing >= 0 && missing <= m);
        if (choices == std::size(kPalette)) continue;
        ++finite;
        ASSERT_EQ(0, missing);
        ASSERT_LE(orthogonalityError(u), 100.0);
        ASSERT_LE(scaledDifference(recomposed({u, v, s, e, 0}), b, std::max(largest(b), 1e-270)),
                  100.0);
    }
    EXPECT_EQ(10000, finite);
}

}  // namespace
}  // namespace kelvo::test
