// Cholesky factorization by blocks of rows, compiled once per instruction level. Only the upper
// triangle is touched.
#include <stddef.h>

#include "linalg/kernels/solver_table.h"
#include "linalg/kernels/triangle_tiles.h"

namespace kelvo::kernels::KELVO_LEVEL {
namespace {

constexpr size_t kSmallBlock = 8;

size_t blockWidth(size_t n) {
    return n <= 160 ? 32 : 64;
}

size_t choleskyWork(size_t n) {
    return Triangle::work(n, blockWidth(n));
}

class Cholesky : Triangle {
  public:
    Cholesky(double* a, size_t lda, size_t n, double* work)
        : Triangle(a, lda, blockWidth(n), work), n_(n), depth_(blockWidth(n)) {}

    // The number of steps done. A pivot that is not positive ends it, after all that the steps before
    // it do to the rest.
    size_t factor() {
        for (size_t k = 0; k < n_; k += depth_) {
            const size_t end = least(k + depth_, n_);
            const size_t done = factorBlock(k, end);
            if (done < end) {
                applyPlainly(k, done, end, n_);
                return done;
            }
            applyToRight(k, end, n_);
        }
        return n_;
    }

  private:
    // Halves, until the block is small. Works on columns begin .. end - 1; returns where it ended.
    size_t factorBlock(size_t begin, size_t end) {
        if (end - begin <= kSmallBlock) return factorSmallBlock(begin, end);
        const size_t middle = begin + roundedUp((end - begin) / 2, kSmallBlock);
        const size_t done = factorBlock(begin, middle);
        if (done < middle) {
            applyPlainly(begin, done, middle, end);
            return done;
        }
        applyToRight(begin, middle, end);
        return factorBlock(middle, end);
    }

    size_t factorSmallBlock(size_t begin, size_t end) {
        for (size_t k = begin; k < end; ++k) {
            double& pivot = column(k)[k];
            if (!(pivot > 0.0)) return k;
            pivot = __builtin_sqrt(pivot);
            for (size_t j = k + 1; j < end; ++j) applyStep(k, j);
        }
        return end;
    }

    // Step k of the published loops, on column j.
    void applyStep(size_t k, size_t j) {
        double* const c = column(j);
        c[k] /= column(k)[k];
        if (c[k] == 0.0) return;
        for (size_t i = k + 1; i <= j; ++i) c[i] -= c[k] * column(i)[k];
    }

    // For the rest of a matrix that turned out not to be positive definite.
    void applyPlainly(size_t begin, size_t end, size_t from, size_t to) {
        for (size_t j = from; j < to; ++j)
            for (size_t k = begin; k < end; ++k) applyStep(k, j);
    }

    // Applies the steps begin .. end - 1 to the columns end .. to - 1: first their rows, all of which
    // are then factors of the rows below.
    void applyToRight(size_t begin, size_t end, size_t to) {
        const size_t depth = end - begin;
        for (size_t j = end, s = 0; j < to; j += kStrip, ++s) {
            const size_t cols = least(kStrip, to - j);
            double* const rows = strip(s, depth);
            packStrip(column(j) + begin, lda_, depth, cols, rows);
            if (solveRows(begin, depth, rows)) {
                packStrip(column(j) + begin, lda_, depth, cols, rows);
                solveRowsSkipping(begin, depth, rows);
            }
            unpackStrip(rows, depth, cols, column(j) + begin, lda_);
        }
        subtractProducts(end, to, depth);
    }

    // The strip's rows R at a time: earlier ones from memory, their own in registers. True when a
    // factor is zero.
    bool solveRows(size_t begin, size_t depth, double* rows) {
        Lanes zeros = {};
        size_t i = 0;
        for (; i + 8 <= depth; i += 8) solveSome<8>(begin, i, rows, &zeros);
        for (; i < depth; ++i) solveSome<1>(begin, i, rows, &zeros);
        return anyLane(zeros);
    }

    template <size_t R>
    void solveSome(size_t begin, size_t i, double* rows, Lanes* zeros) {
        const double* const r = column(begin + i) + begin;  // R(k, i + q) at r[k + q * lda]
        Vector some[R];
        unrolled<R>([&](size_t q) { some[q] = load(rows + (i + q) * kStrip); });
        for (size_t k = 0; k < i; ++k) {
            const Vector earlier = load(rows + k * kStrip);
            unrolled<R>([&](size_t q) { some[q] -= earlier * r[k + q * lda_]; });
        }
        unrolled<R>([&](size_t k) {
            some[k] /= r[i + k + k * lda_];
            unrolled<R>([&](size_t q) {
                if (q > k) some[q] -= some[k] * r[i + k + q * lda_];
            });
        });
        unrolled<R>([&](size_t q) {
            *zeros |= some[q] == Vector{};
            place(rows + (i + q) * kStrip) = some[q];
        });
    }

    // The same, leaving out zeros: 0.0 subtracted changes nothing.
    void solveRowsSkipping(size_t begin, size_t depth, double* rows) {
        for (size_t k = 0; k < depth; ++k) {
            Vector& row = place(rows + k * kStrip);
            row /= column(begin + k)[begin + k];
            for (size_t i = k + 1; i < depth; ++i) {
                Vector& other = place(rows + i * kStrip);
                other -= row == Vector{} ? Vector{} : row * column(begin + i)[begin + k];
            }
        }
    }

    size_t n_, depth_;
};

int factor(double* a, size_t lda, size_t n, double* work) {
    return static_cast<int>(Cholesky(a, lda, n, work).factor());
}

}  // namespace

const CholeskyTable kCholeskyTable = {choleskyWork, factor};

}  // namespace kelvo::kernels::KELVO_LEVEL
