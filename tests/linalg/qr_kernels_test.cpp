// What could break here: signs and the storage of the reflections, the last row, pivots when norms
// cancel, columns that are to stay in front or at the back, one row, no rows, no columns, results
// that share arrays, and input at the ends of the number range.
#include <gtest/gtest.h>

#include <numeric>

#include "linalg/kernels/dqrdc.h"
#include "linalg/kernels/dqrsl.h"
#include "tests/linalg/kernel_support.h"
#include "tests/linalg/reference/qr.h"

namespace kelvo::test {
namespace {

using kernels::dqrdc;
using kernels::dqrsl;

constexpr double kTolerance = 10.0;  // scaled residuals: a few rounding errors

struct Qr {
    Cells x;
    std::vector<double> qraux;
    std::vector<int> jpvt;

    int steps() const { return std::min(x.rows, x.cols); }
};

std::vector<int> firstNumbers(int n) {
    std::vector<int> numbers(count(n));
    std::iota(numbers.begin(), numbers.end(), 1);
    return numbers;
}

Qr factor(const Matrix& a, bool pivoting, std::vector<int> specifiers = {}, bool blocks = true) {
    const std::size_t p = count(a.cols);
    specifiers.resize(p, kernels::kPivotFree);
    Qr f = {Cells(a), std::vector<double>(p, -7.0), specifiers};
    std::vector<double> work(p), scratch(kernels::dqrdcScratch(a.rows, a.cols, pivoting));
    dqrdc(f.x.data(), f.x.ld, a.rows, a.cols, f.qraux.data(), pivoting ? f.jpvt.data() : nullptr,
          pivoting ? work.data() : nullptr, pivoting, blocks ? scratch.data() : nullptr);
    EXPECT_TRUE(f.x.keptMarks());
    if (!pivoting) f.jpvt = firstNumbers(a.cols);
    return f;
}

// Q (all its columns) from the stored reflections I - v v' / v(k).
Matrix explicitQ(const Qr& f) {
    Matrix q = identity(f.x.rows);
    for (int k = f.steps() - 1; k >= 0; --k) {
        const double head = f.qraux[count(k)];
        if (head == 0.0) continue;
        Matrix v(f.x.rows, 1);
        for (int i = k; i < f.x.rows; ++i) v(i, 0) = i == k ? head : f.x(i, k);
        const Matrix w = transposed(v) * q;
        for (int j = 0; j < q.cols; ++j)
            for (int i = 0; i < q.rows; ++i) q(i, j) -= v(i, 0) * w(0, j) / head;
    }
    return q;
}

Matrix explicitR(const Qr& f) {
    Matrix r(f.x.rows, f.x.cols);
    for (int j = 0; j < r.cols; ++j)
        for (int i = 0; i <= std::min(j, r.rows - 1); ++i) r(i, j) = f.x(i, j);
    return r;
}

Matrix permutedColumns(const Matrix& a, const std::vector<int>& jpvt) {
    Matrix m = a;
    for (int j = 0; j < a.cols; ++j)
        for (int i = 0; i < a.rows; ++i) m(i, j) = a(i, jpvt.at(count(j)) - 1);
    return m;
}

// Every later column, without the rows done before step k, was at most as long as the chosen one.
void expectLongestFirst(const Qr& f, double size) {
    for (int k = 0; k < f.steps(); ++k)
        for (int j = k + 1; j < f.x.cols; ++j) {
            double rest = 0.0;
            for (int i = k; i <= std::min(j, f.x.rows - 1); ++i) rest = std::hypot(rest, f.x(i, j));
            EXPECT_LE(rest, std::fabs(f.x(k, k)) * (1.0 + 1e-12) + 1e-14 * size + DBL_MIN)
                << k << " before " << j;
        }
}

// With Q R = A P and heads from 1 on, R(k,k) has the sign opposite to the element it came from.
void expectFactorization(const Matrix& a, bool pivoting) {
    const Qr f = factor(a, pivoting);
    const Matrix q = explicitQ(f);
    EXPECT_LE(orthogonalityError(q), kTolerance);
    EXPECT_LE(scaledDifference(q * explicitR(f), permutedColumns(a, f.jpvt), largest(a)),
              kTolerance);
    for (int k = 0; k < f.steps(); ++k) {
        const double head = f.qraux[count(k)];
        EXPECT_TRUE(head == 0.0 || (head >= 1.0 && head <= 2.0 + 4 * DBL_EPSILON))
            << k << ": " << head;
        EXPECT_TRUE(k + 1 < a.rows || head == 0.0);
    }
    if (pivoting) expectLongestFirst(f, largest(a));
}

// Storage, signs and pivots as published, up to rounding, with blocks and without.
void expectAsPublished(const Matrix& a, bool pivoting) {
    const auto p = count(a.cols);
    Qr expected = {Cells(a), std::vector<double>(p), std::vector<int>(p)};
    std::vector<double> work(p);
    reference::dqrdc({expected.x.data(), expected.x.ld}, a.rows, a.cols, {expected.qraux.data()},
                     {expected.jpvt.data()}, {work.data()}, pivoting);
    for (bool blocks : {false, true}) {
        const Qr f = factor(a, pivoting, {}, blocks);
        EXPECT_EQ(expected.jpvt, f.jpvt);
        EXPECT_LE(scaledDifference(explicitR(f), explicitR(expected), largest(a)), kTolerance);
        for (int k = 0; k < f.steps(); ++k) {
            const auto at = count(k);
            EXPECT_NEAR(expected.qraux[at], f.qraux[at], 1e-10) << k;
            for (int i = k + 1; i < a.rows; ++i) ASSERT_NEAR(expected.x(i, k), f.x(i, k), 1e-10);
        }
    }
}

TEST(QrFactorization, ReproducesEveryKindAndIsThePublishedOne) {
    const auto expectBoth = [](Kind kind, const Matrix& a) {
        for (bool pivoting : {false, true}) {
            SCOPED_TRACE(testing::Message() << "pivoting " << pivoting);
            expectFactorization(a, pivoting);
            // Of the others rounding errors decide on pivots and signs.
            if (kind == Kind::kRandom || kind == Kind::kHuge || kind == Kind::kTiny)
                expectAsPublished(a, pivoting);
        }
    };
    onEveryLevel([&] {
        onEveryKind(smallShapes(), expectBoth);
        onEveryKind(kBlockedShapes, expectBoth);
    });
}

TEST(QrFactorization, DependentColumnsGiveAnExactZero) {
    Matrix a(3, 2);
    a(0, 0) = 1.0;
    a(0, 1) = 2.0;
    const Qr f = factor(a, false);
    EXPECT_EQ(-1.0, f.x(0, 0));
    EXPECT_EQ(-2.0, f.x(0, 1));
    EXPECT_EQ(0.0, f.x(1, 1));
    EXPECT_EQ((std::vector<double>{2.0, 0.0}), f.qraux);  // reflects though nothing is below
}

TEST(QrFactorization, CancelledNormsAreComputedAnew) {
    Matrix a(3, 3);
    for (int j = 0; j < 3; ++j) a(0, j) = 1.0;
    a(1, 1) = 1e-9;
    a(2, 2) = 2e-9;  // the larger rest, which differences of norms near 1 cannot show
    EXPECT_EQ((std::vector<int>{1, 3, 2}), factor(a, true).jpvt);
}

TEST(QrFactorization, SpecifiersKeepColumnsInFrontAndAtTheBack) {
    const struct {
        const char* label;
        std::vector<int> specifiers, pivots;
    } kRows[] = {
        // Column j has norm j, so free columns come in descending order.
        {"all free", {0, 0, 0, 0, 0}, {5, 4, 3, 2, 1}},
        {"initial", {0, 3, 0, 1, 0}, {2, 4, 5, 3, 1}},
        {"final", {0, 0, 0, -1, -2}, {3, 2, 1, 4, 5}},
        {"initial and final", {-1, 0, 1, 0, -1}, {3, 4, 2, 1, 5}},
        {"all initial", {1, 1, 1, 1, 1}, {1, 2, 3, 4, 5}},
        {"all final", {-1, -1, -1, -1, -1}, {1, 2, 3, 4, 5}},
    };
    Matrix a(6, 5);
    for (int j = 0; j < 5; ++j) a(j, j) = j + 1.0;
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.label);
        const Qr f = factor(a, true, row.specifiers);
        EXPECT_EQ(row.pivots, f.jpvt);
        for (int k = 0; k < 5; ++k) EXPECT_EQ(row.pivots[count(k)], std::fabs(f.x(k, k)));
    }
}

