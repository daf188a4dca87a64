// What the sources of the factorizations share.
#pragma once

#include <optional>

#include "KelvoBase/math_error.h"
#include "KelvoBase/vec.h"
#include "linalg/scratch.h"

namespace kelvo::linalg {

/// The reciprocal condition number of a factorization that did not estimate it.
inline constexpr double kNotEstimated = -1.0;

/// False when there was no memory for the elements of one, which has been reported then.
template <class... Vec>
bool areUsable(const Vec&... vectors) {
    return ((vectors.length() == 0 || vectors.stride() == 1) && ...);
}

/// The n doubles of scratch that a kernel asks for; few of them need no block.
class Work {
  public:
    explicit Work(unsigned n) {
        if (n > kFew) many_.emplace(n);
    }
    bool isUsable() const { return !many_ || areUsable(*many_); }
    double* data() { return many_ ? many_->data() : few_; }

  private:
    static constexpr unsigned kFew = 32;
    double few_[kFew];
    std::optional<DoubleVec> many_;
};

/// 1 when adding the reciprocal condition number to 1 makes no difference.
int isSingularCondition(double rcond);

/// The estimate; reports when there is none.
double checkedCondition(double rcond);

/// Reports and returns false unless b has n elements.
bool isRightSide(const DoubleVec& b, unsigned n);

/// det[0] * 10^det[1], with as many digits as the result has room for.
double fromDecimal(const double det[2]);

}  // namespace kelvo::linalg
