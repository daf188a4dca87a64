// What could break: a view that is unmapped in part, a pointer that is no view taken for one, a
// full disk that shows only when memory is written, scratch files that stay or go too early.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Base/zo_os_view.h"
#include "tests/support/child_process.h"
#include "tests/support/temporary_directory.h"
#include "tests/support/test.h"

namespace {

using kelvo::test::TemporaryDirectory;
using ScratchFile = kelvo::test::InDirectory;

constexpr std::uint32_t kMagic = 0xABCD;

bool isMapped(const char* address) {
    unsigned char state;
    const auto page = reinterpret_cast<std::uintptr_t>(address) / 4096 * 4096;
    return mincore(reinterpret_cast<void*>(page), 1, &state) == 0;
}

void* scratchView(const std::string& path, std::size_t bytes) {
    const int file = zoOS::createScratchFile(path.c_str(), bytes, kMagic);
    return file >= 0 ? zoOS::mapScratchView(file, bytes) : zoOS::kNoView;
}

TEST(View, IsZeroedWritableAndEndsAsAWhole) {
    const std::size_t mib = std::size_t{1} << 20;
    for (const std::size_t bytes :
         {std::size_t{1}, std::size_t{4097}, 5 * mib + 3, 64 * mib + 16}) {
        SCOPED_TRACE(bytes);
        char* const view = static_cast<char*>(zoOS::mapPagingView(bytes));
        ASSERT_NE(zoOS::kNoView, view);
        EXPECT_EQ(0u, reinterpret_cast<std::uintptr_t>(view) % 4096);
        for (std::size_t i = 0; i < bytes; i += 4096) ASSERT_EQ(0, view[i]);
        std::memset(view, 1, bytes);
        EXPECT_TRUE(zoOS::isViewStart(view));
        EXPECT_FALSE(zoOS::isViewStart(view + 16));
        EXPECT_FALSE(zoOS::unmapView(view + (bytes + 4095) / 4096 * 4096));
        EXPECT_TRUE(zoOS::unmapView(view + bytes));  // still on the last page
        EXPECT_FALSE(isMapped(view));
        EXPECT_FALSE(isMapped(view + bytes - 1));
        EXPECT_FALSE(zoOS::isViewStart(view));
        EXPECT_FALSE(zoOS::unmapView(view));
    }
    int local = 0;
    for (const void* other : {static_cast<const void*>(nullptr), static_cast<const void*>(&local),
                              static_cast<const void*>(zoOS::kNoView)}) {
        EXPECT_FALSE(zoOS::isViewStart(other));
        EXPECT_FALSE(zoOS::unmapView(other));
    }
}

TEST(View, RefusesNothingAndTooMuch) {
    EXPECT_EQ(zoOS::kNoView, zoOS::mapPagingView(0));
    EXPECT_EQ(zoOS::kNoView, zoOS::mapPagingView(SIZE_MAX));
    EXPECT_EQ(zoOS::kNoView, zoOS::mapPagingView(SIZE_MAX / 2));
    EXPECT_EQ(zoOS::kNoView, zoOS::mapScratchView(-1, 4096));
}

TEST_F(ScratchFile, IsOursAloneAndStaysUntilRemoved) {
    char* const view = static_cast<char*>(scratchView(directory / "s123456", 10000));
    ASSERT_NE(zoOS::kNoView, view);
    view[9999] = 'x';
    EXPECT_EQ('x', kelvo::test::contentOf(directory / "s123456").back());
    struct stat status;
    ASSERT_EQ(0, stat((directory / "s123456").c_str(), &status));
    EXPECT_EQ(0100600u, status.st_mode);
    EXPECT_EQ(10000, status.st_size);
    EXPECT_LE(10000, status.st_blocks * 512);
    EXPECT_EQ(-1, zoOS::createScratchFile((directory / "s123456").c_str(), 1, kMagic));
    EXPECT_EQ("s123456", directory.list());
    EXPECT_EQ(-1, zoOS::createScratchFile((directory / "no/s123456").c_str(), 1, kMagic));
    EXPECT_EQ(-1, zoOS::createScratchFile(nullptr, 1, kMagic));
    zoOS::removeScratchFile((directory / "s123456").c_str());
    EXPECT_EQ("", directory.list());
    view[0] = 'y';
    EXPECT_TRUE(zoOS::unmapView(view));
}

TEST_F(ScratchFile, GoesWithTheProcess) {
    const auto make = [&] {
        EXPECT_NE(zoOS::kNoView, scratchView(directory / "s123456", 4096));
        EXPECT_EQ("s123456", directory.list());
    };
    EXPECT_EXIT(make(); exit(0), testing::ExitedWithCode(0), "");
    EXPECT_EQ("", directory.list());
    // A child that ends leaves its parent's.
    make();
    EXPECT_EXIT(exit(0), testing::ExitedWithCode(0), "");
    EXPECT_EQ("s123456", directory.list());
    zoOS::removeScratchFile((directory / "s123456").c_str());
}

// Only what a dead process has left goes, and nothing that merely has such a name.
TEST_F(ScratchFile, OfADeadProcessGoesWithTheNextOne) {
    const std::string begin("\xCD\xAB\0\0", 4);
    const auto make = [&](const char* name) {
        void* const view = scratchView(directory / name, 4096);
        ASSERT_NE(zoOS::kNoView, view);
        std::memcpy(view, begin.data(), begin.size());
    };
    EXPECT_EXIT(make("sdead00"); raise(SIGKILL), testing::KilledBySignal(SIGKILL), "");
    kelvo::test::writeFile(directory / "sother0", "other");
    kelvo::test::writeFile(directory / "slonger0", begin);
    kelvo::test::writeFile(directory / "tother0", begin);
    ASSERT_EQ(0, symlink("tother0", (directory / "slink00").c_str()));
    ASSERT_EQ(0, mkfifo((directory / "spipe00").c_str(), 0600));
    const int lock[] = {open("/dev/null", O_RDONLY), open("/dev/null", O_RDONLY)};
    ASSERT_LE(0, lock[1]);
    // Alive in another process while this one looks; its descriptor is closed, its view is not.
    int ready[2], done[2];
    ASSERT_EQ(0, pipe(ready));
    ASSERT_EQ(0, pipe(done));
    char byte = 0;
    const pid_t alive = fork();
    if (alive == 0) {
        make("salive0");
        const bool told = write(ready[1], "r", 1) == 1 && close(done[1]) == 0;
        while (told && read(done[0], &byte, 1) > 0) continue;
        _exit(0);
    }
    ASSERT_EQ(1, read(ready[0], &byte, 1));
    // A child has not looked there yet; the parent may have.
    EXPECT_TRUE(kelvo::test::passesInChild([&] { make("snew000"); }));
    EXPECT_EQ("salive0 slink00 slonger0 snew000 sother0 spipe00 tother0", directory.list());
    close(done[1]);
    int status;
    waitpid(alive, &status, 0);
    for (const int fd : {lock[0], lock[1], ready[0], ready[1], done[0]}) close(fd);
}

}  // namespace
