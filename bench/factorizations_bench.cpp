// Factorizations with one solution, and the rank-one update of a Cholesky factor, beside Eigen,
// LAPACK and the plain loops as they were published, all on one thread. Run without OPENBLAS_CORETYPE in the environment: it would hold OpenBLAS
// back. The rate counts the usual leading terms of the operations.
#include <benchmark/benchmark.h>
#include <lapacke.h>

#include <Eigen/Dense>
#include <cmath>
#include <vector>

#include "KelvoBase/factorizations.h"
#include "tests/linalg/reference/cholesky.h"
#include "tests/linalg/reference/lu.h"
#include "tests/linalg/reference/symmetric.h"
#include "tests/linalg/test_matrices.h"

extern "C" void openblas_set_num_threads(int);

namespace {

using kelvo::test::randomMatrix;
using kelvo::test::randomVector;
using EigenMatrix = Eigen::MatrixXd;

const bool kOneThread = [] {
    openblas_set_num_threads(1);
    return true;
}();

EigenMatrix toEigen(const DoubleGenMat& m) {
    return Eigen::Map<const EigenMatrix>(m.data(), m.rows(), m.cols());
}

// One system A x = b of each kind.
struct System {
    unsigned n;
    DoubleGenMat a;
    DoubleVec b = randomVector(n, 2);

