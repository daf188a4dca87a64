// Several reflections as one: H(0) H(1) ... H(k-1) = I - V T V' with the vectors v as columns of V and
// an upper triangular T, T(j,j) = 1 / v_j(j) (compact WY form: Schreiber, Van Loan: A storage-efficient
// WY representation for products of Householder transformations, SIAM J. Sci. Stat. Comput. 10, 1989).
// Private to the QR and SVD kernels. Products go through the tiles of the matrix product.
#pragma once

#include <cstddef>

namespace kelvo::kernels {

/// C (m x n) += A B with A m x k; element (p, j) of B at b[p * bTerm + j * bCol]. All where they stand.
void addProduct(std::size_t m, std::size_t n, std::size_t k, const double* a, std::size_t lda,
                const double* b, std::size_t bTerm, std::size_t bCol, double* c, std::size_t ldc);

/// Reflections on `rows` elements, collected a few at a time. Those added first act first in Q'.
class BlockReflector {
  public:
    /// Reflections in all, a multiple of the rows of a tile at every level; and in one call of add.
    static constexpr std::size_t kMost = 24, kLeaf = 8;

    /// Doubles of scratch.
    static std::size_t work(std::size_t rows);

    BlockReflector(std::size_t rows, double* work);

    /// Adds `count` reflections, up to kLeaf. v has the next columns of V: that of reflection k in the
    /// block is used below row k, where its head stands in heads and not in v (0: no reflection).
    void add(const double* v, std::size_t ldv, std::size_t count, const double* heads);

    /// C := Q' C, for C of `rows` rows and up to kLeaf columns; between two calls of add.
    void reduce(double* c, std::size_t ldc, std::size_t cols);

    /// Nothing more is added: prepares for apply(), of Q' or of Q.
    void finish(bool transposed);

    /// C := Q' C or Q C.
    void apply(double* c, std::size_t ldc, std::size_t cols);

  private:
    void extendTriangle(std::size_t count, const double* heads);

    std::size_t rows_, count_ = 0;
    double* v_;         // rows x count
    double* across_;    // V', leading dimension kMost; after finish() times the triangle
    double* triangle_;  // -T', lower, leading dimension kMost; after finish() that of Q' or Q
    double* small_;     // twice kMost x kLeaf
};

}  // namespace kelvo::kernels
