// The rows below finished steps of a Cholesky factorization, for sources that are compiled once per
// instruction level. Only the upper triangle is touched.
#pragma once

#include "linalg/kernels/solver_tiles.h"

namespace kelvo::kernels::KELVO_LEVEL {
namespace {

class Triangle {
  public:
    /// Doubles of scratch: the strips of `depth` finished rows, and one strip with its sign changed.
    static size_t work(size_t n, size_t depth) { return depth * (roundedUp(n, kStrip) + kStrip); }

  protected:
    Triangle(double* a, size_t lda, size_t depth, double* work)
        : a_(a), lda_(lda), negated_(work), strips_(work + depth * kStrip) {}

    double* column(size_t j) const { return a_ + j * lda_; }
    double* strip(size_t s, size_t depth) const { return strips_ + s * depth * kStrip; }

    // The part of rows and columns begin .. end - 1 loses the products of `depth` finished rows, whose
    // strips hold those columns.
    void subtractProducts(size_t begin, size_t end, size_t depth) {
        for (size_t j = begin, s = 0; j < end; j += kStrip, ++s) {
            const size_t cols = least(kStrip, end - j);
            const bool hasZeros = negate(strip(s, depth), depth);
            const auto left = [&](size_t v) {
                return Left{strip(v, depth), depth * kStrip, kStrip};
            };
            for (size_t v = 0; v < s; v += kTileVectors)
                addProducts(least(kTileVectors, s - v) * kWidth, cols, depth, left(v), negated_,
                            hasZeros, column(j) + begin + v * kWidth, lda_);
            addToDiagonal(cols, depth, left(s), hasZeros, column(j) + j);
        }
    }

  private:
    // True when a factor is zero.
    bool negate(const double* rows, size_t depth) {
        Lanes zeros = {};
        for (size_t p = 0; p < depth; ++p) {
            const Vector row = load(rows + p * kStrip);
            zeros |= row == Vector{};
            place(negated_ + p * kStrip) = -row;
        }
        return anyLane(zeros);
    }

    // The square on the diagonal, by way of a copy: below it nothing may change.
    void addToDiagonal(size_t cols, size_t depth, Left left, bool hasZeros, double* c) {
        double square[kStrip * kStrip] = {};
        for (size_t j = 0; j < cols; ++j)
            for (size_t i = 0; i <= j; ++i) square[i + j * kStrip] = c[i + j * lda_];
        addProducts(kStrip, cols, depth, left, negated_, hasZeros, square, kStrip);
        for (size_t j = 0; j < cols; ++j)
            for (size_t i = 0; i <= j; ++i) c[i + j * lda_] = square[i + j * kStrip];
    }

  protected:
    double* a_;
    size_t lda_;

  private:
    double* negated_;
    double* strips_;
};

}  // namespace
}  // namespace kelvo::kernels::KELVO_LEVEL
