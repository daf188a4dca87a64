// Column-major matrices and scaled residuals for the tests of the numeric kernels. Products are
// summed in long double, so that the reference is better than what it judges.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "linalg/kernels/instruction_level.h"

namespace kelvo::test {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kMark = 12345.0;  // in cells that nobody may touch

/// A number of cells, for the containers.
constexpr std::size_t count(int n) {
    return static_cast<std::size_t>(n);
}

/// Runs `body` once for every instruction level that this machine has.
template <class Body>
void onEveryLevel(Body body) {
    const kernels::Level before = kernels::activeLevel();
    for (kernels::Level level : kernels::kAllLevels) {
        if (!kernels::forceLevel(level)) continue;
        SCOPED_TRACE(testing::Message() << "level " << static_cast<int>(level));
        EXPECT_EQ(level, kernels::activeLevel());
        body();
    }
    kernels::forceLevel(before);
}

struct Matrix {
    int rows = 0, cols = 0;
    std::vector<double> a;

    Matrix(int n, int p, double value = 0.0) : rows(n), cols(p), a(count(n) * count(p), value) {}
    double& operator()(int i, int j) { return a[count(i + j * rows)]; }
    double operator()(int i, int j) const { return a[count(i + j * rows)]; }
    double* data() { return a.data(); }
    int ld() const { return std::max(rows, 1); }
};

struct Layout {
    int extraRows, offset;
};

/// A matrix amid other cells, which must stay as they are.
struct Cells {
    int rows, cols, ld, offset;
    std::vector<double> v;

    explicit Cells(const Matrix& m, const Layout& layout = {3, 1})
        : rows(m.rows),
          cols(m.cols),
          ld(std::max(m.rows, 1) + layout.extraRows),
          offset(layout.offset),
          v(count(ld * cols + offset + 3), kMark) {
        for (int j = 0; j < cols; ++j)
            for (int i = 0; i < rows; ++i) (*this)(i, j) = m(i, j);
    }
    double* data() { return v.data() + offset; }
    const double* data() const { return v.data() + offset; }
    double& operator()(int i, int j) { return data()[i + j * ld]; }
    double operator()(int i, int j) const { return data()[i + j * ld]; }
    bool keptMarks() const {
        return std::count(v.begin(), v.end(), kMark) == std::ssize(v) - rows * cols;
    }
};

inline Matrix identity(int n) {
    Matrix m(n, n);
    for (int i = 0; i < n; ++i) m(i, i) = 1.0;
    return m;
}

inline Matrix transposed(const Matrix& m) {
    Matrix t(m.cols, m.rows);
    for (int j = 0; j < m.cols; ++j)
        for (int i = 0; i < m.rows; ++i) t(j, i) = m(i, j);
    return t;
}

inline Matrix operator*(const Matrix& x, const Matrix& y) {
    Matrix z(x.rows, y.cols);
    for (int j = 0; j < y.cols; ++j)
        for (int i = 0; i < x.rows; ++i) {
            long double sum = 0.0L;
            for (int k = 0; k < x.cols; ++k) sum += static_cast<long double>(x(i, k)) * y(k, j);
            z(i, j) = static_cast<double>(sum);
        }
    return z;
}

/// Largest absolute element; infinite when one is not a number, so that a bound on it fails.
inline double largest(const Matrix& m) {
    double most = 0.0;
    for (double v : m.a) most = std::isnan(v) ? HUGE_VAL : std::max(most, std::fabs(v));
    return most;
}

inline double largestDifference(const Matrix& x, const Matrix& y) {
    Matrix d = x;
    for (std::size_t i = 0; i < d.a.size(); ++i) d.a[i] -= y.a[i];
    return largest(d);
}

/// |x - y| in units of rounding errors of numbers as large as `size` in sums as long as the matrix.
inline double scaledDifference(const Matrix& x, const Matrix& y, double size) {
    const double unit = size * DBL_EPSILON + DBL_TRUE_MIN;
    return largestDifference(x, y) / (unit * std::max({x.rows, x.cols, 1}));
}

inline double orthogonalityError(const Matrix& q) {
    return scaledDifference(transposed(q) * q, identity(q.cols), 1.0);
}

// The kinds of matrices that the kernels are tried on; all but the last two are finite.
enum class Kind {
    kRandom,
    kGraded,
    kDependent,
    kZeroColumns,
    kZero,
    kHuge,
    kTiny,
    kSubnormal,
    kSmallIntegers,
    kSparse,
    kSignedZeros,
    kWithNan,
    kWithInfinity
};
constexpr const char* kKindNames[] = {
    "random",       "graded",       "dependent columns", "zero columns",   "zero",
    "huge",         "tiny",         "subnormal",         "small integers", "sparse",
    "signed zeros", "not a number", "infinity"};
constexpr int kKinds = std::size(kKindNames), kFiniteKinds = kKinds - 2;
constexpr int kSizes[] = {0, 1, 2, 3, 4, 5, 10, 50};
// Large enough for blocks, their last one whole or not.
struct Shape {
    int rows, cols;
};
constexpr Shape kBlockedShapes[] = {{64, 64}, {150, 65}, {101, 130}, {130, 130}};

inline double elementOf(Kind kind, int i, int j, double random) {
    switch (kind) {
        case Kind::kGraded:
            return random * std::pow(10.0, -(i + j) % 40);
        case Kind::kZeroColumns:
            return j % 3 == 1 ? 0.0 : random;
        case Kind::kZero:
            return 0.0;
        case Kind::kHuge:
            return random * 1e305;
        case Kind::kTiny:
            return random * 1e-300;
        case Kind::kSubnormal:
            return random * 1e-315;
        case Kind::kSmallIntegers:
            return std::round(2.5 * random);
        case Kind::kSparse:
            return i == j || std::fabs(random) > 0.85 ? random : 0.0;
        case Kind::kSignedZeros:
            return std::fabs(random) > 0.5 ? random : std::copysign(0.0, random);
        default:
            return random;
    }
}

inline Matrix makeMatrix(Kind kind, int n, int p, unsigned seed = 1) {
    std::mt19937 engine(seed + 1000u * static_cast<unsigned>(n) + static_cast<unsigned>(p));
    std::uniform_real_distribution<double> uniform(-1.0, 1.0);
    Matrix m(n, p);
    for (int j = 0; j < p; ++j)
        for (int i = 0; i < n; ++i) m(i, j) = elementOf(kind, i, j, uniform(engine));
    for (int j = 1; j < p && kind == Kind::kDependent; j += 2)
        for (int i = 0; i < n; ++i) m(i, j) = 2.0 * m(i, j - 1);
    if (n == 0 || p == 0) return m;
    if (kind == Kind::kWithNan) m(n / 2, p / 3) = kNan;
    if (kind == Kind::kWithInfinity) m(n / 2, p / 3) = m(n / 3, p / 3) = kInf;
    return m;
}

/// Runs `body` for every finite kind of every shape.
template <class Shapes, class Body>
void onEveryKind(const Shapes& shapes, Body body) {
    for (int kind = 0; kind < kFiniteKinds; ++kind)
        for (const Shape& s : shapes) {
            SCOPED_TRACE(testing::Message() << kKindNames[kind] << " " << s.rows << "x" << s.cols);
            body(static_cast<Kind>(kind), makeMatrix(static_cast<Kind>(kind), s.rows, s.cols, 11));
        }
}

// Every shape of the small sizes.
inline std::vector<Shape> smallShapes() {
    std::vector<Shape> shapes;
    for (int rows : kSizes)
        for (int cols : kSizes) shapes.push_back({rows, cols});
    return shapes;
}

}  // namespace kelvo::test
