// Factorization of a packed symmetric matrix, A = U D U' with blocks of one and two in D, by the
// diagonal pivoting of Bunch and Kaufman: method, storage and signs of DSPFA, DSPCO, DSPSL and DSPDI
// (Dongarra, Bunch, Moler, Stewart: LINPACK Users' Guide, SIAM 1979, chapter 5). Plain arrays of the
// caller, nothing allocated. Element (i, j), i <= j, of a matrix stands at ap[j (j + 1) / 2 + i].
// Any n >= 0.
#pragma once

#include <cstddef>

namespace kelvo::kernels {

/// Number of doubles of scratch that dspfa can use; 0 for small matrices.
std::size_t dspfaWork(int n);

/// Factors the matrix in place: D and the multipliers of U.
///
/// kpvt  n numbers. Positive: a block of one, and rows and columns k and kpvt[k] (counted from 1)
///       were exchanged. Both entries of a block of two are the same negative number, whose
///       magnitude names what the first of its two was exchanged with.
/// work  dspfaWork(n) doubles, or null: slower
///
/// Returns 0, or the number (from 1) of the last zero block of one that was met.
int dspfa(double* ap, int n, int* kpvt, double* work = nullptr);

/// The same, and returns an estimate of the reciprocal condition number in the 1-norm. z: n doubles
/// of scratch.
double dspco(double* ap, int n, int* kpvt, double* z, double* work = nullptr);

/// Overwrites b by the solution of A x = b, from the results of dspfa. A zero block is divided by.
void dspsl(const double* ap, int n, const int* kpvt, double* b);

/// From the results of dspfa, each for a non-zero digit of `job`: hundreds the inertia (inert: how
/// many eigenvalues are positive, negative, zero), tens the determinant det[0] * 10^det[1], 1 <=
/// |det[0]| < 10 or 0; units the inverse, in place.
///
/// det, inert, work  2 and 3 numbers and n doubles of scratch; each used for its digit only
void dspdi(double* ap, int n, const int* kpvt, double* det, int* inert, double* work, int job);

}  // namespace kelvo::kernels
