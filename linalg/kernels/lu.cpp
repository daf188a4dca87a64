#include "linalg/kernels/lu.h"

#include "linalg/kernels/exact_ops.h"
#include "linalg/kernels/instruction_level.h"
#include "linalg/kernels/solver_table.h"

namespace kelvo::kernels {
namespace {

// Below this order blocks cost more than they gain.
constexpr int kSmallest = 12;

const LuTable& table() {
    switch (activeLevel()) {
#if defined(__x86_64__)
        case Level::kV2:
            return v2::kLuTable;
        case Level::kV3:
            return v3::kLuTable;
        case Level::kV4:
            return v4::kLuTable;
#endif
        default:
            return base::kLuTable;
    }
}

int factorPlain(double* a, std::ptrdiff_t lda, int n, int* ipvt) {
    int info = 0;
    for (int k = 0; k + 1 < n; ++k) {
        double* const column = a + k * lda;
        const int l = k + indexOfLargest(n - k, column + k);
        ipvt[k] = l + 1;
        if (column[l] == 0.0) {  // eliminated already
            info = k + 1;
            continue;
        }
        exchange(column[l], column[k]);
        scaleBy(n - k - 1, -1.0 / column[k], column + k + 1);
        for (int j = k + 1; j < n; ++j) {
            double* const other = a + j * lda;
            exchange(other[l], other[k]);
            addMultiple(n - k - 1, other[k], column + k + 1, other + k + 1);
        }
    }
    if (n > 0) {
        ipvt[n - 1] = n;
        if (a[(n - 1) * (lda + 1)] == 0.0) info = n;
    }
    return info;
}

}  // namespace

std::size_t dgefaWork(int n) {
    return n < kSmallest ? 0 : table().work(static_cast<std::size_t>(n));
}

int dgefa(double* a, std::ptrdiff_t lda, int n, int* ipvt, double* work) {
    if (work == nullptr || n < kSmallest) return factorPlain(a, lda, n, ipvt);
    return table().factor(a, static_cast<std::size_t>(lda), static_cast<std::size_t>(n), ipvt,
                          work);
}

void dgesl(const double* a, std::ptrdiff_t lda, int n, const int* ipvt, double* b, int job) {
    if (job == 0) {
        for (int k = 0; k + 1 < n; ++k) {
            exchange(b[ipvt[k] - 1], b[k]);
            addMultiple(n - k - 1, b[k], a + k * lda + k + 1, b + k + 1);
        }
        for (int k = n - 1; k >= 0; --k) {
            b[k] /= a[k + k * lda];
            addMultiple(k, -b[k], a + k * lda, b);
        }
        return;
    }
    for (int k = 0; k < n; ++k) b[k] = (b[k] - dotInOrder(k, a + k * lda, b)) / a[k + k * lda];
    for (int k = n - 2; k >= 0; --k) {
        b[k] += dotInOrder(n - k - 1, a + k * lda + k + 1, b + k + 1);
        exchange(b[ipvt[k] - 1], b[k]);
    }
}

}  // namespace kelvo::kernels
