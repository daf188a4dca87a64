// Scratch memory of the numeric kernels.
#pragma once

#include <cstddef>

namespace kelvo::linalg {

/// `count` doubles, uninitialised and at a cache line, until the next call on this thread; null for
/// none and where there is no memory: the kernels then take longer. Up to 4 MB stay for later calls.
double* scratchMemory(std::size_t count);

}  // namespace kelvo::linalg
