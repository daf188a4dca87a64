#include "linalg/kernels/dqrdc.h"

#include <algorithm>

#include "linalg/kernels/householder.h"

namespace kelvo::kernels {
namespace {

// The factorization under way.
struct Task {
    double* x;
    std::ptrdiff_t ldx;
    int n, p;
    double* qraux;     // norms of the free columns still to come, then the heads of the reflections
    int* jpvt;         // null without pivoting
    double* original;  // the norms when they were last computed from scratch
    int freeBegin = 0, freeEnd = 0;

    double* column(int j) const { return x + j * ldx; }
};

// Brings the initial columns to the front and the final ones to the back.
void arrangeColumns(Task& t) {
    int* jpvt = t.jpvt;
    for (int j = 0; j < t.p; ++j) {
        const bool initial = jpvt[j] > 0;
        jpvt[j] = jpvt[j] < 0 ? -(j + 1) : j + 1;  // a final column keeps its mark for now
        if (!initial) continue;
        if (j != t.freeBegin) swap(t.n, t.column(t.freeBegin), t.column(j));
        jpvt[j] = jpvt[t.freeBegin];
        jpvt[t.freeBegin++] = j + 1;
    }
    t.freeEnd = t.p;
    for (int j = t.p - 1; j >= 0; --j) {
        if (jpvt[j] >= 0) continue;
        jpvt[j] = -jpvt[j];
        --t.freeEnd;
        if (j == t.freeEnd) continue;
        swap(t.n, t.column(t.freeEnd), t.column(j));
        std::swap(jpvt[t.freeEnd], jpvt[j]);
    }
}

void bringPivotTo(const Task& t, int l) {
    int best = l;
    double largest = 0.0;
    for (int j = l; j < t.freeEnd; ++j) {
        if (t.qraux[j] > largest) {
            largest = t.qraux[j];
            best = j;
        }
    }
    if (best == l) return;
    swap(t.n, t.column(l), t.column(best));
    t.qraux[best] = t.qraux[l];
    t.original[best] = t.original[l];
    std::swap(t.jpvt[best], t.jpvt[l]);
}

// The norm of column j without row l, from its norm with it; anew when too few digits would be
// left.
void lowerNorm(const Task& t, int l, int j) {
    double& norm = t.qraux[j];
    if (norm == 0.0) return;
    const double ratio = std::fabs(t.column(j)[l]) / norm;
    const double left = std::max(1.0 - ratio * ratio, 0.0);
    const double shrunk = norm / t.original[j];
    if (1.0 + 0.05 * left * shrunk * shrunk != 1.0) {
        norm *= std::sqrt(left);
    } else {
        norm = t.original[j] = nrm2(t.n - l - 1, t.column(j) + l + 1);
    }
}

void reduceColumn(const Task& t, int l) {
    double* v = t.column(l) + l;
    const double norm = makeReflection(t.n - l, v);
    if (norm == 0.0) return;
    for (int j = l + 1; j < t.p; ++j) {
        applyReflection(t.n - l, v, t.column(j) + l);
        if (j >= t.freeBegin && j < t.freeEnd) lowerNorm(t, l, j);
    }
    t.qraux[l] = v[0];
    v[0] = -norm;
}

}  // namespace

void dqrdc(double* x, int ldx, int n, int p, double* qraux, int* jpvt, double* work, int job) {
    // Without rows x may be null, and no step along it may be made.
    Task t = {x, n > 0 ? ldx : 0, n, p, qraux, job != 0 ? jpvt : nullptr, work};
    if (t.jpvt) arrangeColumns(t);
    std::fill_n(qraux, p, 0.0);
    for (int j = t.freeBegin; j < t.freeEnd; ++j) qraux[j] = work[j] = nrm2(n, t.column(j));

    for (int l = 0; l < std::min(n, p); ++l) {
        if (l >= t.freeBegin && l + 1 < t.freeEnd) bringPivotTo(t, l);
        qraux[l] = 0.0;
        if (l + 1 < n) reduceColumn(t, l);
    }
}

}  // namespace kelvo::kernels
