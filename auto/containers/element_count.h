// Sizes and index lists of the tuple containers.
#pragma once

#include <climits>
#include <cstdint>

#include "KelvoBase/vec.h"

namespace kelvo::containers {

/// tuple * rows * cols, 0 when one of them is below 1. What an int cannot count reports NOMEM and
/// is 0 too.
inline unsigned elementCount(int tuple, int rows, int cols = 1) {
    if (tuple < 1 || rows < 1 || cols < 1) return 0;
    const std::int64_t points = std::int64_t{rows} * cols;
    if (points <= INT_MAX && points * tuple <= INT_MAX)
        return static_cast<unsigned>(points * tuple);
    reportMathErrorId(linalg::kNoMemory, "RWBlock");
    return 0;
}

/// `elements`, unless they are more than an int can count: then NOMEM is reported and there are none.
inline DoubleVec countable(const DoubleVec& elements) {
    if (elements.length() <= INT_MAX) return elements;
    reportMathErrorId(linalg::kNoMemory, "RWBlock");
    return DoubleVec();
}

/// True when every index lies in 0 .. limit - 1.
inline bool allBelow(const IntVec& indices, int limit) {
    for (int k = 0; k < static_cast<int>(indices.length()); ++k) {
        if (indices(k) < 0 || indices(k) >= limit) return false;
    }
    return true;
}

}  // namespace kelvo::containers
