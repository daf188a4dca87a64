// Matrices beside Eigen's of run-time size and, for the products, OpenBLAS on one thread. Each row
// of a group does the same work: a new result for every product and sum.
#include <benchmark/benchmark.h>
#include <cblas.h>

#include <Eigen/Dense>
#include <cmath>
#include <cstdlib>
#include <random>
#include <vector>

#include "KelvoBase/packed_mat.h"

namespace {

const bool oneThread = (openblas_set_num_threads(1), true);

struct Ours {
    using Mat = DoubleGenMat;
    using Vec = DoubleVec;
    static Mat matrix(const double* p, int n) {
        return Mat(p, static_cast<unsigned>(n), static_cast<unsigned>(n));
    }
    static Vec vector(const double* p, int n) { return Vec(p, static_cast<unsigned>(n)); }
    static Mat multiply(const Mat& a, const Mat& b) { return product(a, b); }
    static Mat leftTransposed(const Mat& a, const Mat& b) { return transposeProduct(a, b); }
    static Vec multiply(const Mat& a, const Vec& x) { return product(a, x); }
    static Vec multiply(const Vec& x, const Mat& a) { return product(x, a); }
    static Mat flip(const Mat& a) { return transpose(a); }
    static double columnSum(const Mat& a, int j) { return sum(a.col(j)); }
    static double rowSum(const Mat& a, int i) { return sum(a.row(i)); }
};

struct Peer {
    using Mat = Eigen::MatrixXd;
    using Vec = Eigen::VectorXd;
    static Mat matrix(const double* p, int n) { return Eigen::Map<const Mat>(p, n, n); }
    static Vec vector(const double* p, int n) { return Eigen::Map<const Vec>(p, n); }
    static Mat multiply(const Mat& a, const Mat& b) { return a * b; }
    static Mat leftTransposed(const Mat& a, const Mat& b) { return a.transpose() * b; }
    static Vec multiply(const Mat& a, const Vec& x) { return a * x; }
    static Vec multiply(const Vec& x, const Mat& a) { return a.transpose() * x; }
    static Mat flip(const Mat& a) { return a.transpose(); }
    static double columnSum(const Mat& a, int j) { return a.col(j).sum(); }
    static double rowSum(const Mat& a, int i) { return a.row(i).sum(); }
};

// Eigen's storage, products by OpenBLAS.
struct Blas : Peer {
    static Mat multiply(const Mat& a, const Mat& b) { return gemm(CblasNoTrans, a, b); }
    static Mat leftTransposed(const Mat& a, const Mat& b) { return gemm(CblasTrans, a, b); }
    static Vec multiply(const Mat& a, const Vec& x) { return gemv(CblasNoTrans, a, x); }
    static Vec multiply(const Vec& x, const Mat& a) { return gemv(CblasTrans, a, x); }

  private:
    static Mat gemm(CBLAS_TRANSPOSE form, const Mat& a, const Mat& b) {
        const int n = static_cast<int>(a.rows());
        Mat c(n, n);
        cblas_dgemm(CblasColMajor, form, CblasNoTrans, n, n, n, 1, a.data(), n, b.data(), n, 0,
                    c.data(), n);
        return c;
    }
    static Vec gemv(CBLAS_TRANSPOSE form, const Mat& a, const Vec& x) {
        const int n = static_cast<int>(a.rows());
        Vec y(n);
        cblas_dgemv(CblasColMajor, form, n, n, 1, a.data(), n, x.data(), 1, 0, y.data(), 1);
        return y;
    }
};

std::vector<double> numbers(int n, unsigned seed) {
    std::mt19937 generator(seed);
    std::uniform_real_distribution<double> number(0.5, 1.5);
    std::vector<double> all(static_cast<std::size_t>(n));
    for (double& x : all) x = number(generator);
    return all;
}

template <class Library>
struct Operands {
    explicit Operands(benchmark::State& state) : Operands(static_cast<int>(state.range(0))) {}
    explicit Operands(int size)
        : n(size),
          a(Library::matrix(numbers(n * n, 1).data(), n)),
          b(Library::matrix(numbers(n * n, 2).data(), n)),
          x(Library::vector(numbers(n, 3).data(), n)) {
        check();
    }

