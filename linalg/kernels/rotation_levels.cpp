// Plane rotations of the rows of a column-major matrix, several columns at a time, compiled once per
// instruction level. A column's rotations follow one another; only columns side by side are free.
#include <stddef.h>

#include "linalg/kernels/level_vectors.h"
#include "linalg/kernels/solver_table.h"

namespace kelvo::kernels::KELVO_LEVEL {
namespace {

// Columns side by side whose elements of a row share a vector.
#if defined(__AVX__)
typedef __m256d Across;

inline Across across(const double* p) {
    return _mm256_loadu_pd(p);
}
inline void store(double* p, Across v) {
    _mm256_storeu_pd(p, v);
}
inline Across everywhere(double x) {
    return _mm256_set1_pd(x);
}

// Two rows of four columns. Halves that meet on the way from memory need no shuffle across them.
inline void loadRows(const double* a, size_t lda, Across* rows) {
    const auto columns = [&](size_t j) {
        return _mm256_insertf128_pd(_mm256_castpd128_pd256(_mm_loadu_pd(a + j * lda)),
                                    _mm_loadu_pd(a + (j + 2) * lda), 1);
    };
    const Across even = columns(0), odd = columns(1);
    rows[0] = _mm256_unpacklo_pd(even, odd);
    rows[1] = _mm256_unpackhi_pd(even, odd);
}

inline void storeRows(const Across* rows, double* a, size_t lda) {
    const auto columns = [&](size_t j, Across v) {
        _mm_storeu_pd(a + j * lda, _mm256_castpd256_pd128(v));
        _mm_storeu_pd(a + (j + 2) * lda, _mm256_extractf128_pd(v, 1));
    };
    columns(0, _mm256_unpacklo_pd(rows[0], rows[1]));
    columns(1, _mm256_unpackhi_pd(rows[0], rows[1]));
}
#else
typedef double Across __attribute__((vector_size(16)));

inline Across across(const double* p) {
    return load(p);
}
inline void store(double* p, Across v) {
    place(p) = v;
}
inline Across everywhere(double x) {
    return Across{x, x};
}

inline void loadRows(const double* a, size_t lda, Across* rows) {
    const Across first = load(a), second = load(a + lda);
    rows[0] = __builtin_shufflevector(first, second, 0, 2);
    rows[1] = __builtin_shufflevector(first, second, 1, 3);
}

inline void storeRows(const Across* rows, double* a, size_t lda) {
    store(a, __builtin_shufflevector(rows[0], rows[1], 0, 2));
    store(a + lda, __builtin_shufflevector(rows[0], rows[1], 1, 3));
}
#endif
constexpr size_t kAcross = sizeof(Across) / sizeof(double);

inline void rotate(Across c, Across s, Across& x, Across& y) {
    const Across t = c * x + s * y;
    y = c * y - s * x;
    x = t;
}
inline void rotate(double c, double s, double& x, double& y) {
    const double t = c * x + s * y;
    y = c * y - s * x;
    x = t;
}

// N columns, one element at a time.
template <size_t N>
inline void rotateColumns(size_t rows, const double* c, const double* s, double* a, size_t lda,
                          double* rest) {
    double rests[N];
    unrolled<N>([&](size_t j) { rests[j] = rest[j]; });
    for (size_t i = 0; i < rows; ++i)
        unrolled<N>([&](size_t j) { rotate(c[i], s[i], a[i + j * lda], rests[j]); });
    unrolled<N>([&](size_t j) { rest[j] = rests[j]; });
}

// G groups of kAcross columns, two rows of them at a time.
template <size_t G>
void rotateGroups(size_t rows, const double* c, const double* s, double* a, size_t lda,
                  double* rest) {
    Across rests[G];
    unrolled<G>([&](size_t g) { rests[g] = across(rest + g * kAcross); });
    size_t i = 0;
    for (; i + 2 <= rows; i += 2) {
        const Across c0 = everywhere(c[i]), s0 = everywhere(s[i]);
        const Across c1 = everywhere(c[i + 1]), s1 = everywhere(s[i + 1]);
        double* group = a + i;
        unrolled<G>([&](size_t g) {
            unknown(group);  // or all columns have an address, more than there are registers
            Across two[2];
            loadRows(group, lda, two);
            rotate(c0, s0, two[0], rests[g]);
            rotate(c1, s1, two[1], rests[g]);
            storeRows(two, group, lda);
            group += kAcross * lda;
        });
    }
    unrolled<G>([&](size_t g) { store(rest + g * kAcross, rests[g]); });
    for (size_t j = 0; i < rows && j < G * kAcross; j += 2)
        rotateColumns<2>(rows - i, c + i, s + i, a + i + j * lda, lda, rest + j);
}

void rotateRows(size_t rows, size_t cols, const double* c, const double* s, double* a, size_t lda,
                double* rest) {
    size_t j = 0;
    for (; j + 4 * kAcross <= cols; j += 4 * kAcross)
        rotateGroups<4>(rows, c, s, a + j * lda, lda, rest + j);
    for (; j + kAcross <= cols; j += kAcross)
        rotateGroups<1>(rows, c, s, a + j * lda, lda, rest + j);
    for (; j < cols; ++j) rotateColumns<1>(rows, c, s, a + j * lda, lda, rest + j);
}

}  // namespace

const RotationTable kRotationTable = {rotateRows};

}  // namespace kelvo::kernels::KELVO_LEVEL
