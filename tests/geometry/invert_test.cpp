// The inversion promises the results of one fixed elimination, bit for bit, on every processor.
// What could break: rows exchanged or ties resolved otherwise, a multiplication by a reciprocal or a
// fused product, signs of zeros, the hand-over of what is not finite.
#include "geometry/invert.h"

#include <algorithm>
#include <cfenv>
#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "KelvoBase/matrix4.h"
#include "tests/geometry/geometry_testing.h"

namespace {

// The elimination as it is defined, with both matrices side by side.
void transcription(const double* from, double* to) {
    volatile double m[4][8] = {};  // volatile: every intermediate value is rounded and stored
    for (int i = 0; i < 4; ++i) {
        for (int j = 0; j < 4; ++j) m[i][j] = from[4 * i + j];
        m[i][4 + i] = 1;
    }
    const auto subtract = [&m](int r, double f, int c) {
        for (int j = 0; j < 8; ++j) {
            const volatile double product = f * m[c][j];
            m[r][j] = m[r][j] - product;
        }
        m[r][c] = 0;
    };
    for (int c = 0; c < 3; ++c) {
        int pivot = c;
        for (int r = c + 1; r < 4; ++r) {
            const volatile double best = m[pivot][c] * m[pivot][c], square = m[r][c] * m[r][c];
            if (square > best) pivot = r;
        }
        for (int j = 0; pivot != c && j < 8; ++j) {
            const double moved = m[c][j];
            m[c][j] = m[pivot][j];
            m[pivot][j] = moved;
        }
        for (int r = c + 1; r < 4; ++r) subtract(r, m[r][c] / m[c][c], c);
    }
    for (int i = 0; i < 4; ++i) {
        const double d = m[i][i];
        for (int j = 0; j < 8; ++j) m[i][j] = m[i][j] / d;
        m[i][i] = 1;
    }
    for (int r = 0; r < 3; ++r) {
        for (int j = r + 1; j < 4; ++j) subtract(r, m[r][j], j);
    }
    for (int i = 0; i < 16; ++i) to[i] = m[i / 4][4 + i % 4];
}

// Same bits, except that all NaNs are one.
bool same(const double* a, const double* b) {
    for (int i = 0; i < 16; ++i) {
        const bool bothNaN = std::isnan(a[i]) && std::isnan(b[i]);
        if (!bothNaN && std::memcmp(a + i, b + i, sizeof *a) != 0) return false;
    }
    return true;
}

struct Kernel {
    std::string name;
    void (*invert)(const double* from, double* to);
};

void throughTheClass(const double* from, double* to) {
    T4dDblMatrix m;
    std::memcpy(m[0], from, 16 * sizeof *from);
    m.invertIt();
    std::memcpy(to, m[0], 16 * sizeof *to);
}

std::vector<Kernel> kernels() {
    namespace g = kelvo::geometry;
    std::vector<Kernel> all = {
        {"class", throughTheClass}, {"plain", g::invert4Plainly}, {"chosen", g::invert4}};
#ifdef __x86_64__
    if (__builtin_cpu_supports("avx2")) all.push_back({"AVX2", g::invert4Avx2});
#endif
    return all;
}

std::mt19937_64 g_engine(99);

double uniform() {
    return std::uniform_real_distribution<double>(-1, 1)(g_engine);
}
bool oneIn(unsigned n) {
    return g_engine() % n == 0;
}

const struct {
    const char* what;
    double (*element)();
} kKinds[] = {
    {"random", uniform},
    {"small integers: ties and singular ones", [] { return std::round(2 * uniform()); }},
    {"signed zeros", [] { return oneIn(3) ? -0.0 : std::round(1.2 * uniform()); }},
    {"badly scaled", [] { return std::ldexp(uniform(), static_cast<int>(1070 * uniform())); }},
    {"squares that overflow or vanish",
     [] { return std::round(3 * uniform()) * (oneIn(2) ? 1e-170 : 1e160); }},
    {"close to ties", [] { return std::nextafter(oneIn(2) ? 1.0 : -1.0, 2 * uniform()); }},
    {"subnormal", [] { return oneIn(9) ? 5e-324 * std::round(5 * uniform()) : uniform(); }},
    {"infinite or NaN", [] { return oneIn(16) ? (oneIn(2) ? INFINITY : NAN) : uniform(); }},
};

TEST(Invert, EveryKernelKeepsTheBitsOfTheElimination) {
    int nonFinite = 0, exchanged = 0;
    for (const auto& kind : kKinds) {
        for (int trial = 0; trial < 20000; ++trial) {
            double m[16], want[16];
            for (double& e : m) e = kind.element();
            transcription(m, want);
            nonFinite += !std::isfinite(want[0]);
            exchanged += std::fabs(m[0]) < std::fabs(m[12]);
            for (const Kernel& kernel : kernels()) {
                double got[16], inPlace[16];
                kernel.invert(m, got);
                ASSERT_TRUE(same(want, got)) << kind.what << ", " << kernel.name;
                std::memcpy(inPlace, m, sizeof m);
                kernel.invert(inPlace, inPlace);
                ASSERT_TRUE(same(want, inPlace)) << kind.what << ", in place, " << kernel.name;
            }
        }
    }
    EXPECT_GT(nonFinite, 1000);
    EXPECT_GT(exchanged, 1000);
}

TEST(Invert, AllRowOrders) {
    int order[4] = {0, 1, 2, 3};
    do {
        double m[16] = {}, want[16] = {};
        for (int i = 0; i < 4; ++i) {
            m[4 * i + order[i]] = i + 1;
            want[4 * order[i] + i] = 1.0 / (i + 1);
        }
        for (const Kernel& kernel : kernels()) {
            double got[16];
            kernel.invert(m, got);
            for (int i = 0; i < 16; ++i) EXPECT_EQ(want[i], got[i]) << kernel.name;
        }
    } while (std::next_permutation(order, order + 4));
}

// A kernel that loses a row comes upon a zero pivot and starts again with the plain elimination,
// which is right and three times as slow.
TEST(Invert, KernelsNeedNoSecondStart) {
    for (int trial = 0; trial < 2000; ++trial) {
        double m[16], got[16];
        for (double& e : m) e = uniform();
        for (const Kernel& kernel : kernels()) {
            std::feclearexcept(FE_ALL_EXCEPT);
            kernel.invert(m, got);
            ASSERT_FALSE(std::fetestexcept(FE_DIVBYZERO | FE_INVALID)) << kernel.name;
        }
    }
}

}  // namespace
