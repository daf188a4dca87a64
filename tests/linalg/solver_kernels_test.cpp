// What could break: a block edge, a fused or reordered sum, a multiple of zero that is not left out,
// rows interchanged that the published format leaves alone, a singular step inside a block, cells
// outside the matrix. Everything is compared bit for bit with the published loops, padding included.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "linalg/kernels/cholesky.h"
#include "linalg/kernels/cholesky_update.h"
#include "linalg/kernels/instruction_level.h"
#include "linalg/kernels/lu.h"
#include "linalg/kernels/symmetric.h"
#include "tests/linalg/reference/cholesky.h"
#include "tests/linalg/reference/lu.h"
#include "tests/linalg/reference/symmetric.h"

namespace {

using namespace kelvo;
using reference::Mat;
using Numbers = std::vector<double>;
using Places = std::vector<int>;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr int kSizes[] = {0, 1, 2, 3, 4, 5, 10, 13, 16, 24, 31, 50, 65, 130, 200};

std::size_t count(int n) {
    return static_cast<std::size_t>(n);
}

enum Kind {
    kRandom,
    kGraded,
    kDeficient,
    kSmallIntegers,
    kSparse,
    kHuge,
    kTiny,
    kSubnormal,
    kSignedZeros,
    kWithNan,
    kWithInfinity,
    kKinds
};
const char* const kNames[] = {"random", "graded",       "rank deficient", "small integers",
                              "sparse", "huge",         "tiny",           "subnormal",
                              "-0",     "not a number", "infinity"};

struct Layout {
    int extraRows, offset;
};
constexpr Layout kLayouts[] = {{0, 0}, {3, 1}, {8, 5}};

// An n x n matrix inside cells of its own; what lies around it must stay as it is.
struct Cells {
    int n, ld, offset;
    Numbers v;

    Cells(int order, const Layout& layout)
        : n(order),
          ld(order + layout.extraRows + (order == 0)),
          offset(layout.offset),
          v(count(ld * order + offset + 3), 1234.5) {}
    double* a() { return v.data() + offset; }
    Mat mat() { return {a(), ld}; }
    double& operator()(int i, int j) { return a()[i + j * ld]; }
};

Cells makeMatrix(Kind kind, int n, const Layout& layout, unsigned seed = 1) {
    std::mt19937 engine(seed + 100u * static_cast<unsigned>(n));
    std::uniform_real_distribution<double> uniform(-1, 1);
    std::uniform_int_distribution<int> digit(-2, 2), place(0, 999);
    Cells m(n, layout);
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < n; ++i) {
            double x = uniform(engine);
            if (kind == kGraded) x *= std::pow(10.0, -(i + 2 * j) % 30);
            if (kind == kDeficient && j >= n / 2) x = m(i, j - n / 2) * 2;
            if (kind == kSmallIntegers) x = digit(engine);
            if (kind == kSparse && place(engine) > 150 && i != j) x = 0.0;
            if (kind == kHuge) x *= 1e306;
            if (kind == kTiny) x *= 1e-303;
            if (kind == kSubnormal) x *= 1e-315;
            if (kind == kSignedZeros && place(engine) > 500) x = std::copysign(0.0, x);
            m(i, j) = x;
        }
    }
    if (n > 0 && kind == kWithNan) m(n / 2, n / 3) = kNan;
    if (n > 0 && kind == kWithInfinity) m(n / 2, n / 3) = m(n / 3, n / 3) = kInf;
    return m;
}

Numbers makeVector(int n, unsigned seed = 3) {
    std::mt19937 engine(seed);
    std::uniform_real_distribution<double> uniform(-1, 1);
    Numbers v(count(n));
    for (double& x : v) x = uniform(engine);
    return v;
}

// Which not-a-number comes out depends on the order of operands, which nobody defines.
bool sameBits(double x, double y) {
    return std::bit_cast<std::uint64_t>(x) == std::bit_cast<std::uint64_t>(y) ||
           (std::isnan(x) && std::isnan(y));
}

void expectSame(const Numbers& expected, const Numbers& actual, const char* what) {
    ASSERT_EQ(expected.size(), actual.size());
    for (std::size_t i = 0; i < expected.size(); ++i)
        ASSERT_TRUE(sameBits(expected[i], actual[i]))
            << what << " at " << i << ": " << expected[i] << " became " << actual[i];
}

