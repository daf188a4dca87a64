// The kernels of the integer products, by the same interface as those of double in
// linalg/kernels/gemm.h. Sums wrap around.
#pragma once

#include <cstddef>

#include "linalg/kernels/gemm.h"

namespace kelvo::linalg::ints {

void gemm(kernels::Form formA, kernels::Form formB, std::size_t m, std::size_t n, std::size_t k,
          const int* a, std::size_t lda, const int* b, std::size_t ldb, int* c, std::size_t ldc);
void gemv(std::size_t m, std::size_t n, const int* a, std::size_t lda, const int* x, int* y);
void gemvTransposed(std::size_t m, std::size_t n, const int* a, std::size_t lda, const int* x,
                    int* y);
void transpose(std::size_t m, std::size_t n, const int* a, std::size_t lda, int* b,
               std::size_t ldb);

}  // namespace kelvo::linalg::ints
