// Factorization of a packed symmetric matrix by the diagonal pivoting of DSPFA, compiled once per
// instruction level. A step needs its own column and at most two more; what it does to the rest waits
// until many steps have come together. Each element gets its products in the order of the steps, as in
// the published loops. (Those with a zero count: where numbers are infinite, the loops decide.)
#include <stddef.h>

#include "linalg/kernels/solver_table.h"
#include "linalg/kernels/solver_tiles.h"

namespace kelvo::kernels::KELVO_LEVEL {
namespace {

constexpr size_t kMostSteps = 32;

// An odd number of cache lines, so that elements side by side fall into different sets of a cache.
size_t rowLength(size_t n) {
    return roundedUp(n, 16) + 8;
}

// The columns and multipliers of the steps that wait, three columns, and the strips.
size_t symmetricWork(size_t n) {
    return (2 * kMostSteps + 3) * rowLength(n) + kMostSteps * (roundedUp(n, kStrip) + kStrip);
}

class Symmetric {
  public:
    Symmetric(double* ap, size_t n, int* kpvt, double* work)
        : ap_(ap),
          kpvt_(kpvt),
          order_(n),
          length_(rowLength(n)),
          columns_(work),
          multipliers_(columns_ + kMostSteps * length_),
          column_(multipliers_ + kMostSteps * length_),
          other_(column_ + length_),
          third_(other_ + length_),
          right_(third_ + length_),
          left_(right_ + kMostSteps * kStrip) {}

    int factor() {
        while (order_ > 1) {
            waiting_ = 0;
            while (order_ > 1 && waiting_ + 2 <= kMostSteps) step();
            applyWaiting();
        }
        if (order_ == 1) {
            kpvt_[0] = 1;
            if (ap_[0] == 0.0) info_ = 1;
        }
        return info_;
    }

  private:
    double* packedColumn(size_t j) const { return ap_ + j * (j + 1) / 2; }

    // Chooses the pivot of the last column k, and eliminates.
    void step() {
        const double alpha = (1.0 + __builtin_sqrt(17.0)) / 8.0;
        const size_t k = order_ - 1;
        fetch(k, column_);
        const double diagonal = magnitude(column_[k]);
        const size_t largest = indexOfLargest(k, column_);
        const double columnMost = magnitude(column_[largest]);
        if ((diagonal < columnMost ? columnMost : diagonal) == 0.0) return passZeros(k);
        if (!(diagonal < alpha * columnMost)) return eliminateOne(k, k, column_);
        fetch(largest, other_);
        const double before = largestOf(largest, other_);
        const double after = largestOf(k - largest, other_ + largest + 1);
        const double rowMost = before > after ? before : after;
        if (!(magnitude(other_[largest]) < alpha * rowMost)) {
            replace(largest, k, column_);
            exchange(other_[largest], other_[k]);
            eliminateOne(k, largest, other_);
        } else if (!(diagonal < alpha * columnMost * (columnMost / rowMost))) {
            eliminateOne(k, k, column_);
        } else {
            eliminateTwo(k, largest);
        }
    }

    // Column j of the matrix at hand, its part below the diagonal too, after the steps that wait.
    void fetch(size_t j, double* to) const {
        const double* const from = packedColumn(j);
        for (size_t i = 0; i <= j; ++i) to[i] = from[i];
        const double* element = from + j;
        for (size_t i = j + 1; i < order_; ++i) to[i] = *(element += i);
        addWaiting(0, j + 1, columns_, multipliers_ + j, to);
        addWaiting(j + 1, order_, multipliers_, columns_ + j, to);
    }

    // Elements begin .. end - 1 of `to` get their products with the factors of the steps.
    void addWaiting(size_t begin, size_t end, const double* terms, const double* factors,
                    double* to) const {
        size_t i = begin;
        for (; i + 4 * kWidth <= end; i += 4 * kWidth) addPart<4>(terms + i, factors, to + i);
        for (; i + kWidth <= end; i += kWidth) addPart<1>(terms + i, factors, to + i);
        for (; i < end; ++i)
            for (size_t p = 0; p < waiting_; ++p)
                to[i] += terms[p * length_ + i] * factors[p * length_];
    }

    template <size_t V>
    void addPart(const double* terms, const double* factors, double* to) const {
        Vector sums[V];
        unrolled<V>([&](size_t v) { sums[v] = load(to + v * kWidth); });
        for (size_t p = 0; p < waiting_; ++p) {
            const double factor = factors[p * length_];
            const double* const term = terms + p * length_;
            unrolled<V>([&](size_t v) { sums[v] += load(term + v * kWidth) * factor; });
        }
        unrolled<V>([&](size_t v) { place(to + v * kWidth) = sums[v]; });
    }

    // Puts column k, which has been fetched, in the place of l < k. The steps that wait are in it
    // already: with zeros they will not change it again.
    void replace(size_t l, size_t k, const double* fetched) {
        double* const column = packedColumn(l);
        for (size_t i = 0; i < l; ++i) column[i] = fetched[i];
        column[l] = fetched[k];
        double* element = column + l;
        for (size_t j = l + 1; j < k; ++j) *(element += j) = fetched[j];
        for (size_t p = 0; p < waiting_; ++p)
            columns_[p * length_ + l] = multipliers_[p * length_ + l] = 0.0;
    }

