// The parts of the matrix products that depend on the instruction level. Declarations only, as in
// vector_table.h.
#pragma once

#include <stddef.h>

namespace kelvo::kernels {

/// Strips of op(A) and op(B) are packed for gemm: a strip of A holds `stripRows` rows (the last one
/// of a block as many as remain, rounded up to `lane` and filled with zeros), term after term; a
/// strip of B holds `stripCols` columns (the last one as many as remain), term after term.
struct GemmTable {
    size_t lane;
    size_t stripRows;
    size_t stripCols;
    /// c (rows x cols) = or += strip of A times strip of B over `depth` terms. `c` is overwritten
    /// unless `adding`.
    void (*tile)(size_t rows, size_t cols, size_t depth, const double* a, const double* b,
                 double* c, size_t ldc, bool adding);
    /// y += A x and y += A' x, of an m x n matrix.
    void (*gemv)(size_t m, size_t n, const double* a, size_t lda, const double* x, double* y);
    void (*gemvTransposed)(size_t m, size_t n, const double* a, size_t lda, const double* x,
                           double* y);
};

namespace base {
extern const GemmTable kGemmTable;
}
#if defined(__x86_64__)
namespace v2 {
extern const GemmTable kGemmTable;
}
namespace v3 {
extern const GemmTable kGemmTable;
}
namespace v4 {
extern const GemmTable kGemmTable;
}
#endif

}  // namespace kelvo::kernels
