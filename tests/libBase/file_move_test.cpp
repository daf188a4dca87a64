// What could break: a file that is gone from one place and not in the other, targets replaced
// unasked, a move onto itself that leaves nothing.
#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "Base/zo_os_file.h"
#include "tests/support/temporary_directory.h"
#include "tests/support/test.h"

namespace {

using namespace kelvo::test;
using FileMove = InDirectory;

int moveCode(const std::string& from, const std::string& to, bool overwrite) {
    const zoUtil::Error error = zoOS::fileMove(from.c_str(), to.c_str(), overwrite);
    EXPECT_EQ(error.isError(), !error.message().isEmpty());
    return error.code();
}

// The cases that do not depend on where the target is.
void expectMoves(const TemporaryDirectory& directory, const std::string& to) {
    writeFile(directory / "a", "1");
    EXPECT_EQ(0, moveCode(directory / "a", to + "/b", false));
    EXPECT_EQ("1", contentOf(to + "/b"));
    writeFile(directory / "a", "2");
    EXPECT_EQ(EEXIST, moveCode(directory / "a", to + "/b", false));
    EXPECT_EQ("1", contentOf(to + "/b"));
    EXPECT_EQ("2", contentOf(directory / "a"));
    EXPECT_EQ(0, moveCode(directory / "a", to + "/b", true));
    EXPECT_EQ("2", contentOf(to + "/b"));
    ASSERT_EQ(0, symlink("nowhere", (directory / "link").c_str()));
    EXPECT_EQ(0, moveCode(directory / "link", to + "/link", false));
    char text[8] = {};
    EXPECT_EQ(7, readlink((to + "/link").c_str(), text, sizeof text));
    EXPECT_EQ(ENOENT, moveCode(directory / "a", to + "/c", true));
    EXPECT_EQ(std::string::npos, directory.list().find_first_of("al")) << directory.list();
}

TEST_F(FileMove, RenamesWithinAFileSystem) {
    ASSERT_EQ(0, mkdir((directory / "t").c_str(), 0700));
    expectMoves(directory, directory / "t");
    EXPECT_EQ(0, moveCode(directory / "t", directory / "u", false));
    EXPECT_EQ("b link", directory.list("u"));
    EXPECT_EQ(EINVAL, moveCode(directory / "u", directory / "u/v", false));
    EXPECT_EQ(ENOENT, zoOS::fileMove(nullptr, nullptr, true).code());
    ASSERT_EQ(0, mkfifo((directory / "pipe").c_str(), 0600));
    EXPECT_EQ(ENOTSUP, moveCode(directory / "u/b", directory / "pipe", true));
    EXPECT_EQ("pipe u", directory.list());
    EXPECT_EQ("b link", directory.list("u"));
}

TEST_F(FileMove, RefusesAFileOntoItself) {
    writeFile(directory / "a", "content");
    ASSERT_EQ(0, link((directory / "a").c_str(), (directory / "hard").c_str()));
    ASSERT_EQ(0, symlink("a", (directory / "soft").c_str()));
    const char* const names[] = {"a", "hard", "soft"};
    for (const char* from : names)
        for (const char* to : names)
            EXPECT_EQ(EINVAL, moveCode(directory / from, directory / to, true));
    EXPECT_EQ("a hard soft", directory.list());
    EXPECT_EQ("content", contentOf(directory / "a"));
}

class FileMoveAcross : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(0, mkdir(other.c_str(), 0700));
        disk = std::make_unique<SmallDisk>(other, 1 << 20);
        if (!disk->mounted()) GTEST_SKIP() << "needs the right to mount a file system";
    }
    TemporaryDirectory directory;
    const std::string other = directory / "tmpfs";
    std::unique_ptr<SmallDisk> disk;
};

