#include "linalg/int_products.h"

namespace kelvo::linalg::ints {
namespace {

// Signed and unsigned ints of one width may name the same object; unsigned ones wrap around.
const unsigned* wrapping(const int* p) {
    return reinterpret_cast<const unsigned*>(p);
}
unsigned* wrapping(int* p) {
    return reinterpret_cast<unsigned*>(p);
}

unsigned dot(std::size_t n, const unsigned* x, const unsigned* y, std::size_t yStep) {
    unsigned sum = 0;
    if (yStep == 1)
        for (std::size_t i = 0; i < n; ++i) sum += x[i] * y[i];
    else
        for (std::size_t i = 0; i < n; ++i) sum += x[i] * y[i * yStep];
    return sum;
}

void addMultiple(std::size_t n, unsigned factor, const unsigned* x, unsigned* y) {
    for (std::size_t i = 0; i < n; ++i) y[i] += factor * x[i];
}

}  // namespace

void gemm(kernels::Form formA, kernels::Form formB, std::size_t m, std::size_t n, std::size_t k,
          const int* a, std::size_t lda, const int* b, std::size_t ldb, int* c, std::size_t ldc) {
    const bool plainB = formB == kernels::Form::kPlain;
    const std::size_t termStep = plainB ? 1 : ldb;
    for (std::size_t j = 0; j < n; ++j) {
        const unsigned* const right = wrapping(b) + (plainB ? j * ldb : j);
        unsigned* const column = wrapping(c) + j * ldc;
        if (formA == kernels::Form::kTransposed) {
            for (std::size_t i = 0; i < m; ++i)
                column[i] = dot(k, wrapping(a) + i * lda, right, termStep);
            continue;
        }
        for (std::size_t i = 0; i < m; ++i) column[i] = 0;
        for (std::size_t p = 0; p < k; ++p)
            addMultiple(m, right[p * termStep], wrapping(a) + p * lda, column);
    }
}

void gemv(std::size_t m, std::size_t n, const int* a, std::size_t lda, const int* x, int* y) {
    gemm(kernels::Form::kPlain, kernels::Form::kPlain, m, 1, n, a, lda, x, n, y, m);
}

void gemvTransposed(std::size_t m, std::size_t n, const int* a, std::size_t lda, const int* x,
                    int* y) {
    gemm(kernels::Form::kTransposed, kernels::Form::kPlain, n, 1, m, a, lda, x, m, y, n);
}

void transpose(std::size_t m, std::size_t n, const int* a, std::size_t lda, int* b,
               std::size_t ldb) {
    // Strips one cache line wide, so that lines of the result stay until they are full.
    constexpr std::size_t kAcross = 64 / sizeof(int);
    for (std::size_t j0 = 0; j0 < n; j0 += kAcross) {
        const std::size_t j1 = j0 + kAcross < n ? j0 + kAcross : n;
        for (std::size_t i = 0; i < m; ++i)
            for (std::size_t j = j0; j < j1; ++j) b[j + i * ldb] = a[i + j * lda];
    }
}

}  // namespace kelvo::linalg::ints
