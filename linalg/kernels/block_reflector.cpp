#include "linalg/kernels/block_reflector.h"

#include <algorithm>

#include "linalg/kernels/level_tables.h"

namespace kelvo::kernels {
namespace {

void multiply(std::size_t m, std::size_t n, std::size_t k, const double* a, std::size_t lda,
              const double* b, std::size_t bTerm, std::size_t bCol, double* c, std::size_t ldc,
              bool adding) {
    const GemmTable& t = levelTables().gemm;
    for (std::size_t j = 0; j < n; j += t.tileCols) {
        const std::size_t width = std::min(t.tileCols, n - j);
        for (std::size_t i = 0; i < m; i += t.tileRows)
            t.tile(std::min(t.tileRows, m - i), width, k, a + i, lda, b + j * bCol, bTerm, bCol,
                   c + i + j * ldc, ldc, adding);
    }
}

// C = A B
void multiply(std::size_t m, std::size_t n, std::size_t k, const double* a, std::size_t lda,
              const double* b, std::size_t ldb, double* c, std::size_t ldc) {
    multiply(m, n, k, a, lda, b, 1, ldb, c, ldc, false);
}

}  // namespace

void addProduct(std::size_t m, std::size_t n, std::size_t k, const double* a, std::size_t lda,
                const double* b, std::size_t bTerm, std::size_t bCol, double* c, std::size_t ldc) {
    multiply(m, n, k, a, lda, b, bTerm, bCol, c, ldc, true);
}

std::size_t BlockReflector::work(std::size_t rows) {
    return 2 * rows * kMost + kMost * kMost + 2 * kMost * kLeaf;
}

BlockReflector::BlockReflector(std::size_t rows, double* work)
    : rows_(rows),
      v_(work),
      across_(v_ + rows * kMost),
      triangle_(across_ + rows * kMost),
      small_(triangle_ + kMost * kMost) {}

void BlockReflector::add(const double* v, std::size_t ldv, std::size_t count, const double* heads) {
    for (std::size_t j = 0; j < count; ++j) {
        const std::size_t top = count_ + j;
        const double* const from = v + j * ldv;
        double* const to = v_ + top * rows_;
        std::fill_n(to, top, 0.0);
        to[top] = heads[j];
        if (heads[j] == 0.0)
            std::fill(to + top + 1, to + rows_, 0.0);
        else
            std::copy(from + top + 1, from + rows_, to + top + 1);
    }
    levelTables().gemm.transpose(rows_, count, v_ + count_ * rows_, rows_, across_ + count_, kMost);
    extendTriangle(count, heads);
    count_ += count;
}

// The new rows of -T', from the products of the new vectors with all.
void BlockReflector::extendTriangle(std::size_t count, const double* heads) {
    const std::size_t begin = count_, end = begin + count;
    double* const gram = small_;  // count x end
    multiply(count, end, rows_ - begin, across_ + begin + begin * kMost, kMost, v_ + begin, rows_,
             gram, kLeaf);
    double* const corner = triangle_ + begin * (kMost + 1);
    for (std::size_t i = 0; i < count; ++i) {
        const double factor = heads[i] == 0.0 ? 0.0 : -1.0 / heads[i];
        for (std::size_t j = 0; j < count; ++j) {
            double sum = i == j ? 1.0 : 0.0;
            for (std::size_t k = j; k < i; ++k)
                sum += gram[i + (begin + k) * kLeaf] * corner[k + j * kMost];
            corner[i + j * kMost] = factor * sum;
        }
    }
    for (std::size_t j = begin; j < end; ++j) std::fill_n(triangle_ + j * kMost, begin, 0.0);
    if (begin == 0) return;
    double* const product = small_ + kMost * kLeaf;
    multiply(count, begin, begin, gram, kLeaf, triangle_, kMost, product, kLeaf);
    multiply(count, begin, count, corner, kMost, product, kLeaf, triangle_ + begin, kMost);
}

void BlockReflector::reduce(double* c, std::size_t ldc, std::size_t cols) {
    double* const product = small_;
    double* const factors = small_ + kMost * kLeaf;
    multiply(count_, cols, rows_, across_, kMost, c, ldc, product, kMost);
    multiply(count_, cols, count_, triangle_, kMost, product, kMost, factors, kMost);
    addProduct(rows_, cols, count_, v_, rows_, factors, 1, kMost, c, ldc);
}

void BlockReflector::finish(bool transposed) {
    if (!transposed)
        for (std::size_t j = 0; j < count_; ++j)
            for (std::size_t i = 0; i < j; ++i)
                std::swap(triangle_[i + j * kMost], triangle_[j + i * kMost]);
    for (std::size_t i = 0; i < rows_; i += kLeaf) {
        const std::size_t cols = std::min(kLeaf, rows_ - i);
        std::copy_n(across_ + i * kMost, cols * kMost, small_);
        multiply(count_, cols, count_, triangle_, kMost, small_, kMost, across_ + i * kMost, kMost);
    }
}

void BlockReflector::apply(double* c, std::size_t ldc, std::size_t cols) {
    for (std::size_t j = 0; j < cols; j += kLeaf) {
        const std::size_t some = std::min(kLeaf, cols - j);
        multiply(count_, some, rows_, across_, kMost, c + j * ldc, ldc, small_, kMost);
        addProduct(rows_, some, count_, v_, rows_, small_, 1, kMost, c + j * ldc, ldc);
    }
}

}  // namespace kelvo::kernels
