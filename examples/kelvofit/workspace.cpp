#include "workspace.h"

#include <limits>

namespace kelvo::fit {

Workspace::Workspace(std::size_t count, Memory memory) {
    constexpr std::size_t kMost = std::numeric_limits<unsigned>::max() / sizeof(double);
    if (memory == Memory::kScratch && count <= kMost) {
        const auto bytes = static_cast<unsigned>(count * sizeof(double));
        block_.reset(static_cast<double*>(Ma_allocMmapMemory(bytes, 0, 1)));
    }
    if (!block_) heap_.resize(count);
}

}  // namespace kelvo::fit
