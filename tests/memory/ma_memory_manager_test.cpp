// What could break: sums that stop wrapping at 32 bits, the inverted test of the scratch disk, the
// header that callers know, blocks or scratch files that stay, pointers that are not ours.
#include <sys/mman.h>
#include <sys/stat.h>

#include "Base/ma.h"
#include "Base/zo_os_path.h"
#include "Base/zo_os_system.h"
#include "KelvoBase/ma_memory_manager.h"
#include "tests/support/child_process.h"
#include "tests/support/temporary_directory.h"
#include "tests/support/test.h"

namespace {

using namespace kelvo::test;

constexpr unsigned kMiB = 1u << 20;
// With size 0 the sum of size, header and reserve is 0, which a working disk grants.
constexpr unsigned kReserveForFile = 0xFFFFFFF0u;

// Figures of the system that a test decides on.
struct Figures {
    zoOS::SysInfo memory;
    std::uint64_t diskFree = std::uint64_t{1} << 30;
    bool diskAnswers = true;
    int filesystemError = 0;
    unsigned filesystemFree = 0;  // KiB
    int diskQueries = 0;
    std::string diskPath;
};
Figures g_figures;

class Memory : public testing::Test {
  protected:
    Memory() {
        g_figures = Figures();
        g_figures.memory = {1000, 1 << 20, 3000, 1 << 21};
        zoOS::Probes probes;
        probes.sysInfo = [] { return g_figures.memory; };
        probes.filesystem = [](const char*, unsigned* free) {
            *free = g_figures.filesystemFree;
            return g_figures.filesystemError;
        };
        probes.diskFree = [](const char* path, std::uint64_t* bytes) {
            ++g_figures.diskQueries;
            g_figures.diskPath = path;
            *bytes = g_figures.diskFree;
            return g_figures.diskAnswers;
        };
        zoOS::setProbes(&probes);
    }
    ~Memory() override { zoOS::setProbes(nullptr); }
};

std::uint32_t word(const void* block, int number) {
    std::uint32_t header[4];
    std::memcpy(header, static_cast<const char*>(block) - sizeof header, sizeof header);
    return header[number];
}

TEST_F(Memory, FiguresAreBytesOf32Bits) {
    g_figures.memory = {24684092, 2000, 4194304, 4194305};
    EXPECT_EQ(3801673728u, MA_get_real_memory_size());
    EXPECT_EQ(3801673728u, Ma_findPhysicalMemory());
    EXPECT_EQ(2048000u, Ma_findFreePhysicalMemory());
    EXPECT_EQ(2048000u, Ma_findAvailableMemory());
    EXPECT_EQ(0u, MA_get_total_swap());
    EXPECT_EQ(0u, Ma_findVirtualMemory());
    EXPECT_EQ(1024u, MA_swap_available());
}

TEST_F(Memory, FreeVirtualMemoryKeepsAReserve) {
    const struct {
        unsigned kib, bytes;
    } rows[] = {{0, 0}, {5119, 0}, {5120, 0}, {5121, 1024}, {6144, kMiB}, {4194304, 0}};
    for (const auto& row : rows) {
        g_figures.memory.availVirtualMemory = row.kib;
        EXPECT_EQ(row.bytes, Ma_findFreeVirtualMemory()) << row.kib;
    }
}

// Callers rely on the scratch disk counting only when it cannot be asked.
TEST_F(Memory, ScratchSpaceCountsOnlyWhenTheQueryFails) {
    const struct {
        int error;
        unsigned kib, bytes;
    } rows[] = {{0, 10240, 0},  {EIO, 10240, 5 * kMiB}, {EIO, 5119, 0},
                {EIO, 5120, 0}, {EIO, 5121, 1024},      {EIO, 4194304 + 5120 + 1, 1024}};
    for (const auto& row : rows) {
        g_figures.filesystemError = row.error;
        g_figures.filesystemFree = row.kib;
        EXPECT_EQ(row.bytes, Ma_findMmapMemory()) << row.kib;
    }
}

TEST_F(Memory, LimitsAreStoredWhereAsked) {
    const ScopedVariable directory("TMPDIR", "/scratch");
    Ma_get_process_data_limits(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                               nullptr);
    g_figures.memory.availVirtualMemory = 4194305;
    g_figures.diskFree = 84059316224;
    unsigned v[8] = {9, 9, 9, 9, 9, 9, 9, 9};
    Ma_get_process_data_limits(&v[0], &v[1], &v[2], &v[3], &v[4], &v[5], &v[6], nullptr);
    EXPECT_EQ(0, g_figures.diskQueries);
    Ma_get_process_data_limits(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                               &v[7]);
    EXPECT_EQ(1, g_figures.diskQueries);
    EXPECT_EQ("/scratch", g_figures.diskPath);
    const unsigned expected[] = {0, 0, 0, 0, 0, 2147483646, 1024, 2454937600};
    for (int i = 0; i < 8; ++i) EXPECT_EQ(expected[i], v[i]) << i;
    g_figures.diskAnswers = false;
    Ma_get_process_data_limits(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                               &v[7]);
    EXPECT_EQ(0u, v[7]);
}

TEST_F(Memory, ChecksAddTheHeaderAndWrap) {
    constexpr unsigned kTop = 0xFFFFFFFFu;
    const struct {
        const char* what;
        unsigned size, reserve;
        int paging;
        unsigned availableKib;
        std::uint64_t disk;
        int filesystemError;
        int answer;
    } rows[] = {
        {"paging fits exactly", 1024 - 16, 0, 1, 1, 0, 0, 1},
        {"paging one too many", 1024 - 15, 0, 1, 1, 0, 0, 0},
        {"paging, any number", 1000, 8, -7, 1, 0, 0, 1},
        {"reserve counts", 1000, 9, 1, 1, 0, 0, 0},
        {"nothing available", 0, 0, 1, 0, 0, 0, 0},
        {"paging sum wraps", kTop - 14, 0, 1, 1, 0, 0, 1},
        {"available wraps", 100, 0, 1, 4194304, 0, 0, 0},
        {"file on a working disk", 100, 0, 0, 9999, 1 << 20, 0, 0},
        {"file, sum of 0", 0, kReserveForFile, 0, 9999, 16, 0, 1},
        {"file, sum of 0, disk full", 0, kReserveForFile, 0, 9999, 15, 0, 0},
        {"file, disk says nothing", 100, 0, 0, 0, 116, EIO, 1},
        {"file, disk says nothing, full", 100, 0, 0, 0, 115, EIO, 0},
        {"file, 4 GiB free are 0", 100, 0, 0, 0, std::uint64_t{1} << 32, EIO, 0},
        {"file, reserve counts", 100, 5 * kMiB - 116, 0, 0, 1 << 20, EIO, 1},
        {"file, reserve too large", 100, 5 * kMiB - 115, 0, 0, 1 << 20, EIO, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        g_figures.memory.availVirtualMemory = row.availableKib;
        g_figures.diskFree = row.disk;
        g_figures.filesystemError = row.filesystemError;
        g_figures.filesystemFree = 10240;
        EXPECT_EQ(row.answer, Ma_checkMmapMemory(row.size, row.reserve, row.paging));
        if (row.answer == 0) {
            EXPECT_EQ(nullptr, Ma_allocMmapMemory(row.size, row.reserve, row.paging));
        }
    }
}

TEST_F(Memory, PagingBlocksHaveAHeaderAndAreZeroed) {
    EXPECT_EQ(16u, Ma_get_mmap_overhead());
    for (const unsigned size : {0u, 1u, 10000u, 64 * kMiB}) {
        SCOPED_TRACE(size);
        char* const block = static_cast<char*>(Ma_allocMmapMemory(size, 0, 1));
        ASSERT_NE(nullptr, block);
        EXPECT_EQ(16u, reinterpret_cast<std::uintptr_t>(block) % 4096);
        EXPECT_EQ(0xBEEFu, word(block, 0));
        EXPECT_EQ(0u, word(block, 1));
        EXPECT_EQ(size + 16, word(block, 2));
        EXPECT_EQ(0u, word(block, 3));
        for (unsigned i = 0; i < size; i += 4096) ASSERT_EQ(0, block[i]);
        if (size != 0) std::memset(block, 1, size);
        Ma_freeMmapMemory(block);
        unsigned char state;
        EXPECT_EQ(-1, mincore(block - 16, 1, &state));
        if (size > 4096) {
            EXPECT_EQ(-1, mincore(block + (size - 4096) / 4096 * 4096 - 16, 1, &state));
        }
        Ma_freeMmapMemory(block);  // gone: ignored
        EXPECT_EQ(0u, Ma_shrinkMmapMemory(block, 1));
    }
    // Sizes that no sum of 32 bits can hold.
    for (const unsigned size : {0xFFFFFFF0u, 0xFFFFFFF1u, 0xFFFFFFFFu})
        EXPECT_EQ(nullptr, Ma_allocMmapMemory(size, 0, 1)) << size;
}

TEST_F(Memory, ShrinkingOnlyLowersTheRecord) {
    char* const block = static_cast<char*>(Ma_allocMmapMemory(10000, 0, 1));
    ASSERT_NE(nullptr, block);
    EXPECT_EQ(10000u, Ma_shrinkMmapMemory(block, 10000));
    EXPECT_EQ(10000u, Ma_shrinkMmapMemory(block, 9000));  // ends on the same page
    EXPECT_EQ(4080u, Ma_shrinkMmapMemory(block, 100));
    EXPECT_EQ(4096u, word(block, 2));
    EXPECT_EQ(4080u, Ma_shrinkMmapMemory(block, 5000));
    EXPECT_EQ(4080u, Ma_shrinkMmapMemory(block, 4080));
    EXPECT_EQ(4080u, Ma_shrinkMmapMemory(block, 0));
    block[9999] = 1;
    Ma_freeMmapMemory(block);
    unsigned char state;
    EXPECT_EQ(-1, mincore(block - 16 + 8192, 1, &state));
}

TEST_F(Memory, OtherPointersAreIgnored) {
    char* const block = static_cast<char*>(Ma_allocMmapMemory(20000, 0, 1));
    ASSERT_NE(nullptr, block);
    std::uint32_t forged[8] = {0xBEEF, 0x1234, 100, 0};
    auto* const heap = static_cast<char*>(std::malloc(64));
    void* const pointers[] = {nullptr,
                              reinterpret_cast<void*>(std::uintptr_t{16}),
                              reinterpret_cast<void*>(std::uintptr_t{1}),
                              heap + 16,
                              &forged[4],
                              block + 1,
                              block + 4096,
                              block - 16,
                              reinterpret_cast<void*>(~std::uintptr_t{0})};
    for (void* pointer : pointers) {
        EXPECT_EQ(0u, Ma_shrinkMmapMemory(pointer, 1));
        Ma_freeMmapMemory(pointer);
    }
    EXPECT_EQ(20016u, word(block, 2));
    std::memset(block - 16, 0, 4);  // a block whose header is broken is nobody's
    EXPECT_EQ(0u, Ma_shrinkMmapMemory(block, 1));
    Ma_freeMmapMemory(block);
    std::memcpy(block - 16, "\xEF\xBE\0\0", 4);
    Ma_freeMmapMemory(block);
    std::free(heap);
}

TEST_F(Memory, FileBlocksNameTheirFile) {
    const TemporaryDirectory directory;
    const ScopedVariable variable("TMPDIR", directory.path().c_str());
    const long blocks = MA_liveBlocks();
    g_figures.filesystemError = EIO;
    g_figures.filesystemFree = 1 << 20;
    for (const unsigned size : {0u, 100u, kMiB}) {
        SCOPED_TRACE(size);
        char* const block = static_cast<char*>(Ma_allocMmapMemory(size, 0, 0));
        ASSERT_NE(nullptr, block);
        const std::string name = directory.list();
        EXPECT_EQ(12u, name.size()) << name;
        EXPECT_EQ(0u, name.find("Magic0")) << name;
        EXPECT_EQ(std::string::npos, name.find_first_of("X /", 6)) << name;
        EXPECT_EQ(0xBEEFu, word(block, 0));
        EXPECT_EQ(size + 16, word(block, 2));
        const std::uint64_t address = word(block, 1) | (std::uint64_t{word(block, 3)} << 32);
        EXPECT_EQ(directory / name, reinterpret_cast<const char*>(address));
        if (size != 0) std::memset(block, 'x', size);
        EXPECT_EQ(std::string(size, 'x'), kelvo::test::contentOf(directory / name).substr(16));
        if (size == kMiB) {
            EXPECT_EQ(4080u, Ma_shrinkMmapMemory(block, 100));
        }
        Ma_freeMmapMemory(block);
        EXPECT_EQ("", directory.list());
        EXPECT_EQ(blocks, MA_liveBlocks());
    }
}

// The directory is looked up at every call, and its text is mapped for the system only.
TEST_F(Memory, ScratchDirectoryIsTempOnDriveCByDefault) {
    const TemporaryDirectory root;
    const ScopedVariable variable("TMPDIR", nullptr);
    zoOS::setDriveRoot('C', root.path().c_str());
    EXPECT_EQ(nullptr, Ma_allocMmapMemory(0, kReserveForFile, 0));  // no such directory
    ASSERT_EQ(0, mkdir((root / "Temp").c_str(), 0700));
    void* const block = Ma_allocMmapMemory(0, kReserveForFile, 0);
    ASSERT_NE(nullptr, block);
    EXPECT_EQ("c:\\Temp", g_figures.diskPath);
    const std::uint64_t address = word(block, 1) | (std::uint64_t{word(block, 3)} << 32);
    EXPECT_EQ("c:\\Temp/" + root.list("Temp"), reinterpret_cast<const char*>(address));
    Ma_freeMmapMemory(block);
    EXPECT_EQ("", root.list("Temp"));
    zoOS::setDriveRoot('C', nullptr);
    const std::string tooLong(300, 'a');
    const ScopedVariable wild("TMPDIR", tooLong.c_str());
    EXPECT_EQ(nullptr, Ma_allocMmapMemory(0, kReserveForFile, 0));
}

TEST_F(Memory, FileBlocksFailInOrder) {
    const TemporaryDirectory directory;
    const ScopedVariable variable("TMPDIR", directory.path().c_str());
    MA_failAfter(0);
    EXPECT_EQ(nullptr, Ma_allocMmapMemory(0, kReserveForFile, 0));
    MA_failAfter(-1);
    EXPECT_EQ("", directory.list());
    const kelvo::test::SmallDisk disk(directory.path(), kMiB);
    if (!disk.mounted()) GTEST_SKIP() << "needs the right to mount a file system";
    g_figures.filesystemError = EIO;
    g_figures.filesystemFree = 1 << 20;
    EXPECT_EQ(nullptr, Ma_allocMmapMemory(2 * kMiB, 0, 0));
    EXPECT_EQ("", directory.list());
    void* const block = Ma_allocMmapMemory(kMiB / 2, 0, 0);
    ASSERT_NE(nullptr, block);
    kelvo::test::writeFile(directory / "rest", std::string(kMiB, 'x'));
    std::memset(block, 1, kMiB / 2);  // the disk is full now, but this was reserved
    Ma_freeMmapMemory(block);
    EXPECT_EQ("rest", directory.list());
}

TEST(MemoryOfTheSystem, IsAskedEveryTime) {
    EXPECT_LT(0u, MA_get_real_memory_size());
    EXPECT_EQ(0u, Ma_findMmapMemory());
    EXPECT_EQ(1, Ma_checkMmapMemory(100, 0, 1));
    EXPECT_EQ(0, Ma_checkMmapMemory(100, 0, 0));
    unsigned disk = 1;
    const ScopedVariable variable("TMPDIR", "/no/such/directory");
    Ma_get_process_data_limits(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                               &disk);
    EXPECT_EQ(0u, disk);
}

}  // namespace
