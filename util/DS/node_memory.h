// Memory of list nodes.
#pragma once

#include <cstddef>
#include <cstdlib>

#include "Base/ma.h"

namespace kelvo::ds {

/// A block of malloc, or null. An append costs little more than this, so there is no call between.
inline void* allocateNode(std::size_t size) {
    if (MA_direct.failing) return MA_allocate(size);
    void* node = std::malloc(size);
    if (node) ++MA_direct.live;
    return node;
}

inline void releaseNode(void* node) {
    ++MA_direct.released;  // also for one of MA_allocate: only the sum is looked at
    std::free(node);
}

}  // namespace kelvo::ds
