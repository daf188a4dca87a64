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
        size_t j = end, s = 0;
        for (; j + kStrip < to; j += 2 * kStrip, s += 2) finishRows<2>(begin, depth, j, to, s);
        if (j < to) finishRows<1>(begin, depth, j, to, s);
        subtractProducts(end, to, depth);
    }

    // Those of S strips together, because a strip alone waits for its quotients.
    template <size_t S>
    void finishRows(size_t begin, size_t depth, size_t j, size_t to, size_t s) {
        const auto each = [&](auto op) {
            for (size_t t = 0; t < S; ++t)
                op(strip(s + t, depth), column(j + t * kStrip) + begin,
                   least(kStrip, to - j - t * kStrip));
        };
        const auto pack = [&](double* rows, const double* c, size_t cols) {
            packStrip(c, lda_, depth, cols, rows);
        };
        each(pack);
        if (solveRows<S>(begin, depth, strip(s, depth))) {
            each(pack);
            each([&](double* rows, double*, size_t) { solveRowsSkipping(begin, depth, rows); });
        }
        each(
            [&](double* rows, double* c, size_t cols) { unpackStrip(rows, depth, cols, c, lda_); });
    }

    // R rows at a time: earlier ones from memory, their own in registers. True when a factor is zero.
    template <size_t S>
    bool solveRows(size_t begin, size_t depth, double* rows) {
        constexpr size_t kRows = kWidth == 8 ? 8 : 8 / S;
        Lanes zeros = {};
        size_t i = 0;
        for (; i + kRows <= depth; i += kRows) solveSome<kRows, S>(begin, depth, i, rows, &zeros);
        for (; i < depth; ++i) solveSome<1, S>(begin, depth, i, rows, &zeros);
        return anyLane(zeros);
    }

    template <size_t R, size_t S>
    void solveSome(size_t begin, size_t depth, size_t i, double* rows, Lanes* zeros) {
        const double* r = column(begin + i) + begin;  // R(k, i + q) at r[k + q * lda]
        const auto row = [&](size_t k, size_t t) { return rows + (k + t * depth) * kStrip; };
        Vector some[R][S];
        unrolled<R>(
            [&](size_t q) { unrolled<S>([&](size_t t) { some[q][t] = load(row(i + q, t)); }); });
        for (size_t k = 0; k < i; ++k) {
            Vector earlier[S];
            unrolled<S>([&](size_t t) { earlier[t] = load(row(k, t)); });
            unrolled<R>([&](size_t q) {
                unrolled<S>([&](size_t t) {
                    some[q][t] -= earlier[t] * r[k + q * lda_];
                    reread(r);
                });
            });
        }
        unrolled<R>([&](size_t k) {
            unrolled<S>([&](size_t t) { some[k][t] /= r[i + k + k * lda_]; });
            unrolled<R>([&](size_t q) {
                unrolled<S>([&](size_t t) {
                    if (q > k) some[q][t] -= some[k][t] * r[i + k + q * lda_];
                });
            });
        });
        unrolled<R>([&](size_t q) {
            unrolled<S>([&](size_t t) {
                *zeros |= some[q][t] == Vector{};
                place(row(i + q, t)) = some[q][t];
            });
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
