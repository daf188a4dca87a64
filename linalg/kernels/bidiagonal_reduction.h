// Reduction of a matrix to upper bidiagonal form by reflections from both sides, and the products of
// these reflections: the first part of DSVDC. Private to that kernel.
#pragma once

#include <algorithm>
#include <cstddef>

namespace kelvo::kernels {

/// The decomposition under way.
struct SvdTask {
    double* x;
    std::ptrdiff_t ldx;
    int n, p;
    double *s, *e;
    double* u;  // null when not wanted
    std::ptrdiff_t ldu;
    int uColumns;
    double* v;  // null when not wanted
    std::ptrdiff_t ldv;
    double* work;  // n

    double* xColumn(int j) const { return x + j * ldx; }
    double* uColumn(int j) const { return u + j * ldu; }
    double* vColumn(int j) const { return v + j * ldv; }
    int columnReflections() const { return std::min(n - 1, p); }
    int rowReflections() const { return std::max(0, std::min(p - 2, n)); }
    int order() const { return std::min(n + 1, p); }  // of the bidiagonal matrix
};

/// Doubles of scratch for the functions below, which take null as well; 0 for small matrices.
std::size_t reductionWork(int n, int p);

/// X becomes bidiagonal, with the diagonal in s and the super-diagonal in e. The vectors of the left
/// reflections stand in the columns of x and u from the diagonal on, their heads included, those of the
/// right ones in v, one row lower. s(l) or e(l) is 0 where there is none.
void reduceToBidiagonal(const SvdTask& t, double* scratch);

/// From the vectors that reduceToBidiagonal left there: U, V = product of the reflections.
void accumulateU(const SvdTask& t, double* scratch);
void accumulateV(const SvdTask& t, double* scratch);

/// Sets a column to that of the identity.
void makeIdentityColumn(double* column, int length, int j);

}  // namespace kelvo::kernels
