// The vector kernels, compiled once per instruction level into the namespace KELVO_LEVEL.
// Everything here has internal linkage except the table, and no header with inline functions is
// included: the linker merges equal inline functions, and a copy made for a newer processor must
// not win.
#include <stddef.h>
#include <stdint.h>

#include "linalg/kernels/level_vectors.h"
#include "linalg/kernels/vector_table.h"

namespace kelvo::kernels::KELVO_LEVEL {
namespace {

// Called with vectors and with numbers. No template takes a vector by reference: it would take the
// alignment of vectors for granted.
inline void store(double* p, Vector v) {
    place(p) = v;
}

// True when z(i) lies on an operand element that is still to be read, so that several elements must
// not be computed at once.
inline bool runsInto(const double* z, const double* x, size_t n) {
    const uintptr_t ahead = reinterpret_cast<uintptr_t>(z) - reinterpret_cast<uintptr_t>(x);
    return ahead != 0 && ahead < n * sizeof(double);
}

// How many elements lie before the first one of z that a whole register can be stored to without
// touching two cache lines. Such stores halve the speed outside the first cache; short vectors do
// not care.
inline size_t elementsToAligned(const double* z, size_t n) {
    constexpr size_t kLong = 256;
    return n < kLong ? 0 : (0 - reinterpret_cast<uintptr_t>(z)) % kVectorBytes / sizeof(double);
}

// Does the rest of a vector go in one operation? Where stores under a mask are cheap, and not for
// quotients: 0/0 in the missing elements would raise an exception.
enum class Rest { kTogether, kOneByOne };

// Shorter vectors for the rest of long ones. (A store under a mask makes the next load wait for it.)
typedef double Quad __attribute__((vector_size(32)));
typedef double Pair __attribute__((vector_size(16)));

template <class Half, class Op>
inline void mapHalf(size_t n, size_t& i, const double* x, const double* y, double* z, Op op) {
    constexpr size_t kCount = sizeof(Half) / sizeof(double);
    if (n - i < kCount) return;
    Half a, b;
    __builtin_memcpy(&a, x + i, sizeof a);
    __builtin_memcpy(&b, y + i, sizeof b);
    const Half result = op(a, b);
    __builtin_memcpy(z + i, &result, sizeof result);
    i += kCount;
}

// z(i) = op(x(i), y(i)), two vectors a turn.
template <Rest kRest = Rest::kTogether, class Op>
inline void map(size_t n, const double* x, const double* y, double* z, Op op) {
    size_t i = 0;
    if (!runsInto(z, x, n) && !runsInto(z, y, n)) {
        for (const size_t head = elementsToAligned(z, n); i < head; ++i) z[i] = op(x[i], y[i]);
        for (; i + 2 * kWidth <= n; i += 2 * kWidth) {
            const Vector first = op(load(x + i), load(y + i));
            const Vector second = op(load(x + i + kWidth), load(y + i + kWidth));
            store(z + i, first);
            store(z + i + kWidth, second);
        }
        if (i + kWidth <= n) {
            store(z + i, op(load(x + i), load(y + i)));
            i += kWidth;
        }
        if constexpr (kWidth > 4 && kRest == Rest::kTogether) {
            mapHalf<Quad>(n, i, x, y, z, op);
            mapHalf<Pair>(n, i, x, y, z, op);
        }
    }
    for (; i < n; ++i) z[i] = op(x[i], y[i]);
}

template <Rest kRest = Rest::kTogether, class Op>
inline void map(size_t n, const double* x, double* z, Op op) {
    map<kRest>(n, x, x, z, [op](auto a, auto) { return op(a); });
}

// term(x(0), y(0)) + ..., in four running vectors.
template <class Term>
inline double total(size_t n, const double* x, const double* y, Term term) {
    Vector s0 = {}, s1 = {}, s2 = {}, s3 = {};
    size_t i = 0;
    for (; i + 4 * kWidth <= n; i += 4 * kWidth) {
        s0 += term(load(x + i), load(y + i));
        s1 += term(load(x + i + kWidth), load(y + i + kWidth));
        s2 += term(load(x + i + 2 * kWidth), load(y + i + 2 * kWidth));
        s3 += term(load(x + i + 3 * kWidth), load(y + i + 3 * kWidth));
    }
    for (; i + kWidth <= n; i += kWidth) s0 += term(load(x + i), load(y + i));
    if (i < n) {
        const Part part(n - i);
        s1 += term(part.load(x + i), part.load(y + i));
    }
    return lanes((s0 + s1) + (s2 + s3));
}

double dot(size_t n, const double* x, const double* y) {
    return total(n, x, y, [](auto a, auto b) { return a * b; });
}

double sum(size_t n, const double* x) {
    return total(n, x, x, [](auto a, auto) { return a; });
}

double sumSquares(size_t n, const double* x) {
    return total(n, x, x, [](auto a, auto) { return a * a; });
}

void axpy(size_t n, double a, const double* x, double* y) {
    map(n, x, y, y, [a](auto xi, auto yi) { return yi + a * xi; });
}

void rot(size_t n, double* x, double* y, double c, double s) {
    size_t i = 0;
    for (; i + kWidth <= n; i += kWidth) {
        const Vector xi = load(x + i), yi = load(y + i);
        store(x + i, c * xi + s * yi);
        store(y + i, c * yi - s * xi);
    }
    for (; i < n; ++i) {
        const double xi = x[i], yi = y[i];
        x[i] = c * xi + s * yi;
        y[i] = c * yi - s * xi;
    }
}

void add(size_t n, const double* x, const double* y, double* z) {
    map(n, x, y, z, [](auto a, auto b) { return a + b; });
}

void sub(size_t n, const double* x, const double* y, double* z) {
    map(n, x, y, z, [](auto a, auto b) { return a - b; });
}

void mul(size_t n, const double* x, const double* y, double* z) {
    map(n, x, y, z, [](auto a, auto b) { return a * b; });
}

void div(size_t n, const double* x, const double* y, double* z) {
    map<Rest::kOneByOne>(n, x, y, z, [](auto a, auto b) { return a / b; });
}

void negate(size_t n, const double* x, double* z) {
    map(n, x, z, [](auto a) { return -a; });
}

void addScalar(size_t n, const double* x, double a, double* z) {
    map(n, x, z, [a](auto xi) { return xi + a; });
}

void mulScalar(size_t n, const double* x, double a, double* z) {
    map(n, x, z, [a](auto xi) { return xi * a; });
}

void scalarMinus(size_t n, double a, const double* x, double* z) {
    map(n, x, z, [a](auto xi) { return a - xi; });
}

void scalarOver(size_t n, double a, const double* x, double* z) {
    map<Rest::kOneByOne>(n, x, z, [a](auto xi) { return a / xi; });
}

}  // namespace

const VectorTable kVectorTable = {dot,       sum,       sumSquares,  axpy,      rot,
                                  add,       sub,       mul,         div,       negate,
                                  addScalar, mulScalar, scalarMinus, scalarOver};

}  // namespace kelvo::kernels::KELVO_LEVEL
