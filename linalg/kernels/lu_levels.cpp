// LU factorization by panels of columns, compiled once per instruction level. Inside a panel whole
// rows are interchanged, so that a block of steps can be applied to the columns on its right at once;
// at its end the interchanges are taken back where the published format has none.
#include <stddef.h>

#include "linalg/kernels/solver_table.h"
#include "linalg/kernels/solver_tiles.h"

namespace kelvo::kernels::KELVO_LEVEL {
namespace {

constexpr size_t kSmallPanel = 8;

size_t panelWidth(size_t n) {
    return n <= 160 ? 32 : n <= 1500 ? 64 : 128;
}

size_t luWork(size_t n) {
    return panelWidth(n) * (kStrip + roundedUp(n, kTileRows));
}

class Lu {
  public:
    Lu(double* a, size_t lda, size_t n, int* ipvt, double* work)
        : a_(a),
          lda_(lda),
          n_(n),
          ipvt_(ipvt),
          strip_(work),
          packed_(work + panelWidth(n) * kStrip) {}

    int factor() {
        const size_t width = panelWidth(n_);
        for (size_t k = 0; k < n_; k += width) {
            const size_t end = least(k + width, n_);
            factorPanel(k, end);
            if (end < n_) {
                packLeft(k, end);
                applyToRight(k, end, end, n_, {packed_, kWidth, kTileRows}, kTileRows * (end - k));
            }
            finishPanel(k, end);
        }
        return info_;
    }

  private:
    double* column(size_t j) const { return a_ + j * lda_; }

    // Step k found nothing but zeros: there is no interchange and nothing to eliminate.
    bool isDead(size_t k) const { return ipvt_[k] < 0; }
    size_t pivotRow(size_t k) const { return static_cast<size_t>(ipvt_[k] - 1); }

    void interchange(double* column, size_t begin, size_t end) const {
        for (size_t k = begin; k < end; ++k)
            if (!isDead(k)) exchange(column[k], column[pivotRow(k)]);
    }

    // Halves, until the panel is small.
    void factorPanel(size_t begin, size_t end) {
        if (end - begin <= kSmallPanel) return factorSmallPanel(begin, end);
        const size_t middle = begin + roundedUp((end - begin) / 2, kSmallPanel);
        factorPanel(begin, middle);
        applyToRight(begin, middle, middle, end, {column(begin) + middle, kWidth, lda_}, kTileRows);
        factorPanel(middle, end);
        for (size_t j = begin; j < middle; ++j) interchange(column(j), middle, end);
    }

    // Column by column: all earlier steps of the panel, then the pivot.
    void factorSmallPanel(size_t begin, size_t end) {
        for (size_t j = begin; j < end; ++j) {
            interchange(column(j), begin, j);
            applyToColumn(begin, j);
            choosePivot(begin, j);
        }
    }

    void applyToColumn(size_t begin, size_t j) {
        double* const c = column(j);
        const double* left[kSmallPanel];
        double factor[kSmallPanel];
        size_t count = 0;
        for (size_t k = begin; k < j; ++k) {
            if (c[k] == 0.0 || isDead(k)) continue;
            left[count] = column(k);
            factor[count++] = c[k];
            for (size_t i = k + 1; i < j; ++i) c[i] += c[k] * column(k)[i];
        }
        size_t i = j;
        for (; i + 4 * kWidth <= n_; i += 4 * kWidth) {
            Vector sums[4];
            unrolled<4>([&](size_t v) { sums[v] = load(c + i + v * kWidth); });
            for (size_t p = 0; p < count; ++p)
                unrolled<4>(
                    [&](size_t v) { sums[v] += load(left[p] + i + v * kWidth) * factor[p]; });
            unrolled<4>([&](size_t v) { place(c + i + v * kWidth) = sums[v]; });
        }
        for (; i + kWidth <= n_; i += kWidth) {
            Vector sum = load(c + i);
            for (size_t p = 0; p < count; ++p) sum += load(left[p] + i) * factor[p];
            place(c + i) = sum;
        }
        for (; i < n_; ++i)
            for (size_t p = 0; p < count; ++p) c[i] += left[p][i] * factor[p];
    }

    void choosePivot(size_t begin, size_t k) {
        double* const c = column(k);
        const size_t l = k + indexOfLargest(n_ - k, c + k);
        ipvt_[k] = static_cast<int>(l) + 1;
        if (c[l] == 0.0) {
            info_ = static_cast<int>(k) + 1;
            ipvt_[k] = -ipvt_[k];
            anyDead_ = true;
            return;
        }
        if (k + 1 == n_) return;
        for (size_t j = begin; j <= k; ++j) exchange(column(j)[k], column(j)[l]);
        const double scale = -1.0 / c[k];
        size_t i = k + 1;
        for (; i + kWidth <= n_; i += kWidth) place(c + i) = load(c + i) * scale;
        for (; i < n_; ++i) c[i] *= scale;
    }

