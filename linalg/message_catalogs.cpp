// The texts of the three catalogs. Programs parse and compare them: not a letter changes,
// "hermetian" included. The order is the order of the ids in math_error.h.
#include <iterator>

#include "KelvoBase/math_error.h"

namespace {

using Entry = MessageCatalog::Entry;
using kelvo::linalg::kContinue;
using kelvo::linalg::kTerminate;

// Vectors and general messages. The first %s is the name of the class that reports.
constexpr Entry kVectorMessages[] = {
    {kTerminate, "[BADORDER: %s]: Mismatch of function (%u) and rhs (%u) order"},
    {kTerminate, "[BADPARITY: %s]: Length (%u) of a real series must be %s"},
    {kTerminate, "[BADVERNO: %s]: Bad formatting version number.  Expected %d; got %d"},
    {kTerminate, "[DIVZERO: %s]: Divide by zero."},
    {kTerminate, "[GENERIC: %s]: Generic error number %d; %s"},
    {kTerminate, "[INDEX: %s]: Index (%d) out of range [0->%u]"},
    {kTerminate, "[LUNDEF: %s]: Undefined LU factorization"},
    {kTerminate, "[MNMATCH: %s]: Rows or columns do not match: (%u, %u) vs (%u, %u)"},
    {kTerminate, "[NOMEM: %s]: Out of memory"},
    {kTerminate, "[NPOINTS: %s]: Vector (%u) %s %d"},
    {kTerminate, "[NSQUARE: %s]: Matrix (%u, %u) is not square"},
    {kTerminate, "[RWBREQ: %s]: RWBlock new request of size %d != correct: %d"},
    {kTerminate, "[SLICE: %s]: slice (%d, %u, %d) cannot be made from vector (%u)"},
    {kTerminate, "[STRIDE: %s]: Stride must be 1"},
    {kTerminate, "[VMNMATCH: %s]: %s Vector (%u) does not match matrix: (%u, %u)"},
    {kTerminate, "[VNMATCH: %s]: Vector lengths do not match (%u vs %u)"},
    {kContinue, "[ZEROSD: %s]: Series has zero standard deviation"},
    {kContinue, "[ZEROVEC: %s]: %s: vector is empty"},
    {kTerminate, "[ZPIVOT: %s]: Pivot number %d is zero"},
    {kTerminate, "[BADROOT: %s]: Zero'th root of 1 requested"},
};

// Matrices.
constexpr Entry kMatrixMessages[] = {
    {kContinue, "Internal error, you've found a bug"},
    {kTerminate, "Matrix pick out of range: index %d not in 0->%d"},
    {kTerminate, "Constant reference was changed from %g to %g"},
    {kTerminate, "Complex constant reference was changed from %g+i%g to %g+i%g"},
    {kTerminate, "Matrix sizes don't match (%dx%d) vs (%dx%d)"},
    {kTerminate, "Element (%dx%d) not in matrix of size (%ux%u)"},
    {kTerminate, "Row (%d) not in matrix with %u rows"},
    {kTerminate, "Column (%d) not in matrix with %u columns"},
    {kTerminate, "Diagonal %d not in %s matrix of size (%ux%u)"},
    {kTerminate, "Can't change element (%d,%d) of %s"},
    {kTerminate, "Wrong number of points (%u) for %ux%u %s"},
    {kTerminate, "Wrong number of points (%u) for %ux%u %s with bandwidth %u"},
    {kTerminate, "Bandwidths don't match: lower: %u & %u, upper: %u & %u"},
    {kTerminate, "%dx%d matrix not square"},
    {kContinue, "matrix not symmetric"},
    {kContinue, "matrix not anti-symmetric"},
    {kContinue, "matrix not hermetian"},
    {kContinue, "matrix not banded"},
    {kContinue, "matrix not triangular"},
    {kContinue, "matrix not tri-diagonal"},
    {kTerminate, "inner product not possible between %s (%ux%u) and vector (%u)"},
    {kTerminate, "inner product not possible vector(%u) and %s (%ux%u)"},
    {kTerminate, "inner product not possible %s matrices (%u,%u) and (%ux%u)"},
    {kTerminate, "wrong number of elements (%u) for %s (%ux%u)"},
    {kTerminate, "cant build order %u leading submatrix of order %u matrix"},
    {kTerminate, "Restoring %s, data vector len %d, expected %u"},
};

// Factorizations.
constexpr Entry kFactorizationMessages[] = {
    {kContinue, "Internal error, you've found a bug"},
    {kContinue, "Condition number not calculated"},
    {kTerminate, "b vector length wrong (%u!=%u)"},
    {kContinue, "diagonal of Hermetian matrix being factorized is non-real"},
    {kTerminate, "vector wrong length to permute (%u!=%u)"},
    {kTerminate, "Invalid Cholesky shift direction"},
    {kTerminate, "Invalid Cholesky shift columns (%d,%d)"},
    {kTerminate, "Data matrix wrong height (%u!=%u)"},
    {kTerminate, "Vector to hold sines or cosines wrong length (%u!=%u)"},
    {kTerminate, "Different number of residuals than data columns (%u!=%u)"},
    {kTerminate, "Internal error: The normal equations are not positive definite"},
    {kTerminate, "Data %d doesn't exist, only %d data columns"},
    {kTerminate, "vec pointers must have stride == 1"},
    {kTerminate, "Can't factorize, %ux%u matrix not square"},
    {kTerminate, "Can't factorize, bandwidth %d too big for %dx%d matrix"},
    {kContinue, "Called factor, but a factorization has already been computed"},
    {kTerminate, "Matrix must have more rows than cols to be factorizable, but %d<%d"},
    {kTerminate, "Can't solve system of equations, matrix not successfully factorized"},
    {kTerminate, "Pivoting position specifier must be INITIAL,FREE, or FINAL, not %d"},
};

template <unsigned N>
constexpr MessageCatalog catalog(unsigned short number, const Entry (&entries)[N]) {
    return {number, entries, N, nullptr};
}

constinit MessageCatalog g_vectorCatalog = catalog(3, kVectorMessages);
constinit MessageCatalog g_matrixCatalog = catalog(4, kMatrixMessages);
constinit MessageCatalog g_factorizationCatalog = catalog(5, kFactorizationMessages);

static_assert(std::size(kVectorMessages) == kelvo::linalg::kBadRoot - 0x3000 + 1);
static_assert(std::size(kMatrixMessages) == kelvo::linalg::kRestoreLength - 0x4000 + 1);
static_assert(std::size(kFactorizationMessages) == kelvo::linalg::kPivotSpecifier - 0x5000 + 1);

}  // namespace

constinit unsigned short RWMATHInit::instances = 0;
constinit unsigned short RWMATXInit::instances = 0;
constinit unsigned short kelvo::linalg::FactorizationCatalogInit::instances = 0;

RWMATHInit::RWMATHInit() {
    if (instances++ == 0) registerMessageCatalog(&g_vectorCatalog);
}

RWMATXInit::RWMATXInit() {
    if (instances++ == 0) registerMessageCatalog(&g_matrixCatalog);
}

kelvo::linalg::FactorizationCatalogInit::FactorizationCatalogInit() {
    if (instances++ == 0) registerMessageCatalog(&g_factorizationCatalog);
}
