// How long somebody waits.
#pragma once

#include <chrono>
#include <limits>

#include "Base/zo_util.h"

namespace kelvo::zotcp {

using Clock = std::chrono::steady_clock;

/// Up to a moment, or without limit. A value.
class Patience {
  public:
    /// Without limit.
    Patience() = default;
    explicit Patience(Clock::time_point end)
        : end_(end), limited_(end != Clock::time_point::max()) {}
    /// From now on: 0.0 without limit, negative (or no number) not at all.
    explicit Patience(const zoUtil::Interval& wait) {
        if (wait.seconds() == 0.0 || wait.seconds() > kLongest) return;
        limited_ = true;
        end_ = Clock::now();
        if (wait.seconds() > 0.0)
            end_ += std::chrono::duration_cast<Clock::duration>(
                std::chrono::duration<double>(wait.seconds()));
    }

    /// The moment; far away without limit.
    Clock::time_point end() const { return limited_ ? end_ : Clock::time_point::max(); }
    bool isOver() const { return limited_ && Clock::now() >= end_; }

    /// Milliseconds that are left, rounded up; -1 without limit, as poll wants them.
    int milliseconds() const {
        if (!limited_) return -1;
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end_ - Clock::now()).count();
        if (left <= 0) return 0;
        constexpr int kMost = std::numeric_limits<int>::max();
        return left < kMost ? static_cast<int>(left) : kMost;
    }

  private:
    static constexpr double kLongest = 1e9;  // seconds; three decades are no limit

    Clock::time_point end_;
    bool limited_ = false;
};

}  // namespace kelvo::zotcp