    // All compute what is timed, or nothing is.
    void check() const {
        const auto c = Library::multiply(a, b);
        const auto d = Library::leftTransposed(a, b);
        const auto y = Library::multiply(a, x);
        const auto z = Library::multiply(x, a);
        double sums[4] = {};
        for (int p = 0; p < n; ++p) {
            sums[0] += a(n - 1, p) * b(p, 0);
            sums[1] += a(p, n - 1) * b(p, 0);
            sums[2] += a(n - 1, p) * x(p);
            sums[3] += a(p, n - 1) * x(p);
        }
        const double got[4] = {c(n - 1, 0), d(n - 1, 0), y(n - 1), z(n - 1)};
        for (int k = 0; k < 4; ++k)
            if (std::fabs(got[k] - sums[k]) > 1e-12 * sums[k]) std::abort();
        if (Library::flip(a)(n - 1, 0) != a(0, n - 1)) std::abort();
    }

    int n;
    typename Library::Mat a, b;
    typename Library::Vec x;
};

// Times op(operands), which returns a matrix, a vector or a number, for `terms` operations each.
template <class Library, class Op>
void run(benchmark::State& state, int power, Op op) {
    const Operands<Library> in(state);
    for (auto _ : state) {
        auto r = op(in);
        benchmark::DoNotOptimize(r);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() *
                            static_cast<std::int64_t>(std::pow(state.range(0), power)));
}

template <class L>
void Product(benchmark::State& state) {
    run<L>(state, 3, [](const auto& in) { return L::multiply(in.a, in.b); });
}
template <class L>
void TransposeProduct(benchmark::State& state) {
    run<L>(state, 3, [](const auto& in) { return L::leftTransposed(in.a, in.b); });
}
template <class L>
void MatrixVector(benchmark::State& state) {
    run<L>(state, 2, [](const auto& in) { return L::multiply(in.a, in.x); });
}
template <class L>
void VectorMatrix(benchmark::State& state) {
    run<L>(state, 2, [](const auto& in) { return L::multiply(in.x, in.a); });
}
template <class L>
void Add(benchmark::State& state) {
    run<L>(state, 2, [](const auto& in) { return typename L::Mat(in.a + in.b); });
}
template <class L>
void Transpose(benchmark::State& state) {
    run<L>(state, 2, [](const auto& in) { return L::flip(in.a); });
}
template <class L>
void ColumnSum(benchmark::State& state) {
    run<L>(state, 1, [](const auto& in) { return L::columnSum(in.a, in.n / 2); });
}
template <class L>
void RowSum(benchmark::State& state) {
    run<L>(state, 1, [](const auto& in) { return L::rowSum(in.a, in.n / 2); });
}
template <class L>
void ElementSum(benchmark::State& state) {
    run<L>(state, 2, [](const auto& in) {
        double total = 0;
        for (int j = 0; j < in.n; ++j)
            for (int i = 0; i < in.n; ++i) total += in.a(i, j);
        return total;
    });
}

#define SIZES Arg(3)->Arg(4)->Arg(10)->Arg(30)->Arg(100)->Arg(300)
BENCHMARK(Product<Ours>)->SIZES;
BENCHMARK(Product<Peer>)->SIZES;
BENCHMARK(Product<Blas>)->SIZES;
BENCHMARK(TransposeProduct<Ours>)->SIZES;
BENCHMARK(TransposeProduct<Peer>)->SIZES;
BENCHMARK(TransposeProduct<Blas>)->SIZES;
BENCHMARK(MatrixVector<Ours>)->SIZES;
BENCHMARK(MatrixVector<Peer>)->SIZES;
BENCHMARK(MatrixVector<Blas>)->SIZES;
BENCHMARK(VectorMatrix<Ours>)->SIZES;
BENCHMARK(VectorMatrix<Peer>)->SIZES;
BENCHMARK(VectorMatrix<Blas>)->SIZES;
BENCHMARK(Add<Ours>)->SIZES;
BENCHMARK(Add<Peer>)->SIZES;
BENCHMARK(Transpose<Ours>)->SIZES;
BENCHMARK(Transpose<Peer>)->SIZES;
BENCHMARK(ColumnSum<Ours>)->SIZES;
BENCHMARK(ColumnSum<Peer>)->SIZES;
BENCHMARK(RowSum<Ours>)->SIZES;
BENCHMARK(RowSum<Peer>)->SIZES;
BENCHMARK(ElementSum<Ours>)->SIZES;
BENCHMARK(ElementSum<Peer>)->SIZES;

}  // namespace
