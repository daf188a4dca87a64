#include "linalg/kernels/blocked_qr.h"

#include <algorithm>

#include "linalg/kernels/block_reflector.h"

namespace kelvo::kernels {
namespace {

constexpr int kLeaf = static_cast<int>(BlockReflector::kLeaf);
constexpr int kWidth = static_cast<int>(BlockReflector::kMost);

// The steps from `begin` to `end` - 1 on their own columns, a few at a time.
void factorPanel(const QrTask& t, int begin, int end, BlockReflector& block) {
    const auto ldx = static_cast<std::size_t>(t.ldx);
    for (int l = begin; l < end; l += kLeaf) {
        const int leafEnd = std::min(l + kLeaf, end);
        const auto cols = static_cast<std::size_t>(leafEnd - l);
        if (l > begin) block.reduce(t.column(l) + begin, ldx, cols);
        for (int k = l; k < leafEnd; ++k) {
            t.qraux[k] = 0.0;
            if (k + 1 < t.n) reduceColumn(t, k, leafEnd);
        }
        if (end < t.p || leafEnd < end) block.add(t.column(l) + begin, ldx, cols, t.qraux + l);
    }
}

}  // namespace

std::size_t blockedQrWork(int n) {
    return BlockReflector::work(static_cast<std::size_t>(n));
}

void blockedQr(const QrTask& t, double* work) {
    const int steps = std::min(t.n, t.p);
    for (int k = 0; k < steps; k += kWidth) {
        const int end = std::min(k + kWidth, steps);
        BlockReflector block(static_cast<std::size_t>(t.n - k), work);
        factorPanel(t, k, end, block);
        if (end == t.p) return;
        block.finish(true);
        block.apply(t.column(end) + k, static_cast<std::size_t>(t.ldx),
                    static_cast<std::size_t>(t.p - end));
    }
}

}  // namespace kelvo::kernels
