// Inversion of a 4 x 4 matrix, row-major: one kernel for each instruction level, all with the same
// result bit for bit. Neither this header nor the kernel includes exported headers: their inline
// functions must not be compiled for more than the processors that everybody has.
#pragma once

namespace kelvo::geometry {

/// Sets `to`, double[16], to the inverse of `from`, which it may be, by the kernel that suits this
/// processor.
void invert4(const double* from, double* to);

/// The elimination step by step, with the companion matrix written out, for every input.
void invert4Plainly(const double* from, double* to);

namespace base {
void invert4(const double* from, double* to);
}
#ifdef __x86_64__
/// Whether this processor runs the kernel of x86-64-v2, v3 or v4.
bool runsLevel(int level);

namespace v2 {
void invert4(const double* from, double* to);
}
namespace v3 {
void invert4(const double* from, double* to);
}
namespace v4 {
void invert4(const double* from, double* to);
}
#endif

}  // namespace kelvo::geometry