class SolverAtLevel : public testing::TestWithParam<kernels::Level> {
  protected:
    void SetUp() override {
        if (!kernels::levelSupported(GetParam())) GTEST_SKIP();
        previous_ = kernels::activeLevel();
        kernels::forceLevel(GetParam());
    }
    void TearDown() override {
        if (!IsSkipped()) kernels::forceLevel(previous_);
    }

    // Every kind, size and layout.
    template <class Test>
    void eachMatrix(Test test) {
        for (int n : kSizes) {
            for (int kind = 0; kind < kKinds; ++kind) {
                for (const Layout& layout : kLayouts) {
                    if (n > 100 && layout.offset != 1) continue;  // one will do
                    SCOPED_TRACE(testing::Message()
                                 << kNames[kind] << ", n = " << n << ", offset " << layout.offset);
                    test(makeMatrix(static_cast<Kind>(kind), n, layout));
                    if (HasFatalFailure()) return;
                }
            }
        }
    }

    kernels::Level previous_ = kernels::Level::kBase;
};

void compareSolutions(const Cells& factored, const Places& ipvt) {
    const int n = factored.n;
    Cells a = factored;
    Places pivots = ipvt;
    for (int job : {0, 1}) {
        Numbers expected = makeVector(n), actual = expected;
        reference::dgesl(a.mat(), n, {pivots.data()}, {expected.data()}, job);
        kernels::dgesl(a.a(), a.ld, n, pivots.data(), actual.data(), job);
        expectSame(expected, actual, job == 0 ? "solution" : "transposed solution");
    }
    Cells inverse = a;
    Numbers work(count(n)), det(2), sameDet(2);
    kernels::dgedi(inverse.a(), a.ld, n, pivots.data(), sameDet.data(), work.data(), 11);
    reference::dgedi(a.mat(), n, {pivots.data()}, det.data(), {work.data()});
    expectSame(a.v, inverse.v, "inverse");
    if (std::isfinite(det[0])) expectSame(det, sameDet, "determinant");
}

TEST_P(SolverAtLevel, LuIsThePublishedOne) {
    eachMatrix([](const Cells& a) {
        const int n = a.n;
        Cells expected = a, plain = a;
        Places ipvt(count(n)), same(count(n)), samePlain(count(n));
        const int info = reference::dgefa(expected.mat(), n, {ipvt.data()});
        Numbers work(kernels::dgefaWork(n));
        Cells fast = a;
        EXPECT_EQ(info, kernels::dgefa(fast.a(), a.ld, n, same.data(), work.data()));
        EXPECT_EQ(info, kernels::dgefa(plain.a(), a.ld, n, samePlain.data(), nullptr));
        EXPECT_EQ(ipvt, same);
        EXPECT_EQ(ipvt, samePlain);
        ASSERT_NO_FATAL_FAILURE(expectSame(expected.v, fast.v, "factors"));
        ASSERT_NO_FATAL_FAILURE(expectSame(expected.v, plain.v, "factors without scratch"));
        ASSERT_NO_FATAL_FAILURE(compareSolutions(expected, ipvt));

        Cells conditioned = a;
        expected = a;
        Numbers z(count(n)), sameZ(count(n));
        const double rcond = reference::dgeco(expected.mat(), n, {ipvt.data()}, {z.data()});
        const double sameRcond =
            kernels::dgeco(conditioned.a(), a.ld, n, same.data(), sameZ.data(), work.data());
        EXPECT_TRUE(sameBits(rcond, sameRcond)) << rcond << " became " << sameRcond;
        ASSERT_NO_FATAL_FAILURE(expectSame(z, sameZ, "null vector"));
    });
}

// Definite, semidefinite and indefinite matrices from any.
Cells symmetricFrom(const Cells& given, int variant) {
    Cells b = given, a = given;
    for (int j = 0; j < b.n; ++j) {
        for (int i = 0; i <= j; ++i) {
            double sum = i == j && variant == 0 ? b(i, i) * b(i, i) : 0.0;
            for (int k = 0; k < b.n; ++k) sum += b(k, i) * b(k, j);
            a(i, j) = variant == 2 ? b(i, j) + (i == j ? 8.0 : 0.0) : sum;
        }
    }
    return a;
}

