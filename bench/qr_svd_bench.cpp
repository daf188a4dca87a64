// QR, pivoted QR, least squares and singular values beside Eigen, LAPACK and the published loops, all on
// one thread. Rows are called group/program/rows x columns; the rate counts the usual leading term of
// the operations, so that lines of one group compare directly.
#include <benchmark/benchmark.h>
#include <lapacke.h>

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "KelvoBase/qr_svd.h"
#include "tests/linalg/reference/qr.h"
#include "tests/linalg/test_matrices.h"

extern "C" void openblas_set_num_threads(int);

namespace {

using benchmark::State;
using kelvo::test::randomMatrix;
using kelvo::test::randomVector;

const Eigen::Index kDynamic = Eigen::Dynamic;
using EigenMatrix = Eigen::Matrix<double, kDynamic, kDynamic>;

struct Shape {
    unsigned rows, cols;
    unsigned least() const { return std::min(rows, cols); }
};

std::size_t size(unsigned a, unsigned b = 1) {
    return static_cast<std::size_t>(a) * b;
}

lapack_int toInt(std::size_t n) {
    return static_cast<lapack_int>(n);
}

EigenMatrix toEigen(const DoubleGenMat& m) {
    return Eigen::Map<const EigenMatrix>(m.data(), m.rows(), m.cols());
}

void expectClose(State& state, double difference, double scale) {
    if (!(std::abs(difference) <= 1e-8 * scale)) state.SkipWithError("results differ");
}

// The scratch of LAPACK's routines, more than any of them wants here.
std::vector<double> lapackWork(const Shape& shape) {
    const unsigned m = std::max(shape.rows, shape.cols);
    return std::vector<double>(300 * size(m) + 8 * size(shape.least(), shape.least()) + 5000);
}

// ---- QR without and with column pivoting

double qrOperations(const Shape& shape) {
    const double n = shape.rows, p = shape.cols;
    return 2 * p * p * (n - p / 3);
}

void qr(State& state, const Shape& shape, int pivoting) {
    const DoubleGenMat x = randomMatrix(shape.rows, shape.cols);
    DoubleQRDecomp decomposition;
    decomposition.doPivoting(pivoting);
    for (auto _ : state) {
        decomposition.factor(x);
        benchmark::DoNotOptimize(decomposition);
    }
    const DoubleVec y = randomVector(x.cols());
    const DoubleVec solution = decomposition.solve(product(x, y));
    expectClose(state, kelvo::test::largest(solution - y), 1e2);
}

// The published loops in the place of the kernel.
void qrPlain(State& state, const Shape& shape, int pivoting) {
    const DoubleGenMat x = randomMatrix(shape.rows, shape.cols);
    const lapack_int n = toInt(shape.rows), p = toInt(shape.cols);
    for (auto _ : state) {
        DoubleGenMat a = x.copy();
        DoubleVec aux(shape.cols, 0.0), work(shape.cols);
        IntVec pivots(shape.cols, 0);
        kelvo::reference::dqrdc({a.data(), n}, n, p, {aux.data()}, {pivots.data()}, {work.data()},
                                pivoting);
        benchmark::DoNotOptimize(a);
    }
}

template <class Decomposition>
void qrEigen(State& state, const Shape& shape) {
    const EigenMatrix x = toEigen(randomMatrix(shape.rows, shape.cols));
    Decomposition decomposition(x.rows(), x.cols());
    for (auto _ : state) {
        decomposition.compute(x);
        benchmark::DoNotOptimize(decomposition);
    }
}

void qrLapack(State& state, const Shape& shape, int pivoting) {
    const DoubleGenMat x = randomMatrix(shape.rows, shape.cols);
    const lapack_int n = toInt(shape.rows), p = toInt(shape.cols);
    DoubleVec a = x.dataVec().copy();
    std::vector<double> tau(shape.cols), work = lapackWork(shape);
    const lapack_int length = toInt(work.size());
    std::vector<lapack_int> pivots(shape.cols);
    for (auto _ : state) {
        a = x.dataVec();
        if (pivoting == 0) {
            LAPACKE_dgeqrf_work(LAPACK_COL_MAJOR, n, p, a.data(), n, tau.data(), work.data(),
                                length);
        } else {
            std::fill(pivots.begin(), pivots.end(), 0);
            LAPACKE_dgeqp3_work(LAPACK_COL_MAJOR, n, p, a.data(), n, pivots.data(), tau.data(),
                                work.data(), length);
        }
        benchmark::DoNotOptimize(a);
    }
    DoubleQRDecomp ours;
    ours.doPivoting(pivoting);
    ours.factor(x);
    const DoubleVec column = ours.computeQTy(x.col(ours.pivots()(p - 1)), p);
    expectClose(state, std::abs(a(n * (p - 1) + p - 1)) - std::abs(column(p - 1)), 1);
}

// ---- Least squares, factorization and one solution

void leastSquares(State& state, const Shape& shape) {
    const DoubleGenMat x = randomMatrix(shape.rows, shape.cols);
    const DoubleVec b = randomVector(shape.rows);
    DoubleVec solution;
    for (auto _ : state) {
        solution.reference(DoubleLeastSqQR(x).solve(b));
        benchmark::DoNotOptimize(solution);
    }
    const DoubleVec residual = b - product(x, solution);
    expectClose(state, kelvo::test::largest(product(residual, x)), 1);
}

void leastSquaresEigen(State& state, const Shape& shape) {
    const EigenMatrix x = toEigen(randomMatrix(shape.rows, shape.cols));
    const Eigen::VectorXd b = toEigen(randomMatrix(shape.rows, 1));
    Eigen::VectorXd solution;
    for (auto _ : state) {
        solution = Eigen::HouseholderQR<EigenMatrix>(x).solve(b);
        benchmark::DoNotOptimize(solution);
    }
}

void leastSquaresLapack(State& state, const Shape& shape) {
    const DoubleGenMat x = randomMatrix(shape.rows, shape.cols);
    const DoubleVec b = randomVector(shape.rows);
    const lapack_int n = toInt(shape.rows), p = toInt(shape.cols);
    DoubleVec a = x.dataVec().copy(), solution = b.copy();
    std::vector<double> work = lapackWork(shape);
    for (auto _ : state) {
        a = x.dataVec();
        solution = b;
        LAPACKE_dgels_work(LAPACK_COL_MAJOR, 'N', n, p, 1, a.data(), n, solution.data(), n,
                           work.data(), toInt(work.size()));
        benchmark::DoNotOptimize(solution);
    }
    const DoubleVec ours = DoubleLeastSqQR(x).solve(b);
    expectClose(state, kelvo::test::largest(solution.slice(0, shape.cols) - ours), 1);
}

// ---- Singular values with all vectors or none

double svdOperations(const Shape& shape, bool vectors) {
    const double n = shape.rows, p = shape.cols;
    return vectors ? 4 * n * n * p + 8 * n * p * p + 9 * p * p * p : 4 * p * p * (n - p / 3);
}

void svd(State& state, const Shape& shape, bool vectors) {
    const DoubleGenMat x = randomMatrix(shape.rows, shape.cols);
    DoubleSVDecomp decomposition;
    decomposition.computeLeftVecs(vectors);
    decomposition.computeRightVecs(vectors);
    for (auto _ : state) {
        decomposition.factor(x);
        benchmark::DoNotOptimize(decomposition);
    }
    const auto peer = Eigen::BDCSVD<EigenMatrix>(toEigen(x)).singularValues();
    for (int k = 0; k < peer.size(); ++k)
        expectClose(state, peer[k] - decomposition.singularValues()(k), peer[0]);
}

template <class Decomposition>
void svdEigen(State& state, const Shape& shape, bool vectors) {
    const EigenMatrix x = toEigen(randomMatrix(shape.rows, shape.cols));
    const unsigned options = vectors ? Eigen::ComputeFullU | Eigen::ComputeFullV : 0;
    Decomposition decomposition(x.rows(), x.cols(), options);
    for (auto _ : state) {
        decomposition.compute(x, options);
        benchmark::DoNotOptimize(decomposition);
    }
}

void svdLapack(State& state, const Shape& shape, bool vectors, bool divide) {
    const DoubleGenMat x = randomMatrix(shape.rows, shape.cols);
    const lapack_int n = toInt(shape.rows), p = toInt(shape.cols);
    const char job = vectors ? 'A' : 'N';
    DoubleVec a = x.dataVec().copy();
    std::vector<double> s(shape.least()), u(size(shape.rows, shape.rows)),
        v(size(shape.cols, shape.cols)), work = lapackWork(shape);
    const lapack_int length = toInt(work.size());
    std::vector<lapack_int> numbers(8 * size(shape.least()));
    for (auto _ : state) {
        a = x.dataVec();
        if (divide)
            LAPACKE_dgesdd_work(LAPACK_COL_MAJOR, job, n, p, a.data(), n, s.data(), u.data(), n,
                                v.data(), p, work.data(), length, numbers.data());
        else
            LAPACKE_dgesvd_work(LAPACK_COL_MAJOR, job, job, n, p, a.data(), n, s.data(), u.data(),
                                n, v.data(), p, work.data(), length);
        benchmark::DoNotOptimize(s);
    }
    const DoubleVec ours = DoubleSVDecomp(x).singularValues();
    for (int k = 0; k < static_cast<int>(s.size()); ++k)
        expectClose(state, s[static_cast<std::size_t>(k)] - ours(k), s[0]);
}

// ---- All rows

template <class Body>
void add(const char* program, const Shape& shape, double operations, Body body) {
    const std::string name =
        program + ("/" + std::to_string(shape.rows)) + "x" + std::to_string(shape.cols);
    benchmark::RegisterBenchmark(name.c_str(), [=](State& state) {
        body(state);
        state.counters["flops"] =
            benchmark::Counter(operations, benchmark::Counter::kIsIterationInvariantRate);
    });
}

void addQr(const Shape& z) {
    const double operations = qrOperations(z);
    add("qr/KelvoBase", z, operations, [z](State& s) { qr(s, z, 0); });
    add("qr/plain", z, operations, [z](State& s) { qrPlain(s, z, 0); });
    add("qr/Eigen", z, operations,
        [z](State& s) { qrEigen<Eigen::HouseholderQR<EigenMatrix>>(s, z); });
    add("qr/dgeqrf", z, operations, [z](State& s) { qrLapack(s, z, 0); });
    add("pivotedQr/KelvoBase", z, operations, [z](State& s) { qr(s, z, 1); });
    add("pivotedQr/plain", z, operations, [z](State& s) { qrPlain(s, z, 1); });
    add("pivotedQr/Eigen", z, operations,
        [z](State& s) { qrEigen<Eigen::ColPivHouseholderQR<EigenMatrix>>(s, z); });
    add("pivotedQr/dgeqp3", z, operations, [z](State& s) { qrLapack(s, z, 1); });
}

void addLeastSquares(const Shape& z) {
    const double operations = qrOperations(z);
    add("leastSquares/KelvoBase", z, operations, [z](State& s) { leastSquares(s, z); });
    add("leastSquares/Eigen", z, operations, [z](State& s) { leastSquaresEigen(s, z); });
    add("leastSquares/dgels", z, operations, [z](State& s) { leastSquaresLapack(s, z); });
}

void addSvd(const Shape& z) {
    for (const bool vectors : {true, false}) {
        const std::string group = vectors ? "svd" : "singularValues";
        const double operations = svdOperations(z, vectors);
        add((group + "/KelvoBase").c_str(), z, operations, [=](State& s) { svd(s, z, vectors); });
        add((group + "/EigenBDC").c_str(), z, operations,
            [=](State& s) { svdEigen<Eigen::BDCSVD<EigenMatrix>>(s, z, vectors); });
        if (z.least() <= 30)
            add((group + "/EigenJacobi").c_str(), z, operations,
                [=](State& s) { svdEigen<Eigen::JacobiSVD<EigenMatrix>>(s, z, vectors); });
        add((group + "/dgesdd").c_str(), z, operations,
            [=](State& s) { svdLapack(s, z, vectors, true); });
        add((group + "/dgesvd").c_str(), z, operations,
            [=](State& s) { svdLapack(s, z, vectors, false); });
    }
}

const bool kRegistered = [] {
    openblas_set_num_threads(1);
    for (const Shape& z : {Shape{3, 3},
                           {4, 4},
                           {10, 10},
                           {30, 10},
                           {30, 30},
                           {100, 100},
                           {300, 300},
                           {1000, 100},
                           {1000, 1000}})
        addQr(z);
    for (const Shape& z :
         {Shape{6, 3}, {8, 4}, {20, 10}, {60, 30}, {200, 100}, {600, 300}, {2000, 1000}})
        addLeastSquares(z);
    for (const Shape& z :
         {Shape{3, 3}, {4, 4}, {10, 10}, {30, 30}, {100, 100}, {300, 200}, {300, 300}})
        addSvd(z);
    return true;
}();

}  // namespace
