// Vectors beside Eigen's arrays of run-time size. Each pair of rows does the same work, results
// included: a new vector for a sum, a new value that does not disturb the old one for a copy.
#include <benchmark/benchmark.h>

#include <Eigen/Dense>
#include <cmath>
#include <cstdlib>
#include <numeric>
#include <random>
#include <vector>

#include "KelvoBase/vec.h"

namespace {

struct Ours {
    using Vec = DoubleVec;
    static Vec from(const double* p, int n) { return DoubleVec(p, static_cast<unsigned>(n)); }
    static double dotOf(const Vec& v, const Vec& w) { return dot(v, w); }
    static double lengthOf(const Vec& v) { return v.vecLen(); }
    static double first(const Vec& v) { return v(0); }
};

struct Peer {
    using Vec = Eigen::ArrayXd;
    static Vec from(const double* p, int n) { return Eigen::Map<const Vec>(p, n); }
    static double dotOf(const Vec& v, const Vec& w) { return v.matrix().dot(w.matrix()); }
    // Ours is safe from overflow; this is the comparable one, a plain norm is shown beside it.
    static double lengthOf(const Vec& v) { return v.matrix().stableNorm(); }
    static double first(const Vec& v) { return v(0); }
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
    using Vec = typename Library::Vec;

    explicit Operands(benchmark::State& state) : Operands(static_cast<int>(state.range(0))) {}
    explicit Operands(int n) : Operands(numbers(n, 1), numbers(n, 2), n) {}
    // Both libraries compute what is timed, or nothing is.
    Operands(const std::vector<double>& a, const std::vector<double>& b, int n)
        : v(Library::from(a.data(), n)), w(Library::from(b.data(), n)) {
        const double expected = std::inner_product(a.begin(), a.end(), b.begin(), 0.0);
        const Vec sum = v + w;
        if (std::fabs(Library::dotOf(v, w) - expected) > 1e-9 * expected ||
            Library::first(sum) != a[0] + b[0]) {
            std::abort();
        }
    }

    Vec v, w;
};

template <class Library>
void Add(benchmark::State& state) {
    const Operands<Library> in(state);
    for (auto _ : state) {
        const typename Library::Vec r = in.v + in.w;
        benchmark::DoNotOptimize(r.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

template <class Library>
void Scale(benchmark::State& state) {
    const Operands<Library> in(state);
    for (auto _ : state) {
        const typename Library::Vec r = in.v * 1.5;
        benchmark::DoNotOptimize(r.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

template <class Library>
void Dot(benchmark::State& state) {
    const Operands<Library> in(state);
    for (auto _ : state) {
        benchmark::DoNotOptimize(Library::dotOf(in.v, in.w));
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

template <class Library>
void Length(benchmark::State& state) {
    const Operands<Library> in(state);
    for (auto _ : state) {
        benchmark::DoNotOptimize(Library::lengthOf(in.v));
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

template <class Library>
void CopyByValue(benchmark::State& state) {
    const Operands<Library> in(state);
    for (auto _ : state) {
        const typename Library::Vec r = in.v;
        benchmark::DoNotOptimize(r.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

template <class Library>
void AddTo(benchmark::State& state) {
    Operands<Library> in(state);
    for (auto _ : state) {
        in.v += in.w;
        benchmark::DoNotOptimize(in.v.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void PlainNorm(benchmark::State& state) {
    const Operands<Peer> in(state);
    for (auto _ : state) {
        benchmark::DoNotOptimize(in.v.matrix().norm());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void sizes(benchmark::internal::Benchmark* b) {
    for (const int n : {3, 4, 10, 30, 100, 300, 1000, 100000}) b->Arg(n);
}

}  // namespace

BENCHMARK(Add<Ours>)->Apply(sizes);
BENCHMARK(Add<Peer>)->Apply(sizes);
BENCHMARK(Scale<Ours>)->Apply(sizes);
BENCHMARK(Scale<Peer>)->Apply(sizes);
BENCHMARK(Dot<Ours>)->Apply(sizes);
BENCHMARK(Dot<Peer>)->Apply(sizes);
BENCHMARK(Length<Ours>)->Apply(sizes);
BENCHMARK(Length<Peer>)->Apply(sizes);
BENCHMARK(PlainNorm)->Apply(sizes);
BENCHMARK(CopyByValue<Ours>)->Apply(sizes);
BENCHMARK(CopyByValue<Peer>)->Apply(sizes);
BENCHMARK(AddTo<Ours>)->Apply(sizes);
BENCHMARK(AddTo<Peer>)->Apply(sizes);