TEST_P(SolverAtLevel, CholeskyIsThePublishedOne) {
    eachMatrix([](const Cells& given) {
        const int n = given.n;
        for (int variant = 0; variant < 3; ++variant) {
            for (int job : {0, 1}) {
                SCOPED_TRACE(testing::Message() << "variant " << variant << " job " << job);
                Cells expected = symmetricFrom(given, variant), actual = expected, plain = expected;
                Places jpvt(count(n));
                for (int k = 0; k < n; ++k) jpvt[count(k)] = k % 7 == 3 ? 1 : k % 5 == 1 ? -1 : 0;
                Places same = jpvt, samePlain = jpvt;
                Numbers work(count(n)), scratch(kernels::dchdcScratch(n, job));
                const int info =
                    reference::dchdc(expected.mat(), n, {work.data()}, {jpvt.data()}, job);
                EXPECT_EQ(info, kernels::dchdc(actual.a(), actual.ld, n, work.data(), same.data(),
                                               job, scratch.data()));
                EXPECT_EQ(info, kernels::dchdc(plain.a(), plain.ld, n, work.data(),
                                               samePlain.data(), job, nullptr));
                EXPECT_EQ(jpvt, same);
                EXPECT_EQ(jpvt, samePlain);
                ASSERT_NO_FATAL_FAILURE(expectSame(expected.v, actual.v, "factor"));
                ASSERT_NO_FATAL_FAILURE(expectSame(expected.v, plain.v, "without scratch"));
                Numbers x = makeVector(info), y = x;
                reference::dposl(expected.mat(), info, {x.data()});
                kernels::dposl(expected.a(), expected.ld, info, y.data());
                ASSERT_NO_FATAL_FAILURE(expectSame(x, y, "solution"));
            }
        }
    });
}

// A factor with right sides beside it.
struct Problem {
    Cells r;
    int nz;
    Numbers z, y, rho, c, s;

    Problem(const Cells& factor, int sides)
        : r(factor),
          nz(sides),
          z(makeVector(r.ld * nz)),
          y(makeVector(nz)),
          rho(count(nz), 2.0),
          c(count(r.n)),
          s(count(r.n)) {
        if (nz > 1) rho[1] = -1.0;
    }
    Mat zMat() { return {z.data(), r.ld}; }
};

void expectSame(const Problem& expected, const Problem& actual) {
    ASSERT_NO_FATAL_FAILURE(expectSame(expected.r.v, actual.r.v, "factor"));
    ASSERT_NO_FATAL_FAILURE(expectSame(expected.z, actual.z, "right sides"));
    ASSERT_NO_FATAL_FAILURE(expectSame(expected.rho, actual.rho, "norms"));
}

TEST_P(SolverAtLevel, RankOneUpdateIsThePublishedOne) {
    eachMatrix([](const Cells& given) {
        for (int nz : {0, 1, 3, 9}) {
            Problem expected(given, nz);
            Numbers x = makeVector(given.n, 8);
            if (given.n > 2) x[2] = 0.0;
            Problem actual = expected;
            reference::dchud(expected.r.mat(), given.n, {x.data()}, expected.zMat(), nz,
                             {expected.y.data()}, {expected.rho.data()}, {expected.c.data()},
                             {expected.s.data()});
            kernels::dchud(actual.r.a(), actual.r.ld, given.n, x.data(), actual.z.data(),
                           actual.r.ld, nz, actual.y.data(), actual.rho.data(), actual.c.data(),
                           actual.s.data());
            ASSERT_NO_FATAL_FAILURE(expectSame(expected, actual));
            ASSERT_NO_FATAL_FAILURE(expectSame(expected.c, actual.c, "cosines"));
            ASSERT_NO_FATAL_FAILURE(expectSame(expected.s, actual.s, "sines"));
        }
    });
}

TEST_P(SolverAtLevel, ShiftIsThePublishedOne) {
    for (int n : {2, 3, 5, 12}) {
        for (int k = 1; k < n; ++k) {
            for (int l = k + 1; l <= n; ++l) {
                for (int job : {1, 2}) {
                    SCOPED_TRACE(testing::Message() << n << ": " << k << ' ' << l << ' ' << job);
                    Problem expected(makeMatrix(kRandom, n, kLayouts[1]), 2);
                    Problem actual = expected;
                    reference::dchex(expected.r.mat(), n, k, l, expected.zMat(), 2,
                                     {expected.c.data()}, {expected.s.data()}, job);
                    kernels::dchex(actual.r.a(), actual.r.ld, n, k, l, actual.z.data(), actual.r.ld,
                                   2, actual.c.data(), actual.s.data(), job);
                    ASSERT_NO_FATAL_FAILURE(expectSame(expected, actual));
                }
            }
        }
    }
}

double largestOf(const Numbers& v) {
    double most = 0.0;
    for (double x : v) most = std::max(most, std::fabs(x));
    return most;
}

