#include "linalg/scratch.h"

#include <cstdint>
#include <new>

namespace kelvo::linalg {
namespace {

constexpr std::size_t kMostKept = std::size_t{4} << 17;  // doubles: 4 MB
constexpr std::align_val_t kLine{64};

// Kept from call to call, one a thread. Without a destructor, because objects with static storage
// may still compute in theirs, when the thread-local ones are gone.
struct Scratch {
    double* numbers = nullptr;  // owned
    std::size_t size = 0;
    bool released = false;

    void release() {
        ::operator delete(numbers, kLine);
        numbers = nullptr;
        size = 0;
    }
};
constinit thread_local Scratch g_scratch;

// Frees the scratch at the end of its thread.
struct ScratchKeeper {
    void keep() {}  // using a keeper makes it
    ~ScratchKeeper() {
        g_scratch.release();
        g_scratch.released = true;
    }
};
thread_local ScratchKeeper g_keeper;

}  // namespace

double* scratchMemory(std::size_t count) {
    if (count == 0) return nullptr;  // small matrices need none: not even the look-up of the thread
    Scratch& scratch = g_scratch;
    if (scratch.released) return nullptr;
    if (count > scratch.size || scratch.size > kMostKept) {
        g_keeper.keep();
        scratch.release();
        if (count > SIZE_MAX / sizeof(double)) return nullptr;
        scratch.numbers =
            static_cast<double*>(::operator new(count * sizeof(double), kLine, std::nothrow));
        if (scratch.numbers) scratch.size = count;
    }
    return scratch.numbers;
}

}  // namespace kelvo::linalg
