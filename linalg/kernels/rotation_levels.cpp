// Plane rotations of the rows of a column-major matrix, several columns at a time, compiled once per
// instruction level. A column's rotations follow one another; only columns side by side are free.
#include <stddef.h>

#include "linalg/kernels/level_vectors.h"
#include "linalg/kernels/solver_table.h"

namespace kelvo::kernels::KELVO_LEVEL {
namespace {

// No template: that would take the alignment of vectors for granted.
inline void rotate(double c, double s, Vector& x, Vector& y) {
    const Vector t = c * x + s * y;
    y = c * y - s * x;
    x = t;
}
inline void rotate(double c, double s, double& x, double& y) {
    const double t = c * x + s * y;
    y = c * y - s * x;
    x = t;
}

// N columns, one element at a time.
template <size_t N>
inline void rotateColumns(size_t rows, const double* c, const double* s, double* a, size_t lda,
                          double* rest) {
    double rests[N];
    unrolled<N>([&](size_t j) { rests[j] = rest[j]; });
    for (size_t i = 0; i < rows; ++i)
        unrolled<N>([&](size_t j) { rotate(c[i], s[i], a[i + j * lda], rests[j]); });
    unrolled<N>([&](size_t j) { rest[j] = rests[j]; });
}

// G groups of kWidth columns, kWidth rows of them turned into vectors across the columns at a time.
template <size_t G>
void rotateGroups(size_t rows, const double* c, const double* s, double* a, size_t lda,
                  double* rest) {
    Vector rests[G];
    unrolled<G>([&](size_t g) { rests[g] = load(rest + g * kWidth); });
    size_t i = 0;
    for (; i + kWidth <= rows; i += kWidth) {
        Vector squares[G][kWidth];
        const auto column = [&](size_t g, size_t j) { return a + i + (g * kWidth + j) * lda; };
        unrolled<G>([&](size_t g) {
            unrolled<kWidth>([&](size_t j) { squares[g][j] = load(column(g, j)); });
            transposeSquare(squares[g]);
        });
        unrolled<kWidth>([&](size_t r) {
            unrolled<G>([&](size_t g) { rotate(c[i + r], s[i + r], squares[g][r], rests[g]); });
        });
        unrolled<G>([&](size_t g) {
            transposeSquare(squares[g]);
            unrolled<kWidth>([&](size_t j) { place(column(g, j)) = squares[g][j]; });
        });
    }
    unrolled<G>([&](size_t g) { place(rest + g * kWidth) = rests[g]; });
    for (size_t j = 0; i < rows && j < G * kWidth; j += 2)
        rotateColumns<2>(rows - i, c + i, s + i, a + i + j * lda, lda, rest + j);
}

void rotateRows(size_t rows, size_t cols, const double* c, const double* s, double* a, size_t lda,
                double* rest) {
    size_t j = 0;
    for (; j + 2 * kWidth <= cols; j += 2 * kWidth)
        rotateGroups<2>(rows, c, s, a + j * lda, lda, rest + j);
    for (; j + kWidth <= cols; j += kWidth) rotateGroups<1>(rows, c, s, a + j * lda, lda, rest + j);
    for (; j + 4 <= cols; j += 4) rotateColumns<4>(rows, c, s, a + j * lda, lda, rest + j);
    for (; j < cols; ++j) rotateColumns<1>(rows, c, s, a + j * lda, lda, rest + j);
}

}  // namespace

const RotationTable kRotationTable = {rotateRows};

}  // namespace kelvo::kernels::KELVO_LEVEL
