// Matrices to factor and the measures that the factorizations are judged by.
#pragma once

#include <algorithm>
#include <cmath>
#include <limits>

#include "KelvoBase/gen_mat.h"
#include "tests/linalg/vec_support.h"

namespace kelvo::test {

inline constexpr double kEps = std::numeric_limits<double>::epsilon();
inline constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
inline constexpr double kInfinity = std::numeric_limits<double>::infinity();
inline constexpr char kUnsolvable[] =
    "Can't solve system of equations, matrix not successfully factorized";

/// Written row by row, as on paper.
inline DoubleGenMat matrixOf(unsigned rows, unsigned cols, std::initializer_list<double> values) {
    DoubleGenMat m(rows, cols);
    int at = 0;
    for (double value : values) {
        m.set(at / static_cast<int>(cols), at % static_cast<int>(cols), value);
        ++at;
    }
    return m;
}

/// Elements between -1 and 1, the same for every run.
inline DoubleGenMat randomMatrix(unsigned rows, unsigned cols, unsigned seed = 1) {
    std::mt19937 generator(1000003 * seed + 1009 * rows + cols);
    std::uniform_real_distribution<double> element(-1, 1);
    DoubleGenMat m(rows, cols);
    for (int j = 0; j < static_cast<int>(cols); ++j) {
        for (int i = 0; i < static_cast<int>(rows); ++i) m.set(i, j, element(generator));
    }
    return m;
}

inline DoubleVec randomVector(unsigned n, unsigned seed = 1) {
    return randomMatrix(n, 1, seed).dataVec();
}

/// A matrix of that rank, its dependent columns anywhere.
inline DoubleGenMat matrixOfRank(unsigned rows, unsigned cols, unsigned rank, unsigned seed = 1) {
    return product(randomMatrix(rows, rank, seed), randomMatrix(rank, cols, seed + 1));
}

inline DoubleGenMat identityMatrix(unsigned n) {
    DoubleGenMat m(n, n, 0.0);
    m.diagonal(0) = 1.0;
    return m;
}

/// Largest absolute value; not a number when an element is; 0 for an empty one.
inline double largest(const DoubleGenMat& m) {
    double most = 0;
    for (int j = 0; j < static_cast<int>(m.cols()); ++j) {
        for (int i = 0; i < static_cast<int>(m.rows()); ++i) {
            const double size = std::abs(m.val(i, j));
            if (!(size <= most) && !std::isnan(most)) most = size;
        }
    }
    return most;
}

inline double largest(const DoubleVec& v) {
    return largest(DoubleGenMat(v, v.length(), 1));
}

/// How far the columns are from orthonormal.
inline double defectOf(const DoubleGenMat& q) {
    return largest(transposeProduct(q, q) - identityMatrix(q.cols()));
}

}  // namespace kelvo::test
