// Products, rotations and inversion of the small geometry classes, beside Imath, glm and Eigen.
// Every row runs over an array, so that it measures throughput as loops over models meet it.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <random>

#include "bench/geometry_peers.h"

namespace {

constexpr std::size_t kCount = 256;         // operands that stay in the caches of the core
constexpr std::size_t kPoints = 1'000'000;  // a model's worth of points

// Array on a cache line of its own, the same for every library.
template <class T>
class Items {
  public:
    explicit Items(std::size_t n) : size_(n) {
        data_ = static_cast<T*>(std::aligned_alloc(64, (n * sizeof(T) + 63) / 64 * 64));
        for (std::size_t i = 0; i < n; ++i) new (data_ + i) T();
    }
    Items(const Items&) = delete;
    Items& operator=(const Items&) = delete;
    ~Items() { std::free(data_); }
    T& operator[](std::size_t i) { return data_[i]; }
    std::size_t size() const { return size_; }

  private:
    T* data_;
    std::size_t size_;
};

class Random {
  public:
    double next() { return range_(engine_); }
    template <class L>
    typename L::Vector vector() {
        const double x = next(), y = next(), z = next();
        return L::vector(x, y, z);
    }
    template <class L>
    typename L::Vector axis() {
        const T4dDblVector v = vector<Kelvo>().getNormal();
        return L::vector(v.x, v.y, v.z);
    }
    template <class L>
    typename L::Quat rotation() {
        const typename L::Vector a = axis<L>();
        return L::rotation(next(), a);
    }
    template <class L>
    typename L::Matrix matrix() {
        double raw[16];
        for (double& v : raw) v = next();
        typename L::Matrix m;
        std::memcpy(static_cast<void*>(&m), raw, sizeof raw);
        return m;
    }

