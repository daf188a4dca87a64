#include "Base/ma.h"

#include <atomic>
#include <cstdlib>
#include <mutex>

#include "libBase/MA/block_set.h"
#include "libBase/port.h"

namespace {

// Lives for the process; any thread.
struct Memory {
    std::mutex mutex;  // guards `tracked`
    kelvo::ma::BlockSet tracked;
    std::atomic<long> untracked{0};       // live blocks of MA_allocate
    std::atomic<long> successesLeft{-1};  // negative: no limit
};
Memory g_memory;

// Locks cost as much as malloc itself, so a process of one thread goes without.
class Lock {
  public:
    Lock() : locked_(!kelvo::port::singleThreaded()) {
        if (locked_) g_memory.mutex.lock();
    }
    ~Lock() {
        if (locked_) g_memory.mutex.unlock();
    }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

  private:
    const bool locked_;
};

void countUntracked(long change) {
    std::atomic<long>& count = g_memory.untracked;
    if (kelvo::port::singleThreaded())
        count.store(count.load(std::memory_order_relaxed) + change, std::memory_order_relaxed);
    else
        count.fetch_add(change, std::memory_order_relaxed);
}

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

MA_DirectUse MA_direct = {0, 0, 0};

void* MA_malloc(size_t size, int /*line*/, const char* /*file*/, int /*flag*/) {
    void* block = allocate(size);
    if (block == nullptr) return nullptr;
    const Lock lock;
    if (g_memory.tracked.insert(block)) return block;
    std::free(block);
    return nullptr;
}

void MA_free(void* pointer, int /*line*/, const char* /*file*/) {
    if (pointer == nullptr) return;
    {
        // Before the block goes: its address may come back in another thread at once.
        const Lock lock;
        g_memory.tracked.erase(pointer);
    }
    std::free(pointer);
}

void* MA_allocate(size_t size) {
    void* block = allocate(size);
    if (block != nullptr) countUntracked(1);
    return block;
}

void MA_release(void* pointer) {
    if (pointer == nullptr) return;
    countUntracked(-1);
    std::free(pointer);
}

void MA_failAfter(long successes) {
    g_memory.successesLeft = successes;
    MA_direct.failing = successes >= 0;
}

long MA_liveBlocks(void) {
    const Lock lock;
    return static_cast<long>(g_memory.tracked.size()) + g_memory.untracked + MA_direct.live -
           MA_direct.released;
}

}  // extern "C"
