// What could break: edges of tiles and blocks at each instruction level, leading dimensions, and
// cells outside the result.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "linalg/kernels/gemm.h"
#include "linalg/kernels/instruction_level.h"

namespace {

using namespace kelvo::kernels;

constexpr double kUntouched = -12345.0;

// A matrix with `extra` untouched rows below its own.
struct Matrix {
    std::size_t rows, cols, ld;
    std::vector<double> cells;

    Matrix(std::size_t r, std::size_t c, std::size_t extra)
        : rows(r), cols(c), ld(r + extra), cells(ld * c + 1, kUntouched) {}
    double& operator()(std::size_t i, std::size_t j) { return cells[i + j * ld]; }
    void fill(std::mt19937& random) {
        std::uniform_real_distribution<double> numbers(-1, 1);
        for (std::size_t j = 0; j < cols; ++j)
            for (std::size_t i = 0; i < rows; ++i) (*this)(i, j) = numbers(random);
    }
    long untouched() const { return std::count(cells.begin(), cells.end(), kUntouched); }
};

class GemmAtLevel : public testing::TestWithParam<Level> {
  protected:
    void SetUp() override {
        if (!levelSupported(GetParam())) GTEST_SKIP();
        previous_ = activeLevel();
        forceLevel(GetParam());
    }
    void TearDown() override {
        if (!IsSkipped()) forceLevel(previous_);
    }

    void expectProduct(Form formA, Form formB, std::size_t m, std::size_t n, std::size_t k,
                       bool withWork) {
        SCOPED_TRACE(testing::Message() << m << 'x' << n << 'x' << k << " forms " << int(formA)
                                        << int(formB) << " work " << withWork);
        const bool plainA = formA == Form::kPlain, plainB = formB == Form::kPlain;
        Matrix a(plainA ? m : k, plainA ? k : m, 2), b(plainB ? k : n, plainB ? n : k, 1);
        Matrix c(m, n, 3);
        a.fill(random_);
        b.fill(random_);
        std::vector<double> work(gemmWork(formA, m, n, k));
        gemm(formA, formB, m, n, k, a.cells.data(), a.ld, b.cells.data(), b.ld, c.cells.data(),
             c.ld, withWork && !work.empty() ? work.data() : nullptr);
        EXPECT_EQ(static_cast<long>(3 * n + 1), c.untouched());
        for (std::size_t j = 0; j < n; ++j)
            for (std::size_t i = 0; i < m; ++i) {
                long double sum = 0, size = 0;
                for (std::size_t p = 0; p < k; ++p) {
                    const long double term = static_cast<long double>(plainA ? a(i, p) : a(p, i)) *
                                             (plainB ? b(p, j) : b(j, p));
                    sum += term;
                    size += std::fabs(term);
                }
                // Error bound of an inner product: k units of rounding of the sum of magnitudes.
                ASSERT_NEAR(static_cast<double>(sum), c(i, j),
                            static_cast<double>(k + 1) * 1.2e-16 * static_cast<double>(size))
                    << i << ' ' << j;
            }
    }

    std::mt19937 random_{3};
    Level previous_ = Level::kBase;
};

TEST_P(GemmAtLevel, AllFormsAndEdges) {
    const std::size_t kSizes[][3] = {
        {1, 1, 1},    {4, 4, 4},   {7, 5, 9},   {8, 8, 8},   {16, 8, 30}, {23, 7, 5}, {24, 8, 256},
        {25, 9, 257}, {95, 3, 40}, {97, 17, 3}, {3, 513, 4}, {0, 4, 4},   {4, 4, 0}};
    for (const auto& [m, n, k] : kSizes)
        for (Form a : {Form::kPlain, Form::kTransposed})
            for (Form b : {Form::kPlain, Form::kTransposed})
                for (bool withWork : {true, false}) expectProduct(a, b, m, n, k, withWork);
}

TEST_P(GemmAtLevel, MatrixTimesVector) {
    for (std::size_t m : {0, 1, 3, 7, 8, 9, 31, 64})
        for (std::size_t n : {0, 1, 3, 4, 5, 8, 13}) {
            SCOPED_TRACE(testing::Message() << m << 'x' << n);
            Matrix a(m, n, 1), x(n, 1, 0), y(m, 1, 4), u(m, 1, 0), v(n, 1, 4);
            for (Matrix* filled : {&a, &x, &u}) filled->fill(random_);
            gemv(m, n, a.cells.data(), a.ld, x.cells.data(), y.cells.data());
            gemvTransposed(m, n, a.cells.data(), a.ld, u.cells.data(), v.cells.data());
            EXPECT_EQ(5, y.untouched());
            EXPECT_EQ(5, v.untouched());
            for (std::size_t i = 0; i < m; ++i) {
                double sum = 0;
                for (std::size_t j = 0; j < n; ++j) sum += a(i, j) * x(j, 0);
                EXPECT_NEAR(sum, y(i, 0), 1e-14);
            }
            for (std::size_t j = 0; j < n; ++j) {
                double sum = 0;
                for (std::size_t i = 0; i < m; ++i) sum += a(i, j) * u(i, 0);
                EXPECT_NEAR(sum, v(j, 0), 1e-14);
            }
        }
}

INSTANTIATE_TEST_SUITE_P(Levels, GemmAtLevel, testing::ValuesIn(kAllLevels),
                         [](const auto& level) { return std::to_string(int(level.param)); });

}  // namespace
