// The parts of QR and SVD that depend on the instruction level. Declarations only, as in
// vector_table.h.
#pragma once

#include <stddef.h>

namespace kelvo::kernels {

/// Most sweeps of rotations that are applied in one pass.
constexpr size_t kMostSweeps = 4;

struct ReflectionTable {
    /// Applies the reflection I - v v' / v(0) to `cols` columns of n > 0 elements.
    void (*reflect)(size_t n, const double* v, size_t cols, double* c, size_t ldc);
    /// A += x y', of an m x n matrix.
    void (*addOuter)(size_t m, size_t n, const double* x, const double* y, double* a, size_t lda);
    /// Turns neighbouring columns of A (rows x cols) by 1 <= sweeps <= kMostSweeps sweeps of plane
    /// rotations. Sweep s turns columns (j, j + 1), for j = 0, 1, ... , by the pair (sine / (1 +
    /// cosine), sine) at turns[2 * (kMostSweeps * (j + 1 + s) + s)]: x and y become c x + s y and c y
    /// - s x. The other pairs, of kMostSweeps * (cols + sweeps) in all, must be (0, 0).
    void (*rotate)(size_t rows, size_t cols, size_t sweeps, const double* turns, double* a,
                   size_t lda);
};

namespace base {
extern const ReflectionTable kReflectionTable;
}
#if defined(__x86_64__)
namespace v2 {
extern const ReflectionTable kReflectionTable;
}
namespace v3 {
extern const ReflectionTable kReflectionTable;
}
namespace v4 {
extern const ReflectionTable kReflectionTable;
}
#endif

}  // namespace kelvo::kernels