TEST_F(FileMoveAcross, CopiesAndDeletes) {
    writeFile(directory / "x", "x");
    ASSERT_EQ(0, chmod((directory / "x").c_str(), 04750));
    const timespec times[] = {{1000000000, 1}, {1100000000, 2}};
    ASSERT_EQ(0, utimensat(AT_FDCWD, (directory / "x").c_str(), times, 0));
    EXPECT_EQ(0, moveCode(directory / "x", other + "/x", false));
    struct stat status;
    ASSERT_EQ(0, stat((other + "/x").c_str(), &status));
    EXPECT_EQ(0104750u, status.st_mode);
    EXPECT_EQ(1100000000, status.st_mtim.tv_sec);
    EXPECT_EQ(0, unlink((other + "/x").c_str()));
    expectMoves(directory, other);
    ASSERT_EQ(0, mkdir((directory / "dir").c_str(), 0700));
    EXPECT_EQ(EXDEV, moveCode(directory / "dir", other + "/dir", false));
    EXPECT_EQ("b link", directory.list("tmpfs"));
}

TEST_F(FileMoveAcross, AFullDiskLosesNothing) {
    const std::string large(2 << 20, 'x');
    writeFile(directory / "large", large);
    writeFile(other + "/to", "before");
    for (const char* target : {"/to", "/new"}) {
        EXPECT_EQ(ENOSPC, moveCode(directory / "large", other + target, true));
        EXPECT_EQ(large, contentOf(directory / "large"));
        EXPECT_EQ("before", contentOf(other + "/to"));
        EXPECT_EQ("to", directory.list("tmpfs"));
    }
}

// Its writer has it open and would go on writing into nothing.
TEST_F(FileMoveAcross, AFileThatGrowsStays) {
    const std::string file = directory / "growing";
    for (int i = 0; i < 100; ++i) {
        writeFile(file, std::string(512 << 10, 'x'));
        std::atomic<bool> stop{false};
        std::thread writer([&] {
            const int out = open(file.c_str(), O_WRONLY | O_APPEND);
            for (int k = 0; k < 5000 && !stop; ++k) EXPECT_EQ(1, write(out, "y", 1));
            close(out);
        });
        const int code = moveCode(file, other + "/to", true);
        stop = true;
        writer.join();
        if (code == EBUSY) {
            EXPECT_LE(512u << 10, contentOf(file).size());
            EXPECT_EQ("", directory.list("tmpfs"));
            return;
        }
        ASSERT_EQ(0, code);
        ASSERT_EQ(0, unlink((other + "/to").c_str()));
    }
    FAIL() << "never noticed";
}

// A mounted file can be read but neither renamed nor deleted.
TEST_F(FileMoveAcross, AFileThatStaysIsNotMoved) {
    writeFile(directory / "a", "content");
    const std::string file = directory / "a";
    ASSERT_EQ(0, mount(file.c_str(), file.c_str(), nullptr, MS_BIND, nullptr));
    EXPECT_EQ(EBUSY, moveCode(file, other + "/new", false));
    EXPECT_EQ("", directory.list("tmpfs"));
    writeFile(other + "/old", "old");
    const zoUtil::Error error = zoOS::fileMove(file.c_str(), (other + "/old").c_str(), true);
    EXPECT_EQ(EBUSY, error.code());
    EXPECT_EQ(0u, error.message().str().find("copied")) << error.message();
    EXPECT_EQ("content", contentOf(file));
    EXPECT_EQ("content", contentOf(other + "/old"));
    EXPECT_EQ(0, umount2(file.c_str(), MNT_DETACH));
}

TEST(FileDelete, RemovesFilesAndLinksOnly) {
    const TemporaryDirectory directory;
    writeFile(directory / "a", "1");
    ASSERT_EQ(0, symlink("a", (directory / "link").c_str()));
    ASSERT_EQ(0, mkdir((directory / "d").c_str(), 0700));
    EXPECT_FALSE(zoOS::fileDelete((directory / "link").c_str()));
    EXPECT_EQ("a d", directory.list());
    EXPECT_FALSE(zoOS::fileDelete((directory / "a").c_str()));
    EXPECT_EQ(ENOENT, zoOS::fileDelete((directory / "a").c_str()).code());
    EXPECT_EQ(EISDIR, zoOS::fileDelete((directory / "d").c_str()).code());
    EXPECT_EQ(ENOENT, zoOS::fileDelete(nullptr).code());
    EXPECT_EQ("d", directory.list());
}

}  // namespace
