// Applies the factorization of dqrdc: products with Q, least-squares coefficients, residuals and
// fitted values. Method and job code of DQRSL (LINPACK Users' Guide, SIAM 1979, chapter 9).
#pragma once

namespace kelvo::kernels {

// What dqrsl computes; add what is wanted. Coefficients, residual and fit also need Q'y, so `qty`
// must be given with them.
constexpr int kQrQy = 10000;
constexpr int kQrQty = 1000;
constexpr int kQrCoefficients = 100;
constexpr int kQrResidual = 10;
constexpr int kQrFit = 1;

/// Works with X_k, the first k (permuted) columns that dqrdc factored. Returns 0, or the 1-based
/// index of the last zero on the diagonal of R(0..k-1, 0..k-1) when coefficients were asked for:
/// b then holds the coefficients above that index, and below a half-solved right side. (With
/// n == 1, b is left alone instead.) The other results do not depend on the diagonal.
///
/// x      the n x p output of dqrdc, leading dimension ldx; only read
/// n, k   0 <= k <= min(n, p), n >= 0. For k == 0 there are no columns: Qy = Q'y = residual = y,
///        fit = 0, no coefficients.
/// qraux  the output of dqrdc; the first min(k, n - 1) are read
/// y      the n numbers to work on
/// qy     n; Q y                                        job digit 10000
/// qty    n; Q' y                                       job digit 1000, and all of the following
/// b      k; minimises |y - X_k b|                      job digit 100
/// rsd    n; the residual y - X_k b                     job digit 10
/// xb     n; the fit X_k b                              job digit 1
/// job    decimal digits; any digit above 0 counts as asked for
///
/// Arrays of results not asked for may be null. To save storage `y` may be the same array as `qy`
/// or `qty`, and `qty` the same as one of b, rsd and xb; other overlaps are not allowed.
int dqrsl(const double* x, int ldx, int n, int k, const double* qraux, const double* y, double* qy,
          double* qty, double* b, double* rsd, double* xb, int job);

}  // namespace kelvo::kernels
