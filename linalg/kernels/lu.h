// LU factorization of a column-major matrix with partial pivoting, what it solves, its condition,
// determinant and inverse: method, storage and signs of DGEFA, DGESL, DGECO and DGEDI (Dongarra,
// Bunch, Moler, Stewart: LINPACK Users' Guide, SIAM 1979, chapter 1). Plain arrays of the caller,
// nothing allocated.
//   1. Results are bit for bit those of the published loops, on every processor: each element sees
//      the same roundings in the same order, products and sums are never fused, and a multiple of
//      zero is left out, whatever it multiplies. (Which not-a-number comes out is not defined.)
//   2. The matrix stands at a[i + j * lda], lda >= n. Any n >= 0.
#pragma once

#include <cstddef>

namespace kelvo::kernels {

/// Number of doubles of scratch that dgefa can use; 0 for small matrices.
std::size_t dgefaWork(int n);

/// Factors the matrix in place: U on and above the diagonal, the negated multipliers below it. Those
/// of a column stand where they were when it was eliminated: later interchanges do not move them.
///
/// ipvt  n numbers: row ipvt[k] (counted from 1) was exchanged with row k at step k
/// work  dgefaWork(n) doubles, or null: slower
///
/// Returns 0, or the number (from 1) of the last zero on the diagonal of U.
int dgefa(double* a, std::ptrdiff_t lda, int n, int* ipvt, double* work = nullptr);

/// The same, and returns an estimate of the reciprocal condition number in the 1-norm. z: n doubles
/// of scratch, which end as an approximate null vector of a nearly singular matrix.
double dgeco(double* a, std::ptrdiff_t lda, int n, int* ipvt, double* z, double* work = nullptr);

/// Overwrites b by the solution of A x = b (job 0) or A' x = b (any other), from the results of
/// dgefa. A zero on the diagonal of U is divided by.
void dgesl(const double* a, std::ptrdiff_t lda, int n, const int* ipvt, double* b, int job);

/// From the results of dgefa: with a non-zero tens digit of `job` the determinant det[0] * 10^det[1],
/// 1 <= |det[0]| < 10 or 0; with a non-zero units digit the inverse, in place.
///
/// det   2 numbers; used for the determinant only
/// work  n doubles of scratch; used for the inverse only
void dgedi(double* a, std::ptrdiff_t lda, int n, const int* ipvt, double* det, double* work,
           int job);

}  // namespace kelvo::kernels
