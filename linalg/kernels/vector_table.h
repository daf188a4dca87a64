// The vector kernels of one instruction level. Included by code that is compiled for processors
// newer than this one, so it holds declarations only: an inline function here could be kept by the
// linker in a form that older processors cannot run.
#pragma once

#include <stddef.h>

namespace kelvo::kernels {

/// Kernels on contiguous vectors of `n` doubles, any alignment. Meanings and the rules for
/// overlapping operands are those of the functions of the same names in vector_ops.h.
struct VectorTable {
    double (*dot)(size_t n, const double* x, const double* y);
    double (*sum)(size_t n, const double* x);
    double (*sumSquares)(size_t n, const double* x);
    void (*axpy)(size_t n, double a, const double* x, double* y);
    void (*rot)(size_t n, double* x, double* y, double c, double s);
    void (*add)(size_t n, const double* x, const double* y, double* z);
    void (*sub)(size_t n, const double* x, const double* y, double* z);
    void (*mul)(size_t n, const double* x, const double* y, double* z);
    void (*div)(size_t n, const double* x, const double* y, double* z);
    void (*negate)(size_t n, const double* x, double* z);
    void (*addScalar)(size_t n, const double* x, double a, double* z);
    void (*mulScalar)(size_t n, const double* x, double a, double* z);
    void (*scalarMinus)(size_t n, double a, const double* x, double* z);
    void (*scalarOver)(size_t n, double a, const double* x, double* z);
};

namespace base {
extern const VectorTable kVectorTable;
}
#if defined(__x86_64__)
namespace v2 {
extern const VectorTable kVectorTable;
}
namespace v3 {
extern const VectorTable kVectorTable;
}
namespace v4 {
extern const VectorTable kVectorTable;
}
#endif

}  // namespace kelvo::kernels
