// The parts of the matrix products that depend on the instruction level. Declarations only, as in
// vector_table.h.
#pragma once

#include <stddef.h>

namespace kelvo::kernels {

struct GemmTable {
    /// Most rows and columns of a tile.
    size_t tileRows;
    size_t tileCols;
    /// c (rows x cols) = or, when `adding`, += the sum over p < depth of column p of a times row p
    /// of b. Element (i, p) of a stands at a[i + p * aTerm], (p, j) of b at b[p * bTerm + j *
    /// bCol].
    void (*tile)(size_t rows, size_t cols, size_t depth, const double* a, size_t aTerm,
                 const double* b, size_t bTerm, size_t bCol, double* c, size_t ldc, bool adding);
    /// y += A x and y += A' x, of an m x n matrix.
    void (*gemv)(size_t m, size_t n, const double* a, size_t lda, const double* x, double* y);
    void (*gemvTransposed)(size_t m, size_t n, const double* a, size_t lda, const double* x,
                           double* y);
    /// B = A', of an m x n matrix A.
    void (*transpose)(size_t m, size_t n, const double* a, size_t lda, double* b, size_t ldb);
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
