// QR, least squares and singular values of square matrices (least squares: twice as many rows as
// columns) beside Eigen and LAPACK, all on one thread. The rate counts the usual leading term of
// the operations, so that lines of one kind compare directly.
#include <benchmark/benchmark.h>
#include <lapacke.h>

#include <Eigen/Dense>
#include <cmath>
#include <cstdlib>
#include <vector>

#include "KelvoBase/qr_svd.h"
#include "tests/linalg/test_matrices.h"

extern "C" void openblas_set_num_threads(int);

namespace {

using kelvo::test::randomMatrix;
using kelvo::test::randomVector;

const Eigen::Index kDynamic = Eigen::Dynamic;
using EigenMatrix = Eigen::Matrix<double, kDynamic, kDynamic>;

const bool kOneThread = [] {
    openblas_set_num_threads(1);
    return true;
}();

EigenMatrix toEigen(const DoubleGenMat& m) {
    return Eigen::Map<const EigenMatrix>(m.data(), m.rows(), m.cols());
}

lapack_int toInt(unsigned n) {
    return static_cast<lapack_int>(n);
}

void expectClose(benchmark::State& state, double difference, double scale) {
    if (!(std::abs(difference) <= 1e-8 * scale)) state.SkipWithError("results differ");
}

void setRate(benchmark::State& state, double operations) {
    state.counters["flops"] =
        benchmark::Counter(operations, benchmark::Counter::kIsIterationInvariantRate);
}

// ---- QR without and with column pivoting

double qrOperations(unsigned n) {
    return 4.0 / 3.0 * n * n * n;
}

void qr(benchmark::State& state) {
    const DoubleGenMat x =
        randomMatrix(static_cast<unsigned>(state.range(0)), static_cast<unsigned>(state.range(0)));
    DoubleQRDecomp decomposition;
    decomposition.doPivoting(static_cast<int>(state.range(1)));
    for (auto _ : state) {
        decomposition.factor(x);
        benchmark::DoNotOptimize(decomposition);
    }
    const DoubleVec y = randomVector(x.rows());
    const DoubleVec solution = decomposition.solve(product(x, y));
    expectClose(state, kelvo::test::largest(solution - y), 1e2);
    setRate(state, qrOperations(x.rows()));
}

template <class Decomposition>
void qrEigen(benchmark::State& state) {
    const EigenMatrix x = toEigen(
        randomMatrix(static_cast<unsigned>(state.range(0)), static_cast<unsigned>(state.range(0))));
    Decomposition decomposition(x.rows(), x.cols());
    for (auto _ : state) {
        decomposition.compute(x);
        benchmark::DoNotOptimize(decomposition);
    }
    setRate(state, qrOperations(static_cast<unsigned>(x.rows())));
}

void qrLapack(benchmark::State& state) {
    const DoubleGenMat x =
        randomMatrix(static_cast<unsigned>(state.range(0)), static_cast<unsigned>(state.range(0)));
    const lapack_int n = toInt(x.rows());
    DoubleVec a = x.dataVec().copy();
    std::vector<double> tau(x.rows()), work(x.rows() * 64 + 256);
    std::vector<lapack_int> pivots(x.rows());
    for (auto _ : state) {
        a = x.dataVec();
        if (state.range(1) == 0) {
            LAPACKE_dgeqrf_work(LAPACK_COL_MAJOR, n, n, a.data(), n, tau.data(), work.data(),
                                toInt(static_cast<unsigned>(work.size())));
        } else {
            std::fill(pivots.begin(), pivots.end(), 0);
            LAPACKE_dgeqp3_work(LAPACK_COL_MAJOR, n, n, a.data(), n, pivots.data(), tau.data(),
                                work.data(), toInt(static_cast<unsigned>(work.size())));
        }
        benchmark::DoNotOptimize(a);
    }
    DoubleQRDecomp ours;
    ours.doPivoting(static_cast<int>(state.range(1)));
    ours.factor(x);
    const DoubleVec column = ours.computeQTy(x.col(ours.pivots()(n - 1)), n);
    expectClose(state, std::abs(a(n * n - 1)) - std::abs(column(n - 1)), 1);
    setRate(state, qrOperations(x.rows()));
}

// ---- Least squares, factorization and one solution

double leastSquaresOperations(unsigned n) {
    return (4.0 - 2.0 / 3.0) * n * n * n;
}

void leastSquares(benchmark::State& state) {
    const auto n = static_cast<unsigned>(state.range(0));
    const DoubleGenMat x = randomMatrix(2 * n, n);
    const DoubleVec b = randomVector(2 * n);
    DoubleVec solution;
    for (auto _ : state) {
        solution.reference(DoubleLeastSqQR(x).solve(b));
        benchmark::DoNotOptimize(solution);
    }
    const DoubleVec residual = b - product(x, solution);
    expectClose(state, kelvo::test::largest(product(residual, x)), 1);
    setRate(state, leastSquaresOperations(n));
}

void leastSquaresEigen(benchmark::State& state) {
    const auto n = static_cast<unsigned>(state.range(0));
    const EigenMatrix x = toEigen(randomMatrix(2 * n, n));
    const Eigen::VectorXd b = toEigen(randomMatrix(2 * n, 1));
    Eigen::VectorXd solution;
    for (auto _ : state) {
        solution = Eigen::HouseholderQR<EigenMatrix>(x).solve(b);
        benchmark::DoNotOptimize(solution);
    }
    setRate(state, leastSquaresOperations(n));
}

void leastSquaresLapack(benchmark::State& state) {
    const auto n = static_cast<unsigned>(state.range(0));
    const DoubleGenMat x = randomMatrix(2 * n, n);
    const DoubleVec b = randomVector(2 * n);
    DoubleVec a = x.dataVec().copy(), solution = b.copy();
    std::vector<double> work(3 * n * 64 + 256);
    for (auto _ : state) {
        a = x.dataVec();
        solution = b;
        LAPACKE_dgels_work(LAPACK_COL_MAJOR, 'N', toInt(2 * n), toInt(n), 1, a.data(), toInt(2 * n),
                           solution.data(), toInt(2 * n), work.data(),
                           toInt(static_cast<unsigned>(work.size())));
        benchmark::DoNotOptimize(solution);
    }
    const DoubleVec ours = DoubleLeastSqQR(x).solve(b);
    expectClose(state, kelvo::test::largest(solution.slice(0, n) - ours), 1);
    setRate(state, leastSquaresOperations(n));
}

// ---- Singular values with all vectors

double svdOperations(unsigned n) {
    return 22.0 * n * n * n;
}

void svd(benchmark::State& state) {
    const auto n = static_cast<unsigned>(state.range(0));
    const DoubleGenMat x = randomMatrix(n, n);
    DoubleSVDecomp decomposition;
    for (auto _ : state) {
        decomposition.factor(x);
        benchmark::DoNotOptimize(decomposition);
    }
    const auto peer = Eigen::JacobiSVD<EigenMatrix>(toEigen(x)).singularValues();
    for (int k = 0; k < static_cast<int>(n); ++k) {
        expectClose(state, peer[k] - decomposition.singularValues()(k), peer[0]);
    }
    setRate(state, svdOperations(n));
}

template <class Decomposition>
void svdEigen(benchmark::State& state) {
    const auto n = static_cast<unsigned>(state.range(0));
    const EigenMatrix x = toEigen(randomMatrix(n, n));
    const unsigned vectors = Eigen::ComputeFullU | Eigen::ComputeFullV;
    Decomposition decomposition(x.rows(), x.cols(), vectors);
    for (auto _ : state) {
        decomposition.compute(x, vectors);
        benchmark::DoNotOptimize(decomposition);
    }
    setRate(state, svdOperations(n));
}

void svdLapack(benchmark::State& state) {
    const auto n = static_cast<unsigned>(state.range(0));
    const lapack_int order = toInt(n);
    const DoubleGenMat x = randomMatrix(n, n);
    DoubleVec a = x.dataVec().copy();
    std::vector<double> s(n), u(n * n), v(n * n), work(n * 80 + 256);
    for (auto _ : state) {
        a = x.dataVec();
        LAPACKE_dgesvd_work(LAPACK_COL_MAJOR, 'A', 'A', order, order, a.data(), order, s.data(),
                            u.data(), order, v.data(), order, work.data(),
                            toInt(static_cast<unsigned>(work.size())));
        benchmark::DoNotOptimize(s);
    }
    setRate(state, svdOperations(n));
}

const std::vector<std::int64_t> kSizes{3, 4, 10, 30, 100, 300};
const std::vector<std::int64_t> kPlain{0}, kPivoted{1};

BENCHMARK(qr)->ArgsProduct({kSizes, kPlain})->Name("qr/KelvoBase");
BENCHMARK(qrEigen<Eigen::HouseholderQR<EigenMatrix>>)->ArgsProduct({kSizes})->Name("qr/Eigen");
BENCHMARK(qrLapack)->ArgsProduct({kSizes, kPlain})->Name("qr/dgeqrf");
BENCHMARK(qr)->ArgsProduct({kSizes, kPivoted})->Name("pivotedQr/KelvoBase");
BENCHMARK(qrEigen<Eigen::ColPivHouseholderQR<EigenMatrix>>)
    ->ArgsProduct({kSizes})
    ->Name("pivotedQr/Eigen");
BENCHMARK(qrLapack)->ArgsProduct({kSizes, kPivoted})->Name("pivotedQr/dgeqp3");
BENCHMARK(leastSquares)->ArgsProduct({kSizes})->Name("leastSquares/KelvoBase");
BENCHMARK(leastSquaresEigen)->ArgsProduct({kSizes})->Name("leastSquares/Eigen");
BENCHMARK(leastSquaresLapack)->ArgsProduct({kSizes})->Name("leastSquares/dgels");
BENCHMARK(svd)->ArgsProduct({kSizes})->Name("svd/KelvoBase");
BENCHMARK(svdEigen<Eigen::JacobiSVD<EigenMatrix>>)
    ->ArgsProduct({{3, 4, 10, 30}})
    ->Name("svd/Jacobi");
BENCHMARK(svdEigen<Eigen::BDCSVD<EigenMatrix>>)->ArgsProduct({kSizes})->Name("svd/EigenBDC");
BENCHMARK(svdLapack)->ArgsProduct({kSizes})->Name("svd/dgesvd");

}  // namespace
