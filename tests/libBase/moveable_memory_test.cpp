// What could break: blocks that overlap or lose their content when they move, handles that name
// another block, a full disk that kills, files that are destroyed or stay.
#include <sys/mman.h>
#include <sys/stat.h>

#include <random>

#include "Base/zo_os_moveable_memory.h"
#include "tests/support/temporary_directory.h"
#include "tests/support/test.h"

namespace {

using kelvo::test::TemporaryDirectory;
using zoOS::MoveableMemory;
using zoString::IString;
using Handle = MoveableMemory::Handle;
using MoveableMemoryFiles = kelvo::test::InDirectory;
using MoveableBlocks = kelvo::test::InDirectory;

constexpr std::uint64_t kMiB = std::uint64_t{1} << 20;

bool initialize(MoveableMemory& memory, const std::string& directory, const char* name = "store") {
    return memory.initializeFiles(IString(directory.c_str()), IString(name));
}

TEST_F(MoveableMemoryFiles, MakesItsFileAndTakesItAway) {
    {
        MoveableMemory memory;
        ASSERT_TRUE(initialize(memory, directory.path()));
        EXPECT_EQ("store", directory.list());
        EXPECT_FALSE(initialize(memory, directory.path(), "second"));
        EXPECT_EQ("store", directory.list());
    }
    EXPECT_EQ("", directory.list());
}

TEST_F(MoveableMemoryFiles, NeverDestroysWhatIsNotItsOwn) {
    kelvo::test::writeFile(directory / "data", "precious data of somebody else");
    kelvo::test::writeFile(directory / "empty", "");
    ASSERT_EQ(0, mkdir((directory / "dir").c_str(), 0700));
    ASSERT_EQ(0, symlink("data", (directory / "link").c_str()));
    const std::string names = directory.list();
    for (const char* name : {"data", "dir", "link", "no/such", "data/x", "", ".."}) {
        SCOPED_TRACE(name);
        MoveableMemory memory;
        EXPECT_FALSE(initialize(memory, directory.path(), name));
        EXPECT_TRUE(memory.lastError());
        EXPECT_FALSE(memory.lastError().message().isEmpty());
        Handle handle = 1;
        EXPECT_TRUE(memory.allocate(1, handle));
        EXPECT_EQ(0u, handle);
    }
    EXPECT_EQ(names, directory.list());
    EXPECT_EQ("precious data of somebody else", kelvo::test::contentOf(directory / "data"));
    MoveableMemory memory;
    EXPECT_TRUE(initialize(memory, directory.path(), "empty"));
    EXPECT_FALSE(memory.lastError());
}

TEST_F(MoveableMemoryFiles, OneNameServesSeveralObjects) {
    auto first = std::make_unique<MoveableMemory>();
    ASSERT_TRUE(initialize(*first, directory.path()));
    Handle handle;
    ASSERT_FALSE(first->allocate(100000, handle));
    std::memset(first->lock(handle), 'a', 100000);
    MoveableMemory second;
    ASSERT_TRUE(initialize(second, directory.path()));
    Handle other;
    ASSERT_FALSE(second.allocate(100000, other));
    std::memset(second.lock(other), 'b', 100000);
    EXPECT_EQ(std::string(100000, 'a'),
              std::string(static_cast<char*>(first->lock(handle)), 100000));
    first.reset();
    EXPECT_EQ("store", directory.list());
    EXPECT_EQ('b', static_cast<char*>(second.lock(other))[99999]);
}

TEST_F(MoveableBlocks, LocksPinAndUnlocksAreCounted) {
    MoveableMemory memory;
    ASSERT_TRUE(initialize(memory, directory.path()));
    Handle handle;
    ASSERT_FALSE(memory.allocate(5000, handle));
    EXPECT_NE(0u, handle);
    EXPECT_EQ(5000u, memory.size(handle));
    EXPECT_EQ(EINVAL, memory.unlock(handle).code());
    void* const address = memory.lock(handle);
    EXPECT_EQ(address, memory.lock(handle));
    EXPECT_EQ(EBUSY, memory.resize(handle, 1).code());
    EXPECT_EQ(EBUSY, memory.free(handle).code());
    EXPECT_FALSE(memory.unlock(handle));
    EXPECT_EQ(EBUSY, memory.free(handle).code());
    EXPECT_EQ(1u, memory.statistics().lockedBlocks);
    EXPECT_EQ(5000u, memory.statistics().lockedBytes);
    EXPECT_FALSE(memory.unlock(handle));
    EXPECT_EQ(EINVAL, memory.unlock(handle).code());
    EXPECT_EQ(0u, memory.statistics().lockedBlocks);
    EXPECT_FALSE(memory.free(handle));
}

TEST_F(MoveableBlocks, OldAndForeignHandlesAreErrors) {
    MoveableMemory memory;
    ASSERT_TRUE(initialize(memory, directory.path()));
    Handle old, handle;
    ASSERT_FALSE(memory.allocate(10, old));
    ASSERT_FALSE(memory.free(old));
    ASSERT_FALSE(memory.allocate(10, handle));
    EXPECT_NE(old, handle);
    for (const Handle wrong : {old, Handle{0}, Handle{1}, handle + 1, ~Handle{0}, handle << 32}) {
        SCOPED_TRACE(wrong);
        EXPECT_EQ(nullptr, memory.lock(wrong));
        EXPECT_EQ(EINVAL, memory.unlock(wrong).code());
        EXPECT_EQ(EINVAL, memory.resize(wrong, 1).code());
        EXPECT_EQ(EINVAL, memory.free(wrong).code());
        EXPECT_EQ(0u, memory.size(wrong));
    }
    EXPECT_EQ(EFBIG, memory.allocate(~std::uint64_t{0}, old).code());
    EXPECT_EQ(EFBIG, memory.resize(handle, ~std::uint64_t{0}).code());
    EXPECT_EQ(10u, memory.size(handle));
}

// Random work beside plain strings; every content is looked at after every hundred steps.
TEST_F(MoveableBlocks, KeepsTheContentOfAllBlocks) {
    MoveableMemory memory;
    ASSERT_TRUE(initialize(memory, directory.path()));
    std::map<Handle, std::string> model;
    std::mt19937 random(7);
    const auto below = [&](std::size_t n) { return std::size_t{random()} % n; };
    const auto write = [&](Handle handle, std::string& content) {
        for (char& c : content) c = static_cast<char>(random());
        std::memcpy(memory.lock(handle), content.data(), content.size());
        EXPECT_FALSE(memory.unlock(handle));
    };
    const auto check = [&] {
        MoveableMemory::Statistics expected;
        for (const auto& [handle, content] : model) {
            EXPECT_EQ(content.size(), memory.size(handle));
            const void* const address = memory.lock(handle);
            ASSERT_NE(nullptr, address);
            EXPECT_EQ(0, std::memcmp(address, content.data(), content.size()));
            EXPECT_FALSE(memory.unlock(handle));
            ++expected.blocks;
            expected.bytes += content.size();
        }
        const MoveableMemory::Statistics found = memory.statistics();
        EXPECT_EQ(expected.blocks, found.blocks);
        EXPECT_EQ(expected.bytes, found.bytes);
        EXPECT_LE(expected.bytes + found.freeBytes, found.fileBytes);
    };
    for (int step = 0; step < 3000; ++step) {
        const std::size_t what = below(10), size = below(20) == 0 ? 0 : below(40000);
        auto block = model.begin();
        if (!model.empty()) std::advance(block, below(model.size()));
        if (model.empty() || (what < 4 && model.size() < 60)) {
            Handle handle;
            ASSERT_FALSE(memory.allocate(size, handle));
            ASSERT_TRUE(model.emplace(handle, std::string(size, ' ')).second);
            write(handle, model[handle]);
        } else if (what < 7) {
            ASSERT_FALSE(memory.resize(block->first, size));
            const std::size_t kept = std::min(size, block->second.size());
            const void* const address = memory.lock(block->first);
            EXPECT_EQ(0, std::memcmp(address, block->second.data(), kept));
            EXPECT_FALSE(memory.unlock(block->first));
            block->second.resize(size);
            write(block->first, block->second);
        } else {
            ASSERT_FALSE(memory.free(block->first));
            model.erase(block);
        }
        if (step % 100 == 99) check();
    }
    for (const auto& entry : model) EXPECT_FALSE(memory.free(entry.first));
    const MoveableMemory::Statistics empty = memory.statistics();
    EXPECT_EQ(0u, empty.blocks + empty.bytes + empty.freeBytes + empty.mappedBytes);
    EXPECT_EQ(4096u, empty.fileBytes);
}

TEST_F(MoveableBlocks, LeavesMemoryWhenMuchIsUnlocked) {
    MoveableMemory memory;
    ASSERT_TRUE(initialize(memory, directory.path()));
    std::vector<Handle> handles(40);
    for (Handle& handle : handles) {
        ASSERT_FALSE(memory.allocate(8 * kMiB, handle));
        *static_cast<std::uint64_t*>(memory.lock(handle)) = handle;
    }
    EXPECT_EQ(40 * 8 * kMiB, memory.statistics().mappedBytes);
    for (const Handle handle : handles) EXPECT_FALSE(memory.unlock(handle));
    EXPECT_LT(0u, memory.statistics().mappedBytes);
    EXPECT_GE(64 * kMiB, memory.statistics().mappedBytes);
    for (const Handle handle : handles) {
        EXPECT_EQ(handle, *static_cast<std::uint64_t*>(memory.lock(handle)));
        EXPECT_FALSE(memory.unlock(handle));
    }
    struct stat status;
    for (std::size_t i = 0; i < 39; ++i) EXPECT_FALSE(memory.free(handles[i]));
    ASSERT_EQ(0, stat((directory / "store").c_str(), &status));
    EXPECT_GE(9 * kMiB, static_cast<std::uint64_t>(status.st_blocks) * 512);
}

TEST_F(MoveableBlocks, AFullDiskIsSaidAndLosesNothing) {
    const kelvo::test::SmallDisk disk(directory.path(), 4 * kMiB);
    if (!disk.mounted()) GTEST_SKIP() << "needs the right to mount a file system";
    MoveableMemory memory;
    ASSERT_TRUE(initialize(memory, directory.path()));
    Handle first, second;
    ASSERT_FALSE(memory.allocate(kMiB, first));
    ASSERT_FALSE(memory.allocate(kMiB, second));
    std::memset(memory.lock(first), 'a', kMiB);
    EXPECT_FALSE(memory.unlock(first));
    const MoveableMemory::Statistics before = memory.statistics();
    Handle handle = 1;
    const zoUtil::Error error = memory.allocate(3 * kMiB, handle);
    EXPECT_EQ(ENOSPC, error.code());
    EXPECT_EQ("moveable memory: no room for 3145728 bytes in \"" + (directory / "store") +
                  "\": No space left on device",
              error.message().str());
    EXPECT_EQ(0u, handle);
    EXPECT_EQ(ENOSPC, memory.resize(first, 3 * kMiB).code());   // would have to move
    EXPECT_EQ(ENOSPC, memory.resize(second, 4 * kMiB).code());  // would grow in place
    EXPECT_EQ(kMiB, memory.size(first));
    EXPECT_EQ(before.fileBytes, memory.statistics().fileBytes);
    EXPECT_EQ(before.freeBytes, memory.statistics().freeBytes);
    EXPECT_EQ(std::string(kMiB, 'a'), std::string(static_cast<char*>(memory.lock(first)), kMiB));
    EXPECT_FALSE(memory.unlock(first));
    // What a block gives back is there for others.
    EXPECT_FALSE(memory.free(first));
    EXPECT_FALSE(memory.resize(second, 2 * kMiB));
    ASSERT_FALSE(memory.allocate(kMiB, first));
    std::memset(memory.lock(first), 'b', kMiB);
    std::memset(memory.lock(second), 'c', 2 * kMiB);
    EXPECT_EQ('b', static_cast<char*>(memory.lock(first))[kMiB - 1]);
    const TemporaryDirectory full;
    const kelvo::test::SmallDisk none(full.path(), 4096);
    kelvo::test::writeFile(full / "x", std::string(8192, 'x'));
    MoveableMemory other;
    EXPECT_FALSE(initialize(other, full.path()));
    EXPECT_EQ(ENOSPC, other.lastError().code());
    EXPECT_EQ("x", full.list());
}

}  // namespace
