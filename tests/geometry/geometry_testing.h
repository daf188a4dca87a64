// What the geometry tests share: a fixed axis with rational components, seeded numbers, comparison.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "KelvoBase/matrix4.h"
#include "KelvoBase/quaternions.h"
#include "KelvoBase/vectors.h"

namespace geometry_testing {

constexpr double kPi = 3.14159265358979323846;
const T4dDblVector kAxis(2.0 / 7, -3.0 / 7, 6.0 / 7);  // length 1

class Random {
  public:
    double operator()(double reach = 1.0) { return reach * range_(engine_); }
    T4dDblVector vector(double reach = 1.0) {
        const double x = (*this)(reach), y = (*this)(reach), z = (*this)(reach);
        return {x, y, z};
    }
    TunitQuaternion rotation() {
        const T4dDblVector axis = vector();
        return TunitQuaternion().setToPivotAxis((*this)(kPi), axis);
    }
    T4dDblMatrix matrix() {
        T4dDblMatrix m;
        for (unsigned i = 0; i < 16; ++i) m[i / 4][i % 4] = (*this)();
        return m;
    }

  private:
    std::mt19937_64 engine_{4711};
    std::uniform_real_distribution<double> range_{-1.0, 1.0};
};

inline void expectNear(const T4dDblVector& want, const T4dDblVector& got, double tol = 1e-14) {
    EXPECT_NEAR(want.x, got.x, tol);
    EXPECT_NEAR(want.y, got.y, tol);
    EXPECT_NEAR(want.z, got.z, tol);
}

inline void expectNear(const Tquaternion& want, const Tquaternion& got, double tol = 1e-14) {
    EXPECT_NEAR(want.w, got.w, tol);
    expectNear(T4dDblVector(want.x, want.y, want.z), T4dDblVector(got.x, got.y, got.z), tol);
}

inline void expectNear(const T4dDblMatrix& want, const T4dDblMatrix& got, double tol = 1e-14) {
    for (unsigned i = 0; i < 16; ++i) {
        EXPECT_NEAR(want[i / 4][i % 4], got[i / 4][i % 4], tol) << "element " << i;
    }
}

// rows as they are read
inline T4dDblMatrix matrixOf(const double (&rows)[4][4]) {
    T4dDblMatrix m;
    m.setFromDouble(rows);
    return m;
}

}  // namespace geometry_testing
