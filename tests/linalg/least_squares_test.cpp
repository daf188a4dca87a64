// What could break here: which columns count as free, where their zeros land after the permutation
// is undone, and systems without rows or columns.
#include <gtest/gtest.h>

#include "KelvoBase/qr_svd.h"
#include "tests/linalg/recorded_errors.h"
#include "tests/linalg/test_matrices.h"

namespace {

using namespace kelvo::test;

DoubleLeastSqQR factored(const DoubleGenMat& x, double tolerance) {
    DoubleLeastSqQR solver;
    solver.doPivoting(1);
    solver.setTolerance(tolerance);
    solver.factor(x);
    return solver;
}

DoubleGenMat diagonalMatrix(unsigned rows, unsigned cols, std::initializer_list<double> values) {
    DoubleGenMat x(rows, cols, 0.0);
    x.diagonal(0) = vectorOf(values);
    return x;
}

TEST(LeastSqQR, FreeColumnsAreCountedFromTheEnd) {
    const struct {
        const char* what;
        DoubleGenMat x;
        double tolerance;
        int free;
    } kCases[] = {
        {"full rank", diagonalMatrix(4, 3, {3, 2, 1}), 0.0, 0},
        {"exact zero", diagonalMatrix(4, 3, {3, 2, 0}), 0.0, 1},
        {"small is not zero", diagonalMatrix(3, 3, {3, 1e-9, 1e-9}), 0.0, 0},
        {"small within the tolerance", diagonalMatrix(3, 3, {3, -1e-9, 1e-9}), 1e-8, 2},
        {"equal to the tolerance", diagonalMatrix(3, 3, {3, 2, 0.5}), 0.5, 1},
        {"zero before a larger one", diagonalMatrix(3, 3, {3, 0, 2}), 0.0, 0},
        {"all within", diagonalMatrix(3, 3, {3, 2, 1}), 4.0, 3},
        {"wide", diagonalMatrix(2, 3, {3, 2}), 0.0, 1},
        {"wide with a zero", diagonalMatrix(2, 5, {3, 0}), 0.0, 4},
        {"not a number stops", matrixOf(2, 2, {0, 0, 0, kNan}), 0.0, 0},
        {"negative tolerance", diagonalMatrix(3, 3, {3, 2, 0}), -1.0, 0},
        {"no rows", DoubleGenMat(0, 4), 0.0, 4},
        {"nothing", DoubleGenMat(), 0.0, 0},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        DoubleLeastSqQR solver(c.x);
        EXPECT_EQ(0.0, solver.setTolerance(c.tolerance));
        EXPECT_EQ(c.free, solver.numFreeCols());
        EXPECT_EQ(c.free != 0, solver.isUnderDetermined());
        EXPECT_EQ(static_cast<int>(c.x.rows()), solver.numEquations());
        EXPECT_EQ(c.tolerance, solver.setTolerance(1.0));
    }
}

// The minimum is found whatever the rank: the residual is orthogonal to every column, and the free
// columns have exactly 0.
TEST(LeastSqQR, BasicSolutionOfDependentColumns) {
    const struct {
        unsigned rows, cols, rank;
    } kCases[] = {{3, 3, 3}, {10, 4, 4},   {10, 4, 2},   {4, 10, 4}, {4, 10, 3},
                  {8, 8, 1}, {50, 30, 12}, {30, 50, 29}, {5, 3, 0}};
    for (const auto& c : kCases) {
        SCOPED_TRACE(testing::Message() << c.rows << " x " << c.cols << " of rank " << c.rank);
        const DoubleGenMat x = matrixOfRank(c.rows, c.cols, c.rank);
        const DoubleLeastSqQR solver = factored(x, 1e-10);
        const int determined = static_cast<int>(c.rank);
        ASSERT_EQ(static_cast<int>(c.cols) - determined, solver.numFreeCols());
        const DoubleVec b = randomVector(c.rows, 3);
        const DoubleVec solution = solver.solve(b);
        ASSERT_EQ(c.cols, solution.length());
        for (int k = determined; k < static_cast<int>(c.cols); ++k) {
            EXPECT_EQ(0.0, solution(solver.pivots()(k)));
        }
        const DoubleVec residual = b - product(x, solution);
        EXPECT_LE(largest(product(residual, x)), 1e-11);
        EXPECT_LE(largest(solver.residual(b) - residual), 1e-11);
        EXPECT_LE(largest(solver.residual(product(x, randomVector(c.cols)))), 1e-11);
    }
}

TEST(LeastSqQR, HidesTheSolveThatKnowsNoFreeColumns) {
    RecordedErrors errors;
    const DoubleLeastSqQR solver(diagonalMatrix(3, 2, {2, 0}));
    const DoubleVec b = vectorOf({4, 5, 6});
    EXPECT_EQ(vectorOf({2, 0}), solver.solve(b));
    EXPECT_EQ(vectorOf({0, 5, 6}), solver.residual(b));
    EXPECT_EQ("", errors.takeText());
    EXPECT_EQ(2u, solver.DoubleQRDecomp::solve(b).length());
    EXPECT_EQ(kUnsolvable, errors.takeText());
}

TEST(LeastSqQR, ReportsAndReturns) {
    RecordedErrors errors;
    const DoubleLeastSqQR solver(randomMatrix(3, 2));
    EXPECT_EQ(0u, solver.solve(DoubleVec(2, 1.0)).length());
    EXPECT_EQ(0u, solver.residual(DoubleVec(4, 1.0)).length());
    EXPECT_EQ("b vector length wrong (2!=3)\nb vector length wrong (4!=3)", errors.takeText());
    EXPECT_EQ(0u, DoubleLeastSqQR(DoubleGenMat(3, 0)).solve(DoubleVec(3, 1.0)).length());
    EXPECT_EQ(kUnsolvable, errors.takeText());
    EXPECT_EQ(0u, DoubleLeastSqQR(DoubleGenMat(0, 2)).residual(DoubleVec()).length());
    EXPECT_EQ(kUnsolvable, errors.takeText());
    // The other two of these calls have an answer.
    EXPECT_EQ(DoubleVec(2, 0.0), DoubleLeastSqQR(DoubleGenMat(0, 2)).solve(DoubleVec()));
    EXPECT_EQ(DoubleVec(3, 1.0), DoubleLeastSqQR(DoubleGenMat(3, 0)).residual(DoubleVec(3, 1.0)));
    EXPECT_EQ("", errors.takeText());
    // A zero that is not at the end is no free column: reported, and the rest is returned.
    const DoubleLeastSqQR gap(diagonalMatrix(3, 3, {3, 0, 2}));
    const DoubleVec partial = gap.solve(vectorOf({3, 1, 4}));
    EXPECT_EQ(kUnsolvable, errors.takeText());
    EXPECT_EQ(2.0, partial(2));
}

TEST(LeastSqQR, CopiesKeepTheirTolerance) {
    DoubleLeastSqQR solver(diagonalMatrix(3, 2, {2, 1e-9}));
    solver.setTolerance(1e-6);
    DoubleLeastSqQR copy(solver);
    DoubleLeastSqQR assigned(randomMatrix(5, 5));
    assigned = solver;
    solver.factor(randomMatrix(4, 4));
    EXPECT_EQ(1, copy.numFreeCols());
    EXPECT_EQ(1, assigned.numFreeCols());
    EXPECT_EQ(1e-6, assigned.setTolerance(0.0));
    EXPECT_EQ(0, solver.numFreeCols());
}

}  // namespace
