// What could break here: the order and direction of the permutation, the first or last column of a
// projection (k = 0, k = min(rows, cols), one row), results that a later factorization overwrites,
// the job digits of the singular value decomposition, and input that is not finite.
#include "KelvoBase/qr_svd.h"

#include <gtest/gtest.h>

#include "tests/linalg/recorded_errors.h"
#include "tests/linalg/test_matrices.h"

namespace {

using namespace kelvo::test;

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

// Every projection onto the first k columns, against what defines it.
void expectProjections(const DoubleGenMat& permuted, const DoubleQRDecomp& qr, int k) {
    SCOPED_TRACE(k);
    const int rows = static_cast<int>(permuted.rows());
    const DoubleVec y = randomVector(permuted.rows(), 5);
    const DoubleVec fit = qr.computeXb(y, k), residual = qr.computeResidualVec(y, k);
    const DoubleVec b = qr.partialSolve(y, k);
    ASSERT_EQ(static_cast<unsigned>(k), b.length());
    EXPECT_LE(largest(fit + residual - y), 1e-13);
    EXPECT_LE(largest(qr.computeQTy(qr.computeQy(y, k), k) - y), 1e-13);
    EXPECT_NEAR(y.vecLen(), qr.computeQy(y, k).vecLen(), 1e-13);
    DoubleVec combined(permuted.rows(), 0.0);
    for (int j = 0; j < k; ++j) {
        combined += permuted.col(j) * b(j);
        EXPECT_NEAR(0, dot(permuted.col(j), residual), 1e-12);
        const DoubleVec triangular = qr.computeQTy(permuted.col(j), k);
        for (int i = j + 1; i < rows; ++i) EXPECT_NEAR(0, triangular(i), 1e-13) << i;
    }
    EXPECT_LE(largest(combined - fit), 1e-12 * (1 + largest(b)));
    EXPECT_TRUE(k > 0 || (fit == DoubleVec(permuted.rows(), 0.0) && residual == y));
}

TEST(QRDecomp, ProjectionsSplitAVector) {
    for (const Shape& s : kShapes) {
        const DoubleGenMat x = randomMatrix(s.rows, s.cols);
        const DoubleVec y = randomVector(s.rows, 5);
        const int m = static_cast<int>(std::min(s.rows, s.cols));
        for (int pivoting : {0, 1}) {
            SCOPED_TRACE(describe(s) << " pivoting " << pivoting);
            const DoubleQRDecomp qr = factored(x, pivoting);
            DoubleGenMat permuted(x.rows(), x.cols());
            for (int j = 0; j < static_cast<int>(x.cols()); ++j)
                permuted.col(j) = x.col(qr.pivots()(j));
            for (int k : {0, 1, m / 2, m - 1, m})
                if (k >= 0 && k <= m) expectProjections(permuted, qr, k);
            for (int outside : {-1, m + 1, 1000})
                EXPECT_EQ(qr.partialSolve(y, m), qr.partialSolve(y, outside));
        }
    }
}

TEST(QRDecomp, PermuteOrdersLikeTheColumns) {
    const DoubleGenMat x = matrixOf(3, 3, {2, 0, 0, 0, 1, 0, 0, 0, 3});
    const DoubleQRDecomp qr = factored(x, 1);
    const int order[] = {2, 0, 1};  // not its own inverse
    EXPECT_EQ(IntVec(order, 3), qr.pivots());
    EXPECT_EQ(vectorOf({12, 10, 11}), qr.permute(vectorOf({10, 11, 12})));
    EXPECT_EQ(vectorOf({11, 12, 10}), qr.unpermute(vectorOf({10, 11, 12})));
    EXPECT_EQ(IntVec(3, 0, 1), DoubleQRDecomp(x).pivots());
    EXPECT_EQ(vectorOf({10, 11, 12}), DoubleQRDecomp(x).permute(vectorOf({10, 11, 12})));
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
    EXPECT_EQ(std::string(kUnsolvable) + "\n" + kUnsolvable, errors.takeText());
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
    const DoubleGenMat u = svd.leftVecs(), v = svd.rightVecs();
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

TEST(SVDecomp, FindsValuesAndVectors) {
    for (const Shape& s : kShapes) {
        const unsigned m = std::min(s.rows, s.cols);
        for (unsigned rank = m; rank > 0; rank /= 2) {
            SCOPED_TRACE(describe(s) << " rank " << rank);
            const DoubleGenMat x = matrixOfRank(s.rows, s.cols, rank);
            const DoubleSVDecomp svd(x);
            const DoubleVec values = svd.singularValues();
            EXPECT_EQ(1, svd.good() && !svd.fail());
            EXPECT_EQ(static_cast<int>(m), svd.numSVsFound());
            EXPECT_EQ(s.cols, svd.eValues().length());
            ASSERT_EQ(m, values.length());
            for (int k = 0; k < static_cast<int>(m); ++k) {
                EXPECT_LE(0.0, values(k));
                EXPECT_TRUE(k == 0 || values(k - 1) >= values(k)) << k;
                EXPECT_EQ(k<static_cast<int>(rank), values(k)> 1e-13 * values(0)) << k;
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
        for (const Shape& s : {Shape{1, 1}, Shape{6, 3}, Shape{3, 6}, Shape{40, 40}}) {
            SCOPED_TRACE(describe(s) << " with " << bad);
            DoubleGenMat x = randomMatrix(s.rows, s.cols);
            x.dataVec()(static_cast<int>(s.rows * s.cols / 2)) = bad;
            const DoubleSVDecomp svd(x);
            EXPECT_EQ(1, svd.fail());
            EXPECT_EQ(0, svd.numSVsFound());
            EXPECT_EQ(s.cols, factored(x, 1).solve(DoubleVec(s.rows, 1.0)).length());
        }
    }
}

}  // namespace
