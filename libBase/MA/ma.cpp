#include "Base/ma.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <mutex>

namespace {

// The addresses of the live tracked blocks: a hash table with linear probing, at most half full.
// Its memory stays for the process. Used under the lock only.
class BlockTable {
  public:
    std::size_t size() const { return used_; }

    /// False only when there is no memory for the table. An address that is there already belonged
    /// to a block released by plain free; the new block takes its place.
    bool insert(const void* block) {
        if (2 * (used_ + 1) > capacity_ && !grow()) return false;
        const std::size_t slot = find(block);
        if (slots_[slot] == nullptr) ++used_;
        slots_[slot] = block;
        return true;
    }

    void erase(const void* block) {
        if (used_ == 0) return;
        std::size_t hole = find(block);
        if (slots_[hole] == nullptr) return;
        --used_;
        // Moves back every later entry of the run that could no longer be reached over the hole.
        for (std::size_t i = next(hole); slots_[i] != nullptr; i = next(i)) {
            const std::size_t home = homeOf(slots_[i]);
            if (((i - home) & (capacity_ - 1)) < ((i - hole) & (capacity_ - 1))) continue;
            slots_[hole] = slots_[i];
            hole = i;
        }
        slots_[hole] = nullptr;
    }

  private:
    std::size_t next(std::size_t slot) const { return (slot + 1) & (capacity_ - 1); }

    // Multiplicative hashing: the top bits of the product, which every bit of the address reaches.
    std::size_t homeOf(const void* block) const {
        const auto address = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(block));
        return static_cast<std::size_t>((address * 0x9E3779B97F4A7C15u) >> shift_);
    }

    std::size_t find(const void* block) const {
        std::size_t slot = homeOf(block);
        while (slots_[slot] != nullptr && slots_[slot] != block) slot = next(slot);
        return slot;
    }

    bool grow() {
        const BlockTable old = *this;
        const std::size_t capacity = capacity_ == 0 ? 256 : 2 * capacity_;
        auto** slots = static_cast<const void**>(std::calloc(capacity, sizeof(void*)));
        if (slots == nullptr) return false;
        slots_ = slots;
        shift_ = capacity_ == 0 ? 64 - 8 : shift_ - 1;
        capacity_ = capacity;
        for (std::size_t i = 0; i < old.capacity_; ++i)
            if (old.slots_[i] != nullptr) slots_[find(old.slots_[i])] = old.slots_[i];
        std::free(old.slots_);
        return true;
    }

    const void** slots_ = nullptr;  // owned; capacity_ entries, null where empty
    std::size_t capacity_ = 0;      // power of two
    std::size_t used_ = 0;
    int shift_ = 0;  // 64 - log2(capacity_)
};

// Lives for the process; any thread.
struct Memory {
    std::mutex lock;  // guards `tracked`
    BlockTable tracked;
    std::atomic<long> untracked{0};       // live blocks of MA_allocate
    std::atomic<long> successesLeft{-1};  // negative: no limit
};
Memory g_memory;

void* allocate(std::size_t size) {
    long left = g_memory.successesLeft.load(std::memory_order_relaxed);
    while (left >= 0) {
        if (left == 0) return nullptr;
        if (g_memory.successesLeft.compare_exchange_weak(left, left - 1)) break;
    }
    return std::malloc(size != 0 ? size : 1);
}

}  // namespace

extern "C" {

void* MA_malloc(size_t size, int /*line*/, const char* /*file*/, int /*flag*/) {
    void* block = allocate(size);
    if (block == nullptr) return nullptr;
    const std::lock_guard<std::mutex> guard(g_memory.lock);
    if (g_memory.tracked.insert(block)) return block;
    std::free(block);
    return nullptr;
}

void MA_free(void* pointer, int /*line*/, const char* /*file*/) {
    if (pointer == nullptr) return;
    {
        // Before the block goes: its address may come back in another thread at once.
        const std::lock_guard<std::mutex> guard(g_memory.lock);
        g_memory.tracked.erase(pointer);
    }
    std::free(pointer);
}

void* MA_allocate(size_t size) {
    void* block = allocate(size);
    if (block != nullptr) g_memory.untracked.fetch_add(1, std::memory_order_relaxed);
    return block;
}

void MA_release(void* pointer) {
    if (pointer == nullptr) return;
    g_memory.untracked.fetch_sub(1, std::memory_order_relaxed);
    std::free(pointer);
}

void MA_failAfter(long successes) {
    g_memory.successesLeft = successes;
}

long MA_liveBlocks(void) {
    const std::lock_guard<std::mutex> guard(g_memory.lock);
    return static_cast<long>(g_memory.tracked.size()) + g_memory.untracked;
}

}  // extern "C"
