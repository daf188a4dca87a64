// The elementary reflection of the QR and SVD kernels: I - v v' / v(0), with v(0) in [1, 2], which
// turns the vector it was made from into (-norm, 0, ..., 0). Private to those kernels.
#pragma once

#include "linalg/kernels/level_tables.h"
#include "linalg/kernels/vector_ops.h"

namespace kelvo::kernels {

/// Overwrites x by v and returns the norm of x with the sign of x[0]: the reflection takes x to
/// minus that value. A zero x stays as it is and gives 0.
inline double makeReflection(int n, double* x) {
    constexpr double kLift = 0x1p100;
    double norm = nrm2(n, x);
    if (norm == 0.0) return 0.0;
    // A subnormal norm has lost digits that the reflection needs, and its reciprocal overflows.
    const bool lifted = norm < DBL_MIN;
    if (lifted) {
        scale(n, kLift, x);
        norm = nrm2(n, x);
    }
    if (x[0] != 0.0) norm = std::copysign(norm, x[0]);
    scale(n, 1.0 / norm, x);
    x[0] += 1.0;
    return lifted ? norm / kLift : norm;
}

/// Up to this length the narrow kernel is the quicker one.
constexpr std::size_t kNarrowReflection = 48;

/// The columns of C reflected by v.
inline void applyReflection(int n, const double* v, int cols, double* c, std::ptrdiff_t ldc) {
    if (n >= static_cast<int>(kShortLength)) {
        const auto length = static_cast<std::size_t>(n);
        levelTables(length, kNarrowReflection)
            .reflection.reflect(length, v, static_cast<std::size_t>(cols), c,
                                static_cast<std::size_t>(ldc));
        return;
    }
    for (int j = 0; j < cols; ++j, c += ldc) axpy(n, -dot(n, v, c) / v[0], v, c);
}

/// The same with v(0) given apart from v(1), ..., v(n-1).
inline void applyReflection(int n, double head, const double* v, double* y) {
    const double t = -(head * y[0] + dot(n - 1, v + 1, y + 1)) / head;
    y[0] += t * head;
    axpy(n - 1, t, v + 1, y + 1);
}

}  // namespace kelvo::kernels