    void passZeros(size_t k) {
        double* const to = packedColumn(k);
        for (size_t i = 0; i <= k; ++i) to[i] = column_[i];
        kpvt_[k] = info_ = static_cast<int>(k) + 1;
        order_ = k;
    }

    // A block of one; `fetched` is its column after the exchange with l.
    void eliminateOne(size_t k, size_t l, const double* fetched) {
        const double pivot = fetched[k];
        double* const column = columns_ + waiting_ * length_;
        double* const multipliers = multipliers_ + waiting_ * length_;
        double* const to = packedColumn(k);
        size_t i = 0;
        for (; i + kWidth <= k; i += kWidth) {
            place(column + i) = load(fetched + i);
            place(to + i) = place(multipliers + i) = -load(fetched + i) / pivot;
        }
        for (; i < k; ++i) {
            column[i] = fetched[i];
            to[i] = multipliers[i] = -fetched[i] / pivot;
        }
        to[k] = pivot;
        kpvt_[k] = static_cast<int>(l) + 1;
        ++waiting_;
        order_ = k;
    }

    // A block of two: k and, exchanged with l, the one before it.
    void eliminateTwo(size_t k, size_t l) {
        if (l != k - 1) {
            fetch(k - 1, third_);
            replace(l, k - 1, third_);
            exchange(column_[l], column_[k - 1]);
            exchange(other_[l], other_[k - 1]);
        }
        const double off = column_[k - 1];
        const double ak = column_[k] / off, akm1 = other_[k - 1] / off;
        const double denominator = 1.0 - ak * akm1;
        double* const last = columns_ + waiting_ * length_;
        double* const before = last + length_;
        double* const multipliers = multipliers_ + waiting_ * length_;
        double* const multipliersBefore = multipliers + length_;
        double* const to = packedColumn(k);
        double* const toBefore = packedColumn(k - 1);
        size_t i = 0;
        for (; i + kWidth <= k - 1; i += kWidth) {
            const Vector x = load(column_ + i), y = load(other_ + i);
            place(last + i) = x;
            place(before + i) = y;
            const Vector bk = x / off, bkm1 = y / off;
            place(to + i) = place(multipliers + i) = (akm1 * bk - bkm1) / denominator;
            place(toBefore + i) = place(multipliersBefore + i) = (ak * bkm1 - bk) / denominator;
        }
        for (; i < k - 1; ++i) {
            last[i] = column_[i];
            before[i] = other_[i];
            const double bk = column_[i] / off, bkm1 = other_[i] / off;
            to[i] = multipliers[i] = (akm1 * bk - bkm1) / denominator;
            toBefore[i] = multipliersBefore[i] = (ak * bkm1 - bk) / denominator;
        }
        to[k - 1] = off;
        to[k] = column_[k];
        toBefore[k - 1] = other_[k - 1];
        kpvt_[k] = kpvt_[k - 1] = -static_cast<int>(l) - 1;
        waiting_ += 2;
        order_ = k - 1;
    }

    // The steps that wait, on the matrix that is left.
    void applyWaiting() {
        if (waiting_ == 0) return;
        for (size_t i = 0, s = 0; i < order_; i += kStrip, ++s) gather(columns_ + i, strip(s));
        for (size_t j = 0, s = 0; j < order_; j += kStrip, ++s) {
            const size_t cols = least(kStrip, order_ - j);
            gather(multipliers_ + j, right_);
            for (size_t v = 0; v < s; v += kTileVectors)
                addProducts<Columns::kPacked>(least(kTileVectors, s - v) * kWidth, cols, waiting_,
                                              left(v), right_, false, packedColumn(j) + v * kWidth,
                                              j + 1);
            addToDiagonal(j, cols, left(s));
        }
    }

    double* strip(size_t s) const { return left_ + s * waiting_ * kStrip; }
    Left left(size_t s) const { return {strip(s), waiting_ * kStrip, kStrip}; }

    // One vector of every step.
    void gather(const double* from, double* to) const {
        for (size_t p = 0; p < waiting_; ++p) place(to + p * kStrip) = load(from + p * length_);
    }

    // The triangle on the diagonal, by way of a square.
    void addToDiagonal(size_t j, size_t cols, Left left) {
        double square[kStrip * kStrip] = {};
        for (size_t c = 0; c < cols; ++c)
            for (size_t i = 0; i <= c; ++i) square[i + c * kStrip] = packedColumn(j + c)[j + i];
        addProducts(kStrip, cols, waiting_, left, right_, false, square, kStrip);
        for (size_t c = 0; c < cols; ++c)
            for (size_t i = 0; i <= c; ++i) packedColumn(j + c)[j + i] = square[i + c * kStrip];
    }

    double* ap_;
    int* kpvt_;
    size_t order_;        // of the leading matrix that is left
    size_t length_;       // from one step to the next
    size_t waiting_ = 0;  // steps
    double* columns_;     // of the steps, as they were eliminated
    double* multipliers_;
    double* column_;  // at hand
    double* other_;
    double* third_;
    double* right_;  // strip of multipliers
    double* left_;   // strips of columns
    int info_ = 0;
};

int factorSymmetric(double* ap, size_t n, int* kpvt, double* work) {
    return Symmetric(ap, n, kpvt, work).factor();
}

}  // namespace

const SymmetricTable kSymmetricTable = {symmetricWork, factorSymmetric};

}  // namespace kelvo::kernels::KELVO_LEVEL
