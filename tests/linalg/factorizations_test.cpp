// What could break here: verdicts (fail, isSingular, isPD, condition) at their edges, the order of
// reports and what they leave behind, results shared by copies, the direction of permutations and
// shifts, and a factor that no longer belongs to the changed matrix.
#include "KelvoBase/factorizations.h"

#include <gtest/gtest.h>
#include <lapacke.h>

#include <limits>
#include <string>
#include <vector>

#include "Base/ma.h"
#include "tests/linalg/recorded_errors.h"
#include "tests/linalg/test_matrices.h"

namespace {

using namespace kelvo::test;

const unsigned kSizes[] = {1, 2, 3, 4, 5, 10, 50, 130};

int order(unsigned n) {
    return static_cast<int>(n);
}

DoubleGenMat positiveDefinite(unsigned n, unsigned seed = 1) {
    const DoubleGenMat b = randomMatrix(n + 2, n, seed);
    DoubleGenMat a = transposeProduct(b, b);
    a.diagonal(0) += 1e-3;
    return a;
}

template <class Mat>
double residual(const Mat& a, const DoubleVec& x, const DoubleVec& b) {
    const DoubleGenMat full(a);
    const double size = largest(full) * largest(x) * full.rows() * kEps;
    return largest(product(a, x) - b) / (size + 1e-300);
}

// ---- LU and symmetric: one set of rules

template <class Fact>
auto given(const DoubleGenMat& m) {
    if constexpr (std::is_same_v<Fact, DoubleGenFact>) {
        return m.copy();
    } else {
        return toSymMat(m);
    }
}

template <class Fact>
class SquareFact : public testing::Test {};
typedef testing::Types<DoubleGenFact, DoubleSymFact> Facts;
TYPED_TEST_SUITE(SquareFact, Facts);

TYPED_TEST(SquareFact, SolvesAndInverts) {
    for (unsigned n : kSizes) {
        SCOPED_TRACE(n);
        const auto a = given<TypeParam>(randomMatrix(n, n));
        const TypeParam fact(a);
        ASSERT_TRUE(fact.good() && !fact.isSingular());
        const DoubleVec b = randomVector(n, 2);
        EXPECT_LE(residual(a, fact.solve(b), b), 100);
        const DoubleGenMat inverse(fact.inverse());
        const double condition = largest(DoubleGenMat(a)) * largest(inverse) * n;
        EXPECT_LE(largest(product(DoubleGenMat(a), inverse) - identityMatrix(n)),
                  100 * kEps * condition * n);
        EXPECT_LE(0.01 / (condition * n), fact.condition());
        EXPECT_LE(fact.condition(), 20 * n / condition);
        const TypeParam again(a, 0);
        EXPECT_EQ(fact.solve(b), again.solve(b));
        EXPECT_NEAR(1, fact.determinant() * TypeParam(fact.inverse()).determinant(), 1e-6);
    }
}

TYPED_TEST(SquareFact, VerdictsAndReports) {
    const double det = std::numeric_limits<double>::min();
    const struct {
        const char* what;
        DoubleGenMat a;
        int estimate, fail, singular;
        double condition, determinant;
    } kCases[] = {
        {"swap", matrixOf(2, 2, {0, 1, 1, 0}), 0, 0, 0, -1, -1},
        {"swap, estimated", matrixOf(2, 2, {0, 1, 1, 0}), 1, 0, 0, 1, -1},
        {"singular", matrixOf(2, 2, {1, 2, 2, 4}), 0, 1, 1, 0, 0},
        {"singular, estimated", matrixOf(2, 2, {1, 2, 2, 4}), 1, 1, 1, 0, 0},
        {"nearly, unnoticed", matrixOf(2, 2, {1, 0, 0, 1e-20}), 0, 0, 0, -1, 1e-20},
        {"nearly", matrixOf(2, 2, {1, 0, 0, 1e-20}), 1, 1, 1, 1e-20, 1e-20},
        {"zero", DoubleGenMat(3, 3, 0.0), 1, 1, 1, 0, 0},
        {"nothing", DoubleGenMat(), 1, 1, 0, -1, 0},
        {"underflow", matrixOf(2, 2, {det, 0, 0, det}), 0, 0, 0, -1, 0},
        {"subnormal", matrixOf(2, 2, {1e-200, 0, 0, 1e-120}), 0, 0, 0, -1, 1e-320},
        {"overflow", matrixOf(2, 2, {1e200, 0, 0, 1e200}), 0, 0, 0, -1, kInfinity},
        {"large", matrixOf(2, 2, {8e307, 0, 0, 1.5}), 0, 0, 0, -1, 1.2e308},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        RecordedErrors errors;
        const TypeParam fact(given<TypeParam>(c.a), c.estimate);
        EXPECT_EQ(c.fail, fact.fail());
        EXPECT_EQ(1 - c.fail, fact.good());
        EXPECT_EQ(c.singular, fact.isSingular());
        EXPECT_EQ("", errors.takeText());
        EXPECT_NEAR(c.condition, fact.condition(), 1e-15 * std::abs(c.condition));
        EXPECT_EQ(c.condition < 0 ? "Condition number not calculated" : "", errors.takeText());
        EXPECT_DOUBLE_EQ(c.determinant, fact.determinant());
        const unsigned n = c.a.rows();
        EXPECT_EQ(n, fact.solve(DoubleVec(n, 1.0)).length());
        EXPECT_EQ(c.fail ? kUnsolvable : "", errors.takeText());
        EXPECT_EQ(n, fact.inverse().rows());
        EXPECT_EQ(c.fail ? kUnsolvable : "", errors.takeText());
        EXPECT_EQ(0u, fact.solve(DoubleVec(n + 1, 1.0)).length());
        EXPECT_EQ(
            "b vector length wrong (" + std::to_string(n + 1) + "!=" + std::to_string(n) + ")",
            errors.takeText());
    }
}

TYPED_TEST(SquareFact, CopiesKeepTheirResults) {
    auto a = given<TypeParam>(matrixOf(2, 2, {2, 1, 1, 3}));
    const DoubleVec b = vectorOf({3, 4});
    TypeParam first(a);
    const TypeParam copy(first);
    TypeParam assigned(given<TypeParam>(identityMatrix(5)));
    assigned = first;
    a.set(0, 0, 100);
    first.factor(given<TypeParam>(identityMatrix(2)));
    EXPECT_EQ(b, first.solve(b));
    for (const TypeParam* kept : {&copy, &static_cast<const TypeParam&>(assigned)})
        EXPECT_LE(largest(kept->solve(b) - vectorOf({1, 1})), 1e-15);
    first.factor(given<TypeParam>(DoubleGenMat()));
    EXPECT_TRUE(first.fail() && first.determinant() == 0.0);
}

TYPED_TEST(SquareFact, TakesViewsAndAnyNumbers) {
    DoubleVec wide(2 * 9, 7.0);
    wide.slice(0, 9, 2) = matrixOf(3, 3, {4, 1, 0, 1, 4, 1, 0, 1, 4}).dataVec();
    const DoubleGenMat view(wide.slice(0, 9, 2), 3, 3);
    const DoubleVec b = vectorOf({5, 6, 5});
    EXPECT_LE(largest(TypeParam(given<TypeParam>(view)).solve(b) - 1.0), 1e-15);
    const DoubleVec strided = DoubleVec(6, 5.0).slice(0, 3, 2);
    EXPECT_EQ(3u, TypeParam(given<TypeParam>(view)).solve(strided).length());
    for (double odd : {kNan, kInfinity, -kInfinity}) {
        DoubleGenMat m = randomMatrix(6, 6);
        m(2, 3) = m(3, 2) = odd;
        RecordedErrors errors;
        const TypeParam fact(given<TypeParam>(m));
        fact.condition();
        fact.determinant();
        fact.inverse();
        EXPECT_EQ(6u, fact.solve(DoubleVec(6, 1.0)).length());
    }
}

TEST(GenFact, SwapExample) {
    const DoubleGenFact fact(matrixOf(2, 2, {0, 1, 1, 0}), 0);
    EXPECT_EQ(vectorOf({2, 1}), fact.solve(vectorOf({1, 2})));
}

TEST(GenFact, CountsTheRowsOfAMatrixThatIsNotSquare) {
    RecordedErrors errors;
    const DoubleGenFact tall(matrixOf(3, 2, {1, 0, 0, 1, 0, 0}));
    EXPECT_EQ("Can't factorize, 3x2 matrix not square", errors.takeText());
    EXPECT_TRUE(tall.fail());
    const DoubleGenFact wide(matrixOf(2, 3, {2, 0, 9, 0, 4, 9}));
    EXPECT_EQ("Can't factorize, 2x3 matrix not square", errors.takeText());
    EXPECT_EQ(vectorOf({1, 1}), wide.solve(vectorOf({2, 4})));
    EXPECT_EQ(8.0, wide.determinant());
}

TEST(GenFact, AgreesWithLapack) {
    for (unsigned n : kSizes) {
        const DoubleGenMat a = randomMatrix(n, n, 7);
        DoubleGenMat peer = a.copy();
        std::vector<int> pivots(n);
        const DoubleVec b = randomVector(n);
        DoubleVec x = b.copy();
        ASSERT_EQ(0, LAPACKE_dgesv(LAPACK_COL_MAJOR, order(n), 1, peer.data(), order(n),
                                   pivots.data(), x.data(), order(n)));
        double determinant = 1.0;
        for (int i = 0; i < order(n); ++i)
            determinant *= pivots[static_cast<unsigned>(i)] == i + 1 ? peer(i, i) : -peer(i, i);
        const DoubleGenFact fact(a);
        EXPECT_LE(largest(fact.solve(b) - x), 1e-10 * largest(x));
        EXPECT_NEAR(1.0, fact.determinant() / determinant, 1e-10);
    }
}

// ---- Cholesky

// The inverse of R'R, column by column.
DoubleGenMat inverseOf(const DoubleChDecomp& ch, unsigned n) {
    DoubleGenMat x(n, n);
    for (int j = 0; j < order(n); ++j) {
        DoubleVec e(n, 0.0);
        e(j) = 1.0;
        x.col(j) = ch.partialSolve(e, order(n));
    }
    return x;
}

// R'R is `a`, up to the rounding that its condition allows.
void expectFactorOf(const DoubleGenMat& a, const DoubleChDecomp& ch, double tolerance = 1e-9) {
    const DoubleGenMat inverse = inverseOf(ch, a.rows());
    EXPECT_LE(largest(product(a, inverse) - identityMatrix(a.rows())),
              tolerance * (1 + largest(a) * largest(inverse)));
}

TEST(ChDecomp, SolvesWithAndWithoutPivoting) {
    for (unsigned n : kSizes) {
        const DoubleGenMat a = positiveDefinite(n);
        const DoubleVec b = randomVector(n, 3);
        const DoubleVec lu = DoubleGenFact(a).solve(b);
        for (int pivoting : {0, 1}) {
            SCOPED_TRACE(testing::Message() << n << " pivoting " << pivoting);
            DoubleChDecomp ch;
            ch.doPivoting(pivoting);
            if (pivoting) ch.setPivoting(order(n) / 2, DoubleChDecomp::INITIAL);
            ch.factor(a);
            EXPECT_TRUE(ch.isPD() && ch.good() && !ch.fail());
            EXPECT_EQ(order(n), ch.lastPosFactor());
            EXPECT_EQ(pivoting ? order(n) / 2 : 0, ch.pivots()(0));
            const DoubleVec x = ch.solve(b);
            EXPECT_LE(residual(a, x, b), 100);
            EXPECT_LE(largest(x - lu), 1e-6 * largest(lu));
            EXPECT_EQ(b, ch.unpermute(ch.permute(b)));
        }
    }
}

TEST(ChDecomp, ConditionLooksAtTheLastStepOnly) {
    RecordedErrors errors;
    DoubleChDecomp ch(identityMatrix(3));
    EXPECT_EQ(-1.0, ch.condition());
    EXPECT_EQ("Condition number not calculated", errors.takeText());
    ch.doPivoting(1);
    EXPECT_EQ(-1.0, ch.condition());
    errors.take();
    const struct {
        DoubleGenMat a;
        int last;
        double condition;
    } kCases[] = {{identityMatrix(3), 3, 0.0},
                  {matrixOf(2, 2, {4, 0, 0, -1}), 1, 0.25},
                  {matrixOf(3, 3, {4, 0, 0, 0, 0, 0, 0, 0, 0}), 1, 0.0},
                  {DoubleGenMat(), 0, 0.0}};
    for (const auto& c : kCases) {
        ch.factor(c.a);
        EXPECT_EQ(c.last, ch.lastPosFactor());
        EXPECT_EQ(c.condition, ch.condition());
    }
    EXPECT_EQ("", errors.takeText());
}

TEST(ChDecomp, SemidefiniteMatrixHasItsRank) {
    for (unsigned r : {1u, 2u, 5u}) {
        DoubleGenMat b(8, r);
        for (int j = 0; j < order(r); ++j)
            for (int i = 0; i < 8; ++i) b(i, j) = i == j ? 2 : (i * j) % 3 == 1;
        const DoubleGenMat a = product(b, transpose(b));  // small integers, no rounding
        DoubleChDecomp ch;
        ch.doPivoting(1);
        ch.factor(a);
        RecordedErrors errors;
        // Square roots round, so that the last pivots may come out tiny instead of zero.
        const int rank = ch.lastPosFactor();
        EXPECT_LE(order(r), rank);
        EXPECT_FALSE(ch.isPD());
        EXPECT_EQ(r, ch.partialSolve(DoubleVec(r, 1.0), order(r)).length());
        EXPECT_EQ("", errors.takeText());
        const auto next = static_cast<unsigned>(rank) + 1;
        ch.partialSolve(DoubleVec(next, 1.0), rank + 1);
        EXPECT_EQ(kUnsolvable, errors.takeText());
        EXPECT_EQ(0u, ch.partialSolve(DoubleVec(9, 1.0), 9).length());
        EXPECT_EQ(kUnsolvable, errors.takeText());
        ch.partialSolve(DoubleVec(2, 1.0), 3);
        EXPECT_EQ("b vector length wrong (2!=3)", errors.takeText());
    }
}

// Callers rely on what it looks at: the diagonal from the last positive element on.
TEST(ChDecomp, FailAsksForNegativeElements) {
    const struct {
        DoubleGenMat a;
        int last, fail;
    } kCases[] = {{matrixOf(2, 2, {1, 0, 0, -1}), 1, 1}, {matrixOf(2, 2, {-1, 0, 0, -1}), 0, 0},
                  {matrixOf(2, 2, {1, 0, 0, 0}), 1, 0},  {matrixOf(2, 2, {1, 1, 1, 1}), 1, 0},
                  {matrixOf(1, 1, {kNan}), 0, 0},        {DoubleGenMat(), 0, 0}};
    for (const auto& c : kCases) {
        const DoubleChDecomp ch(c.a);
        EXPECT_EQ(c.last, ch.lastPosFactor());
        EXPECT_EQ(c.fail, ch.fail());
        EXPECT_EQ(1 - c.fail, ch.good());
    }
    EXPECT_TRUE(DoubleChDecomp().isPD());
}

TEST(ChDecomp, SpecifiersCountForOneFactorization) {
    RecordedErrors errors;
    DoubleChDecomp ch;
    EXPECT_EQ(0, ch.setPivoting(4, 2));
    EXPECT_EQ("Pivoting position specifier must be INITIAL,FREE, or FINAL, not 2",
              errors.takeText());
    EXPECT_EQ(0u, ch.pivots().length());
    EXPECT_EQ(0, ch.setPivoting(4, DoubleChDecomp::FINAL));
    EXPECT_EQ(5u, ch.pivots().length());
    EXPECT_EQ(-1, ch.setPivoting(4, DoubleChDecomp::INITIAL));
    EXPECT_EQ(1, ch.setPivoting(4, -2));
    errors.take();
    EXPECT_EQ(0, ch.setPivoting(0, DoubleChDecomp::FINAL));
    DoubleGenMat a = identityMatrix(6);
    a(2, 2) = 5;
    ch.doPivoting(1);
    ch.factor(a);
    EXPECT_EQ(indicesOf({4, 2, 1, 3, 5, 0}), ch.pivots());
    EXPECT_EQ(0, ch.setPivoting(1, DoubleChDecomp::FINAL));  // does not touch what was factored
    EXPECT_EQ(indicesOf({4, 2, 1, 3, 5, 0}), ch.pivots());
    ch.factor(a);
    EXPECT_EQ(indicesOf({2, 5, 0, 3, 4, 1}), ch.pivots());
    ch.factor(a);  // all free again
    EXPECT_EQ(indicesOf({2, 1, 0, 3, 4, 5}), ch.pivots());
    ch.doPivoting(0);
    ch.factor(a);
    EXPECT_EQ(IntVec(6, 0, 1), ch.pivots());
    EXPECT_EQ(0, ch.setPivoting(-1, 1));
    EXPECT_EQ(1u, errors.take().size());
}

TEST(ChDecomp, WrongShapes) {
    RecordedErrors errors;
    const DoubleChDecomp wide(matrixOf(1, 2, {1, 0}));
    EXPECT_EQ("Matrix must have more rows than cols to be factorizable, but 1<2",
              errors.takeText());
    EXPECT_EQ(1, wide.lastPosFactor());
    const DoubleChDecomp tall(matrixOf(3, 2, {4, 2, 2, 5, 9, 9}));
    EXPECT_EQ("", errors.takeText());
    EXPECT_EQ(2, tall.lastPosFactor());
    EXPECT_FALSE(tall.isPD());
    EXPECT_LE(largest(tall.solve(vectorOf({6, 7})) - 1.0), 1e-15);
    EXPECT_EQ(0u, tall.solve(vectorOf({1, 2, 3})).length());
    EXPECT_EQ("vector wrong length to permute (3!=2)", errors.takeText());
    EXPECT_EQ(0u, tall.unpermute(vectorOf({1})).length());
    EXPECT_EQ("vector wrong length to permute (1!=2)", errors.takeText());
    EXPECT_EQ(2u, DoubleChDecomp(matrixOf(2, 2, {1, 0, 0, -1})).solve(vectorOf({1, 2})).length());
    EXPECT_EQ(kUnsolvable, errors.takeText());
}

// ---- Following changes of the matrix

DoubleGenMat outer(const DoubleVec& x) {
    const DoubleGenMat column(x, x.length(), 1);
    return product(column, transpose(column));
}

// Columns in the order that a shift gives them.
DoubleGenMat shifted(const DoubleGenMat& a, int k, int l, int direction) {
    std::vector<int> from(a.cols());
    for (int i = 0; i < order(a.cols()); ++i) from[static_cast<unsigned>(i)] = i;
    const auto begin = from.begin();
    direction ? std::rotate(begin + k, begin + l, begin + l + 1)
              : std::rotate(begin + k, begin + k + 1, begin + l + 1);
    const IntVec places(from.data(), a.cols());
    return DoubleGenMat(a.matPick(places, places));
}

TEST(ChDecomp, FollowsAnySequenceOfChanges) {
    std::mt19937 engine(5);
    for (unsigned n : {2u, 3u, 10u, 50u}) {
        DoubleGenMat a = positiveDefinite(n);
        a.diagonal(0) += 3.0;
        DoubleChDecomp ch(a);
        std::vector<DoubleVec> rows;
        for (unsigned step = 0; step < 40; ++step) {
            SCOPED_TRACE(testing::Message() << "n " << n << " step " << step);
            const int k = static_cast<int>(engine() % n), l = static_cast<int>(engine() % n);
            if (step % 4 == 3 && !rows.empty()) {
                EXPECT_EQ(0, ch.downdate(rows.back()));
                a -= outer(rows.back());
                rows.pop_back();
            } else if (step % 4 == 2 && k < l) {
                ch.shift(k, l, order(step / 4 % 2));
                a.reference(shifted(a, k, l, order(step / 4 % 2)));
                rows.clear();
            } else {
                const DoubleVec x = randomVector(n, 100 + step);
                ch.update(x);
                a += outer(x);
                rows.push_back(x);
            }
            expectFactorOf(a, ch);
        }
    }
}

// Worked out by hand.
TEST(ChDecomp, CarriesDataAndRotationsAlong) {
    DoubleChDecomp ch(identityMatrix(1));
    DoubleGenMat z(1, 1, 2.0);
    DoubleVec y(1, 5.0), rho(1, 1.0), c(1), s(1);
    const DoubleVec x(1, 3.0), small(1, 1e-9);
    const double r = std::sqrt(10.0);
    ch.update(x, &z, &y, &rho, &c, &s);
    EXPECT_NEAR(
        0,
        largest(vectorOf({z(0, 0) - 17 / r, rho(0) - std::sqrt(1.1), c(0) - 1 / r, s(0) - 3 / r})),
        1e-14);
    c = s = 0.0;
    EXPECT_EQ(0, ch.downdate(x, &z, &y, &rho, &c, &s));
    EXPECT_NEAR(0, largest(vectorOf({z(0, 0) - 2, rho(0) - 1, c(0) - 1 / r, s(0) - 3 / r})), 1e-14);
    y = 1e6;
    EXPECT_EQ(1, ch.downdate(small, &z, &y, &rho));
    EXPECT_EQ(-1.0, rho(0));
    EXPECT_EQ(0, ch.downdate(small, &z));
    EXPECT_EQ(0, DoubleChDecomp().downdate(DoubleVec()));

    DoubleChDecomp pair(matrixOf(2, 2, {1, 0, 0, 4}));
    DoubleGenMat data = matrixOf(2, 1, {3, 4});
    pair.shift(0, 1, 1, &data, &c, &s);
    EXPECT_EQ(vectorOf({4, 3}), abs(data.dataVec()));
    EXPECT_TRUE(c(0) == 0.0 && std::abs(s(0)) == 1.0);
}

TEST(ChDecomp, RefusedDowndateChangesNothing) {
    const DoubleGenMat a = positiveDefinite(5);
    for (double size : {1e3, kInfinity, kNan}) {
        DoubleChDecomp ch(a);
        DoubleGenMat z(5, 1, 1.0);
        DoubleVec y(1, 2.0), rho(1, 3.0), c(5, 4.0), s(5, 5.0);
        const DoubleVec b = randomVector(5), before = ch.solve(b);
        EXPECT_EQ(-1, ch.downdate(DoubleVec(5, size), &z, &y, &rho, &c, &s));
        EXPECT_EQ(before, ch.solve(b));
        EXPECT_TRUE(z == DoubleGenMat(5, 1, 1.0) && rho(0) == 3.0 && c == DoubleVec(5, 4.0) &&
                    s == DoubleVec(5, 5.0));
        ch.update(DoubleVec(5, 1.0));
        expectFactorOf(a + 1.0, ch);
    }
}

TEST(ChDecomp, RefusedChangesReportAndChangeNothing) {
    RecordedErrors errors;
    const DoubleGenMat a = positiveDefinite(3);
    DoubleChDecomp ch(a);
    const DoubleVec x(3, 1.0), three(6, 1.0), strided = three.slice(0, 3, 2);
    DoubleGenMat z(3, 2, 0.0), low(2, 2, 0.0);
    DoubleVec one(1), two(2, 0.0), c(3), apart = DoubleVec(6, 0.0).slice(0, 3, 2);
    const struct {
        const char* text;
        const DoubleVec* x;
        DoubleGenMat* z;
        const DoubleVec* y;
        DoubleVec *rho, *c, *s;
    } kCases[] = {
        {"b vector length wrong (2!=3)", &two, &low, &one, &one, &one, &one},
        {"Data matrix wrong height (2!=3)", &strided, &low, &one, &one, &one, &one},
        {"Different number of residuals than data columns (1!=2)", &strided, &z, &one, &two, &one,
         &one},
        {"Different number of residuals than data columns (1!=2)", &x, &z, &two, &one, &c, &c},
        {"Different number of residuals than data columns (1!=0)", &x, nullptr, &one, nullptr, &c,
         &c},
        {"Vector to hold sines or cosines wrong length (2!=3)", &strided, &z, &two, &two, &two, &c},
        {"Vector to hold sines or cosines wrong length (1!=3)", &x, &z, &two, &two, &c, &one},
        {"vec pointers must have stride == 1", &strided, &z, &two, &two, &c, &c},
        {"vec pointers must have stride == 1", &x, &z, &two, &two, &c, &apart},
    };
    for (const auto& t : kCases) {
        ch.update(*t.x, t.z, t.y, t.rho, t.c, t.s);
        EXPECT_EQ(t.text, errors.takeText());
        EXPECT_EQ(-1, ch.downdate(*t.x, t.z, t.y, t.rho, t.c, t.s));
        EXPECT_EQ(t.text, errors.takeText());
    }
    const struct {
        const char* text;
        int k, l, direction;
        DoubleGenMat* z;
        DoubleVec *c, *s;
    } kShifts[] = {
        {"Invalid Cholesky shift direction", 2, 1, 3, &low, nullptr, nullptr},
        {"Invalid Cholesky shift direction", 0, 1, -1, nullptr, nullptr, nullptr},
        {"Invalid Cholesky shift columns (2,1)", 2, 1, 1, &low, nullptr, nullptr},
        {"Invalid Cholesky shift columns (1,1)", 1, 1, 0, nullptr, nullptr, nullptr},
        {"Invalid Cholesky shift columns (-1,1)", -1, 1, 0, nullptr, nullptr, nullptr},
        {"Invalid Cholesky shift columns (0,3)", 0, 3, 0, nullptr, nullptr, nullptr},
        {"Data matrix wrong height (2!=3)", 0, 1, 0, &low, &two, &two},
        {"Vector to hold sines or cosines wrong length (2!=1)", 0, 1, 0, &z, &two, &one},
        {"Vector to hold sines or cosines wrong length (3!=2)", 0, 2, 1, &z, &two, &c},
    };
    for (const auto& t : kShifts) {
        ch.shift(t.k, t.l, t.direction, t.z, t.c, t.s);
        EXPECT_EQ(t.text, errors.takeText());
    }
    expectFactorOf(a, ch, 1e-13);
}

// Copies do not follow; a change that finds no memory for a factor of its own keeps the shared one.
TEST(ChDecomp, ChangesLeaveTheSharedFactor) {
    const DoubleGenMat a = positiveDefinite(30);
    const DoubleVec x(30, 1e-3);
    void (*const kChanges[])(DoubleChDecomp&, const DoubleVec&) = {
        [](DoubleChDecomp& ch, const DoubleVec& v) { ch.update(v); },
        [](DoubleChDecomp& ch, const DoubleVec& v) { ch.downdate(v); },
        [](DoubleChDecomp& ch, const DoubleVec&) { ch.shift(3, 20, 0); }};
    for (const auto change : kChanges) {
        bool failed = true;
        int successes = 0;
        for (; failed && successes < 20; ++successes) {
            SCOPED_TRACE(successes);
            DoubleChDecomp ch(a);
            DoubleChDecomp copy(ch), assigned;
            assigned = ch;
            RecordedErrors errors;
            MA_failAfter(successes);
            change(ch, x);
            MA_failAfter(-1);
            failed = !errors.take().empty();
            for (DoubleChDecomp* same : {&copy, &assigned, failed ? &ch : &copy})
                expectFactorOf(a, *same, 1e-13);
        }
        EXPECT_FALSE(failed);
        EXPECT_GT(successes, 2);
    }
}

TEST(ChDecomp, WithoutMemorySpecifiersStay) {
    DoubleChDecomp ch;
    ch.setPivoting(1, DoubleChDecomp::INITIAL);
    RecordedErrors errors;
    MA_failAfter(0);
    ch.setPivoting(5, DoubleChDecomp::FINAL);
    MA_failAfter(-1);
    EXPECT_FALSE(errors.take().empty());
    EXPECT_EQ(2u, ch.pivots().length());
    EXPECT_EQ(DoubleChDecomp::INITIAL, ch.setPivoting(1, DoubleChDecomp::FREE));
}

}  // namespace
