// Fits with the linear algebra as an application does: a parabola through noisy points by least
// squares, a dependent column that must come out free, and singular values.
#include <KelvoBase/KelvoBase.h>

#include <cmath>
#include <sstream>

#include "check.h"

namespace {

constexpr unsigned kPoints = 21;

double at(unsigned i) {
    return -1.0 + 0.1 * i;
}

// Columns 1, t, t^2 and, as the fourth, the sum of the first two.
DoubleGenMat design(unsigned columns) {
    DoubleGenMat a(kPoints, columns);
    for (unsigned i = 0; i < kPoints; ++i)
        for (unsigned j = 0; j < columns; ++j)
            a(static_cast<int>(i), static_cast<int>(j)) = j == 3 ? 1.0 + at(i) : std::pow(at(i), j);
    return a;
}

bool near(double a, double b, double tolerance) {
    return std::fabs(a - b) <= tolerance;
}

void vectors() {
    DoubleVec v(4, 1.0, 0.5);
    CHECK(v.length() == 4 && v(3) == 2.5 && sum(v) == 7.0);
    DoubleVec view = v.slice(1, 2, 2);
    view(1) = 10.0;
    CHECK(v(3) == 10.0);
    DoubleVec other = v.copy();
    other(0) = -1.0;
    CHECK(v(0) == 1.0 && dot(v, v) > 0.0);

    DoubleVec read;
    std::istringstream in("[ 1 2 3 ]");
    in >> read;
    std::ostringstream out;
    out << read;
    CHECK(out.str() == "[ 1 2 3 ]");
}

void leastSquares() {
    const DoubleGenMat a = design(3);
    DoubleVec known(3, 0.0);
    known(0) = 2.0;
    known(1) = -0.5;
    known(2) = 3.0;
    const DoubleVec b = product(a, known);
    const DoubleLeastSqQR exact(a);
    CHECK(exact.rank() == 3 && exact.numFreeCols() == 0);
    const DoubleVec x = exact.solve(b);
    for (int i = 0; i < 3; ++i) CHECK(near(x(i), known(i), 1e-13));

    // A disturbance orthogonal to all columns stays in the residual alone.
    DoubleVec disturbed = b.copy();
    disturbed(10) += 1.0;
    const DoubleVec r = exact.residual(disturbed);
    CHECK(near(product(r, a).vecLen(), 0.0, 1e-12));
    CHECK(r.vecLen() > 0.5 && r.vecLen() < 1.0);
}

void freeColumn() {
    const DoubleGenMat a = design(4);
    DoubleVec b(kPoints, 0.0);
    for (unsigned i = 0; i < kPoints; ++i) b(static_cast<int>(i)) = 1.0 + 2.0 * at(i);
    DoubleLeastSqQR pivoted;
    pivoted.doPivoting(1);
    pivoted.factor(a);
    CHECK(pivoted.setTolerance(1e-10) == 0.0);
    CHECK(pivoted.numFreeCols() == 1 && pivoted.isUnderDetermined() == 1);
    const DoubleVec x = pivoted.solve(b);
    CHECK(x.length() == 4 && x.countZero(0.0) >= 1);
    CHECK(near((product(a, x) - b).vecLen(), 0.0, 1e-13));
}

void singularValues() {
    const DoubleSVDecomp svd(design(4));
    const DoubleVec s = svd.singularValues();
    CHECK(svd.good() == 1 && s.length() == 4);
    CHECK(s(0) > s(1) && s(1) > s(2) && s(2) > 1e-3 && near(s(3), 0.0, 1e-14 * s(0) * 10));
}

}  // namespace

int main() {
    vectors();
    leastSquares();
    freeColumn();
    singularValues();
    return failures > 0;
}
