// Singular value decomposition of a column-major matrix: Householder reduction to bidiagonal form,
// then implicitly shifted QR steps. Method, signs and job code of DSVDC (LINPACK Users' Guide, SIAM
// 1979, chapter 11; Golub and Reinsch 1970). Plain arrays of the caller, nothing allocated.
#pragma once

#include <cstddef>

namespace kelvo::kernels {

/// Decomposes the n x p matrix X = U diag(s) V'. Returns `info`, the number of singular values that
/// were not found: s[info], ..., s[min(n, p) - 1] and their vectors are right, 0 means all are. In
/// any event U' X V is bidiagonal with s on its diagonal and e beside it (for finite X). Any n, p
/// >= 0.
///
/// x      element (i, j) at x[i + j * ldx], ldx >= n; destroyed
/// s      min(n + 1, p) numbers: the singular values, not negative, in descending order. When
///        n < p the last one is no singular value but a 0 of the method.
/// e      p numbers: 0 on success; otherwise the super-diagonal that is left (e[i] beside s[i])
/// u      left vectors, leading dimension ldu >= n: n x n or n x min(n, p), see `job`; null when
///        not asked for. May be `x` itself when n <= p or when the tens digit of job is 2 or more.
/// v      right vectors, p x p, leading dimension ldv >= p; null when not asked for. May be `x`
///        itself when p <= n (and u is not).
/// work   n doubles of scratch
/// job    decimal digits. Tens (of job modulo 100): 0 no left vectors, 1 all n of them, 2 or more
///        the first min(n, p). Units: 0 no right vectors, otherwise all p.
///
/// Every input ends: a singular value gets at most 30 + 2 m QR steps (m = min(n + 1, p); the published
/// 30 are too few for values that decay smoothly into rounding noise), and every other pass sets an
/// entry of the super-diagonal to 0 for good. When X contains a not-a-number or an infinity,
/// everything asked for is returned as not-a-number, with info = min(n, p). A matrix whose largest
/// entry lies below 2^-900 or above 2^960 is scaled by a power of two for the work and back at the
/// end, so that it neither overflows nor loses digits on the way; a singular value that is itself
/// beyond the largest double comes back infinite.
int dsvdc(double* x, int ldx, int n, int p, double* s, double* e, double* u, int ldu, double* v,
          int ldv, double* work, int job, double* scratch);

/// Number of doubles of scratch that dsvdc can use; 0 for small matrices.
std::size_t dsvdcScratch(int n, int p);

}  // namespace kelvo::kernels
