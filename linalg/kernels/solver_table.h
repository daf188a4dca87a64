// The parts of the factorizations that depend on the instruction level. Declarations only, as in
// vector_table.h. Results are the same bits at every level. Orders n > 0.
#pragma once

#include <stddef.h>

namespace kelvo::kernels {

struct LuTable {
    /// Doubles of scratch for order n.
    size_t (*work)(size_t n);
    /// dgefa
    int (*factor)(double* a, size_t lda, size_t n, int* ipvt, double* work);
};

struct CholeskyTable {
    /// Doubles of scratch for order n.
    size_t (*work)(size_t n);
    /// dchdc without pivoting
    int (*factor)(double* a, size_t lda, size_t n, double* work);
};

struct PivotedCholeskyTable {
    /// Doubles of scratch for order n.
    size_t (*work)(size_t n);
    /// dchdc with pivoting, of a matrix whose initial and final elements are in their places already:
    /// those from `begin` to `end` take part.
    int (*factor)(double* a, size_t lda, size_t n, int* jpvt, size_t begin, size_t end,
                  double* work);
};

struct SymmetricTable {
    /// Doubles of scratch for order n.
    size_t (*work)(size_t n);
    /// dspfa
    int (*factor)(double* ap, size_t n, int* kpvt, double* work);
};

struct RotationTable {
    /// `rows` plane rotations (c, s), one after another, each of a row of `a` (rows x cols) with
    /// `rest` (cols elements): element x of the row and y of the rest become c x + s y and c y - s x.
    void (*rotateRows)(size_t rows, size_t cols, const double* c, const double* s, double* a,
                       size_t lda, double* rest);
};

namespace base {
extern const LuTable kLuTable;
extern const CholeskyTable kCholeskyTable;
extern const PivotedCholeskyTable kPivotedCholeskyTable;
extern const SymmetricTable kSymmetricTable;
extern const RotationTable kRotationTable;
}  // namespace base
#if defined(__x86_64__)
namespace v2 {
extern const LuTable kLuTable;
extern const CholeskyTable kCholeskyTable;
extern const PivotedCholeskyTable kPivotedCholeskyTable;
extern const SymmetricTable kSymmetricTable;
extern const RotationTable kRotationTable;
}  // namespace v2
namespace v3 {
extern const LuTable kLuTable;
extern const CholeskyTable kCholeskyTable;
extern const PivotedCholeskyTable kPivotedCholeskyTable;
extern const SymmetricTable kSymmetricTable;
extern const RotationTable kRotationTable;
}  // namespace v3
namespace v4 {
extern const LuTable kLuTable;
extern const CholeskyTable kCholeskyTable;
extern const PivotedCholeskyTable kPivotedCholeskyTable;
extern const SymmetricTable kSymmetricTable;
extern const RotationTable kRotationTable;
}  // namespace v4
#endif

}  // namespace kelvo::kernels
