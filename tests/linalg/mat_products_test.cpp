// What could break: the forms of the products, operands that are views, and sums over operands that
// do not fit each other.
#include <gtest/gtest.h>

#include <climits>
#include <limits>

#include "tests/linalg/mat_support.h"
#include "tests/linalg/recorded_errors.h"
#include "tests/linalg/vec_support.h"

namespace {

using namespace kelvo::test;

template <class Mat>
class Products : public testing::Test {
  protected:
    using T = typename Mat::value_type;
    using Vec = decltype(std::declval<Mat&>().dataVec());

    // Small integers, so that every order of summation gives the same result; every third one
    // from a view with gaps.
    Vec numbers(unsigned n) {
        const int stride = made_++ % 3 == 0 ? 3 : 1;
        Vec v(n * 3 + 1);
        for (int i = 0; i < static_cast<int>(v.length()); ++i)
            v(i) = static_cast<T>(dice_.below(19) - 9);
        return v.slice(1, n, stride);
    }
    Mat matrix(unsigned rows, unsigned cols) { return Mat(numbers(rows * cols), rows, cols); }

    static Mat naive(const Mat& a, const Mat& b) {
        Mat c(a.rows(), b.cols(), T(0));
        for (int i = 0; i < static_cast<int>(a.rows()); ++i)
            for (int j = 0; j < static_cast<int>(b.cols()); ++j)
                for (int p = 0; p < static_cast<int>(a.cols()); ++p) c(i, j) += a(i, p) * b(p, j);
        return c;
    }
    static Mat flipped(const Mat& a) {
        Mat t(a.cols(), a.rows());
        for (int i = 0; i < static_cast<int>(a.rows()); ++i)
            for (int j = 0; j < static_cast<int>(a.cols()); ++j) t(j, i) = a(i, j);
        return t;
    }

    Dice dice_{7};
    int made_ = 0;
};

using Classes = testing::Types<DoubleGenMat, IntGenMat>;
TYPED_TEST_SUITE(Products, Classes);

TYPED_TEST(Products, AgreeWithTheDefinition) {
    const unsigned kShapes[][3] = {
        {0, 0, 0},  {0, 3, 2},    {3, 0, 2},    {2, 3, 0},     {40, 0, 40}, {1, 1, 1}, {2, 2, 2},
        {3, 3, 3},  {4, 4, 4},    {5, 3, 4},    {7, 6, 8},     {8, 8, 8},   {9, 1, 9}, {1, 9, 1},
        {25, 7, 9}, {24, 300, 8}, {97, 40, 30}, {130, 5, 530}, {3, 600, 2}};
    for (const auto& [m, k, n] : kShapes) {
        SCOPED_TRACE(testing::Message() << m << 'x' << k << 'x' << n);
        const TypeParam a = this->matrix(m, k), b = this->matrix(k, n);
        const TypeParam expected = this->naive(a, b);
        EXPECT_EQ(1, expected == product(a, b));
        EXPECT_EQ(1, expected == transProduct(a, this->flipped(b)));
        EXPECT_EQ(1, expected == transposeProduct(this->flipped(a), b));
        EXPECT_EQ(1, this->flipped(a) == transpose(a));
        if (n == 0) continue;
        const auto x = b.col(static_cast<int>(n) - 1);
        EXPECT_EQ(1, expected.col(static_cast<int>(n) - 1) == product(a, x));
        EXPECT_EQ(1, expected.col(static_cast<int>(n) - 1) == product(x, transpose(a)));
    }
}

TYPED_TEST(Products, Kronecker) {
    const TypeParam a = this->matrix(3, 2), b = this->matrix(2, 4), k = kronecker(a, b);
    ASSERT_EQ(6u, k.rows());
    ASSERT_EQ(8u, k.cols());
    for (int i = 0; i < 6; ++i)
        for (int j = 0; j < 8; ++j) EXPECT_EQ(a(i / 2, j / 4) * b(i % 2, j % 4), k(i, j));
    TypeParam row(1, 2), identity(2, 2, 0);
    row(0, 0) = 1;
    row(0, 1) = 2;
    identity.diagonal() = 1;
    EXPECT_EQ("1 0 2 0|0 1 0 2", text(kronecker(row, identity)));
    EXPECT_EQ(0u, kronecker(row, TypeParam()).rows());
}

TYPED_TEST(Products, ReportsAndSumsOverTheShorter) {
    using Vec = typename Products<TypeParam>::Vec;
    RecordedErrors errors;
    const std::string name = std::is_same_v<TypeParam, IntGenMat> ? "IntGenMat" : "DoubleGenMat";
    const TypeParam ones(2, 3, 1), tall(5, 4, 1);
    const Vec two(2, 2), four(4, 2);
    EXPECT_EQ("4 4", text(product(ones, two)));
    EXPECT_EQ("6 6", text(product(ones, four)));
    EXPECT_EQ("inner product not possible between " + name + " (2x3) and vector (2)\n" +
                  "inner product not possible between " + name + " (2x3) and vector (4)",
              errors.takeText());
    EXPECT_EQ("4 4 4", text(product(four, ones)));
    EXPECT_EQ("inner product not possible vector(4) and " + name + " (2x3)", errors.takeText());
    EXPECT_EQ("2 2 2|2 2 2", text(product(ones, ones)));
    EXPECT_EQ("inner product not possible " + name + " matrices (2,3) and (2x3)",
              errors.takeText());
    EXPECT_EQ("3 3 3 3 3|3 3 3 3 3", text(transProduct(ones, tall)));
    EXPECT_EQ("inner product not possible " + name + " matrices (2,3) and (4x5)",
              errors.takeText());
    EXPECT_EQ("2 2 2 2|2 2 2 2|2 2 2 2", text(transposeProduct(ones, tall)));
    EXPECT_EQ("inner product not possible " + name + " matrices (3,2) and (5x4)",
              errors.takeText());
    EXPECT_EQ("3 3|3 3", text(transProduct(ones, ones)));
    EXPECT_EQ("", errors.takeText());
    EXPECT_EQ(0u, kronecker(TypeParam(70000, 1), TypeParam(70000, 1)).rows());
    EXPECT_EQ("[NOMEM: RWBlock]: Out of memory", errors.takeText());
}

TEST(IntProducts, WrapAround) {
    const IntGenMat big(2, 2, INT_MAX);
    EXPECT_EQ("2 2|2 2", text(product(big, big)));
    EXPECT_EQ("2 2", text(product(IntVec(2, INT_MAX), big)));
    EXPECT_EQ("1 1|1 1", text(kronecker(IntGenMat(1, 1, INT_MAX), big)));
}

TEST(DoubleProducts, NotANumberSpreadsThroughItsRowAndColumn) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    for (unsigned n : {2u, 9u, 30u}) {
        DoubleGenMat a(n, n, 0.0), b(n, n, 0.0);
        a(1, 0) = nan;
        const DoubleGenMat c = product(a, b);
        for (int i = 0; i < static_cast<int>(n); ++i)
            for (int j = 0; j < static_cast<int>(n); ++j)
                EXPECT_EQ(i == 1, std::isnan(c(i, j))) << i << ' ' << j;
        EXPECT_TRUE(std::isnan(product(a, DoubleVec(n, 0.0))(1)));
        EXPECT_TRUE(std::isnan(product(DoubleVec(n, 0.0), a)(0)));
    }
}

}  // namespace
