// What a change of a matrix A = R'R does to its Cholesky factor: methods of DCHUD, DCHDD and DCHEX
// (Dongarra, Bunch, Moler, Stewart: LINPACK Users' Guide, SIAM 1979, chapter 10). Plain arrays of the
// caller, nothing allocated.
//   1. R stands in the upper triangle of r[i + j * ldr], ldr >= p; below it nothing is touched. Any
//      p >= 0.
//   2. z (p x nz, ldz >= p) is carried along with R: the right sides of a least-squares problem,
//      multiplied by its Q'. nz may be 0; z, y and rho may then be null.
#pragma once

#include <cstddef>

namespace kelvo::kernels {

/// Makes the rotation c, s that takes (a, b) to (r, 0), and a to r, which has the sign of the larger
/// of the two. No overflow or underflow on the way: DROTG (Lawson, Hanson, Kincaid, Krogh: Basic
/// linear algebra subprograms, 1979), without its encoding of the rotation in one number.
void drotg(double* a, double b, double* c, double* s);

/// R'R += x x'. Adds the row (x, y) to the problem; rho, the norms of the residuals, grow (negative
/// ones stay). c, s: p numbers each, the rotations. Bit for bit the published loops.
void dchud(double* r, std::ptrdiff_t ldr, int p, const double* x, double* z, std::ptrdiff_t ldz,
           int nz, const double* y, double* rho, double* c, double* s);

/// R'R -= x x'. Returns 0; -1 when the result would not be positive definite (nothing but s is
/// changed then); 1 when some rho would have become imaginary, and is -1 now.
int dchdd(double* r, std::ptrdiff_t ldr, int p, const double* x, double* z, std::ptrdiff_t ldz,
          int nz, const double* y, double* rho, double* c, double* s);

/// Moves columns of R cyclically and makes it triangular again; 1 <= k < l <= p count from 1.
/// Job 1: column l goes to place k, columns k .. l - 1 one place right. Job 2: column k goes to place
/// l, columns k + 1 .. l one place left. c, s: p numbers each, of which the first l - k are rotations
/// and the rest of s scratch.
void dchex(double* r, std::ptrdiff_t ldr, int p, int k, int l, double* z, std::ptrdiff_t ldz,
           int nz, double* c, double* s, int job);

}  // namespace kelvo::kernels
