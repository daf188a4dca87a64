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
        : mask_(_mm256_set_epi64x(0, count > 2 ? -1 : 0, count > 1 ? -1 : 0, -1)) {}
    Vector load(const double* p) const { return Vector(_mm256_maskload_pd(p, mask_)); }
    void store(double* p, const Vector& v) const { _mm256_maskstore_pd(p, mask_, __m256d(v)); }

  private:
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

// Calls op(0), ..., op(N - 1), written out: only then do arrays of vectors stay in registers.
template <size_t N, class Op>
inline __attribute__((always_inline)) void unrolled(Op op) {
#pragma GCC unroll 8
    for (size_t i = 0; i < N; ++i) op(i);
}

}  // namespace
}  // namespace kelvo::kernels::KELVO_LEVEL
