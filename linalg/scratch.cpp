#include "linalg/scratch.h"

#include <memory>
#include <new>

namespace kelvo::linalg {
namespace {

constexpr std::size_t kMostKept = std::size_t{4} << 17;  // doubles: 4 MB
constexpr std::align_val_t kLine{64};

struct Free {
    void operator()(double* numbers) const { ::operator delete(numbers, kLine); }
};

// Kept from call to call, one a thread.
struct Scratch {
    std::unique_ptr<double, Free> numbers;
    std::size_t size = 0;
};
thread_local Scratch g_scratch;

}  // namespace

double* scratchMemory(std::size_t count) {
    Scratch& scratch = g_scratch;
    if (count > scratch.size || scratch.size > kMostKept) {
        scratch.size = 0;
        scratch.numbers.reset();
        if (count > SIZE_MAX / sizeof(double)) return nullptr;
        scratch.numbers.reset(
            static_cast<double*>(::operator new(count * sizeof(double), kLine, std::nothrow)));
        if (scratch.numbers) scratch.size = count;
    }
    return count > 0 ? scratch.numbers.get() : nullptr;
}

}  // namespace kelvo::linalg
