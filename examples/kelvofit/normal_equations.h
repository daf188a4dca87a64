// Normal equations A'A x = A'b of a tensor product of cubic splines, for very many points: a point
// costs 160 multiplications, whatever the number of columns, and no row is kept. The price is the
// square of the condition, which factor() estimates; a correction with the residuals of the points
// gives most of the digits back.
#pragma once

#include <KelvoBase/factorizations.h>

#include <array>
#include <vector>

#include "vec3.h"

namespace kelvo::fit {

/// The entries of a row that are not 0: four runs of four.
struct SplineRow {
    std::array<int, 4> first{};  // column of each run, ascending
    std::array<double, 16> value{};
};

class NormalEquations {
  public:
    explicit NormalEquations(int columns);

    /// Adds a row to A'A.
    void add(const SplineRow& row);

    /// After the last row. The estimate of 1 / condition of A'A, 0 when it could not be factored.
    double factor();

    /// Adds `count` entries from the column `first` on as a further row, to the factor only: product()
    /// stays that of the rows before. After factor() > 0.
    void update(const double* row, int first, int count);

    /// A'A x, in the form of solve().
    std::vector<double> product(const std::vector<double>& x) const;

    /// Solves A'A x = g in place, element `c` of side `k` at [3 c + k]. After factor() > 0.
    void solve(std::vector<double>& sides) const;

  private:
    unsigned columns_;
    DoubleGenMat product_;  // before factor() its upper triangle only
    DoubleChDecomp cholesky_;
};

/// sides += row * residual, and the value of the row for coefficients x; both as in solve().
void addTo(std::vector<double>& sides, const SplineRow& row, const Vec3& residual);
Vec3 valueOf(const SplineRow& row, const std::vector<double>& x);

}  // namespace kelvo::fit
