// Large arrays of numbers, on the heap or in scratch memory outside of it, which goes back to the
// system at once.
#pragma once

#include <KelvoBase/ma_memory_manager.h>

#include <cstddef>
#include <memory>
#include <vector>

namespace kelvo::fit {

enum class Memory { kHeap, kScratch };

class Workspace {
  public:
    Workspace() = default;
    /// `count` zeros. Those of scratch memory that the system refuses, or that are more than a block
    /// can hold (4 GiB), are on the heap.
    Workspace(std::size_t count, Memory memory);

    double* data() { return block_ ? block_.get() : heap_.data(); }
    const double* data() const { return block_ ? block_.get() : heap_.data(); }
    double& operator[](std::size_t i) { return data()[i]; }
    double operator[](std::size_t i) const { return data()[i]; }

  private:
    struct Free {
        void operator()(double* block) const { Ma_freeMmapMemory(block); }
    };
    std::vector<double> heap_;
    std::unique_ptr<double, Free> block_;  // null: on the heap
};

}  // namespace kelvo::fit
