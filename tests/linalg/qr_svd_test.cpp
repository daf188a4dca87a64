// What could break here: the order and direction of the permutation, the first or last column of a
// projection (k = 0, k = min(rows, cols), one row), results that a later factorization overwrites,
// the job digits of the singular value decomposition, and input that is not finite.
#include "KelvoBase/qr_svd.h"

#include <gtest/gtest.h>

#include <limits>

#include "tests/linalg/recorded_errors.h"
#include "tests/linalg/test_matrices.h"

namespace {

using namespace kelvo::test;

const double kNan = std::numeric_limits<double>::quiet_NaN();
const double kInfinity = std::numeric_limits<double>::infinity();

const struct Shape {
    unsigned rows, cols;
} kShapes[] = {{0, 0}, {0, 3}, {3, 0},   {1, 1},   {1, 4},   {4, 1},  {2, 2},   {3, 2},
               {2, 3}, {5, 5}, {10, 10}, {30, 10}, {10, 30}, {50, 7}, {50, 50}, {49, 50}};

testing::Message describe(const Shape& s) {
    return testing::Message() << s.rows << " x " << s.cols;
}

DoubleQRDecomp factored(const DoubleGenMat& x, int pivoting) {
    DoubleQRDecomp qr;
    qr.doPivoting(pivoting);
    qr.factor(x);
    return qr;
}

DoubleGenMat permutedColumns(const DoubleGenMat& x, const IntVec& pivots) {
    DoubleGenMat result(x.rows(), x.cols());
    for (int j = 0; j < static_cast<int>(x.cols()); ++j) result.col(j) = x.col(pivots(j));
    return result;
}

// Q, column by column.
DoubleGenMat orthogonalFactor(const DoubleQRDecomp& qr) {
    DoubleGenMat q = identityMatrix(qr.rows());
    for (int j = 0; j < static_cast<int>(qr.rows()); ++j) q.col(j) = qr.computeQy(q.col(j), -1);
    return q;
}

void checkFactors(const DoubleGenMat& x, int pivoting) {
    const DoubleQRDecomp qr = factored(x, pivoting);
    const double bound = 20 * kEps * (x.rows() + x.cols() + 1);
    const DoubleGenMat q = orthogonalFactor(qr);
    EXPECT_LE(defectOf(q), bound);
    const DoubleGenMat permuted = permutedColumns(x, qr.pivots());
    DoubleGenMat r(x.rows(), x.cols());
    for (int j = 0; j < static_cast<int>(x.cols()); ++j) {
        r.col(j) = qr.computeQTy(permuted.col(j), -1);
        for (int i = j + 1; i < static_cast<int>(x.rows()); ++i) {
            EXPECT_NEAR(0, r.val(i, j), bound) << i << ", " << j;
        }
    }
    EXPECT_LE(largest(product(q, r) - permuted), bound * (1 + largest(x)));
}

TEST(QRDecomp, FactorsReproduceTheMatrix) {
    for (const Shape& s : kShapes) {
        for (int pivoting : {0, 1}) {
            SCOPED_TRACE(describe(s) << " pivoting " << pivoting);
            checkFactors(randomMatrix(s.rows, s.cols), pivoting);
            checkFactors(matrixOfRank(s.rows, s.cols, std::min({s.rows, s.cols, 3u})), pivoting);
            checkFactors(DoubleGenMat(s.rows, s.cols, 0.0), pivoting);
        }
    }
}

// Every projection onto the first k columns, against what defines it.
TEST(QRDecomp, ProjectionsSplitAVector) {
    for (const Shape& s : kShapes) {
        const DoubleGenMat x = randomMatrix(s.rows, s.cols);
        const DoubleVec y = randomVector(s.rows, 5);
        const int m = static_cast<int>(std::min(s.rows, s.cols));
        for (int pivoting : {0, 1}) {
            const DoubleQRDecomp qr = factored(x, pivoting);
            const DoubleGenMat permuted = permutedColumns(x, qr.pivots());
            for (int k : {0, 1, m / 2, m - 1, m}) {
                if (k < 0 || k > m) continue;
                SCOPED_TRACE(describe(s) << " pivoting " << pivoting << " k " << k);
                const DoubleVec fit = qr.computeXb(y, k);
                const DoubleVec residual = qr.computeResidualVec(y, k);
                const DoubleVec b = qr.partialSolve(y, k);
                ASSERT_EQ(static_cast<unsigned>(k), b.length());
                EXPECT_LE(largest(fit + residual - y), 1e-13);
                DoubleVec combined(s.rows, 0.0);
                for (int j = 0; j < k; ++j) {
                    combined += permuted.col(j) * b(j);
                    EXPECT_NEAR(0, dot(permuted.col(j), residual), 1e-12);
                }
                EXPECT_LE(largest(combined - fit), 1e-12 * (1 + largest(b)));
                EXPECT_LE(largest(qr.computeQTy(qr.computeQy(y, k), k) - y), 1e-13);
                EXPECT_TRUE(k > 0 || (fit == DoubleVec(s.rows, 0.0) && residual == y));
            }
            for (int outside : {-1, m + 1, 1000}) {
                EXPECT_EQ(qr.partialSolve(y, m), qr.partialSolve(y, outside));
            }
        }
    }
}

TEST(QRDecomp, PermuteOrdersLikeTheColumns) {
    const DoubleGenMat x = matrixOf(2, 4, {1, 5, 2, 9, 1, 6, 0, 9});
    const DoubleQRDecomp qr = factored(x, 1);
    ASSERT_EQ(3, qr.pivots()(0));
    const DoubleVec v = vectorOf({10, 11, 12, 13});
    const DoubleVec permuted = qr.permute(v);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(v(qr.pivots()(i)), permuted(i));
    EXPECT_EQ(v, qr.unpermute(permuted));
    EXPECT_EQ(v, DoubleQRDecomp(x).permute(v));
    EXPECT_EQ(IntVec(4, 0, 1), DoubleQRDecomp(x).pivots());
}

TEST(QRDecomp, RankCountsExactZerosOnly) {
    const double tiny = 1e-300;
    const struct {
        const char* what;
        DoubleGenMat x;
        int rank, singular;
    } kCases[] = {
        {"dependent columns", matrixOf(3, 2, {1, 2, 0, 0, 0, 0}), 1, 1},
        {"independent columns", matrixOf(3, 2, {1, 2, 0, 1, 0, 0}), 2, 0},
        {"full row rank", matrixOf(2, 3, {1, 2, 3, 0, 1, 1}), 2, 0},
        {"tiny counts", matrixOf(2, 2, {1, 0, 0, tiny}), 2, 0},
        {"not a number counts", matrixOf(2, 2, {1, 0, 0, kNan}), 2, 0},
        {"zero", DoubleGenMat(3, 2, 0.0), 0, 1},
        {"no columns", DoubleGenMat(3, 0), 0, 0},
        {"nothing", DoubleGenMat(), 0, 0},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(c.rank, DoubleQRDecomp(c.x).rank());
        EXPECT_EQ(c.singular, DoubleQRDecomp(c.x).isSingular());
    }
}

TEST(QRDecomp, SolveFindsTheCoefficients) {
    const DoubleGenMat x = randomMatrix(20, 8);
    const DoubleVec expected = randomVector(8, 9);
    for (int pivoting : {0, 1}) {
        const DoubleVec found = factored(x, pivoting).solve(product(x, expected));
        EXPECT_LE(largest(found - expected), 1e-12);
    }
    const DoubleGenMat wide = matrixOf(1, 3, {1, 4, 2});
    EXPECT_EQ(vectorOf({0, 2, 0}), factored(wide, 1).solve(vectorOf({8})));
}

TEST(QRDecomp, ReportsAndReturns) {
    RecordedErrors errors;
    const DoubleQRDecomp qr(matrixOf(3, 2, {1, 2, 0, 0, 0, 0}));
    const DoubleVec two = vectorOf({1, 2});
    for (auto member :
         {&DoubleQRDecomp::computeQy, &DoubleQRDecomp::computeQTy, &DoubleQRDecomp::partialSolve,
          &DoubleQRDecomp::computeResidualVec, &DoubleQRDecomp::computeXb}) {
        EXPECT_EQ(0u, (qr.*member)(two, 1).length());
        const MathReport expected = {0x5002, 1, 0xF000, "b vector length wrong (2!=3)"};
        EXPECT_EQ(std::vector{expected}, errors.take());
    }
    EXPECT_EQ(0u, qr.permute(DoubleVec(3, 0.0)).length());
    EXPECT_EQ(0u, qr.unpermute(DoubleVec()).length());
    EXPECT_EQ("vector wrong length to permute (3!=2)\nvector wrong length to permute (0!=2)",
              errors.takeText());
    const DoubleVec y = vectorOf({1, 2, 3});
    EXPECT_EQ(2u, qr.solve(y).length());
    EXPECT_EQ(2u, qr.partialSolve(y, 2).length());
    const char* unsolved = "Can't solve system of equations, matrix not successfully factorized";
    EXPECT_EQ(std::string(unsolved) + "\n" + unsolved, errors.takeText());
    EXPECT_EQ(vectorOf({1}), qr.partialSolve(y, 1));  // the zero lies beyond
    qr.computeXb(y, 2);
    EXPECT_EQ("", errors.takeText());
}

TEST(QRDecomp, ResultsAreNeitherSharedWithTheInputNorOverwritten) {
    const DoubleGenMat x = randomMatrix(4, 3);
    const DoubleGenMat before = x.copy();
    DoubleQRDecomp qr = factored(x, 1);
    const DoubleQRDecomp copy(qr);
    DoubleQRDecomp assigned(randomMatrix(9, 9));
    assigned = qr;
    const IntVec pivots = qr.pivots();
    const IntVec pivotsBefore = pivots.copy();
    const DoubleVec y = randomVector(4);
    const DoubleVec solution = qr.solve(y);
    qr.factor(DoubleGenMat(4, 3, 1.0));
    EXPECT_EQ(before, x);
    EXPECT_EQ(pivotsBefore, pivots);
    EXPECT_EQ(solution, copy.solve(y));
    EXPECT_EQ(solution, assigned.solve(y));
    // A view with a stride and a vector with a stride: rows of a larger matrix.
    const DoubleGenMat wide = randomMatrix(2, 24);
    const DoubleGenMat view(wide.row(1).slice(0, 12, 2), 4, 3);
    EXPECT_EQ(DoubleQRDecomp(view.copy()).solve(y), DoubleQRDecomp(view).solve(y));
    EXPECT_EQ(factored(x, 1).solve(wide.row(0).slice(1, 4, 3).copy()),
              factored(x, 1).solve(wide.row(0).slice(1, 4, 3)));
}

// ---- Singular values

void checkSingularVectors(const DoubleGenMat& x, const DoubleSVDecomp& svd) {
    const int m = static_cast<int>(svd.singularValues().length());
    const double bound = 50 * kEps * (x.rows() + x.cols() + 1);
    const DoubleGenMat u = svd.leftVecs();
    const DoubleGenMat v = svd.rightVecs();
    EXPECT_LE(defectOf(u), bound);
    EXPECT_LE(defectOf(v), bound);
    DoubleGenMat rebuilt(x.rows(), x.cols(), 0.0);
    for (int k = 0; k < m; ++k) {
        for (int j = 0; j < static_cast<int>(x.cols()); ++j) {
            rebuilt.col(j) += u.col(k) * (svd.singularValues()(k) * v.val(j, k));
        }
    }
    EXPECT_LE(largest(rebuilt - x), bound * (largest(x) + 1e-300));
}

TEST(SVDecomp, FindsGivenSingularValues) {
    for (const Shape& s : kShapes) {
        const unsigned m = std::min(s.rows, s.cols);
        if (m == 0) continue;
        for (double decay : {1.0, 0.5, 1e-3, 0.0}) {
            SCOPED_TRACE(describe(s) << " decay " << decay);
            DoubleVec expected(m, 3.0);
            for (int k = 1; k < static_cast<int>(m); ++k) expected(k) = expected(k - 1) * decay;
            const DoubleGenMat x = matrixWithSingularValues(s.rows, s.cols, expected);
            const DoubleSVDecomp svd(x);
            EXPECT_EQ(0, svd.fail());
            EXPECT_EQ(1, svd.good());
            ASSERT_EQ(m, svd.singularValues().length());
            EXPECT_EQ(static_cast<int>(m), svd.numSVsFound());
            EXPECT_EQ(s.cols, svd.eValues().length());
            EXPECT_LE(largest(svd.singularValues() - expected), 100 * kEps * (s.rows + s.cols));
            for (int k = 1; k < static_cast<int>(m); ++k) {
                EXPECT_GE(svd.singularValues()(k - 1), svd.singularValues()(k));
            }
            checkSingularVectors(x, svd);
        }
    }
}

// The setters as a chain of calls on one object: what each returns, and the shapes that the next
// factorization of a 5 x 3 matrix gives.
TEST(SVDecomp, JobSetters) {
    enum Call { kLeft, kAllLeft, kRight };
    const struct {
        Call call;
        int flag, returns;
        unsigned leftCols, rightCols;  // 0: not computed
    } kChain[] = {
        {kLeft, 1, 1, 5, 3},    {kAllLeft, 1, 1, 5, 3}, {kAllLeft, 0, 1, 3, 3},
        {kAllLeft, 0, 0, 3, 3}, {kLeft, 1, 1, 3, 3},    {kRight, 0, 1, 3, 0},
        {kRight, 0, 0, 3, 0},   {kAllLeft, 1, 0, 5, 0}, {kAllLeft, 0, 1, 3, 0},
        {kLeft, 0, 1, 0, 0},    {kLeft, 0, 0, 0, 0},    {kAllLeft, 0, 0, 0, 0},
        {kAllLeft, 1, 0, 0, 0}, {kRight, 1, 0, 0, 3},   {kRight, 1, 1, 0, 3},
        {kLeft, 1, 0, 5, 3},    {kLeft, 0, 1, 0, 3},
    };
    DoubleSVDecomp svd;
    const DoubleGenMat x = randomMatrix(5, 3);
    const DoubleVec values = DoubleSVDecomp(x).singularValues();
    int step = 0;
    for (const auto& c : kChain) {
        SCOPED_TRACE(testing::Message() << "step " << step++);
        const int returned = c.call == kLeft      ? svd.computeLeftVecs(c.flag)
                             : c.call == kAllLeft ? svd.computeAllLeftVecs(c.flag)
                                                  : svd.computeRightVecs(c.flag);
        EXPECT_EQ(c.returns, returned);
        DoubleSVDecomp fresh(svd);
        fresh.factor(x);
        EXPECT_LE(largest(fresh.singularValues() - values), 20 * kEps);
        EXPECT_EQ(c.leftCols == 0 ? 0 : 5u, fresh.leftVecs().rows());
        EXPECT_EQ(c.leftCols, fresh.leftVecs().cols());
        EXPECT_EQ(c.rightCols, fresh.rightVecs().rows());
        EXPECT_EQ(c.rightCols, fresh.rightVecs().cols());
        if (c.leftCols != 0 && c.rightCols != 0) checkSingularVectors(x, fresh);
    }
}

TEST(SVDecomp, NothingToFindFails) {
    for (const Shape& s : {Shape{0, 0}, Shape{0, 3}, Shape{3, 0}}) {
        SCOPED_TRACE(describe(s));
        DoubleSVDecomp svd(randomMatrix(4, 4));
        svd.factor(DoubleGenMat(s.rows, s.cols));
        EXPECT_EQ(0u, svd.singularValues().length());
        EXPECT_EQ(1, svd.fail());
        EXPECT_EQ(0, svd.numSVsFound());
        EXPECT_EQ(identityMatrix(s.rows), svd.leftVecs());
        EXPECT_EQ(identityMatrix(s.cols), svd.rightVecs());
    }
    EXPECT_EQ(1, DoubleSVDecomp().fail());
}

TEST(SVDecomp, ResultsTakenBeforeKeepTheirValues) {
    DoubleSVDecomp svd(randomMatrix(5, 3));
    const DoubleSVDecomp other(svd);
    const DoubleVec s = svd.singularValues(), before = s.copy();
    const DoubleGenMat u = svd.leftVecs(), uBefore = u.copy();
    svd.factor(randomMatrix(5, 3, 2));
    EXPECT_NE(before, svd.singularValues());
    EXPECT_TRUE(before == s && uBefore == u && before == other.singularValues());
    svd = other;
    EXPECT_EQ(before, svd.singularValues());
}

// ---- Input that is not finite

TEST(Decompositions, EndOnInputThatIsNotFinite) {
    for (double bad : {kNan, kInfinity, -kInfinity}) {
        for (const Shape& s : {Shape{1, 1}, Shape{4, 4}, Shape{6, 3}, Shape{3, 6}, Shape{40, 40}}) {
            for (int at : {0, static_cast<int>(s.rows * s.cols) - 1}) {
                SCOPED_TRACE(describe(s) << " with " << bad << " at " << at);
                DoubleGenMat x = randomMatrix(s.rows, s.cols);
                x.dataVec()(at) = bad;
                const DoubleSVDecomp svd(x);
                EXPECT_EQ(1, svd.fail());
                EXPECT_GE(svd.numSVsFound(), 0);
                EXPECT_LT(svd.numSVsFound(), static_cast<int>(std::min(s.rows, s.cols)));
                const DoubleQRDecomp qr = factored(x, 1);
                IntVec seen(s.cols, 0);
                for (int j = 0; j < static_cast<int>(s.cols); ++j) ++seen[qr.pivots()[j]];
                EXPECT_EQ(IntVec(s.cols, 1), seen);
                EXPECT_EQ(s.cols, qr.solve(DoubleVec(s.rows, 1.0)).length());
            }
        }
    }
}

}  // namespace
