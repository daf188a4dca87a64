// Least squares for matrices whose rows reach over four consecutive blocks of columns, as those of
// tensor-product cubic splines do. Rows are absorbed window by window into a triangular factor, so
// that memory and time depend on the width of the window and not on the number of columns.
//   1. Columns form `blocks` blocks of `blockSize`. Window w covers the blocks w .. w + 3.
//   2. Rows come in the order of their windows; there may be any number, none included.
//   3. When a window is left, its first block is final: a pivoted QR of its triangle finds the
//      columns that depend on others, and the equations that these leave over go on to the next
//      window. The sum of the ranks is the rank of the whole matrix.
// Cost: 32 B^2 (rows + 4 N) operations for N columns and blocks of B.
// Source: C. Lawson, R. Hanson, Solving Least Squares Problems, 1974, chapter 27 (sequential
// accumulation for banded matrices).
#pragma once

#include <KelvoBase/qr_svd.h>

#include <span>
#include <vector>

#include "workspace.h"

namespace kelvo::fit {

class BandedLeastSquares {
  public:
    static constexpr int kBand = 4;   // blocks that a window covers
    static constexpr int kSides = 3;  // right-hand sides: x, y, z

    /// A column is free when its diagonal element after pivoting is at most `tolerance`. The rows are
    /// kept in `memory`.
    BandedLeastSquares(int blocks, int blockSize, double tolerance, Memory memory = Memory::kHeap);

    /// A new row of zeros, to be filled before the next call: kBand * blockSize coefficients from
    /// the first column of `window` on, then kSides right-hand sides. The windows of successive
    /// calls must not decrease; the last one is blocks - kBand.
    double* newRow(int window);
    /// Absorbs what is left. After this, the results below are there.
    void finish();

    int columns() const { return blocks_ * blockSize_; }
    int rank() const { return columns() - static_cast<int>(freeColumns_.size()); }
    /// The columns that the rows leave undetermined given the others, in the order found.
    const std::vector<int>& freeColumns() const { return freeColumns_; }
    /// As many equations as the rank, or fewer, that say the same as all rows together: one after the
    /// other, their window and the values in the form of newRow().
    struct Equation {
        int window;
        std::span<const double> row;
    };
    const std::vector<Equation>& equations() const { return equations_; }
    /// A solution: coefficient `c` of side `k` at [kSides * c + k]; 0 for free columns.
    std::vector<double> solve() const;
    /// The solution x of A^T A x = g, for another right side of the normal equations of these rows.
    /// All columns must have been found independent; g and x in the form of solve().
    std::vector<double> solveNormal(std::vector<double> g) const;

  private:
    /// A block that is final: triangle * own + right * later = sides.
    struct Final {
        DoubleLeastSqQR triangle;
        std::vector<double> right;  // blockSize rows of (kBand - 1) * blockSize, then kSides
    };
    // QR with its factor in view.
    struct Factor : DoubleQRDecomp {
        using DoubleQRDecomp::DoubleQRDecomp;
        double r(unsigned i, unsigned j) const { return qr_.data()[j * qr_.rows() + i]; }
    };

    void compress();
    void leaveWindow();
    std::vector<double> settle(int block, const DoubleLeastSqQR& triangle, int rank);
    double* row(int i) { return rows_.data() + static_cast<std::size_t>(i) * stride_; }

    int blocks_, blockSize_;
    double tolerance_;
    int width_;           // coefficients in a row
    std::size_t stride_;  // width_ and the right-hand sides
    int window_ = 0;
    int used_ = 0;  // rows in use
    int capacity_;
    Workspace rows_;          // capacity_ rows, those not in use are 0
    Workspace equationRows_;  // of equations_, one after the other
    std::vector<Final> final_;
    std::vector<Equation> equations_;
    std::vector<int> freeColumns_;
};

}  // namespace kelvo::fit