void expectClose(const Numbers& expected, const Numbers& actual, double tolerance) {
    const double size = largestOf(expected);
    for (std::size_t i = 0; i < expected.size(); ++i)
        ASSERT_NEAR(expected[i], actual[i], tolerance * size) << i;
}

// The same factors, but for the signs of zeros; the estimate's sums may be regrouped.
TEST_P(SolverAtLevel, SymmetricIsClose) {
    for (int n : kSizes) {
        for (Kind kind : {kRandom, kSmallIntegers, kSparse, kHuge, kTiny}) {
            SCOPED_TRACE(testing::Message() << kNames[kind] << ' ' << n);
            Cells m = makeMatrix(kind, n, kLayouts[0]);
            Numbers a;
            for (int j = 0; j < n; ++j)
                for (int i = 0; i <= j; ++i) a.push_back(i == j && n % 2 == 0 ? 0.0 : m(i, j));
            Numbers same = a, plain = a, z(count(n)), sameZ(count(n));
            Numbers work(kernels::dspfaWork(n));
            Places kpvt(count(n)), samePivots(count(n)), plainPivots(count(n));
            const double rcond = reference::dspco({a.data()}, n, {kpvt.data()}, {z.data()});
            const double sameRcond =
                kernels::dspco(same.data(), n, samePivots.data(), sameZ.data(), work.data());
            kernels::dspfa(plain.data(), n, plainPivots.data(), nullptr);
            ASSERT_EQ(kpvt, samePivots);
            ASSERT_EQ(kpvt, plainPivots);
            ASSERT_EQ(a, same);
            ASSERT_EQ(a, plain);
            EXPECT_NEAR(rcond, sameRcond, 1e-8 * rcond);
            if (!(rcond > 1e-6)) continue;
            Numbers b = makeVector(n), sameB = b;
            reference::dspsl({a.data()}, n, {kpvt.data()}, {b.data()});
            kernels::dspsl(a.data(), n, kpvt.data(), sameB.data());
            expectClose(b, sameB, 1e-9);
            double det[2], sameDet[2];
            int inert[3], sameInert[3];
            kernels::dspdi(same.data(), n, kpvt.data(), sameDet, sameInert, sameZ.data(), 111);
            reference::dspdi({a.data()}, n, {kpvt.data()}, det, inert, {z.data()});
            for (int i = 0; i < 3; ++i) EXPECT_EQ(inert[i], sameInert[i]);
            EXPECT_EQ(det[1], sameDet[1]);
            EXPECT_NEAR(det[0], sameDet[0], 1e-10);
            expectClose(a, same, 1e-9);
        }
    }
}

// No promise but to come back.
TEST_P(SolverAtLevel, SymmetricEndsOnAnyInput) {
    eachMatrix([](const Cells& given) {
        Cells m = given;
        const int n = m.n;
        Numbers a, z(count(n)), b = makeVector(n);
        for (int j = 0; j < n; ++j)
            for (int i = 0; i <= j; ++i) a.push_back(m(i, j));
        Places kpvt(count(n));
        Numbers work(kernels::dspfaWork(n));
        double det[2];
        int inert[3];
        kernels::dspco(a.data(), n, kpvt.data(), z.data(), work.data());
        for (int k : kpvt) ASSERT_TRUE(k != 0 && std::abs(k) <= n);
        kernels::dspsl(a.data(), n, kpvt.data(), b.data());
        kernels::dspdi(a.data(), n, kpvt.data(), det, inert, z.data(), 111);
    });
}

// The published loops never end once the product overflows.
TEST(Determinant, HugeFactorsNeitherHangNorOverflow) {
    const double kDiagonal[] = {9e307, 1.5e308, 1e-300, 1.7e308};
    double a[16] = {}, det[2];
    for (int i = 0; i < 4; ++i) a[5 * i] = kDiagonal[i];
    const int ipvt[] = {1, 2, 3, 4};
    kernels::dgedi(a, 4, 4, ipvt, det, nullptr, 10);
    EXPECT_NEAR(2.295, det[0], 1e-12);
    EXPECT_EQ(624.0, det[1]);
    a[5] = kInf;
    kernels::dgedi(a, 4, 4, ipvt, det, nullptr, 10);
    EXPECT_EQ(kInf, det[0]);
}

INSTANTIATE_TEST_SUITE_P(Levels, SolverAtLevel, testing::ValuesIn(kernels::kAllLevels),
                         [](const auto& level) { return std::to_string(int(level.param)); });

}  // namespace
