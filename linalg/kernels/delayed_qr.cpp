#include <algorithm>
#include <cmath>

#include "linalg/kernels/block_reflector.h"
#include "linalg/kernels/blocked_qr.h"
#include "linalg/kernels/level_tables.h"
#include "linalg/kernels/vector_ops.h"

namespace kelvo::kernels {
namespace {

// Steps that wait, at most.
constexpr int kMostSteps = 32;

std::size_t size(int count) {
    return static_cast<std::size_t>(count);
}

// The columns behind the steps are X + V F', where V are the vectors of the steps that wait.
class DelayedQr {
  public:
    DelayedQr(const QrTask& t, double* work)
        : t_(t),
          f_(work),
          row_(f_ + size(t.p) * kMostSteps),
          factors_(row_ + t.p),
          ldx_(size(static_cast<int>(t.ldx))) {}

    void factor() {
        const int steps = std::min(t_.n, t_.p);
        for (int l = 0; l < steps; ++l) {
            if (l >= t_.freeBegin && l + 1 < t_.freeEnd) exchangeFactors(l, bringPivotTo(t_, l));
            const bool stale = step(l);
            if (l + 1 - first_ == kMostSteps || stale || l + 1 == steps) applyWaiting(l + 1);
            if (stale) computeNormsAnew(l);
        }
    }

  private:
    double* f(int step) const { return f_ + size(step - first_) * size(t_.p); }

    void exchangeFactors(int l, int from) {
        if (from == l) return;
        for (int k = first_; k < l; ++k) std::swap(f(k)[l], f(k)[from]);
    }

    // Reduces column l, and row l of the columns behind it. True when a norm must be computed anew.
    bool step(int l) {
        const std::size_t waiting = size(l - first_), rows = size(t_.n - l),
                          cols = size(t_.p - l - 1);
        double* const v = t_.column(l) + l;
        const double* const earlier = t_.column(first_) + l;
        for (int k = first_; k < l; ++k) factors_[k - first_] = f(k)[l];
        levelTables().gemm.gemv(rows, waiting, earlier, ldx_, factors_, v);

        t_.qraux[l] = 0.0;
        const bool reflected = l + 1 < t_.n && reduceColumn(t_, l, l + 1);
        const double norm = v[0];
        double* const fl = f(l) + l + 1;
        std::fill_n(fl, cols, 0.0);
        if (reflected) {
            v[0] = t_.qraux[l];
            std::fill_n(factors_, waiting, 0.0);
            levelTables().gemm.gemvTransposed(rows, waiting, earlier, ldx_, v, factors_);
            levelTables().gemm.gemvTransposed(rows, cols, t_.column(l + 1) + l, ldx_, v, fl);
            levelTables().gemm.gemv(cols, waiting, f_ + l + 1, size(t_.p), factors_, fl);
            scale(cols, -1.0 / v[0], fl);
        }
        const bool stale = reduceRow(l, reflected);
        v[0] = norm;
        return stale;
    }

    bool reduceRow(int l, bool reflected) {
        for (int j = l + 1; j < t_.p; ++j) row_[j] = t_.column(j)[l];
        for (int k = first_; k <= l; ++k)
            factors_[k - first_] = k == l && !reflected ? 0.0 : t_.column(k)[l];
        levelTables().gemm.gemv(size(t_.p - l - 1), size(l + 1 - first_), f_ + l + 1, size(t_.p),
                                factors_, row_ + l + 1);
        for (int j = l + 1; j < t_.p; ++j) t_.column(j)[l] = row_[j];
        bool stale = false;
        for (int j = std::max(l + 1, t_.freeBegin); reflected && j < t_.freeEnd; ++j)
            if (!lowerNorm(t_, l, j)) {
                t_.qraux[j] = kStale;
                stale = true;
            }
        return stale;
    }

    void applyWaiting(int end) {
        const int rows = t_.n - end, cols = t_.p - end;
        if (rows > 0 && cols > 0)
            addProduct(size(rows), size(cols), size(end - first_), t_.column(first_) + end, ldx_,
                       f_ + end, size(t_.p), 1, t_.column(end) + end, ldx_);
        first_ = end;
    }

    void computeNormsAnew(int l) {
        for (int j = std::max(l + 1, t_.freeBegin); j < t_.freeEnd; ++j)
            if (t_.qraux[j] == kStale)
                t_.qraux[j] = t_.original[j] = nrm2(size(t_.n - l - 1), t_.column(j) + l + 1);
    }

    static constexpr double kStale = -1.0;  // in place of a norm

    const QrTask& t_;
    double* f_;        // F, a column a step; leading dimension p
    double* row_;      // p
    double* factors_;  // kMostSteps
    std::size_t ldx_;
    int first_ = 0;  // of the steps that wait
};

}  // namespace

std::size_t delayedQrWork(int p) {
    return size(p) * (kMostSteps + 1) + kMostSteps;
}

void delayedQr(const QrTask& t, double* work) {
    DelayedQr(t, work).factor();
}

}  // namespace kelvo::kernels