  private:
    std::mt19937_64 engine_{20240607};
    std::uniform_real_distribution<double> range_{-1.0, 1.0};
};

// The operations: what one item needs, how it is filled, what is done to it.
template <class L>
struct Multiply {
    typename L::Matrix a, b, r;
    void fill(Random& g) { a = g.matrix<L>(), b = g.matrix<L>(); }
    void run() { L::multiply(r, a, b); }
};
template <class L>
struct CrossNormal {
    typename L::Vector a, b, r;
    void fill(Random& g) { a = g.vector<L>(), b = g.vector<L>(); }
    void run() { L::crossNormal(r, a, b); }
};
template <class L>
struct Product {
    typename L::Quat a, b, r;
    void fill(Random& g) { a = g.rotation<L>(), b = g.rotation<L>(); }
    void run() { L::product(r, a, b); }
};
template <class L>
struct ToMatrix {
    typename L::Quat a;
    typename L::Matrix r;
    void fill(Random& g) { a = g.rotation<L>(); }
    void run() { L::toMatrix(r, a); }
};
template <class L>
struct ToQuat {
    typename L::Matrix a;
    typename L::Quat r;
    void fill(Random& g) { L::toMatrix(a, g.rotation<L>()); }
    void run() { L::toQuat(r, a); }
};
template <class L>
struct Slerp {
    typename L::Quat a, b, r;
    double t;
    void fill(Random& g) {
        a = g.rotation<L>(), b = g.rotation<L>();
        t = std::fabs(g.next());
    }
    void run() { L::slerp(r, a, b, t); }
};
template <class L>
struct AxisRotate {
    typename L::Vector a;
    typename L::Matrix r;
    double angle;
    void fill(Random& g) { a = g.axis<L>(), angle = 3.0 * g.next(); }
    void run() { L::axisRotate(r, a, angle); }
};
template <class L>
struct Invert {
    typename L::Matrix a, r;
    void fill(Random& g) { a = g.matrix<L>(); }
    void run() { L::invert(r, a); }
};

// Largest difference between the results of a library and of ours, as numbers in memory.
// Quaternions of the peers differ in component order and may differ in sign: their sums of squares
// are compared.
template <template <class> class Op, class L>
double difference() {
    Random g, h;
    double most = 0.0;
    for (std::size_t i = 0; i < kCount; ++i) {
        Op<Kelvo> ours{};
        Op<L> theirs{};
        ours.fill(g);
        theirs.fill(h);
        ours.run();
        theirs.run();
        constexpr std::size_t count = sizeof(ours.r) / sizeof(double);
        double p[16], q[16], scale = 1.0;
        std::memcpy(p, static_cast<const void*>(&ours.r), count * sizeof(double));
        std::memcpy(q, static_cast<const void*>(&theirs.r), count * sizeof(double));
        if (sizeof(ours.r) == sizeof(Tquaternion)) {
            double sp = 0, sq = 0;
            for (std::size_t k = 0; k < 4; ++k)
                sp += p[k] * p[k] * p[k] * p[k], sq += q[k] * q[k] * q[k] * q[k];
            p[0] = sp, q[0] = sq;
            most = std::max(most, std::fabs(sp - sq));
            continue;
        }
        for (std::size_t k = 0; k < count; ++k) scale = std::max(scale, std::fabs(p[k]));
        for (std::size_t k = 0; k < count; ++k)
            most = std::max(most, std::fabs(p[k] - q[k]) / scale);
    }
    return most;
}

template <template <class> class Op, class L>
void overItems(benchmark::State& state) {
    if (!(difference<Op, L>() < 1e-10)) {
        state.SkipWithError("results differ");
        return;
    }
    Random g;
    Items<Op<L>> items(kCount);
    for (std::size_t i = 0; i < kCount; ++i) items[i].fill(g);
    for (auto _ : state) {
        for (std::size_t i = 0; i < kCount; ++i) items[i].run();
        benchmark::ClobberMemory();
    }
    state.counters["each"] =
        benchmark::Counter(double(kCount), benchmark::Counter::kIsIterationInvariantRate |
                                               benchmark::Counter::kInvert);
}

template <class L>
void transformPoints(benchmark::State& state) {
    Random g;
    const std::size_t n = static_cast<std::size_t>(state.range(0));
    Items<typename L::Point> from(n), to(n);
    for (std::size_t i = 0; i < n; ++i) from[i] = g.vector<L>();
    typename L::Matrix m;
    L::toMatrix(m, g.rotation<L>());
    double shift[3] = {1.0, 2.0, 3.0};
    std::memcpy(reinterpret_cast<double*>(&m) + 12, shift, sizeof shift);
    for (auto _ : state) {
        for (std::size_t i = 0; i < n; ++i) L::transform(to[i], from[i], m);
        benchmark::ClobberMemory();
    }
    state.counters["each"] = benchmark::Counter(
        double(n), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

}  // namespace

#define KELVO_ROW(Op)                                        \
    BENCHMARK(overItems<Op, Kelvo>)->Name(#Op "/kelvo");     \
    BENCHMARK(overItems<Op, ImathPeer>)->Name(#Op "/imath"); \
    BENCHMARK(overItems<Op, GlmPeer>)->Name(#Op "/glm");     \
    BENCHMARK(overItems<Op, EigenPeer>)->Name(#Op "/eigen")
KELVO_ROW(Multiply);
KELVO_ROW(CrossNormal);
KELVO_ROW(Product);
KELVO_ROW(ToMatrix);
KELVO_ROW(ToQuat);
KELVO_ROW(Slerp);
KELVO_ROW(AxisRotate);
KELVO_ROW(Invert);
BENCHMARK(transformPoints<Kelvo>)->Name("Points/kelvo")->Arg(kCount)->Arg(kPoints);
BENCHMARK(transformPoints<ImathPeer>)->Name("Points/imath")->Arg(kCount)->Arg(kPoints);
BENCHMARK(transformPoints<GlmPeer>)->Name("Points/glm")->Arg(kCount)->Arg(kPoints);
BENCHMARK(transformPoints<EigenPeer>)->Name("Points/eigen")->Arg(kCount)->Arg(kPoints);
