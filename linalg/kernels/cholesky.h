// Cholesky factorization of a column-major matrix, with optional symmetric pivoting, and what it
// solves: method and storage of DCHDC and DPOSL (Dongarra, Bunch, Moler, Stewart: LINPACK Users'
// Guide, SIAM 1979, chapters 8 and 3). Plain arrays of the caller, nothing allocated. Results are
// bit for bit those of the published loops, as in lu.h.
#pragma once

#include <cstddef>

namespace kelvo::kernels {

/// Number of doubles of scratch that dchdc can use beyond its `work`; 0 for small matrices.
std::size_t dchdcScratch(int p, int job);

/// Factors the p x p matrix in the upper triangle of `a` in place, P'A P = R'R. What stands below
/// the diagonal is neither read nor written.
///
/// a        element (i, j) at a[i + j * lda], lda >= p. Where the factorization ends early, row k
///          and what is below it hold the matrix that remains to be factored.
/// work     p doubles of scratch
/// jpvt     p numbers; used only when job != 0, else it may be null. On entry positive: the element
///          is moved to the front of the diagonal; negative: to its end; 0: it takes part in the
///          pivoting. On return jpvt[k] is the number (from 1) of the diagonal element of A that
///          stands in place k.
/// job      0: no pivoting. Otherwise each step takes the largest of the diagonal elements left, the
///          first one on ties.
/// scratch  dchdcScratch(p, job) doubles, or null: slower
///
/// Returns the number of steps done: p, or fewer when the next pivot is not positive (or not a
/// number).
int dchdc(double* a, std::ptrdiff_t lda, int p, double* work, int* jpvt, int job,
          double* scratch = nullptr);

/// Overwrites b by the solution of R'R x = b for the upper triangular R of order n.
void dposl(const double* r, std::ptrdiff_t ldr, int n, double* b);

}  // namespace kelvo::kernels