TEST(QrFactorization, SpecifiersHoldWithBlocksToo) {
    std::vector<int> specifiers(120);
    for (std::size_t j = 0; j < 120; ++j) specifiers[j] = j % 10 == 3 ? 1 : j % 10 == 7 ? -1 : 0;
    const Matrix a = makeMatrix(Kind::kDependent, 130, 120);
    const Qr f = factor(a, true, specifiers), plain = factor(a, true, specifiers, false);
    for (int j = 0; j < 120; ++j) {
        const int expected = j < 12 ? 1 : j < 108 ? 0 : -1;
        EXPECT_EQ(expected, specifiers.at(count(f.jpvt.at(count(j)) - 1)));
    }
    EXPECT_TRUE(std::equal(f.jpvt.begin(), f.jpvt.begin() + 60, plain.jpvt.begin()));
    EXPECT_LE(scaledDifference(explicitQ(f) * explicitR(f), permutedColumns(a, f.jpvt), 1.0),
              kTolerance);
}

TEST(QrFactorization, NonFiniteInputEnds) {
    for (double bad : {kNan, kInf, -kInf})
        for (int n : {3, 130})
            for (int at : {0, n * n / 3, n * n / 2 + 1, n * n - 1})
                for (bool pivoting : {false, true}) {
                    Matrix a = makeMatrix(Kind::kRandom, n, n);
                    a.a[count(at)] = bad;
                    Qr f = factor(a, pivoting);
                    std::sort(f.jpvt.begin(), f.jpvt.end());
                    EXPECT_EQ(firstNumbers(n), f.jpvt);
                    EXPECT_FALSE(std::isfinite(largest(explicitR(f))));
                }
}

