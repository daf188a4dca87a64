// Several reflections as one: H(0) H(1) ... H(k-1) = I - V T V' with the vectors v as columns of V and
// an upper triangular T, T(j,j) = 1 / v_j(j) (compact WY form: Schreiber, Van Loan: A storage-efficient
// WY representation for products of Householder transformations, SIAM J. Sci. Stat. Comput. 10, 1989).
// Private to the QR and SVD kernels. Products go through the tiles of the matrix product.
#pragma once

#include <cstddef>

#include "linalg/kernels/gemm_table.h"
#include "linalg/kernels/reflection_table.h"

namespace kelvo::kernels {

/// The kernels of the level in use.
const GemmTable& gemmTable();
const ReflectionTable& reflectionTable();

/// C (m x n) += A B with A m x k; element (p, j) of B at b[p * bTerm + j * bCol]. All where they stand.
void addProduct(std::size_t m, std::size_t n, std::size_t k, const double* a, std::size_t lda,
                const double* b, std::size_t bTerm, std::size_t bCol, double* c, std::size_t ldc);

/// Reflections on `rows` elements, collected a few at a time. Those added first act first in Q'.
class BlockReflector {
  public:
    /// Reflections that are added at a time, at most.
    static constexpr std::size_t kLeaf = 8;

    /// Doubles of scratch for at most `width` reflections, a multiple of kLeaf.
    static std::size_t work(std::size_t rows, std::size_t width);

    BlockReflector(std::size_t rows, std::size_t width, double* work);

    std::size_t count() const { return count_; }

    /// Adds `count` reflections. v has the columns count() onwards of V: column j is used from row
    /// count() + j on, where its head stands in heads[j] (0: no reflection) and not in v.
    void add(const double* v, std::size_t ldv, std::size_t count, const double* heads);

    /// C := Q' C, for C of `rows` rows and up to kLeaf columns; between two calls of add.
    void reduce(double* c, std::size_t ldc, std::size_t cols);

    /// Nothing more is added: prepares for apply(), of Q' or of Q.
    void finish(bool transposed);

    /// C := Q' C or Q C.
    void apply(double* c, std::size_t ldc, std::size_t cols);

  private:
    std::size_t rows_, width_, count_ = 0;
    double* v_;         // rows x count
    double* across_;    // V', leading dimension width; after finish() times the triangle
    double* triangle_;  // -T', lower, leading dimension width
    double* small_;     // three times width x kLeaf
};

}  // namespace kelvo::kernels
