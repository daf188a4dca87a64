// What could break: edges of tiles and blocks at each instruction level, leading dimensions, and
// cells outside the result.
#include "linalg/kernels/gemm.h"

#include <gtest/gtest.h>

#include "tests/linalg/kernel_support.h"

namespace kelvo::test {
namespace {

using namespace kernels;

// Error bound of an inner product: k units of rounding of the sum of magnitudes.
void expectProduct(const Matrix& a, const Matrix& b, const Cells& c) {
    Matrix sizes = a, factors = b, result(c.rows, c.cols);
    for (double& value : sizes.a) value = std::fabs(value);
    for (double& value : factors.a) value = std::fabs(value);
    const Matrix expected = a * b, bound = sizes * factors;
    EXPECT_TRUE(c.keptMarks());
    for (int j = 0; j < c.cols; ++j)
        for (int i = 0; i < c.rows; ++i)
            ASSERT_NEAR(expected(i, j), c(i, j), (a.cols + 1) * 1.2e-16 * bound(i, j))
                << i << ' ' << j;
}

void multiply(const Matrix& a, const Matrix& b, Form formA, Form formB, bool withWork) {
    const std::size_t m = count(a.rows), n = count(b.cols), k = count(a.cols);
    const Cells left(formA == Form::kPlain ? a : transposed(a), {2, 0}),
        right(formB == Form::kPlain ? b : transposed(b), {1, 0});
    Cells c(Matrix(a.rows, b.cols, kMark));
    std::vector<double> work(gemmWork(formA, m, n, k));
    gemm(formA, formB, m, n, k, left.data(), count(left.ld), right.data(), count(right.ld),
         c.data(), count(c.ld), withWork ? work.data() : nullptr);
    expectProduct(a, b, c);
}

TEST(Gemm, AllFormsAndEdges) {
    const int kShapes[][3] = {{1, 1, 1},   {4, 4, 4},    {7, 5, 9},    {8, 8, 8},   {16, 8, 30},
                              {23, 7, 5},  {24, 8, 256}, {25, 9, 257}, {95, 3, 40}, {97, 17, 3},
                              {3, 513, 4}, {0, 4, 4},    {4, 4, 0}};
    onEveryLevel([&] {
        for (const auto& [m, n, k] : kShapes)
            for (int form = 0; form < 8; ++form) {
                SCOPED_TRACE(testing::Message() << m << 'x' << n << 'x' << k << " form " << form);
                multiply(makeMatrix(Kind::kRandom, m, k), makeMatrix(Kind::kRandom, k, n, 2),
                         form & 1 ? Form::kPlain : Form::kTransposed,
                         form & 2 ? Form::kPlain : Form::kTransposed, form & 4);
            }
    });
}

TEST(Gemm, MatrixTimesVector) {
    onEveryLevel([] {
        for (int m : {0, 1, 3, 7, 8, 9, 31, 64})
            for (int n : {0, 1, 3, 4, 5, 8, 13}) {
                SCOPED_TRACE(testing::Message() << m << 'x' << n);
                const Matrix a = makeMatrix(Kind::kRandom, m, n);
                const Matrix x = makeMatrix(Kind::kRandom, n, 1),
                             u = makeMatrix(Kind::kRandom, m, 1);
                const Cells cells(a, {1, 0});
                Cells y(Matrix(m, 1, kMark)), v(Matrix(n, 1, kMark));
                gemv(count(m), count(n), cells.data(), count(cells.ld), x.a.data(), y.data());
                gemvTransposed(count(m), count(n), cells.data(), count(cells.ld), u.a.data(),
                               v.data());
                expectProduct(a, x, y);
                expectProduct(transposed(a), u, v);
            }
    });
}

}  // namespace
}  // namespace kelvo::test
