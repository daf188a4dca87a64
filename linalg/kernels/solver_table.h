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

namespace base {
extern const LuTable kLuTable;
extern const CholeskyTable kCholeskyTable;
}  // namespace base
#if defined(__x86_64__)
namespace v2 {
extern const LuTable kLuTable;
extern const CholeskyTable kCholeskyTable;
}  // namespace v2
namespace v3 {
extern const LuTable kLuTable;
extern const CholeskyTable kCholeskyTable;
}  // namespace v3
namespace v4 {
extern const LuTable kLuTable;
extern const CholeskyTable kCholeskyTable;
}  // namespace v4
#endif

}  // namespace kelvo::kernels
