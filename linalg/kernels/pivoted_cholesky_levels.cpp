// Cholesky factorization with pivoting, compiled once per instruction level. A step needs the whole
// diagonal and its own row; what it does to the rest waits until some steps have come together.
#include <stddef.h>

#include "linalg/kernels/solver_table.h"
#include "linalg/kernels/triangle_tiles.h"

namespace kelvo::kernels::KELVO_LEVEL {
namespace {

constexpr size_t kMostSteps = 32;

// The strips; the finished rows one behind the other; the diagonal; the row at hand.
size_t pivotedWork(size_t n) {
    return Triangle::work(n, kMostSteps) + (kMostSteps + 2) * roundedUp(n, kWidth);
}

class PivotedCholesky : Triangle {
  public:
    PivotedCholesky(double* a, size_t lda, size_t n, int* jpvt, size_t begin, size_t end,
                    double* work)
        : Triangle(a, lda, kMostSteps, work),
          n_(n),
          rowLength_(roundedUp(n, kWidth)),
          begin_(begin),
          end_(end),
          jpvt_(jpvt),
          rows_(work + Triangle::work(n, kMostSteps)),
          diagonal_(rows_ + kMostSteps * rowLength_) {}

    size_t factor() {
        for (size_t j = 0; j < n_; ++j) diagonal_[j] = column(j)[j];
        size_t first = 0;  // of the steps that wait
        for (size_t k = 0; k < n_; ++k) {
            const size_t l = largestDiagonal(k);
            if (!(diagonal_[l] > 0.0)) {
                applyWaiting(first, k);
                return k;
            }
            if (l != k) exchangeSymmetric(k, l, k - first);
            // A later exchange would change which of two zeros' products is left out.
            const bool hasZeros = finishRow(k, k - first);
            if (k + 1 - first == kMostSteps || hasZeros) {
                applyWaiting(first, k + 1);
                first = k + 1;
            }
        }
        return n_;
    }

  private:
    double* row(size_t m) const { return rows_ + m * rowLength_; }

    size_t largestDiagonal(size_t k) const {
        size_t at = k;
        for (size_t l = k + 1; k >= begin_ && l < end_; ++l)
            if (diagonal_[l] > diagonal_[at]) at = l;
        return at;
    }

    // Exchanges rows and columns k < l of the matrix, and of the rows that wait.
    void exchangeSymmetric(size_t k, size_t l, size_t waiting) {
        for (size_t i = 0; i < k; ++i) exchange(column(k)[i], column(l)[i]);
        exchange(column(k)[k], column(l)[l]);
        for (size_t j = k + 1; j < l; ++j) exchange(column(j)[k], column(l)[j]);
        for (size_t j = l + 1; j < n_; ++j) exchange(column(j)[k], column(j)[l]);
        for (size_t m = 0; m < waiting; ++m) exchange(row(m)[k], row(m)[l]);
        exchange(diagonal_[k], diagonal_[l]);
        const int t = jpvt_[k];
        jpvt_[k] = jpvt_[l];
        jpvt_[l] = t;
    }

    // Row k: the products of the rows that wait, in order, then the division. True when an element
    // is zero.
    bool finishRow(size_t k, size_t waiting) {
        const double root = __builtin_sqrt(diagonal_[k]);
        column(k)[k] = root;
        double* const to = row(waiting);
        for (size_t j = k + 1; j < n_; ++j) to[j] = column(j)[k];
        size_t j = k + 1;
        Lanes zeros = {};
        for (; j + 4 * kWidth <= n_; j += 4 * kWidth) finishPart<4>(k, waiting, root, j, &zeros);
        for (; j + kWidth <= n_; j += kWidth) finishPart<1>(k, waiting, root, j, &zeros);
        bool hasZeros = anyLane(zeros);
        for (; j < n_; ++j) {
            for (size_t m = 0; m < waiting; ++m) to[j] -= row(m)[j] * row(m)[k];
            to[j] /= root;
            diagonal_[j] -= to[j] * to[j];
            hasZeros |= to[j] == 0.0;
        }
        for (j = k + 1; j < n_; ++j) column(j)[k] = to[j];
        return hasZeros;
    }

    template <size_t V>
    void finishPart(size_t k, size_t waiting, double root, size_t j, Lanes* zeros) {
        Vector part[V];
        unrolled<V>([&](size_t v) { part[v] = load(row(waiting) + j + v * kWidth); });
        for (size_t m = 0; m < waiting; ++m) {
            const double factor = row(m)[k];
            unrolled<V>([&](size_t v) { part[v] -= load(row(m) + j + v * kWidth) * factor; });
        }
        unrolled<V>([&](size_t v) {
            part[v] /= root;
            *zeros |= part[v] == Vector{};
            place(row(waiting) + j + v * kWidth) = part[v];
            place(diagonal_ + j + v * kWidth) =
                load(diagonal_ + j + v * kWidth) - part[v] * part[v];
        });
    }

    // The steps first .. end - 1, on all rows from `end` on.
    void applyWaiting(size_t first, size_t end) {
        const size_t depth = end - first;
        if (depth == 0) return;
        if (depth == 1) return applyOne(first);
        for (size_t j = end, s = 0; j < n_; j += kStrip, ++s)
            packStrip(column(j) + first, lda_, depth, least(kStrip, n_ - j), strip(s, depth));
        subtractProducts(end, n_, depth);
    }

    void applyOne(size_t k) {
        const double* const factors = row(0);
        for (size_t j = k + 1; j < n_; ++j) {
            double* const c = column(j);
            const double factor = c[k];
            if (factor == 0.0) continue;
            size_t i = k + 1;
            for (; i + kWidth <= j + 1; i += kWidth)
                place(c + i) = load(c + i) - load(factors + i) * factor;
            for (; i <= j; ++i) c[i] -= factors[i] * factor;
        }
    }

    size_t n_, rowLength_, begin_, end_;
    int* jpvt_;
    double* rows_;
    double* diagonal_;
};

int factorPivoted(double* a, size_t lda, size_t n, int* jpvt, size_t begin, size_t end,
                  double* work) {
    return static_cast<int>(PivotedCholesky(a, lda, n, jpvt, begin, end, work).factor());
}

}  // namespace

const PivotedCholeskyTable kPivotedCholeskyTable = {pivotedWork, factorPivoted};

}  // namespace kelvo::kernels::KELVO_LEVEL
