// Products of column-major matrices of double with matrices and vectors, and transposition. Plain
// arrays of the caller: element (i, j) of a matrix stands at a[i + j * lda].
//   1. Any size may be 0. Results overlap no operand.
//   2. Every sum runs over all terms, so not-a-number and infinities spread as defined.
//   3. gemm adds the terms of an element in ascending order, in blocks of kGemmDepth terms. Levels
//      with fused multiply-add use it in gemm: its last bits depend on the processor, and are the
//      same for every element whatever its place in the matrix.
#pragma once

#include <cstddef>

namespace kelvo::kernels {

// How an operand enters a product: as it stands, or transposed.
enum class Form { kPlain, kTransposed };

/// Terms that gemm adds before it stores.
constexpr std::size_t kGemmDepth = 256;

/// Number of doubles of scratch that gemm can use for such a product; 0 for a small one.
std::size_t gemmWork(std::size_t m, std::size_t n, std::size_t k);

/// C = op(A) op(B): m x n with inner dimension k.
///
/// a     m x k when plain, k x m when transposed; lda >= its number of rows
/// b     k x n when plain, n x k when transposed; ldb >= its number of rows
/// c     m x n, ldc >= m; written only
/// work  gemmWork(m, n, k) doubles, or null: slower
void gemm(Form formA, Form formB, std::size_t m, std::size_t n, std::size_t k, const double* a,
          std::size_t lda, const double* b, std::size_t ldb, double* c, std::size_t ldc,
          double* work);

/// y = A x for the m x n matrix A. y has m elements, x has n.
void gemv(std::size_t m, std::size_t n, const double* a, std::size_t lda, const double* x,
          double* y);

/// y = A' x for the m x n matrix A. y has n elements, x has m.
void gemvTransposed(std::size_t m, std::size_t n, const double* a, std::size_t lda, const double* x,
                    double* y);

/// B = A' for the m x n matrix A; B is n x m.
template <class T>
void transpose(std::size_t m, std::size_t n, const T* a, std::size_t lda, T* b, std::size_t ldb) {
    // Squares of a few cache lines each way, so that lines of both stay until they are used up.
    constexpr std::size_t kTile = 64 / sizeof(T);
    for (std::size_t j0 = 0; j0 < n; j0 += kTile) {
        const std::size_t j1 = j0 + kTile < n ? j0 + kTile : n;
        for (std::size_t i0 = 0; i0 < m; i0 += kTile) {
            const std::size_t i1 = i0 + kTile < m ? i0 + kTile : m;
            for (std::size_t i = i0; i < i1; ++i)
                for (std::size_t j = j0; j < j1; ++j) b[j + i * ldb] = a[i + j * lda];
        }
    }
}

}  // namespace kelvo::kernels
