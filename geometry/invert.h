// Inversion of a 4 x 4 matrix, row-major: one elimination in two forms with the same result bit for
// bit. `to`, double[16], is set to the inverse of `from`, which it may be. Neither this header nor
// the form for AVX2 includes exported headers: their inline functions must not be compiled for more
// than the processors that everybody has.
#pragma once

namespace kelvo::geometry {

/// By the form that suits this processor.
void invert4(const double* from, double* to);

/// Step by step, with the companion matrix written out.
void invert4Plainly(const double* from, double* to);

#ifdef __x86_64__
/// Only for processors with AVX2.
void invert4Avx2(const double* from, double* to);
#endif

}  // namespace kelvo::geometry