// Every result of dqrsl; untouched ones keep their mark.
struct Solution {
    Matrix qy, qty, b, rsd, xb;

    Solution(int n, int k)
        : qy(n, 1, kMark), qty(n, 1, kMark), b(k, 1, kMark), rsd(n, 1, kMark), xb(n, 1, kMark) {}
};

int solve(const Qr& f, int k, const Matrix& y, int job, Solution& s) {
    return dqrsl(f.x.data(), f.x.ld, f.x.rows, k, f.qraux.data(), y.a.data(), s.qy.data(),
                 s.qty.data(), s.b.data(), s.rsd.data(), s.xb.data(), job);
}

void expectPublishedSolution(Qr f, int k, int job) {
    SCOPED_TRACE(testing::Message() << "k " << k << " job " << job);
    const Matrix y = makeMatrix(Kind::kRandom, f.x.rows, 1, 3);
    Solution expected(f.x.rows, k), s = expected;
    const int info = reference::dqrsl(
        {f.x.data(), f.x.ld}, f.x.rows, k, {f.qraux.data()}, y.a.data(), expected.qy.data(),
        expected.qty.data(), expected.b.data(), expected.rsd.data(), expected.xb.data(), job);
    EXPECT_EQ(info, solve(f, k, y, job, s));
    for (auto part : {&Solution::qy, &Solution::qty, &Solution::b, &Solution::rsd, &Solution::xb})
        EXPECT_LE(largestDifference(expected.*part, s.*part),
                  1e-10 * (1.0 + largest(expected.*part)));
}

TEST(QrSolution, IsThePublishedOneForEveryJob) {
    onEveryKind(smallShapes(), [](Kind kind, const Matrix& a) {
        if (kind != Kind::kRandom && kind != Kind::kZeroColumns && kind != Kind::kZero) return;
        const Qr f = factor(a, false);
        for (int k : {0, 1, f.steps() / 2, f.steps()})
            for (int bits = 0; bits < 32 && k <= f.steps(); ++bits) {
                int job = 0;  // any digit above 0 asks
                for (int digit = 4; digit >= 0; --digit) job = 10 * job + 3 * (bits >> digit & 1);
                expectPublishedSolution(f, k, job);
            }
    });
}

TEST(QrSolution, ResultsMayShareTheRightSide) {
    const Qr f = factor(makeMatrix(Kind::kRandom, 7, 4), false);
    const Matrix y = makeMatrix(Kind::kRandom, 7, 1, 9);
    Solution all(7, 4);
    solve(f, 4, y, 111, all);
    for (int shared = 0; shared < 3; ++shared) {
        Solution s(7, 4);
        Matrix io = y;
        double* out[] = {s.b.data(), s.rsd.data(), s.xb.data()};
        out[shared] = io.data();
        dqrsl(f.x.data(), f.x.ld, 7, 4, f.qraux.data(), io.data(), nullptr, io.data(), out[0],
              out[1], out[2], 111);
        EXPECT_TRUE(std::equal(all.b.a.begin(), all.b.a.end(), out[0])) << shared;
        EXPECT_TRUE(std::equal(all.rsd.a.begin(), all.rsd.a.end(), out[1])) << shared;
        EXPECT_TRUE(std::equal(all.xb.a.begin(), all.xb.a.end(), out[2])) << shared;
    }
}

}  // namespace
}  // namespace kelvo::test
