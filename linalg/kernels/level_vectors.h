// Vectors of doubles as wide as the instruction level has them. For sources that are compiled once
// per level: everything has internal linkage, so that the linker cannot take one level's code for
// another's. The intrinsics of the compiler leave no functions behind.
#pragma once

#include <stddef.h>
#if defined(__AVX__)
#include <immintrin.h>
#endif

namespace kelvo::kernels::KELVO_LEVEL {
namespace {

#if defined(__AVX512F__)
constexpr size_t kVectorBytes = 64;
#elif defined(__AVX__)
constexpr size_t kVectorBytes = 32;
#else
constexpr size_t kVectorBytes = 16;
#endif
constexpr size_t kWidth = kVectorBytes / sizeof(double);

typedef double Vector __attribute__((vector_size(kVectorBytes), aligned(8), may_alias));

inline const Vector& load(const double* p) {
    return *reinterpret_cast<const Vector*>(p);
}
inline Vector& place(double* p) {
    return *reinterpret_cast<Vector*>(p);
}

// The first 1 to kWidth - 1 elements of a vector; the others are 0 and their memory is not touched.
#if defined(__AVX512F__)
class Part {
  public:
    explicit Part(size_t count) : mask_(static_cast<__mmask8>((1u << count) - 1)) {}
    Vector load(const double* p) const { return Vector(_mm512_maskz_loadu_pd(mask_, p)); }
    void store(double* p, const Vector& v) const { _mm512_mask_storeu_pd(p, mask_, __m512d(v)); }

  private:
    __mmask8 mask_;
};
#elif defined(__AVX__)
class Part {
  public:
    explicit Part(size_t count)
        : count_(count), mask_(_mm256_set_epi64x(0, count > 2 ? -1 : 0, count > 1 ? -1 : 0, -1)) {}
    Vector load(const double* p) const { return Vector(_mm256_maskload_pd(p, mask_)); }
    // Some processors take long for a store under a mask.
    void store(double* p, const Vector& v) const {
        const __m128d low = _mm256_castpd256_pd128(__m256d(v));
        if (count_ == 1) return _mm_store_sd(p, low);
        _mm_storeu_pd(p, low);
        if (count_ == 3) p[2] = v[2];
    }

  private:
    size_t count_;
    __m256i mask_;
};
#else
class Part {
  public:
    explicit Part(size_t) {}
    Vector load(const double* p) const { return Vector{p[0], 0.0}; }
    void store(double* p, const Vector& v) const { p[0] = v[0]; }
};
#endif

// All lanes in one number: of each two halves, op makes one. It takes values: a reference to an
// element of an array of vectors would promise an alignment that the array need not have.
template <class Op>
inline double byHalves(const Vector& v, Op op) {
#if defined(__AVX512F__)
    const auto quad =
        op(__builtin_shufflevector(v, v, 0, 1, 2, 3), __builtin_shufflevector(v, v, 4, 5, 6, 7));
#else
    const auto& quad = v;
#endif
#if defined(__AVX__)
    const auto pair =
        op(__builtin_shufflevector(quad, quad, 0, 1), __builtin_shufflevector(quad, quad, 2, 3));
#else
    const auto& pair = quad;
#endif
    return op(pair[0], pair[1]);
}

inline double lanes(const Vector& v) {
    return byHalves(v, [](auto a, auto b) { return a + b; });
}

// From two vectors of which the second stands S places below the first in a square: the rows and
// columns where bit S of the place is 0 and 1, exchanged between them.
template <size_t S>
inline void exchangeBlocks(Vector& a, Vector& b) {
    const Vector x = a, y = b;
#if defined(__AVX512F__)
    if constexpr (S == 1) {
        a = __builtin_shufflevector(x, y, 0, 8, 2, 10, 4, 12, 6, 14);
        b = __builtin_shufflevector(x, y, 1, 9, 3, 11, 5, 13, 7, 15);
    } else if constexpr (S == 2) {
        a = __builtin_shufflevector(x, y, 0, 1, 8, 9, 4, 5, 12, 13);
        b = __builtin_shufflevector(x, y, 2, 3, 10, 11, 6, 7, 14, 15);
    } else {
        a = __builtin_shufflevector(x, y, 0, 1, 2, 3, 8, 9, 10, 11);
        b = __builtin_shufflevector(x, y, 4, 5, 6, 7, 12, 13, 14, 15);
    }
#elif defined(__AVX__)
    if constexpr (S == 1) {
        a = __builtin_shufflevector(x, y, 0, 4, 2, 6);
        b = __builtin_shufflevector(x, y, 1, 5, 3, 7);
    } else {
        a = __builtin_shufflevector(x, y, 0, 1, 4, 5);
        b = __builtin_shufflevector(x, y, 2, 3, 6, 7);
    }
#else
    a = __builtin_shufflevector(x, y, 0, 2);
    b = __builtin_shufflevector(x, y, 1, 3);
#endif
}

// From here on the compiler does not know where p came from.
template <class Pointer>
inline void unknown(Pointer& p) {
    asm("" : "+r"(p));
}

// Calls op(0), ..., op(N - 1), written out: only then do arrays of vectors stay in registers.
template <size_t N, class Op>
inline __attribute__((always_inline)) void unrolled(Op op) {
#pragma GCC unroll 8
    for (size_t i = 0; i < N; ++i) op(i);
}

template <size_t S>
inline __attribute__((always_inline)) void exchangeAllBlocks(Vector* v) {
    unrolled<kWidth>([&](size_t i) {
        if ((i & S) == 0) exchangeBlocks<S>(v[i], v[i + S]);
    });
}

// Turns a square of kWidth vectors.
inline __attribute__((always_inline)) void transposeSquare(Vector* v) {
    exchangeAllBlocks<1>(v);
    if constexpr (kWidth > 2) exchangeAllBlocks<2>(v);
    if constexpr (kWidth > 4) exchangeAllBlocks<4>(v);
}

}  // namespace
}  // namespace kelvo::kernels::KELVO_LEVEL
