// Column-major matrices and scaled residuals for the tests of the numeric kernels. Products are
// summed in long double, so that the reference is better than what it judges.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <random>
#include <vector>

#include "linalg/kernels/instruction_level.h"

namespace kelvo::test {

/// Runs `body` once for every instruction level that this machine has.
template <class Body>
void onEveryLevel(Body body) {
    const kernels::Level before = kernels::activeLevel();
    for (kernels::Level level : kernels::kAllLevels) {
        if (!kernels::forceLevel(level)) continue;
        SCOPED_TRACE(testing::Message() << "level " << static_cast<int>(level));
        body();
    }
    kernels::forceLevel(before);
}

struct Matrix {
    int rows = 0, cols = 0;
    std::vector<double> a;

    Matrix(int n, int p, double value = 0.0)
        : rows(n), cols(p), a(static_cast<std::size_t>(n) * static_cast<std::size_t>(p), value) {}
    double& operator()(int i, int j) { return a[static_cast<std::size_t>(i + j * rows)]; }
    double operator()(int i, int j) const { return a[static_cast<std::size_t>(i + j * rows)]; }
    double* data() { return a.data(); }
    int ld() const { return std::max(rows, 1); }
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

// The kinds of matrices that the kernels are tried on.
enum class Kind { kRandom, kGraded, kDependent, kZeroColumns, kZero, kHuge, kTiny, kSubnormal };
constexpr Kind kKinds[] = {Kind::kRandom, Kind::kGraded, Kind::kDependent, Kind::kZeroColumns,
                           Kind::kZero,   Kind::kHuge,   Kind::kTiny,      Kind::kSubnormal};
constexpr const char* kKindNames[] = {
    "random", "graded", "dependent columns", "zero columns", "zero", "huge", "tiny", "subnormal"};
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
        case Kind::kDependent:
            return j % 2 == 0 ? random : 0.0;  // filled in by makeMatrix
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
    if (kind == Kind::kDependent)
        for (int j = 1; j < p; j += 2)
            for (int i = 0; i < n; ++i) m(i, j) = 2.0 * m(i, j - 1);
    return m;
}

}  // namespace kelvo::test
