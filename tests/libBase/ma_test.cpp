// What could break: the count after blocks of plain malloc or plain free; the table of blocks while
// it grows and entries leave it; a failure that comes one allocation early or late.
#include "Base/ma.h"

#include <random>
#include <thread>

#include "tests/support/test.h"

namespace {

void* tracked(size_t size) {
    return MA_malloc(size, 1, "ma_test", 0);
}
void freeTracked(void* block) {
    MA_free(block, 1, nullptr);
}

const struct {
    const char* what;
    void* (*allocate)(size_t);
    void (*release)(void*);
} kKinds[] = {{"tracked", tracked, freeTracked}, {"untracked", MA_allocate, MA_release}};

TEST(Memory, BlocksAreUsableAndCounted) {
    for (const auto& kind : kKinds)
        for (const size_t size : {0u, 1u, 24u, 4096u, 10000000u}) {
            SCOPED_TRACE(testing::Message() << kind.what << ' ' << size);
            const long before = MA_liveBlocks();
            void* block = kind.allocate(size);
            ASSERT_NE(nullptr, block);
            EXPECT_EQ(0u, reinterpret_cast<std::uintptr_t>(block) % alignof(std::max_align_t));
            std::memset(block, 0xA5, size);
            EXPECT_EQ(before + 1, MA_liveBlocks());
            kind.release(block);
            EXPECT_EQ(before, MA_liveBlocks());
            kind.release(nullptr);
            EXPECT_EQ(before, MA_liveBlocks());
        }
}

TEST(Memory, ImpossibleSizesFail) {
    for (const auto& kind : kKinds) {
        const long before = MA_liveBlocks();
        EXPECT_EQ(nullptr, kind.allocate(SIZE_MAX / 2)) << kind.what;
        EXPECT_EQ(before, MA_liveBlocks());
    }
}

TEST(Memory, FailsAfterTheGivenNumberUntilSwitchedOff) {
    const long before = MA_liveBlocks();
    for (long successes = 0; successes < 4; ++successes) {
        MA_failAfter(successes);
        std::vector<void*> blocks;
        for (int i = 0; i < 6; ++i) blocks.push_back(kKinds[i % 2].allocate(8));
        MA_failAfter(-1);
        for (int i = 0; i < 6; ++i) {
            const auto n = static_cast<std::size_t>(i);
            EXPECT_EQ(i < successes, blocks[n] != nullptr) << i << " of " << successes;
            kKinds[i % 2].release(blocks[n]);
        }
        EXPECT_EQ(before, MA_liveBlocks());
    }
}

// Blocks of MA_malloc and of malloc come and go in random order; the count must follow the first
// alone, also when MA_free gets the others.
TEST(Memory, CountFollowsTrackedBlocksOnly) {
    struct Block {
        void* address;
        bool counted;
    };
    std::mt19937 random(20240607);
    std::vector<Block> blocks;
    const long before = MA_liveBlocks();
    long counted = 0;
    for (int step = 0; step < 60000; ++step) {
        const bool growing = step / 10000 % 2 == 0;
        if (blocks.empty() || random() % 8 < (growing ? 6u : 2u)) {
            const size_t size = random() % (step % 16 == 0 ? 100000 : 200);
            const bool count = random() % 3 != 0;
            blocks.push_back({count ? tracked(size) : std::malloc(size), count});
            counted += count;
        } else {
            std::swap(blocks[random() % blocks.size()], blocks.back());
            freeTracked(blocks.back().address);
            counted -= blocks.back().counted;
            blocks.pop_back();
        }
        ASSERT_EQ(before + counted, MA_liveBlocks()) << "step " << step;
    }
    for (const Block& block : blocks) freeTracked(block.address);
    EXPECT_EQ(before, MA_liveBlocks());
}

TEST(Memory, PlainFreeMayReleaseATrackedBlock) {
    const long before = MA_liveBlocks();
    void* first = tracked(100);
    const auto address = reinterpret_cast<std::uintptr_t>(first);
    std::free(first);
    void* second = tracked(100);
    const bool reused = reinterpret_cast<std::uintptr_t>(second) == address;
    EXPECT_EQ(before + (reused ? 1 : 2), MA_liveBlocks());
    freeTracked(second);
    if (!reused) GTEST_SKIP() << "this allocator does not reuse the block at once";
    EXPECT_EQ(before, MA_liveBlocks());
}

TEST(Memory, ThreadsAllocateAndRelease) {
    const long before = MA_liveBlocks();
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([] {
            for (int round = 0; round < 50; ++round) {
                std::vector<void*> blocks;
                for (int i = 0; i < 200; ++i) blocks.push_back(kKinds[i % 2].allocate(16));
                for (int i = 0; i < 200; ++i)
                    kKinds[i % 2].release(blocks[static_cast<std::size_t>(i)]);
            }
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(before, MA_liveBlocks());
}

}  // namespace
