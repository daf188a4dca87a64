#include "normal_equations.h"

namespace kelvo::fit {

NormalEquations::NormalEquations(int columns)
    : columns_(static_cast<unsigned>(columns)), product_(columns_, columns_, 0.0) {}

void NormalEquations::add(const SplineRow& row) {
    double* const product = product_.data();
    for (std::size_t right = 0; right < 16; ++right) {
        double* const column =
            product + columns_ * static_cast<std::size_t>(row.first[right / 4] + int(right % 4));
        for (std::size_t run = 0; run <= right / 4; ++run)
            for (std::size_t k = 0; k < 4; ++k)
                column[static_cast<std::size_t>(row.first[run]) + k] +=
                    row.value[4 * run + k] * row.value[right];
    }
}

double NormalEquations::factor() {
    cholesky_.factor(product_);
    if (cholesky_.isPD() == 0) return 0;
    double* const product = product_.data();
    for (std::size_t j = 0; j < columns_; ++j)
        for (std::size_t i = j + 1; i < columns_; ++i)
            product[i + j * columns_] = product[j + i * columns_];
    const DoubleGenFact lu(product_);  // its estimate; half as fast, but the points cost more
    return lu.condition();
}

void NormalEquations::update(const double* row, int first, int count) {
    DoubleVec x(columns_, 0.0);
    for (int c = 0; c < count && first + c < static_cast<int>(columns_); ++c) x(first + c) = row[c];
    cholesky_.update(x);
}

std::vector<double> NormalEquations::product(const std::vector<double>& x) const {
    std::vector<double> result(x.size());
    DoubleVec side(columns_);
    for (std::size_t k = 0; k < 3; ++k) {
        for (std::size_t c = 0; c < columns_; ++c) side(static_cast<int>(c)) = x[3 * c + k];
        const DoubleVec y = ::product(product_, side);
        for (std::size_t c = 0; c < columns_; ++c) result[3 * c + k] = y(static_cast<int>(c));
    }
    return result;
}

void NormalEquations::solve(std::vector<double>& sides) const {
    DoubleVec side(columns_);
    for (std::size_t k = 0; k < 3; ++k) {
        for (std::size_t c = 0; c < columns_; ++c) side(static_cast<int>(c)) = sides[3 * c + k];
        const DoubleVec x = cholesky_.solve(side);
        for (std::size_t c = 0; c < columns_; ++c) sides[3 * c + k] = x(static_cast<int>(c));
    }
}

void addTo(std::vector<double>& sides, const SplineRow& row, const Vec3& residual) {
    for (std::size_t k = 0; k < 16; ++k) {
        double* const side =
            sides.data() + 3 * (static_cast<std::size_t>(row.first[k / 4]) + k % 4);
        side[0] += row.value[k] * residual.x;
        side[1] += row.value[k] * residual.y;
        side[2] += row.value[k] * residual.z;
    }
}

Vec3 valueOf(const SplineRow& row, const std::vector<double>& x) {
    Vec3 sum;
    for (std::size_t k = 0; k < 16; ++k) {
        const double* const c = x.data() + 3 * (static_cast<std::size_t>(row.first[k / 4]) + k % 4);
        sum = sum + row.value[k] * Vec3{c[0], c[1], c[2]};
    }
    return sum;
}

}  // namespace kelvo::fit
