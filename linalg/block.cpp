// Storage blocks, and the free list of their records.
#include "linalg/block.h"

#include <array>
#include <cstdint>
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

// A vector register is as wide as a cache line at most, and an access across two lines costs two.
// Large arrays begin at a line, so that loops over them have none: sums of 10,000 elements take
// half to two thirds of the time. (An allocation with alignment returned large blocks to the system
// and took them back each time.)
constexpr std::size_t kCacheLine = 64;
constexpr std::size_t kLargeArray = 4096;

std::uint8_t bytesToCacheLine(const void* memory) {
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
    const bool large = size >= kLargeArray;
    void* const memory = MA_allocate(large ? size + kCacheLine : size);
    if (!memory) {
        using namespace kelvo::linalg;
        reportMathError({kNoMemory, kTerminate, kBlockCode}, "RWBlock");
        return;
    }
    if (large) shift_ = bytesToCacheLine(memory);
    data_ = static_cast<char*>(memory) + shift_;
}

RWBlock::~RWBlock() {
    if (data_) MA_release(static_cast<char*>(data_) - shift_);
}

void RWBlock::destroy() {
    delete this;
}

RWBlock* kelvo::linalg::newBlock(unsigned count, unsigned elementSize) {
    return new RWBlock(count, elementSize);
}
