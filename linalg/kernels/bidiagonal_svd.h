// Singular values of an upper bidiagonal matrix by implicitly shifted QR steps: the iteration of
// DSVDC. Private to that kernel.
#pragma once

#include <cstddef>

#include "linalg/kernels/rotation_queue.h"

namespace kelvo::kernels {

/// Takes the bidiagonal matrix of order m with diagonal s[0..m-1] and super-diagonal e[0..m-2]
/// (e[m-1] = 0; the largest entry between 2^-900 and 2^1000, or all 0) to the diagonal of its
/// singular values, in place, descending and not negative. `left` and `right` are turned with it;
/// rotations on columns that they do not have are left out. Returns how many values, the leading
/// ones, were not found. Ends on other input too, not-a-number included, but then without a promise
/// on what it leaves.
///
/// work  diagonalizeWork(m) doubles, or null: slower, with the same result
int diagonalize(int m, double* s, double* e, const Rotated& left, const Rotated& right,
                double* work);

/// Number of doubles of scratch that diagonalize can use; 0 for small matrices.
std::size_t diagonalizeWork(int m);

}  // namespace kelvo::kernels