    static DoubleGenMat definite(unsigned n) {
        const DoubleGenMat r = randomMatrix(n, n);
        DoubleGenMat a = transposeProduct(r, r);
        a.diagonal(0) += 1.0;
        return a;
    }
    int order() const { return static_cast<int>(n); }
    Eigen::VectorXd right() const { return Eigen::Map<const Eigen::VectorXd>(b.data(), order()); }
    // Every program solves what it is timed with, or is not timed.
    void check(benchmark::State& state, const double* x, double operations) const {
        const DoubleVec solution(x, n);
        const double size = kelvo::test::largest(a) * kelvo::test::largest(solution);
        if (!(kelvo::test::largest(product(a, solution) - b) <= 1e-12 * n * size))
            state.SkipWithError("wrong solution");
        state.counters["flops"] =
            benchmark::Counter(operations, benchmark::Counter::kIsIterationInvariantRate);
    }
};

enum Kind { kLu, kCholesky, kSymmetric };

System systemOf(Kind kind, const benchmark::State& state) {
    const auto n = static_cast<unsigned>(state.range(0));
    if (kind == kCholesky) return {n, System::definite(n)};
    return {n, kind == kLu ? randomMatrix(n, n) : DoubleGenMat(toSymMat(randomMatrix(n, n)))};
}

double operations(Kind kind, unsigned n) {
    const double cube = static_cast<double>(n) * n * n;
    return (kind == kLu ? 2.0 : 1.0) / 3.0 * cube + 2.0 * n * n;
}

template <Kind kKind>
void ours(benchmark::State& state) {
    const System system = systemOf(kKind, state);
    const DoubleSymMat packed = toSymMat(system.a);
    DoubleVec x;
    for (auto _ : state) {
        if constexpr (kKind == kLu) x.reference(DoubleGenFact(system.a, 0).solve(system.b));
        if constexpr (kKind == kCholesky) x.reference(DoubleChDecomp(system.a).solve(system.b));
        if constexpr (kKind == kSymmetric) x.reference(DoubleSymFact(packed, 0).solve(system.b));
    }
    system.check(state, x.data(), operations(kKind, system.n));
}

template <Kind kKind>
void eigen(benchmark::State& state) {
    const System system = systemOf(kKind, state);
    const EigenMatrix a = toEigen(system.a);
    const Eigen::VectorXd b = system.right();
    Eigen::VectorXd x;
    for (auto _ : state) {
        if constexpr (kKind == kLu) x = Eigen::PartialPivLU<EigenMatrix>(a).solve(b);
        if constexpr (kKind == kCholesky) x = Eigen::LLT<EigenMatrix>(a).solve(b);
    }
    system.check(state, x.data(), operations(kKind, system.n));
}

template <Kind kKind>
void lapack(benchmark::State& state) {
    const System system = systemOf(kKind, state);
    const int n = system.order();
    std::vector<int> pivots(system.n);
    std::vector<double> work(system.n * 64);
    DoubleVec x = system.b.copy();
    for (auto _ : state) {
        DoubleGenMat a = system.a.copy();
        x = system.b;
        if constexpr (kKind == kLu)
            LAPACKE_dgesv_work(LAPACK_COL_MAJOR, n, 1, a.data(), n, pivots.data(), x.data(), n);
        if constexpr (kKind == kCholesky)
            LAPACKE_dposv_work(LAPACK_COL_MAJOR, 'U', n, 1, a.data(), n, x.data(), n);
        if constexpr (kKind == kSymmetric)
            LAPACKE_dsysv_work(LAPACK_COL_MAJOR, 'U', n, 1, a.data(), n, pivots.data(), x.data(), n,
                               work.data(), n * 64);
    }
    system.check(state, x.data(), operations(kKind, system.n));
}

template <Kind kKind>
void plain(benchmark::State& state) {
    using namespace kelvo::reference;
    const System system = systemOf(kKind, state);
    const DoubleSymMat packed = toSymMat(system.a);
    const int n = system.order();
    std::vector<int> pivots(system.n);
    DoubleVec x = system.b.copy();
    for (auto _ : state) {
        x = system.b;
        if constexpr (kKind == kSymmetric) {
            DoubleSymMat a = packed.copy();
            dspfa({a.data()}, n, {pivots.data()});
            dspsl({a.data()}, n, {pivots.data()}, {x.data()});
        } else {
            DoubleGenMat a = system.a.copy();
            const Mat m{a.data(), n};
            DoubleVec work(system.n);
            if constexpr (kKind == kLu) {
                dgefa(m, n, {pivots.data()});
                dgesl(m, n, {pivots.data()}, {x.data()}, 0);
            } else {
                dchdc(m, n, {work.data()}, {pivots.data()}, 0);
                dposl(m, n, {x.data()});
            }
        }
    }
    system.check(state, x.data(), operations(kKind, system.n));
}

void conditionedLu(benchmark::State& state) {
    const System system = systemOf(kLu, state);
    DoubleVec x;
    for (auto _ : state) x.reference(DoubleGenFact(system.a).solve(system.b));
    system.check(state, x.data(), operations(kLu, system.n));
}

void conditionedLuLapack(benchmark::State& state) {
    const System system = systemOf(kLu, state);
    const int n = system.order();
    std::vector<int> pivots(system.n), integers(system.n);
    std::vector<double> work(4 * system.n);
    DoubleVec x = system.b.copy();
    double rcond = 0.0;
    for (auto _ : state) {
        DoubleGenMat a = system.a.copy();
        x = system.b;
        const double norm =
            LAPACKE_dlange_work(LAPACK_COL_MAJOR, '1', n, n, a.data(), n, work.data());
        LAPACKE_dgesv_work(LAPACK_COL_MAJOR, n, 1, a.data(), n, pivots.data(), x.data(), n);
        LAPACKE_dgecon_work(LAPACK_COL_MAJOR, '1', n, a.data(), n, norm, &rcond, work.data(),
                            integers.data());
        benchmark::DoNotOptimize(rcond);
    }
    system.check(state, x.data(), operations(kLu, system.n));
}

void pivotedCholesky(benchmark::State& state) {
    const System system = systemOf(kCholesky, state);
    DoubleVec x;
    for (auto _ : state) {
        DoubleChDecomp ch;
        ch.doPivoting(1);
        ch.factor(system.a);
        x.reference(ch.solve(system.b));
    }
    system.check(state, x.data(), operations(kCholesky, system.n));
}

void pivotedCholeskyLapack(benchmark::State& state) {
    const System system = systemOf(kCholesky, state);
    const int n = system.order();
    std::vector<int> pivots(system.n);
    std::vector<double> work(2 * system.n), y(system.n);
    DoubleVec x(system.n);
    int rank = 0;
    for (auto _ : state) {
        DoubleGenMat a = system.a.copy();
        LAPACKE_dpstrf_work(LAPACK_COL_MAJOR, 'U', n, a.data(), n, pivots.data(), &rank, -1.0,
                            work.data());
        for (unsigned i = 0; i < system.n; ++i) y[i] = system.b(pivots[i] - 1);
        LAPACKE_dpotrs_work(LAPACK_COL_MAJOR, 'U', n, 1, a.data(), n, y.data(), n);
        for (unsigned i = 0; i < system.n; ++i) x(pivots[i] - 1) = y[i];
    }
    system.check(state, x.data(), operations(kCholesky, system.n));
}

void pivotedCholeskyPlain(benchmark::State& state) {
    using namespace kelvo::reference;
    const System system = systemOf(kCholesky, state);
    const int n = system.order();
    DoubleVec x(system.n);
    for (auto _ : state) {
        DoubleGenMat a = system.a.copy();
        DoubleVec work(system.n), y(system.n);
        std::vector<int> pivots(system.n, 0);
        dchdc({a.data(), n}, n, {work.data()}, {pivots.data()}, 1);
        for (unsigned i = 0; i < system.n; ++i) y.data()[i] = system.b(pivots[i] - 1);
        dposl({a.data(), n}, n, {y.data()});
        for (unsigned i = 0; i < system.n; ++i) x(pivots[i] - 1) = y.data()[i];
    }
    system.check(state, x.data(), operations(kCholesky, system.n));
}

// ---- Adding a row and taking it out again

double updateOperations(unsigned n) {
    return 2 * 3.0 * n * n;
}

void update(benchmark::State& state) {
    const System system = systemOf(kCholesky, state);
    DoubleChDecomp ch(system.a);
    for (auto _ : state) {
        ch.update(system.b);
        benchmark::ClobberMemory();
    }
    state.counters["flops"] = benchmark::Counter(updateOperations(system.n) / 2,
                                                 benchmark::Counter::kIsIterationInvariantRate);
}

void updatePlain(benchmark::State& state) {
    using namespace kelvo::reference;
    const System system = systemOf(kCholesky, state);
    const int n = system.order();
    DoubleGenMat r = system.a.copy();
    DoubleVec work(system.n), x = system.b.copy(), c(system.n), s(system.n);
    dchdc({r.data(), n}, n, {work.data()}, {nullptr}, 0);
    for (auto _ : state) {
        dchud({r.data(), n}, n, {x.data()}, {nullptr, n}, 0, {nullptr}, {nullptr}, {c.data()},
              {s.data()});
        benchmark::ClobberMemory();
    }
    state.counters["flops"] = benchmark::Counter(updateOperations(system.n) / 2,
                                                 benchmark::Counter::kIsIterationInvariantRate);
}

void updateEigen(benchmark::State& state) {
    const System system = systemOf(kCholesky, state);
    Eigen::LLT<EigenMatrix, Eigen::Upper> llt(toEigen(system.a));
    const Eigen::VectorXd x = system.right();
    for (auto _ : state) {
        llt.rankUpdate(x);
        benchmark::ClobberMemory();
    }
    state.counters["flops"] = benchmark::Counter(updateOperations(system.n) / 2,
                                                 benchmark::Counter::kIsIterationInvariantRate);
}

void updateEigenLower(benchmark::State& state) {
    const System system = systemOf(kCholesky, state);
    Eigen::LLT<EigenMatrix> llt(toEigen(system.a));
    const Eigen::VectorXd x = system.right();
    for (auto _ : state) {
        llt.rankUpdate(x);
        benchmark::ClobberMemory();
    }
    state.counters["flops"] = benchmark::Counter(updateOperations(system.n) / 2,
                                                 benchmark::Counter::kIsIterationInvariantRate);
}

const std::vector<std::int64_t> kSizes{3, 4, 10, 30, 100, 300, 1000};

#define KELVO_ROW(function, name) BENCHMARK(function)->ArgsProduct({kSizes})->Name(name)
KELVO_ROW(ours<kLu>, "lu/KelvoBase");
KELVO_ROW(eigen<kLu>, "lu/Eigen");
KELVO_ROW(lapack<kLu>, "lu/dgesv");
KELVO_ROW(plain<kLu>, "lu/plain");
KELVO_ROW(conditionedLu, "luCondition/KelvoBase");
KELVO_ROW(conditionedLuLapack, "luCondition/dgecon");
KELVO_ROW(ours<kCholesky>, "cholesky/KelvoBase");
KELVO_ROW(eigen<kCholesky>, "cholesky/Eigen");
KELVO_ROW(lapack<kCholesky>, "cholesky/dposv");
KELVO_ROW(plain<kCholesky>, "cholesky/plain");
KELVO_ROW(pivotedCholesky, "pivotedCholesky/KelvoBase");
KELVO_ROW(pivotedCholeskyLapack, "pivotedCholesky/dpstrf");
KELVO_ROW(pivotedCholeskyPlain, "pivotedCholesky/plain");
KELVO_ROW(ours<kSymmetric>, "symmetric/KelvoBase");
KELVO_ROW(lapack<kSymmetric>, "symmetric/dsysv");
KELVO_ROW(plain<kSymmetric>, "symmetric/plain");
KELVO_ROW(update, "update/KelvoBase");
KELVO_ROW(updatePlain, "update/plain");
KELVO_ROW(updateEigen, "update/EigenUpper");
KELVO_ROW(updateEigenLower, "update/EigenLower");

}  // namespace
