#include "linalg/fact_parts.h"

#include <cmath>

namespace kelvo::linalg {

int isSingularCondition(double rcond) {
    return 1.0 + rcond == 1.0;
}

double checkedCondition(double rcond) {
    if (!(rcond >= 0.0)) reportMathErrorId(kNoCondition);
    return rcond;
}

bool isRightSide(const DoubleVec& b, unsigned n) {
    if (b.length() == n) return true;
    reportMathErrorId(kRightSideLength, b.length(), n);
    return false;
}

double fromDecimal(const double det[2]) {
    constexpr double kLowest = -300.0;  // powers of ten below lose digits
    const double mantissa = det[0], exponent = det[1];
    if (mantissa == 0.0) return mantissa;
    if (exponent < kLowest)
        return mantissa * std::pow(10.0, kLowest) * std::pow(10.0, exponent - kLowest);
    return mantissa * std::pow(10.0, exponent);
}

}  // namespace kelvo::linalg
