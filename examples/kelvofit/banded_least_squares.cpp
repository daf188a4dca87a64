#include "banded_least_squares.h"

#include <algorithm>

namespace kelvo::fit {

BandedLeastSquares::BandedLeastSquares(int blocks, int blockSize, double tolerance, Memory memory)
    : blocks_(blocks),
      blockSize_(blockSize),
      tolerance_(tolerance),
      width_(kBand * blockSize),
      stride_(static_cast<std::size_t>(width_ + kSides)),
      // Few long factorizations beat many short ones, up to what the caches hold.
      capacity_(std::max(3 * width_, 256)),
      rows_(static_cast<std::size_t>(capacity_) * stride_, memory),
      equationRows_(static_cast<std::size_t>(columns()) * stride_, memory) {
    final_.reserve(static_cast<std::size_t>(blocks));
}

double* BandedLeastSquares::newRow(int window) {
    while (window_ < window) leaveWindow();
    if (used_ == capacity_) compress();
    return row(used_++);
}

void BandedLeastSquares::finish() {
    while (static_cast<int>(final_.size()) < blocks_) leaveWindow();
    rows_ = {};
}

// Replaces the rows by the triangle of their QR factorization; the right-hand sides ride along as
// further columns, what is left of them below the triangle is the residual.
void BandedLeastSquares::compress() {
    if (used_ == 0) return;
    const auto rows = static_cast<unsigned>(used_), cols = static_cast<unsigned>(stride_);
    DoubleGenMat stack(rows, cols);
    double* cell = stack.data();
    for (unsigned j = 0; j < cols; ++j)
        for (unsigned i = 0; i < rows; ++i) *cell++ = rows_[i * stride_ + j];
    const Factor factor(stack);
    std::fill_n(rows_.data(), rows * stride_, 0.0);
    used_ = std::min(used_, width_);
    for (unsigned i = 0; i < static_cast<unsigned>(used_); ++i)
        for (unsigned j = i; j < cols; ++j) rows_[i * stride_ + j] = factor.r(i, j);
}

void BandedLeastSquares::leaveWindow() {
    compress();
    const int block = static_cast<int>(final_.size());
    const auto size = static_cast<unsigned>(blockSize_);
    DoubleGenMat leading(size, size);
    for (unsigned j = 0; j < size; ++j)
        for (unsigned i = 0; i < size; ++i) leading.data()[j * size + i] = rows_[i * stride_ + j];

    Final& done = final_.emplace_back();
    done.triangle.doPivoting(1);
    done.triangle.setTolerance(tolerance_);
    done.triangle.factor(leading);
    for (int i = 0; i < blockSize_; ++i)
        done.right.insert(done.right.end(), row(i) + blockSize_, row(i) + stride_);
    const int rank = blockSize_ - done.triangle.numFreeCols();
    const IntVec pivots = done.triangle.pivots();
    for (int k = rank; k < blockSize_; ++k) freeColumns_.push_back(block * blockSize_ + pivots(k));
    const std::vector<double> over = settle(block, done.triangle, rank);

    // The next window starts one block further on.
    const int kept = std::max(used_ - blockSize_, 0);
    const auto shift = static_cast<std::size_t>(blockSize_);
    for (int i = 0; i < kept; ++i) {
        const double* from = row(i + blockSize_);
        double* to = row(i);
        std::copy(from + shift, from + width_, to);
        std::fill(to + width_ - blockSize_, to + width_, 0.0);
        std::copy(from + width_, from + stride_, to + width_);
    }
    std::fill(row(kept), row(0) + used_ * static_cast<std::ptrdiff_t>(stride_), 0.0);
    used_ = kept;
    const std::size_t length = stride_ - shift;
    for (std::size_t at = 0; at < over.size(); at += length) {
        double* to = row(used_++);
        std::copy_n(over.data() + at, length - kSides, to);
        std::copy_n(over.data() + at + length - kSides, kSides, to + width_);
    }
    ++window_;
}

// Keeps the equations that settle the block, and returns those that its free columns leave over, as
// rows without the block's own columns.
std::vector<double> BandedLeastSquares::settle(int block, const DoubleLeastSqQR& triangle,
                                               int rank) {
    const auto size = static_cast<std::size_t>(blockSize_), own = static_cast<std::size_t>(rank);
    if (rank < blockSize_) {
        DoubleVec column(static_cast<unsigned>(blockSize_));
        for (std::size_t j = 0; j < stride_; ++j) {
            for (std::size_t i = 0; i < size; ++i)
                column(static_cast<int>(i)) = rows_[i * stride_ + j];
            const DoubleVec turned = triangle.computeQTy(column, rank);
            for (std::size_t i = 0; i < size; ++i)
                rows_[i * stride_ + j] = turned(static_cast<int>(i));
        }
    }
    for (int i = 0; i < rank; ++i) {
        double* const kept = equationRows_.data() + equations_.size() * stride_;
        std::copy_n(row(i), stride_, kept);
        equations_.push_back({block, {kept, stride_}});
    }
    std::vector<double> over;
    for (std::size_t i = own; i < size; ++i)
        over.insert(over.end(), rows_.data() + i * stride_ + size,
                    rows_.data() + (i + 1) * stride_);
    // Blocks without any data pass nothing on.
    if (std::all_of(over.begin(), over.end(), [](double x) { return x == 0; })) over.clear();
    return over;
}

std::vector<double> BandedLeastSquares::solve() const {
    const auto size = static_cast<std::size_t>(blockSize_);
    const std::size_t later = size * (kBand - 1);
    // Zeros behind the last block, where windows reach beyond the columns.
    std::vector<double> solution((static_cast<std::size_t>(columns()) + later) * kSides);
    DoubleVec side(static_cast<unsigned>(blockSize_));
    for (std::size_t b = final_.size(); b-- > 0;) {
        const Final& done = final_[b];
        double* own = solution.data() + b * size * kSides;
        for (std::size_t k = 0; k < kSides; ++k) {
            for (std::size_t i = 0; i < size; ++i) {
                const double* right = done.right.data() + i * (later + kSides);
                double sum = right[later + k];
                for (std::size_t j = 0; j < later; ++j)
                    sum -= right[j] * own[(size + j) * kSides + k];
                side(static_cast<int>(i)) = sum;
            }
            const DoubleVec found = done.triangle.solve(side);
            for (std::size_t i = 0; i < size; ++i) own[i * kSides + k] = found(static_cast<int>(i));
        }
    }
    solution.resize(static_cast<std::size_t>(columns()) * kSides);
    return solution;
}

// The equations are an upper triangle R with R^T R = A^T A: once forwards, once backwards.
std::vector<double> BandedLeastSquares::solveNormal(std::vector<double> g) const {
    const auto each = [&](std::size_t i, auto visit) {
        const Equation& equation = equations_[i];
        const std::size_t first = static_cast<std::size_t>(equation.window * blockSize_);
        const std::size_t end =
            std::min(first + static_cast<std::size_t>(width_), equations_.size());
        for (std::size_t j = i + 1; j < end; ++j) visit(j, equation.row[j - first]);
        return equation.row[i - first];
    };
    for (std::size_t i = 0; i < equations_.size(); ++i) {
        const double pivot = each(i, [](std::size_t, double) {});
        for (std::size_t k = 0; k < kSides; ++k) g[i * kSides + k] /= pivot;
        each(i, [&](std::size_t j, double r) {
            for (std::size_t k = 0; k < kSides; ++k) g[j * kSides + k] -= r * g[i * kSides + k];
        });
    }
    for (std::size_t i = equations_.size(); i-- > 0;) {
        const double pivot = each(i, [&](std::size_t j, double r) {
            for (std::size_t k = 0; k < kSides; ++k) g[i * kSides + k] -= r * g[j * kSides + k];
        });
        for (std::size_t k = 0; k < kSides; ++k) g[i * kSides + k] /= pivot;
    }
    return g;
}

}  // namespace kelvo::fit
