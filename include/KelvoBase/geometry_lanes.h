// Four doubles that are computed together; the products of the small classes run on it. One AVX
// register where the caller's compiler flags allow it, otherwise two halves. Every lane is rounded
// as the same scalar expression would be.
#pragma once

namespace kelvo::geometry {

// Writes a row of a matrix element by element.
inline void setRow(double* row, double e0, double e1, double e2, double e3 = 0.0) {
    row[0] = e0;
    row[1] = e1;
    row[2] = e2;
    row[3] = e3;
}

typedef double Pair __attribute__((vector_size(16)));
[[gnu::always_inline]] inline Pair loadPair(const double* from) {
    Pair p;
    __builtin_memcpy(&p, from, sizeof p);
    return p;
}
[[gnu::always_inline]] inline Pair reversed(Pair p) {
    return __builtin_shufflevector(p, p, 1, 0);
}
// (-s, s).
[[gnu::always_inline]] inline Pair negatedFirst(double s) {
    typedef long long Bits __attribute__((vector_size(16)));
    const Pair both = {s, s}, sign = {-0.0, 0.0};
    return reinterpret_cast<Pair>(reinterpret_cast<Bits>(both) ^ reinterpret_cast<Bits>(sign));
}
#ifdef __AVX__
inline namespace avx {
#else
inline namespace halves {
#endif

struct Quad {
#ifdef __AVX__
    typedef double Lanes __attribute__((vector_size(32)));
    Lanes v;
#else
    Pair lo, hi;
#endif
};

#ifdef __AVX__

[[gnu::always_inline]] inline Quad load(const double* from) {
    Quad q;
    __builtin_memcpy(&q.v, from, sizeof q.v);
    return q;
}
[[gnu::always_inline]] inline void store(double* to, const Quad& q) {
    __builtin_memcpy(to, &q.v, sizeof q.v);
}
// v with the signs of those lanes flipped that are given as -0.0.
[[gnu::always_inline]] inline Quad::Lanes withSigns(Quad::Lanes v, double s0, double s1, double s2,
                                                    double s3) {
    typedef long long Bits __attribute__((vector_size(32)));
    const Quad::Lanes signs = {s0, s1, s2, s3};
    return reinterpret_cast<Quad::Lanes>(reinterpret_cast<Bits>(v) ^ reinterpret_cast<Bits>(signs));
}
// v with a last lane of 0.
[[gnu::always_inline]] inline Quad::Lanes withoutLast(Quad::Lanes v) {
    typedef long long Bits __attribute__((vector_size(32)));
    return reinterpret_cast<Quad::Lanes>(reinterpret_cast<Bits>(v) & Bits{-1, -1, -1, 0});
}
// Three of the four lanes count; rows of a matrix are loaded whole.
using Triple = Quad;
[[gnu::always_inline]] inline Triple load3(const double* row) {
    return load(row);
}
[[gnu::always_inline]] inline void store3(double* to, const Triple& q) {
    const Pair lo = {q.v[0], q.v[1]};
    __builtin_memcpy(to, &lo, sizeof lo);
    to[2] = q.v[2];
}
[[gnu::always_inline]] inline Quad operator+(const Quad& a, const Quad& b) {
    return {a.v + b.v};
}
[[gnu::always_inline]] inline Quad operator-(const Quad& a, const Quad& b) {
    return {a.v - b.v};
}
[[gnu::always_inline]] inline Quad operator*(const Quad& a, const Quad& b) {
    return {a.v * b.v};
}
[[gnu::always_inline]] inline Quad operator*(double s, const Quad& b) {
    return {Quad::Lanes{s, s, s, s} * b.v};
}

#else

[[gnu::always_inline]] inline Quad load(const double* from) {
    Quad q;
    __builtin_memcpy(&q.lo, from, sizeof q.lo);
    __builtin_memcpy(&q.hi, from + 2, sizeof q.hi);
    return q;
}
[[gnu::always_inline]] inline void store(double* to, const Quad& q) {
    __builtin_memcpy(to, &q.lo, sizeof q.lo);
    __builtin_memcpy(to + 2, &q.hi, sizeof q.hi);
}
[[gnu::always_inline]] inline Quad operator+(const Quad& a, const Quad& b) {
    return {a.lo + b.lo, a.hi + b.hi};
}
[[gnu::always_inline]] inline Quad operator-(const Quad& a, const Quad& b) {
    return {a.lo - b.lo, a.hi - b.hi};
}
[[gnu::always_inline]] inline Quad operator*(const Quad& a, const Quad& b) {
    return {a.lo * b.lo, a.hi * b.hi};
}
[[gnu::always_inline]] inline Quad operator*(double s, const Quad& b) {
    const Pair ss = {s, s};
    return {ss * b.lo, ss * b.hi};
}

// Single doubles, which the compiler pairs up better than two and one.
struct Triple {
    double x, y, z;
};
[[gnu::always_inline]] inline Triple load3(const double* row) {
    return {row[0], row[1], row[2]};
}
[[gnu::always_inline]] inline void store3(double* to, const Triple& t) {
    to[0] = t.x;
    to[1] = t.y;
    to[2] = t.z;
}
[[gnu::always_inline]] inline Triple operator+(const Triple& a, const Triple& b) {
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}
[[gnu::always_inline]] inline Triple operator*(double s, const Triple& b) {
    return {s * b.x, s * b.y, s * b.z};
}

#endif
}  // namespace avx or halves
}  // namespace kelvo::geometry
