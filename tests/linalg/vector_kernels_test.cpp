// What could break here: the ends of vectors that do not fill a register, unaligned starts, writes
// beyond the end, operands that overlap, strides, a level that rounds differently, and norms whose
// squares leave the number range.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "linalg/kernels/vector_ops.h"
#include "tests/linalg/kernel_support.h"

namespace kelvo::test {
namespace {

using namespace kernels;
using Vec = std::vector<double>;

const std::size_t kLengths[] = {0,  1,  2,  3,  4,  7,  8,  9,  15, 16, 17,  23, 24,
                                31, 32, 33, 47, 63, 64, 65, 66, 79, 95, 130, 300};

// One element of z = f(x, y, z before) for the whole family: kernel and meaning side by side.
struct Elementwise {
    const char* name;
    void (*run)(std::size_t n, const double* x, std::ptrdiff_t sx, const double* y,
                std::ptrdiff_t sy, double* z);
    double (*meaning)(double x, double y);
};
constexpr double kFactor = 1.0 / 3.0;
const Elementwise kToResult[] = {
    {"add", add, [](double x, double y) { return x + y; }},
    {"sub", sub, [](double x, double y) { return x - y; }},
    {"mul", mul, [](double x, double y) { return x * y; }},
    {"div", div, [](double x, double y) { return x / y; }},
    {"negate", [](auto n, auto x, auto sx, auto, auto, auto z) { negate(n, x, sx, z); },
     [](double x, double) { return -x; }},
    {"addScalar",
     [](auto n, auto x, auto sx, auto, auto, auto z) { addScalar(n, x, sx, kFactor, z); },
     [](double x, double) { return x + kFactor; }},
    {"mulScalar",
     [](auto n, auto x, auto sx, auto, auto, auto z) { mulScalar(n, x, sx, kFactor, z); },
     [](double x, double) { return x * kFactor; }},
    {"scalarMinus",
     [](auto n, auto x, auto sx, auto, auto, auto z) { scalarMinus(n, kFactor, x, sx, z); },
     [](double x, double) { return kFactor - x; }},
    {"scalarOver",
     [](auto n, auto x, auto sx, auto, auto, auto z) { scalarOver(n, kFactor, x, sx, z); },
     [](double x, double) { return kFactor / x; }},
};

// In place on y; meaning(x, y) gives the new y.
struct InPlace {
    const char* name;
    void (*run)(std::size_t n, const double* x, std::ptrdiff_t sx, double* y, std::ptrdiff_t sy);
    double (*meaning)(double x, double y);
};
const InPlace kInPlace[] = {
    {"addTo", addTo, [](double x, double y) { return y + x; }},
    {"subFrom", subFrom, [](double x, double y) { return y - x; }},
    {"mulBy", mulBy, [](double x, double y) { return y * x; }},
    {"divBy", divBy, [](double x, double y) { return y / x; }},
    {"axpy", [](auto n, auto x, auto sx, auto y, auto sy) { axpy(n, kFactor, x, sx, y, sy); },
     [](double x, double y) { return y + kFactor * x; }},
    {"scale", [](auto n, auto, auto, auto y, auto sy) { scale(n, kFactor, y, sy); },
     [](double, double y) { return y * kFactor; }},
    {"addScalarTo", [](auto n, auto, auto, auto y, auto sy) { addScalarTo(n, kFactor, y, sy); },
     [](double, double y) { return y + kFactor; }},
};

Vec numbers(std::size_t n, double seed) {
    Vec v(n);
    for (std::size_t i = 0; i < n; ++i) v[i] = std::sin(seed + 1.7 * static_cast<double>(i)) + 1.5;
    return v;
}

// A start inside a buffer from which `n` steps of either sign stay inside.
constexpr std::size_t kBuffer = 2600, kMiddle = 1300;
const std::ptrdiff_t kStrides[][2] = {{1, 1}, {1, 3}, {2, 1}, {-1, 1}, {1, -2}, {-3, -3}, {0, 1}};

TEST(VectorKernels, ElementwiseResultsAreThoseOfAPlainLoop) {
    onEveryLevel([] {
        const Vec x = numbers(kBuffer, 1.0), y = numbers(kBuffer, 2.0);
        for (const Elementwise& op : kToResult)
            for (const auto& s : kStrides)
                for (std::size_t n : kLengths)
                    for (std::size_t offset = 0; offset < 4; ++offset) {
                        const double *xs = &x[kMiddle + offset], *ys = &y[kMiddle + offset / 2];
                        Vec z(kBuffer, 9.0), expected = z;
                        for (std::size_t i = 0; i < n; ++i) {
                            const auto k = static_cast<std::ptrdiff_t>(i);
                            expected[offset + i] = op.meaning(xs[k * s[0]], ys[k * s[1]]);
                        }
                        op.run(n, xs, s[0], ys, s[1], &z[offset]);
                        ASSERT_EQ(expected, z) << op.name << " n " << n << " strides " << s[0]
                                               << " " << s[1] << " offset " << offset;
                    }
    });
}

// Both vectors in one buffer, `shift` apart: equal, overlapping on either side, and (120) apart.
TEST(VectorKernels, InPlaceResultsAreThoseOfAPlainLoop) {
    const Vec start = numbers(kBuffer, 3.0);
    onEveryLevel([&] {
        for (const InPlace& op : kInPlace)
            for (const auto& s : kStrides)
                for (std::size_t n : kLengths)
                    for (std::ptrdiff_t shift : {0, 1, 2, 5, 17, -1, -3, -9, 120}) {
                        Vec buffer = start, expected = start;
                        const double* x = &expected[kMiddle];
                        double* y = &expected[kMiddle] + shift;
                        for (std::ptrdiff_t i = 0; i < static_cast<std::ptrdiff_t>(n); ++i)
                            y[i * s[1]] = op.meaning(x[i * s[0]], y[i * s[1]]);
                        op.run(n, &buffer[kMiddle], s[0], &buffer[kMiddle] + shift, s[1]);
                        ASSERT_EQ(expected, buffer) << op.name << " n " << n << " strides " << s[0]
                                                    << " " << s[1] << " shift " << shift;
                    }
    });
}

TEST(VectorKernels, RotationAndSwap) {
    onEveryLevel([] {
        for (std::size_t n : kLengths) {
            Vec x = numbers(n + 2, 1.0), y = numbers(n + 2, 2.0), ex = x, ey = y;
            for (std::size_t i = 1; i <= n; ++i) {
                ex[i] = 0.6 * x[i] + 0.8 * y[i];
                ey[i] = 0.6 * y[i] - 0.8 * x[i];
            }
            rot(n, &x[1], &y[1], 0.6, 0.8);
            ASSERT_EQ(ex, x) << n;
            ASSERT_EQ(ey, y) << n;
            swap(n, &x[1], &y[1]);
            std::swap_ranges(ex.begin() + 1, ex.end() - 1, ey.begin() + 1);
            ASSERT_EQ(ex, x) << n;
            ASSERT_EQ(ey, y) << n;
        }
    });
}

// Whole numbers, so that the order of the additions cannot matter.
TEST(VectorKernels, SumsTakeEveryElementOnce) {
    Vec x(kBuffer), y(kBuffer);
    for (std::size_t i = 0; i < kBuffer; ++i) {
        x[i] = static_cast<double>(i % 17) - 5.0;
        y[i] = static_cast<double>(i % 23) - 9.0;
    }
    onEveryLevel([&] {
        for (const auto& s : kStrides)
            for (std::size_t n : kLengths)
                for (std::size_t offset = 0; offset < 4; ++offset) {
                    const double *xs = &x[kMiddle + offset], *ys = &y[kMiddle + 1];
                    double total = 0.0, squares = 0.0, products = 0.0;
                    for (std::ptrdiff_t i = 0; i < static_cast<std::ptrdiff_t>(n); ++i) {
                        total += xs[i * s[0]];
                        squares += xs[i * s[0]] * xs[i * s[0]];
                        products += xs[i * s[0]] * ys[i * s[1]];
                    }
                    SCOPED_TRACE(testing::Message() << "n " << n << " offset " << offset);
                    ASSERT_EQ(total, sum(n, xs, s[0]));
                    ASSERT_EQ(squares, sumSquares(n, xs, s[0]));
                    ASSERT_EQ(products, dot(n, xs, s[0], ys, s[1]));
                    ASSERT_EQ(std::sqrt(squares), nrm2(n, xs, s[0]));
                }
    });
}

TEST(VectorKernels, NormsKeepTheirDigitsAtBothEndsOfTheRange) {
    const double kMagnitudes[] = {1e-320, 1e-310, 1e-200, 1e-162, 1e-146, 1e-145, 1.0,
                                  1e150,  1e153,  1e154,  1e160,  1e200,  1e306};
    onEveryLevel([&] {
        for (double first : kMagnitudes)
            for (double second : kMagnitudes)
                for (std::size_t n : {1, 2, 3, 10, 100}) {
                    Vec x = numbers(n, 1.0);
                    for (std::size_t i = 0; i < n; ++i) x[i] *= i < n / 2 ? first : second;
                    if (n > 2) x[0] = 0.0;
                    long double squares = 0.0L;  // wide enough in exponent for all of them
                    for (double v : x) squares += static_cast<long double>(v) * v;
                    const double expected = static_cast<double>(std::sqrt(squares));
                    const double bound = expected * 1e-14 + DBL_TRUE_MIN;
                    EXPECT_NEAR(expected, nrm2(n, x.data()), bound) << first << " " << second;
                    EXPECT_NEAR(expected, nrm2Scaled(n, x.data(), 1), bound)
                        << first << " " << second;
                    EXPECT_NEAR(expected, nrm2(n, &x[n - 1], -1), bound) << first << " " << second;
                }
    });
}

TEST(VectorKernels, NormsOfNonFiniteVectors) {
    for (std::size_t n : {1, 3, 9, 40})
        for (std::size_t at = 0; at < n; ++at) {
            Vec x(n, 1e-200);
            x[at] = -kInf;
            EXPECT_EQ(kInf, nrm2(n, x.data()));
            x[n - 1 - at] = kInf;
            x[0] = kInf;
            EXPECT_EQ(kInf, nrm2(n, x.data())) << "two infinities";
            x[at] = kNan;
            EXPECT_TRUE(std::isnan(nrm2(n, x.data()))) << n << " " << at;
        }
    EXPECT_EQ(0.0, nrm2(5, Vec(5, -0.0).data()));
    EXPECT_EQ(0.0, nrm2(0, nullptr));
}

// Run once for every value of the variable, too.
TEST(InstructionLevel, BestOneUpToTheNamedOneIsChosenAndLevelsNest) {
    const char* const named = std::getenv("KELVO_SIMD");
    Level best = Level::kBase;
    bool reached = false;
    for (Level level : kAllLevels) {
        if (!levelSupported(level) || reached) continue;
        EXPECT_TRUE(level == best || static_cast<int>(level) == static_cast<int>(best) + 1);
        best = level;
        reached = named != nullptr && std::string(named) == nameOf(level);
    }
    EXPECT_EQ(best, activeLevel());
}

}  // namespace
}  // namespace kelvo::test
