#include "linalg/kernels/block_reflector.h"

#include <algorithm>

#include "linalg/kernels/instruction_level.h"

namespace kelvo::kernels {
namespace {

void multiply(std::size_t m, std::size_t n, std::size_t k, const double* a, std::size_t lda,
              const double* b, std::size_t bTerm, std::size_t bCol, double* c, std::size_t ldc,
              bool adding) {
    const GemmTable& t = gemmTable();
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

const GemmTable& gemmTable() {
    switch (activeLevel()) {
#if defined(__x86_64__)
        case Level::kV2:
            return v2::kGemmTable;
        case Level::kV3:
            return v3::kGemmTable;
        case Level::kV4:
            return v4::kGemmTable;
#endif
        default:
            return base::kGemmTable;
    }
}

const ReflectionTable& reflectionTable() {
    switch (activeLevel()) {
#if defined(__x86_64__)
        case Level::kV2:
            return v2::kReflectionTable;
        case Level::kV3:
            return v3::kReflectionTable;
        case Level::kV4:
            return v4::kReflectionTable;
#endif
        default:
            return base::kReflectionTable;
    }
}

void addProduct(std::size_t m, std::size_t n, std::size_t k, const double* a, std::size_t lda,
                const double* b, std::size_t bTerm, std::size_t bCol, double* c, std::size_t ldc) {
    multiply(m, n, k, a, lda, b, bTerm, bCol, c, ldc, true);
}

std::size_t BlockReflector::work(std::size_t rows, std::size_t width) {
    return 2 * rows * width + width * width + 3 * width * kLeaf;
}

BlockReflector::BlockReflector(std::size_t rows, std::size_t width, double* work)
    : rows_(rows),
      width_(width),
      v_(work),
      across_(v_ + rows * width),
      triangle_(across_ + rows * width),
      small_(triangle_ + width * width) {}

void BlockReflector::add(const double* v, std::size_t ldv, std::size_t count, const double* heads) {
    const std::size_t begin = count_, end = begin + count;
    for (std::size_t j = 0; j < count; ++j) {
        double* const to = v_ + (begin + j) * rows_;
        const bool none = heads[j] == 0.0;
        std::fill_n(to, begin + j, 0.0);
        to[begin + j] = heads[j];
        const double* const from = v + j * ldv;
        if (none)
            std::fill(to + begin + j, to + rows_, 0.0);
        else
            std::copy(from + begin + j + 1, from + rows_, to + begin + j + 1);
    }
    gemmTable().transpose(rows_, count, v_ + begin * rows_, rows_, across_ + begin, width_);

    // The new rows of -T', from the products of the new vectors with all.
    double* const gram = small_;  // count x end
    multiply(count, end, rows_ - begin, across_ + begin + begin * width_, width_, v_ + begin, rows_,
             gram, kLeaf);
    for (std::size_t i = 0; i < count; ++i) {
        double* const row = triangle_ + begin + i;
        const double factor = heads[i] == 0.0 ? 0.0 : -1.0 / heads[i];
        row[(begin + i) * width_] = factor;
        for (std::size_t j = 0; j < i; ++j) {
            double sum = 0.0;
            for (std::size_t p = j; p < i; ++p)
                sum += gram[i + (begin + p) * kLeaf] * triangle_[begin + p + (begin + j) * width_];
            row[(begin + j) * width_] = factor * sum;
        }
        for (std::size_t j = i + 1; j < count; ++j) row[(begin + j) * width_] = 0.0;
    }
    for (std::size_t j = begin; j < end; ++j) std::fill_n(triangle_ + j * width_, begin, 0.0);
    if (begin > 0) {
        double* const product = small_ + width_ * kLeaf;
        multiply(count, begin, begin, gram, kLeaf, triangle_, width_, product, kLeaf);
        multiply(count, begin, count, triangle_ + begin + begin * width_, width_, product, kLeaf,
                 triangle_ + begin, width_);
    }
    count_ = end;
}

void BlockReflector::reduce(double* c, std::size_t ldc, std::size_t cols) {
    double* const product = small_;
    double* const factors = small_ + width_ * kLeaf;
    multiply(count_, cols, rows_, across_, width_, c, ldc, product, width_);
    multiply(count_, cols, count_, triangle_, width_, product, width_, factors, width_);
    addProduct(rows_, cols, count_, v_, rows_, factors, 1, width_, c, ldc);
}

void BlockReflector::finish(bool transposed) {
    if (!transposed)
        for (std::size_t j = 0; j < count_; ++j)
            for (std::size_t i = 0; i < j; ++i)
                std::swap(triangle_[i + j * width_], triangle_[j + i * width_]);
    for (std::size_t i = 0; i < rows_; i += kLeaf) {
        const std::size_t cols = std::min(kLeaf, rows_ - i);
        std::copy_n(across_ + i * width_, cols * width_, small_);
        multiply(count_, cols, count_, triangle_, width_, small_, width_, across_ + i * width_,
                 width_);
    }
}

void BlockReflector::apply(double* c, std::size_t ldc, std::size_t cols) {
    for (std::size_t j = 0; j < cols; j += kLeaf) {
        const std::size_t some = std::min(kLeaf, cols - j);
        multiply(count_, some, rows_, across_, width_, c + j * ldc, ldc, small_, width_);
        addProduct(rows_, some, count_, v_, rows_, small_, 1, width_, c + j * ldc, ldc);
    }
}

}  // namespace kelvo::kernels
