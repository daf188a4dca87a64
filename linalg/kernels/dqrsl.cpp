#include "linalg/kernels/dqrsl.h"

#include <algorithm>

#include "linalg/kernels/householder.h"

namespace kelvo::kernels {
namespace {

// The factorization, as dqrdc left it.
struct Factors {
    const double* x;
    std::ptrdiff_t ldx;
    int n, k;
    const double* qraux;

    const double* column(int j) const { return x + j * ldx; }
    int reflections() const { return std::min(k, n - 1); }  // the last row has none
};

void reflect(const Factors& f, int j, double* y) {
    if (f.qraux[j] != 0.0) applyReflection(f.n - j, f.qraux[j], f.column(j) + j, y + j);
}

void applyQ(const Factors& f, double* y) {
    for (int j = f.reflections() - 1; j >= 0; --j) reflect(f, j, y);
}

void applyQTransposed(const Factors& f, double* y) {
    for (int j = 0; j < f.reflections(); ++j) reflect(f, j, y);
}

// The arrays may be one and the same.
void copy(int begin, int end, const double* from, double* to) {
    if (from != to) std::copy(from + begin, from + end, to + begin);
}

int solveR(const Factors& f, double* b) {
    for (int j = f.k - 1; j >= 0; --j) {
        const double* r = f.column(j);
        if (r[j] == 0.0) return j + 1;
        b[j] /= r[j];
        axpy(j, -b[j], r, b);
    }
    return 0;
}

}  // namespace

int dqrsl(const double* x, int ldx, int n, int k, const double* qraux, const double* y, double* qy,
          double* qty, double* b, double* rsd, double* xb, int job) {
    const Factors f = {x, ldx, n, k, qraux};
    const bool wantQy = job / 10000 != 0;
    const bool wantQty = job % 10000 != 0;
    const bool wantB = job % 1000 / 100 != 0;
    const bool wantResidual = job % 100 / 10 != 0;
    const bool wantFit = job % 10 != 0;

    if (wantQy) {
        copy(0, n, y, qy);
        applyQ(f, qy);
    }
    if (!wantQty) return 0;
    copy(0, n, y, qty);
    applyQTransposed(f, qty);

    // All three start from parts of Q'y and may share its array, so take the parts first.
    const bool solvable = n != 1 || k == 0 || x[0] != 0.0;
    if (wantB && solvable) copy(0, k, qty, b);
    if (wantFit) copy(0, k, qty, xb);
    if (wantResidual) copy(k, n, qty, rsd);
    if (wantFit) std::fill(xb + k, xb + n, 0.0);
    if (wantResidual) std::fill(rsd, rsd + k, 0.0);

    const int info = !wantB ? 0 : solvable ? solveR(f, b) : 1;
    if (wantResidual) applyQ(f, rsd);
    if (wantFit) applyQ(f, xb);
    return info;
}

}  // namespace kelvo::kernels
