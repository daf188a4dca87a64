#include "linalg/kernels/dqrdc.h"

#include <algorithm>
#include <numeric>

#include "linalg/kernels/block_reflector.h"
#include "linalg/kernels/blocked_qr.h"
#include "linalg/kernels/householder.h"

namespace kelvo::kernels {
namespace {

// Where blocks gain more than they cost, measured: the columns behind a block are what gains.
bool gainsByBlocks(int n, int p) {
    return std::min(n, p) >= 24 && (p >= 64 || (p >= 40 && n >= 100));
}

// The same for steps that wait.
bool gainsByWaiting(int n, int p) {
    return std::min(n, p) >= 64 &&
           static_cast<std::size_t>(n) * static_cast<std::size_t>(p) >= 120 * 120;
}

// Brings the initial columns to the front and the final ones to the back.
void arrangeColumns(QrTask& t) {
    int* jpvt = t.jpvt;
    t.freeEnd = t.p;
    if (std::all_of(jpvt, jpvt + t.p, [](int specifier) { return specifier == 0; }))
        return std::iota(jpvt, jpvt + t.p, 1);
    for (int j = 0; j < t.p; ++j) {
        const bool initial = jpvt[j] > 0;
        jpvt[j] = jpvt[j] < 0 ? -(j + 1) : j + 1;  // a final column keeps its mark for now
        if (!initial) continue;
        if (j != t.freeBegin) swap(t.n, t.column(t.freeBegin), t.column(j));
        jpvt[j] = jpvt[t.freeBegin];
        jpvt[t.freeBegin++] = j + 1;
    }
    for (int j = t.p - 1; j >= 0; --j) {
        if (jpvt[j] >= 0) continue;
        jpvt[j] = -jpvt[j];
        --t.freeEnd;
        if (j == t.freeEnd) continue;
        swap(t.n, t.column(t.freeEnd), t.column(j));
        std::swap(jpvt[t.freeEnd], jpvt[j]);
    }
}

void factorPlain(const QrTask& t) {
    for (int l = 0; l < std::min(t.n, t.p); ++l) {
        if (l >= t.freeBegin && l + 1 < t.freeEnd) bringPivotTo(t, l);
        t.qraux[l] = 0.0;
        if (l + 1 == t.n || !reduceColumn(t, l, t.p)) continue;
        for (int j = std::max(l + 1, t.freeBegin); j < t.freeEnd; ++j)
            if (!lowerNorm(t, l, j))
                t.qraux[j] = t.original[j] = nrm2(t.n - l - 1, t.column(j) + l + 1);
    }
}

}  // namespace

std::size_t dqrdcScratch(int n, int p, int job) {
    if (job != 0) return gainsByWaiting(n, p) ? delayedQrWork(p) : 0;
    return gainsByBlocks(n, p) ? blockedQrWork(n) : 0;
}

void dqrdc(double* x, int ldx, int n, int p, double* qraux, int* jpvt, double* work, int job,
           double* scratch) {
    // Without rows x may be null, and no step along it may be made.
    QrTask t = {x, n > 0 ? ldx : 0, n, p, qraux, job != 0 ? jpvt : nullptr, work};
    if (t.jpvt) arrangeColumns(t);
    std::fill_n(qraux, p, 0.0);
    for (int j = t.freeBegin; j < t.freeEnd; ++j) qraux[j] = work[j] = nrm2(n, t.column(j));

    if (scratch == nullptr || dqrdcScratch(n, p, job) == 0)
        factorPlain(t);
    else if (job != 0)
        delayedQr(t, scratch);
    else
        blockedQr(t, scratch);
}

}  // namespace kelvo::kernels