    // The rows below the panel, tile by tile.
    void packLeft(size_t begin, size_t end) {
        double* to = packed_;
        for (size_t i = end; i < n_; i += kTileRows) {
            const size_t rows = least(kTileRows, n_ - i);
            for (size_t k = begin; k < end; ++k, to += kTileRows) {
                const double* const from = column(k) + i;
                if (rows == kTileRows) {
                    unrolled<kTileVectors>(
                        [&](size_t v) { place(to + v * kWidth) = load(from + v * kWidth); });
                } else {
                    for (size_t r = 0; r < rows; ++r) to[r] = from[r];
                }
            }
        }
    }

    // Applies the steps begin .. end - 1 to the columns from .. to - 1: interchanges, the rows of the
    // panel, then the rows below it, whose multipliers are `left`, the next tile's tileStep further.
    void applyToRight(size_t begin, size_t end, size_t from, size_t to, Left left,
                      size_t tileStep) {
        const size_t depth = end - begin;
        for (size_t j = from; j < to; j += kStrip) {
            const size_t cols = least(kStrip, to - j);
            for (size_t c = 0; c < cols; ++c) interchange(column(j + c), begin, end);
            packStrip(column(j) + begin, lda_, depth, cols, strip_);
            bool hasZeros = anyDead_ || solveRows(begin, depth);
            if (hasZeros) {
                packStrip(column(j) + begin, lda_, depth, cols, strip_);
                solveRowsSkipping(begin, depth);
            }
            unpackStrip(strip_, depth, cols, column(j) + begin, lda_);
            clearDeadRows(begin, depth);
            const Left first = left;
            for (size_t i = end; i < n_; i += kTileRows, left.elements += tileStep)
                addProducts(least(kTileRows, n_ - i), cols, depth, left, strip_, hasZeros,
                            column(j) + i, lda_);
            left = first;
        }
    }

    // The strip's rows R at a time: earlier ones from memory, their own in registers. True when a
    // factor is zero.
    bool solveRows(size_t begin, size_t depth) {
        Lanes zeros = {};
        size_t i = 0;
        for (; i + 8 <= depth; i += 8) solveSome<8>(begin, i, &zeros);
        for (; i < depth; ++i) solveSome<1>(begin, i, &zeros);
        return anyLane(zeros);
    }

    template <size_t R>
    void solveSome(size_t begin, size_t i, Lanes* zeros) {
        Vector rows[R];
        unrolled<R>([&](size_t r) { rows[r] = load(strip_ + (i + r) * kStrip); });
        for (size_t k = 0; k < i; ++k) {
            const double* const multipliers = column(begin + k) + begin + i;
            const Vector earlier = load(strip_ + k * kStrip);
            unrolled<R>([&](size_t r) { rows[r] += earlier * multipliers[r]; });
        }
        unrolled<R>([&](size_t k) {
            const double* const multipliers = column(begin + i + k) + begin + i;
            unrolled<R>([&](size_t r) {
                if (r > k) rows[r] += rows[k] * multipliers[r];
            });
        });
        unrolled<R>([&](size_t r) {
            *zeros |= rows[r] == Vector{};
            place(strip_ + (i + r) * kStrip) = rows[r];
        });
    }

    // The same, leaving out zeros and dead steps: -0.0 added changes nothing.
    void solveRowsSkipping(size_t begin, size_t depth) {
        for (size_t k = 0; k < depth; ++k) {
            if (isDead(begin + k)) continue;
            const double* const multipliers = column(begin + k) + begin;
            const Vector row = load(strip_ + k * kStrip);
            for (size_t i = k + 1; i < depth; ++i) {
                Vector& other = place(strip_ + i * kStrip);
                other += row == Vector{} ? -Vector{} : row * multipliers[i];
            }
        }
    }

    // So that the rows below the panel get nothing from them.
    void clearDeadRows(size_t begin, size_t depth) {
        if (!anyDead_) return;
        for (size_t k = 0; k < depth; ++k)
            if (isDead(begin + k)) place(strip_ + k * kStrip) = Vector{};
    }

    // The published format: the multipliers of a step stand in the order of that step.
    void finishPanel(size_t begin, size_t end) {
        for (size_t j = begin; j < end; ++j)
            for (size_t k = end; --k > j;)
                if (!isDead(k)) exchange(column(j)[k], column(j)[pivotRow(k)]);
        for (size_t k = begin; anyDead_ && k < end; ++k)
            if (isDead(k)) ipvt_[k] = -ipvt_[k];
        anyDead_ = false;
    }

    double* a_;
    size_t lda_, n_;
    int* ipvt_;
    double* strip_;
    double* packed_;
    int info_ = 0;
    bool anyDead_ = false;  // in the panel at hand
};

int factor(double* a, size_t lda, size_t n, int* ipvt, double* work) {
    return Lu(a, lda, n, ipvt, work).factor();
}

}  // namespace

const LuTable kLuTable = {luWork, factor};

}  // namespace kelvo::kernels::KELVO_LEVEL
