// QR factorization of a column-major matrix by Householder reflections, with optional column
// pivoting. Method, storage and signs of DQRDC (Dongarra, Bunch, Moler, Stewart: LINPACK Users'
// Guide, SIAM 1979, chapter 9). Plain arrays of the caller, nothing allocated.
#pragma once

#include <cstddef>

namespace kelvo::kernels {

// What an entry of `jpvt` asks for on entry: any positive number is "initial", any negative one
// "final". Initial columns are moved to the front and final ones to the back, both in their given
// order, and stay there; free columns take part in the pivoting.
constexpr int kPivotInitial = 1;
constexpr int kPivotFree = 0;
constexpr int kPivotFinal = -1;

/// Factors the n x p matrix X (with its columns permuted, X P = Q R) in place. Any n, p >= 0.
///
/// x      element (i, j) at x[i + j * ldx], ldx >= n. On return R stands in the upper triangle
///        (trapezoid when n < p), signed so that R(k,k) = -sign(x_k) * norm, where x_k is the
///        leading element of the reduced column k; below the diagonal stand the vectors of the
///        reflections, see `qraux`.
/// qraux  p numbers. For k < min(n, p), reflection k is I - v v' / v(k) with v = (qraux[k] at
///        position k, x(k+1..n-1, k) below it); qraux[k] = 1 + |x_k| / norm lies in [1, 2].
///        It is 0 where there is none: in the last row (k = n - 1), for a column that is zero from
///        row k on, and when n == 0. Reflections are also made where only x_k differs from zero.
///        With pivoting the entries k >= n are left holding column norms.
/// jpvt   p numbers; used only when job != 0, else it may be null. On entry the specifiers above.
///        On return jpvt[k] is the 1-based number of the column of X that now stands in place k.
/// work   p doubles of scratch; used only when job != 0, else it may be null.
/// job    0: no pivoting. Otherwise step k takes the free column of largest remaining norm, the
///        first one on ties. Norms are brought down from step to step and computed anew once
///        cancellation has eaten them.
/// scratch  dqrdcScratch(n, p, job) doubles, or null: slower, and the same up to rounding
///
/// Every input ends. Not-a-number and infinity spread through the columns they meet; a norm that is
/// not a number never wins the pivot. Norms beyond the largest double count as infinite.
void dqrdc(double* x, int ldx, int n, int p, double* qraux, int* jpvt, double* work, int job,
           double* scratch);

/// Number of doubles of scratch that dqrdc can use; 0 for small matrices.
std::size_t dqrdcScratch(int n, int p, int job);

}  // namespace kelvo::kernels
