#include "geometry/invert.h"

#include <atomic>
#include <utility>

namespace {

using Invert = void (*)(const double*, double*);

void chooseAndInvert(const double* from, double* to);

// The elimination for this processor, chosen by the first call; the same whichever thread comes
// first.
constinit std::atomic<Invert> g_invert{chooseAndInvert};

void chooseAndInvert(const double* from, double* to) {
    Invert best = kelvo::geometry::invert4Plainly;
#ifdef __x86_64__
    if (__builtin_cpu_supports("avx2")) best = kelvo::geometry::invert4Avx2;
#endif
    g_invert.store(best, std::memory_order_relaxed);
    best(from, to);
}

}  // namespace

void kelvo::geometry::invert4(const double* from, double* to) {
    g_invert.load(std::memory_order_relaxed)(from, to);
}

void kelvo::geometry::invert4Plainly(const double* from, double* to) {
    double a[4][4];
    __builtin_memcpy(a, from, sizeof a);
    double companion[4][4] = {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}};
    const auto subtract = [&](int r, double f, int c) {
        for (int j = 0; j < 4; ++j) {
            a[r][j] -= f * a[c][j];
            companion[r][j] -= f * companion[c][j];
        }
        a[r][c] = 0.0;
    };
    for (int c = 0; c < 3; ++c) {
        int pivot = c;
        for (int r = c + 1; r < 4; ++r) {
            if (a[r][c] * a[r][c] > a[pivot][c] * a[pivot][c]) pivot = r;
        }
        if (pivot != c) {
            std::swap(a[c], a[pivot]);
            std::swap(companion[c], companion[pivot]);
        }
        for (int r = c + 1; r < 4; ++r) subtract(r, a[r][c] / a[c][c], c);
    }
    for (int i = 0; i < 4; ++i) {
        const double d = a[i][i];
        for (int j = 0; j < 4; ++j) {
            a[i][j] /= d;
            companion[i][j] /= d;
        }
        a[i][i] = 1.0;
    }
    for (int r = 0; r < 3; ++r) {
        for (int j = r + 1; j < 4; ++j) subtract(r, a[r][j], j);
    }
    __builtin_memcpy(to, companion, sizeof companion);
}
