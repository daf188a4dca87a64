#include "linalg/kernels/exact_ops.h"
#include "linalg/kernels/lu.h"

namespace kelvo::kernels {
namespace {

// The estimate is |z| / |y| of A'y = e, A z = y, where e is chosen to make y grow. The factors are in
// a; z is scaled wherever it might overflow, and the scales of the second half gathered.
struct Estimate {
    const double* a;
    std::ptrdiff_t lda;
    int n;
    const int* ipvt;
    double* z;
    double ynorm = 1.0;

    double at(int i, int j) const { return a[i + j * lda]; }

    void shrink(double factor) {
        scaleBy(n, factor, z);
        ynorm *= factor;
    }
    void normalise() { shrink(1.0 / absoluteSum(n, z)); }

    // U' w = e, with e(k) = 1 or -1, whichever lets the elements to come grow more.
    void solveTransposedU() {
        double ek = 1.0;
        for (int k = 0; k < n; ++k) {
            if (z[k] != 0.0) ek = std::copysign(ek, -z[k]);
            const double pivot = std::fabs(at(k, k));
            if (std::fabs(ek - z[k]) > pivot) {
                const double s = pivot / std::fabs(ek - z[k]);
                scaleBy(n, s, z);
                ek *= s;
            }
            z[k] = chooseSign(k, ek - z[k], -ek - z[k]);
        }
    }

    // Updates z(k+1), ... for the better of two values of w(k), and returns that.
    double chooseSign(int k, double wk, double wkm) {
        double s = std::fabs(wk), sm = std::fabs(wkm);
        if (at(k, k) != 0.0) {
            wk /= at(k, k);
            wkm /= at(k, k);
        } else {
            wk = wkm = 1.0;
        }
        for (int j = k + 1; j < n; ++j) {
            sm += std::fabs(z[j] + wkm * at(k, j));
            z[j] += wk * at(k, j);
            s += std::fabs(z[j]);
        }
        if (!(s < sm)) return wk;
        const double t = wkm - wk;
        for (int j = k + 1; j < n; ++j) z[j] += t * at(k, j);
        return wkm;
    }

    void solveTransposedL() {
        for (int k = n - 1; k >= 0; --k) {
            if (k + 1 < n) z[k] += dotInOrder(n - k - 1, a + k * lda + k + 1, z + k + 1);
            if (std::fabs(z[k]) > 1.0) scaleBy(n, 1.0 / std::fabs(z[k]), z);
            exchange(z[ipvt[k] - 1], z[k]);
        }
    }

    void solveL() {
        for (int k = 0; k < n; ++k) {
            exchange(z[ipvt[k] - 1], z[k]);
            addMultiple(n - k - 1, z[k], a + k * lda + k + 1, z + k + 1);
            if (std::fabs(z[k]) > 1.0) shrink(1.0 / std::fabs(z[k]));
        }
    }

    void solveU() {
        for (int k = n - 1; k >= 0; --k) {
            const double pivot = at(k, k);
            if (std::fabs(z[k]) > std::fabs(pivot)) shrink(std::fabs(pivot) / std::fabs(z[k]));
            z[k] = pivot != 0.0 ? z[k] / pivot : 1.0;
            addMultiple(k, -z[k], a + k * lda, z);
        }
    }
};

double oneNorm(const double* a, std::ptrdiff_t lda, int n) {
    double norm = 0.0;
    for (int j = 0; j < n; ++j) {
        const double sum = absoluteSum(n, a + j * lda);
        if (sum > norm) norm = sum;
    }
    return norm;
}

}  // namespace

double dgeco(double* a, std::ptrdiff_t lda, int n, int* ipvt, double* z, double* work) {
    const double anorm = oneNorm(a, lda, n);
    dgefa(a, lda, n, ipvt, work);
    for (int k = 0; k < n; ++k) z[k] = 0.0;
    Estimate estimate{a, lda, n, ipvt, z};
    estimate.solveTransposedU();
    estimate.normalise();
    estimate.solveTransposedL();
    estimate.normalise();
    estimate.ynorm = 1.0;
    estimate.solveL();
    estimate.normalise();
    estimate.solveU();
    estimate.normalise();
    return anorm != 0.0 ? estimate.ynorm / anorm : 0.0;
}

}  // namespace kelvo::kernels
