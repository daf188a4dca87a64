// What could break: a function wired to the wrong formula, strided operands, lengths around the
// width of the vector registers, integer wrap-around, tolerances at equality, extreme lengths.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>

#include "tests/linalg/vec_support.h"

namespace {

using namespace kelvo::test;

const double kInf = std::numeric_limits<double>::infinity();
const double kNaN = std::numeric_limits<double>::quiet_NaN();

// n random numbers in (low, high), seen through the given stride.
DoubleVec randomView(unsigned n, int stride, double low, double high) {
    static std::mt19937 generator(7);
    std::uniform_real_distribution<double> number(low, high);
    DoubleVec all(n == 0 ? 0 : 1 + (n - 1) * static_cast<unsigned>(std::abs(stride)));
    for (unsigned i = 0; i < all.length(); ++i) all(static_cast<int>(i)) = number(generator);
    return all.slice(stride < 0 ? static_cast<int>(all.length()) - 1 : 0, n, stride);
}

TEST(VecFunctions, ElementwiseEqualTheScalarFunction) {
    using One = DoubleVec (*)(const DoubleVec&);
    const struct {
        const char* label;
        One function;
        double (*scalar)(double);
        double low, high;
    } kRows[] = {
        {"abs", abs, std::fabs, -2, 2},
        {"acos", acos, std::acos, -1, 1},
        {"asin", asin, std::asin, -1, 1},
        {"atan", atan, std::atan, -9, 9},
        {"ceil", ceil, std::ceil, -9, 9},
        {"cos", cos, std::cos, -9, 9},
        {"cosh", cosh, std::cosh, -9, 9},
        {"exp", exp, std::exp, -9, 9},
        {"floor", floor, std::floor, -9, 9},
        {"log", log, std::log, 0, 9},
        {"log10", log10, std::log10, 0, 9},
        {"sin", sin, std::sin, -9, 9},
        {"sinh", sinh, std::sinh, -9, 9},
        {"sqrt", sqrt, std::sqrt, -1, 9},
        {"tan", tan, std::tan, -9, 9},
        {"tanh", tanh, std::tanh, -9, 9},
        {"apply", [](const DoubleVec& v) { return v.apply(std::cbrt); }, std::cbrt, -9, 9},
    };
    for (const auto& row : kRows)
        for (const unsigned n : {0u, 1u, 3u, 7u, 8u, 9u, 50u})
            for (const int stride : {1, 3, -2}) {
                SCOPED_TRACE(testing::Message() << row.label << " n " << n << " stride " << stride);
                const DoubleVec v = randomView(n, stride, row.low, row.high);
                const std::vector<double> before = values(v);
                const DoubleVec result = row.function(v);
                EXPECT_EQ(1, result.stride());
                ASSERT_EQ(n, result.length());
                for (unsigned i = 0; i < n; ++i) {
                    const double expected = row.scalar(before[i]);
                    const double got = result(static_cast<int>(i));
                    EXPECT_TRUE(got == expected || (std::isnan(got) && std::isnan(expected)));
                }
                EXPECT_EQ(before, values(v));
            }
    EXPECT_EQ((std::vector<double>{kInf, -kInf}), values(of<DoubleVec>({1, -1}) / 0));
}

TEST(VecFunctions, PairsAndReductions) {
    for (const unsigned n : {0u, 1u, 5u, 8u, 33u, 1000u})
        for (const int stride : {1, -3}) {
            SCOPED_TRACE(testing::Message() << "n " << n << " stride " << stride);
            const DoubleVec v = randomView(n, stride, 0.5, 2), w = randomView(n, 1, -2, 2);
            const DoubleVec add = v + w, sub = v - w, mul = v * w, div = v / w, power = pow(v, w),
                            angle = atan2(v, w), sums = cumsum(v), back = reverse(v), negated = -v,
                            plus = v + 3, minus = v - 3, times = v * 3, over = v / 3, rest = 3 - v,
                            inverse = 3 / v;
            EXPECT_EQ(1, plus == 3 + v && times == 3 * v && plus == (v.copy() += 3));
            EXPECT_EQ(1, minus == (v.copy() -= 3) && over == (v.copy() /= 3));
            long double total = 0, products = 0, factor = 1;
            for (unsigned k = 0; k < n; ++k) {
                const int i = static_cast<int>(k);
                EXPECT_EQ(v(i) + w(i), add(i));
                EXPECT_EQ(v(i) - w(i), sub(i));
                EXPECT_EQ(v(i) * w(i), mul(i));
                EXPECT_EQ(v(i) / w(i), div(i));
                EXPECT_EQ(-v(i), negated(i));
                EXPECT_EQ(v(i) + 3, plus(i));
                EXPECT_EQ(v(i) - 3, minus(i));
                EXPECT_EQ(v(i) * 3, times(i));
                EXPECT_EQ(v(i) * (1.0 / 3.0), over(i)) << "no true division";
                EXPECT_EQ(3 - v(i), rest(i));
                EXPECT_EQ(3 / v(i), inverse(i));
                EXPECT_EQ(std::pow(v(i), w(i)), power(i));
                EXPECT_EQ(std::atan2(v(i), w(i)), angle(i));
                EXPECT_EQ(v(static_cast<int>(n) - 1 - i), back(i));
                total += v(i);
                products += static_cast<long double>(v(i)) * w(i);
                factor *= v(i);
                EXPECT_NEAR(static_cast<double>(total), sums(i), 1e-12 * n);
            }
            EXPECT_NEAR(static_cast<double>(total), sum(v), 1e-12 * n);
            EXPECT_NEAR(static_cast<double>(products), dot(v, w), 1e-12 * n);
            EXPECT_NEAR(1.0, static_cast<double>(prod(v) / factor), 1e-12);
            EXPECT_NEAR(0.0, sum(cumsum(delta(v)) - v), 1e-12 * n);
        }
    EXPECT_TRUE(std::isnan(mean(DoubleVec())));
    EXPECT_EQ(2.0, mean(of<DoubleVec>({1, 3})));
    EXPECT_EQ(1.0, variance(of<DoubleVec>({1, 3})));
    EXPECT_EQ((std::vector<double>{4, -3, 8}), values(delta(of<DoubleVec>({4, 1, 9}))));
}

TEST(VecFunctions, FirstOfEqualExtremes) {
    const struct {
        std::initializer_list<double> v;
        int largest, smallest;
    } kRows[] = {{{3, 7, 7, 1}, 1, 3},
                 {{2, 0, 0}, 0, 1},
                 {{5}, 0, 0},
                 {{kNaN, 1, 2}, 0, 0},
                 {{1, kNaN, 2}, 2, 0}};
    for (const auto& row : kRows) {
        const DoubleVec v = of<DoubleVec>(row.v);
        SCOPED_TRACE(testing::PrintToString(values(v)));
        EXPECT_EQ(row.largest, maxIndex(v));
        EXPECT_EQ(row.smallest, minIndex(v));
    }
    EXPECT_EQ(7, maxValue(of<IntVec>({3, 7, -9})));
    EXPECT_EQ(-9, minValue(of<SCharVec>({3, 7, -9})));
}

TEST(VecFunctions, IntegersWrap) {
    const IntVec low(1, INT_MIN);
    const SCharVec chars = of<SCharVec>({-128, 100, 100});
    const struct {
        const char* label;
        int got, expected;
    } kRows[] = {
        {"+", (IntVec(1, INT_MAX) + 1)(0), INT_MIN},
        {"-", (low - 1)(0), INT_MAX},
        {"- lowest", (IntVec(1, -1) - INT_MIN)(0), INT_MAX},
        {"*", (low * low)(0), 0},
        {"/ -1", (low / -1)(0), INT_MIN},
        {"/ vector", (low / IntVec(1, -1))(0), INT_MIN},
        {"s / v", (INT_MIN / IntVec(1, -1))(0), INT_MIN},
        {"division truncates", (IntVec(1, -7) / 2)(0), -3},
        {"/=", (IntVec(1, 7) /= -2)(0), -3},
        {"--", (--IntVec(1, INT_MIN))(0), INT_MAX},
        {"negate", (-low)(0), INT_MIN},
        {"abs", abs(low)(0), INT_MIN},
        {"sum", sum(IntVec(2, INT_MAX)), -2},
        {"prod", prod(IntVec(3, 65536)), 0},
        {"dot", dot(low, IntVec(1, 3)), INT_MIN},
        {"cumsum", cumsum(IntVec(2, INT_MAX))(1), -2},
        {"delta", delta(of<IntVec>({INT_MIN, INT_MAX}))(1), -1},
        {"char sum", sum(chars), 72},
        {"char abs", abs(chars)(0), -128},
        {"char product", (chars * chars)(1), 16},
        {"char / -1", (chars / -1)(0), -128},
        {"char cumsum", cumsum(chars)(2), 72},
        {"char dot", dot(chars, chars), 32},
    };
    for (const auto& row : kRows) EXPECT_EQ(row.expected, row.got) << row.label;
}

TEST(VecFunctions, ComparisonOfWholeVectors) {
    const DoubleVec v = of<DoubleVec>({1, 2, 3}), gaps = of<DoubleVec>({1, 9, 2, 9, 3});
    EXPECT_EQ(1, v == gaps.slice(0, 3, 2));
    EXPECT_EQ(0, v != gaps.slice(0, 3, 2));
    EXPECT_EQ(0, v == gaps.slice(0, 3));
    EXPECT_EQ(1, v != v.slice(0, 2));
    EXPECT_EQ(1, DoubleVec() == DoubleVec());
    const DoubleVec nan(1, kNaN);
    EXPECT_EQ(0, nan == nan);
    EXPECT_EQ(1, nan != nan);
}

TEST(VecFunctions, ToleranceIncludesEquality) {
    const DoubleVec v = of<DoubleVec>({0, 1e-7, -1e-6, 2, -3, kNaN, kInf});
    using Ints = std::vector<int>;
    EXPECT_EQ((Ints{0, 1, 2}), values(v.zeroIndex(1e-6)));
    EXPECT_EQ((Ints{3, 4, 5, 6}), values(v.nonZeroIndex(1e-6)));
    EXPECT_EQ((Ints{0, 3}), values(v.valueIndex(1.0, 1.0).slice(0, 2, 2)));
    EXPECT_EQ((Ints{2, 4, 5, 6}), values(v.nonValueIndex(1.0, 1.0)));
    EXPECT_EQ((Ints{2, 4}), values(v.lessIndex(0)));
    EXPECT_EQ(3u, v.countZero(1e-6));
    EXPECT_EQ(1u, v.countValue(2.0, 0.0));
    EXPECT_EQ(0u, v.countValue(kInf, 1.0)) << "the distance is not a number";
    EXPECT_EQ(0, v.slice(0, 3).isZero(9e-7));
    EXPECT_EQ(1, v.slice(0, 3).isZero(1e-6));
    EXPECT_EQ(1, v.slice(3, 2).isEqual(-0.5, 2.5));
    EXPECT_EQ(1, DoubleVec().isZero(0) && DoubleVec().isEqual(5, 0));
    IntVec found = v.zeroIndex(1e-6);
    found.deepenShallowCopy();
    EXPECT_EQ(3u, found.length());
    DoubleVec clamped = v.copy();
    clamped.slice(1, 3, 2).clampZero(2);  // elements 1, 3 and 5 only
    EXPECT_EQ((Ints{0, 1, 3}), values(clamped.zeroIndex(0)));

    const IntVec ints = of<IntVec>({4, -1, 4, 0});
    EXPECT_EQ((Ints{0, 2}), values(ints.valueIndex(4)));
    EXPECT_EQ((Ints{1, 3}), values(ints.nonValueIndex(4)));
    EXPECT_EQ((Ints{1}), values(ints.lessIndex(0)));
    EXPECT_EQ(2u, ints.countValue(4));
    EXPECT_EQ(1, ints.slice(0, 2, 2).isEqual(4));
    EXPECT_EQ(0, ints.isEqual(4));
    const SCharVec chars = of<SCharVec>({-1, 5, 5});
    EXPECT_EQ((Ints{1, 2}), values(chars.valueIndex(5)));
    EXPECT_EQ((Ints{0}), values(chars.lessIndex(5)));
}

TEST(VecFunctions, LengthWithoutOverflow) {
    const struct {
        const char* label;
        DoubleVec v;
    } kRows[] = {
        {"none", DoubleVec()},
        {"denormal", DoubleVec(3, 4e-320)},
        {"zeros, small, middle, large", of<DoubleVec>({0, -1e-200, 3, -4, 1e200, 1e199})},
        {"just below overflow", DoubleVec(4, 0.49 * std::numeric_limits<double>::max())},
        {"middle, strided", randomView(50, -3, -2, 2)},
        {"large, strided", randomView(9, 3, 1e300, 1e301)},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.label);
        long double squares = 0;
        for (const double x : values(row.v)) squares += static_cast<long double>(x) * x;
        const auto expected = static_cast<double>(std::sqrt(squares));
        EXPECT_NEAR(expected, row.v.vecLen(), 4e-16 * expected + 5e-324);
        DoubleVec unit = row.v.copy();
        if (expected > 1e-307) {
            EXPECT_EQ(1, unit.normalise());
            EXPECT_NEAR(1.0, unit.vecLen(), 1e-15);
        }
    }
    EXPECT_EQ(kInf, of<DoubleVec>({kInf, 1, -kInf}).vecLen());
    DoubleVec odd = of<DoubleVec>({3, kNaN});
    EXPECT_TRUE(std::isnan(odd.vecLen()));
    EXPECT_EQ(0, odd.normalise());
    EXPECT_EQ(3.0, odd(0));
    EXPECT_EQ(0, DoubleVec(3, 0.0).normalise());
}

}  // namespace
