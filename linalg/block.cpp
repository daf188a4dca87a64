// Storage blocks, the free list of their records and those of small blocks.
#include "linalg/block.h"

#include <array>
#include <cstdint>
#include <cstdlib>
#include <new>

#include "Base/ma.h"

namespace {

// Freed records of one size class, last in, first out.
struct FreeRecords {
    std::array<void*, 5> records{};
    unsigned count = 0;
};

// Classes are steps of half a pointer; a record of one word and a pointer, class 4 of 5, is the
// largest request seen so far. Records stay here until the end of the process. Nothing at all is a
// request of the smallest class.
constexpr std::size_t kClassStep = sizeof(void*) / 2;
constexpr std::size_t kClasses = 5;
constinit std::array<FreeRecords, kClasses> g_free{};

constexpr std::size_t classOf(std::size_t size) {
    return size > 0 ? (size + kClassStep - 1) / kClassStep : 1;
}
static_assert(classOf(sizeof(RWBlock)) == 4);

// Arrays of up to 1 KB come in classes of what malloc hands out without a remainder. Freed blocks of
// such an array are kept with it, at most 100 KB of them: malloc and free take longer than the sum of
// two short vectors. A memory checker sees every array come and go.
constexpr std::size_t kArrayStep = 32, kMallocHeader = 8;
#if defined(__SANITIZE_ADDRESS__)
constexpr std::size_t kArrayClasses = 0;
#else
constexpr std::size_t kArrayClasses = 32;
#endif
struct FreeBlocks {
    std::array<RWBlock*, 5> blocks{};
    unsigned count = 0;
};
constinit std::array<FreeBlocks, kArrayClasses + 1> g_freeBlocks{};

// Gives them back when the library goes. Leak checkers, which know memory by where it begins, would
// take those with a margin for lost.
struct AtExit {
    ~AtExit() {
        for (FreeBlocks& free : g_freeBlocks) {
            while (free.count > 0) {
                ++MA_direct.live;
                delete free.blocks[--free.count];
            }
        }
    }
} g_atExit;

// The class of a small array, counted from 1; 0 for one of MA_allocate, and for none.
unsigned arrayClassOf(std::size_t size) {
    const std::size_t steps = (size + kMallocHeader + kArrayStep - 1) / kArrayStep;
    return size == 0 || steps > kArrayClasses || MA_direct.failing ? 0
                                                                   : static_cast<unsigned>(steps);
}

// A vector register is as wide as a cache line at most, and an access across two lines costs two.
// Arrays longer than a line begin at one, so that loops over them have none: sums of 100 elements
// take half the time, those of 10,000 half to two thirds. (An allocation with alignment returned
// large blocks to the system and took them back each time.)
constexpr std::size_t kCacheLine = 64;
#if defined(__SANITIZE_ADDRESS__)
constexpr std::size_t kLongest = 4096;  // that may begin anywhere: the margin would hide overruns
#else
constexpr std::size_t kLongest = kCacheLine;
#endif

std::size_t withMargin(std::size_t size) {
    return size > kLongest ? size + kCacheLine : size;
}

// From the beginning of memory with its margin to the array.
std::uint8_t marginBefore(const void* memory, std::size_t size) {
    if (size <= kLongest) return 0;
    const auto beyond = reinterpret_cast<std::uintptr_t>(memory) % kCacheLine;
    return static_cast<std::uint8_t>((kCacheLine - beyond) % kCacheLine);
}

}  // namespace

void* RWBlock::operator new(std::size_t size) {
    const std::size_t c = classOf(size);
    if (c > kClasses) return ::operator new(size);
    FreeRecords& free = g_free[c - 1];
    return free.count > 0 ? free.records[--free.count] : ::operator new(c* kClassStep);
}

void RWBlock::operator delete(void* record, std::size_t size) {
    const std::size_t c = classOf(size);
    if (record && c <= kClasses && g_free[c - 1].count < g_free[c - 1].records.size()) {
        FreeRecords& free = g_free[c - 1];
        free.records[free.count++] = record;
    } else {
        ::operator delete(record);
    }
}

RWBlock::RWBlock(unsigned count, unsigned elementSize) {
    if (count == 0) return;
    const std::size_t size = std::size_t{count} * elementSize;
    void* const memory = MA_allocate(withMargin(size));
    if (!memory) {
        using namespace kelvo::linalg;
        reportMathError({kNoMemory, kTerminate, kBlockCode}, "RWBlock");
        return;
    }
    shift_ = marginBefore(memory, size);
    data_ = static_cast<char*>(memory) + shift_;
}

RWBlock::~RWBlock() {
    if (!data_) return;
    void* const memory = static_cast<char*>(data_) - shift_;
    if (arrayClass_ > 0) {
        --MA_direct.live;
        std::free(memory);
    } else {
        MA_release(memory);
    }
}

void RWBlock::destroy() {
    FreeBlocks& free = g_freeBlocks[arrayClass_];
    if (arrayClass_ == 0 || free.count == free.blocks.size()) {
        delete this;
    } else {
        --MA_direct.live;
        free.blocks[free.count++] = this;
    }
}

RWBlock* kelvo::linalg::newBlock(unsigned count, unsigned elementSize) {
    const unsigned arrayClass = arrayClassOf(std::size_t{count} * elementSize);
    if (arrayClass == 0) return new RWBlock(count, elementSize);
    FreeBlocks& free = g_freeBlocks[arrayClass];
    RWBlock* block;
    if (free.count > 0) {
        block = free.blocks[--free.count];
        block->references_ = 1;
    } else {
        block = new RWBlock(0, elementSize);
        const std::size_t size = arrayClass * kArrayStep - kMallocHeader;
        void* const memory = std::malloc(withMargin(size));
        if (!memory) {
            delete block;
            return new RWBlock(count, elementSize);  // reports
        }
        block->shift_ = marginBefore(memory, size);
        block->data_ = static_cast<char*>(memory) + block->shift_;
        block->arrayClass_ = static_cast<std::uint8_t>(arrayClass);
    }
    ++MA_direct.live;
    return block;
}
