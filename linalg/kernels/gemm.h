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

/// Number of doubles of scratch that gemm can use for such a product; 0 for most small ones.
std::size_t gemmWork(Form formA, std::size_t m, std::size_t n, std::size_t k);

/// C = op(A) op(B): m x n with inner dimension k.
///
/// a     m x k when plain, k x m when transposed; lda >= its number of rows
/// b     k x n when plain, n x k when transposed; ldb >= its number of rows
/// c     m x n, ldc >= m; written only
/// work  gemmWork(formA, m, n, k) doubles, or null: slower
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
void transpose(std::size_t m, std::size_t n, const double* a, std::size_t lda, double* b,
               std::size_t ldb);

}  // namespace kelvo::kernels
