// What could break: a target that is half written or lost, a file copied onto itself, times, modes
// and holes that change on the way, temporary files that stay.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "Base/zo_os_file.h"
#include "Base/zo_os_moveable_memory.h"
#include "Base/zo_os_view.h"
#include "tests/support/child_process.h"
#include "tests/support/temporary_directory.h"
#include "tests/support/test.h"

namespace {

using namespace kelvo::test;
using FileCopy = InDirectory;

struct stat statusOf(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(0, lstat(path.c_str(), &status)) << path;
    return status;
}

int copyCode(const std::string& from, const std::string& to, bool overwrite) {
    const zoUtil::Error error = zoOS::fileCopy(from.c_str(), to.c_str(), overwrite);
    EXPECT_EQ(error.isError(), !error.message().isEmpty());
    return error.code();
}

TEST_F(FileCopy, KeepsContentModeAndTimes) {
    const timespec times[] = {{1000000000, 123456789}, {1100000000, 987654321}};
    std::string content;
    for (const std::size_t size : {0u, 1u, 4095u, 4096u, 70000u, 3000001u}) {
        SCOPED_TRACE(size);
        while (content.size() < size) content += static_cast<char>(content.size() * 31 >> 3);
        writeFile(directory / "from", content);
        ASSERT_EQ(0, chmod((directory / "from").c_str(), 0640));
        ASSERT_EQ(0, utimensat(AT_FDCWD, (directory / "from").c_str(), times, 0));
        ASSERT_EQ(0, copyCode(directory / "from", directory / "to", true));
        const struct stat status = statusOf(directory / "to");
        EXPECT_EQ(content, contentOf(directory / "to"));
        EXPECT_EQ(0100640u, status.st_mode);
        EXPECT_EQ(times[1].tv_sec, status.st_mtim.tv_sec);
        EXPECT_EQ(times[1].tv_nsec, status.st_mtim.tv_nsec);
        EXPECT_EQ("from to", directory.list());
    }
}

TEST_F(FileCopy, KeepsHoles) {
    const int file = open((directory / "from").c_str(), O_RDWR | O_CREAT, 0600);
    ASSERT_EQ(3, pwrite(file, "abc", 3, 20 << 20));
    ASSERT_EQ(0, ftruncate(file, 50 << 20));
    close(file);
    ASSERT_EQ(0, copyCode(directory / "from", directory / "to", false));
    EXPECT_EQ(50 << 20, statusOf(directory / "to").st_size);
    EXPECT_LE(statusOf(directory / "to").st_blocks, statusOf(directory / "from").st_blocks + 16);
    EXPECT_EQ(contentOf(directory / "from"), contentOf(directory / "to"));
}

// These differ in what they answer when they are asked for data and holes.
TEST_F(FileCopy, ReadsFilesThatTellNoSize) {
    for (const char* file : {"/proc/version", "/proc/self/cmdline", "/proc/sys/kernel/ostype",
                             "/sys/devices/system/cpu/possible"}) {
        SCOPED_TRACE(file);
        ASSERT_EQ(0, copyCode(file, directory / "to", true));
        EXPECT_EQ(contentOf(file), contentOf(directory / "to"));
        EXPECT_NE("", contentOf(directory / "to"));
    }
}

// So nothing can stay when the process dies meanwhile.
TEST_F(FileCopy, HasNoNameBeforeItIsComplete) {
    const int unnamed = open(directory.path().c_str(), O_RDWR | O_TMPFILE, 0600);
    if (unnamed < 0) GTEST_SKIP() << "the file system has no files without a name";
    close(unnamed);
    writeFile(directory / "from", std::string(4 << 20, 'x'));
    std::atomic<bool> stop{false};
    std::atomic<int> seen{0};
    std::string wrong;
    std::thread watcher([&] {
        for (; !stop; ++seen)
            if (const auto names = directory.list(); names != "from" && names != "from to")
                wrong = names;
    });
    for (int i = 0; i < 30 || seen < 30; ++i) {
        EXPECT_EQ(0, copyCode(directory / "from", directory / "to", false));
        unlink((directory / "to").c_str());
    }
    stop = true;
    watcher.join();
    EXPECT_EQ("", wrong);
}

TEST_F(FileCopy, RefusesAndLeavesAllAsItWas) {
    writeFile(directory / "a", "content");
    writeFile(directory / "other", "other");
    mkfifo((directory / "pipe").c_str(), 0600);
    ASSERT_EQ(0, mkdir((directory / "dir").c_str(), 0700));
    ASSERT_EQ(0, link((directory / "a").c_str(), (directory / "hard").c_str()));
    ASSERT_EQ(0, symlink("a", (directory / "soft").c_str()));
    const struct {
        const char* from;
        const char* to;
        bool overwrite;
        int code;
    } rows[] = {{"a", "a", true, EINVAL},        {"a", "dir/../a", true, EINVAL},
                {"a", "hard", true, EINVAL},     {"a", "soft", true, EINVAL},
                {"soft", "a", true, EINVAL},     {"soft", "hard", false, EINVAL},
                {"a", "other", false, EEXIST},   {"a", "dir", true, EISDIR},
                {"a", "dir", false, EEXIST},     {"dir", "b", true, EISDIR},
                {"pipe", "b", true, ENOTSUP},    {"absent", "b", true, ENOENT},
                {"absent", "a", true, ENOENT},   {"a", "no/b", true, ENOENT},
                {"a", "other/b", true, ENOTDIR}, {"a", "pipe", true, ENOTSUP},
                {"a", "pipe", false, EEXIST}};
    const std::string names = directory.list();
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.from << " to " << row.to);
        EXPECT_EQ(row.code, copyCode(directory / row.from, directory / row.to, row.overwrite));
        EXPECT_EQ("content", contentOf(directory / "a"));
        EXPECT_EQ("other", contentOf(directory / "other"));
        EXPECT_EQ(names, directory.list());
        EXPECT_EQ("", directory.list("dir"));
    }
    EXPECT_EQ(ENOENT, zoOS::fileCopy(nullptr, nullptr, true).code());
    EXPECT_EQ(ENOENT, zoOS::fileCopy((directory / "a").c_str(), nullptr, true).code());
}

TEST_F(FileCopy, ReplacesTheFileBehindALink) {
    writeFile(directory / "a", "new");
    ASSERT_EQ(0, mkdir((directory / "d").c_str(), 0700));
    writeFile(directory / "d/b", "old");
    ASSERT_EQ(0, symlink("d/b", (directory / "link").c_str()));
    EXPECT_EQ(0, copyCode(directory / "a", directory / "link", true));
    EXPECT_EQ("new", contentOf(directory / "d/b"));
    EXPECT_TRUE(S_ISLNK(statusOf(directory / "link").st_mode));
    ASSERT_EQ(0, symlink("absent", (directory / "dangling").c_str()));
    EXPECT_EQ(EEXIST, copyCode(directory / "a", directory / "dangling", false));
    EXPECT_EQ(0, copyCode(directory / "a", directory / "dangling", true));
    EXPECT_EQ("new", contentOf(directory / "dangling"));
}

TEST_F(FileCopy, ReadersSeeTheOldOrTheNewContent) {
    const std::string contents[] = {std::string(200000, 'a'), std::string(300000, 'b')};
    for (const auto& content : contents) writeFile(directory / content.substr(0, 1), content);
    writeFile(directory / "to", contents[0]);
    std::atomic<bool> stop{false};
    std::atomic<int> seen{0}, wrong{0};
    std::thread reader([&] {
        while (!stop) {
            const std::string now = contentOf(directory / "to");
            wrong += now != contents[0] && now != contents[1];
            ++seen;
        }
    });
    for (int i = 0; i < 60; ++i)
        EXPECT_EQ(0, copyCode(directory / (i % 2 ? "a" : "b"), directory / "to", true));
    stop = true;
    reader.join();
    EXPECT_EQ(0, wrong);
    EXPECT_LT(0, seen);
}

TEST_F(FileCopy, ALimitOfFileSizesIsAnError) {
    writeFile(directory / "large", std::string(300000, 'x'));
    writeFile(directory / "to", "before");
    EXPECT_TRUE(kelvo::test::passesInChild([&] {
        const rlimit limit{200000, 200000};
        ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &limit));
        EXPECT_EQ(EFBIG, copyCode(directory / "large", directory / "to", true));
        std::string name = directory / "scratch";
        EXPECT_EQ(-1, zoOS::createScratchFile(name.c_str(), 300000, 1));
        zoOS::MoveableMemory memory;
        zoOS::MoveableMemory::Handle handle = 0;
        ASSERT_TRUE(memory.initializeFiles(directory.path().c_str(), "store"));
        EXPECT_EQ(EFBIG, memory.allocate(300000, handle).code());
        EXPECT_FALSE(memory.allocate(30000, handle));
    }));
    EXPECT_EQ("before", contentOf(directory / "to"));
    EXPECT_EQ("large to", directory.list());
}

TEST_F(FileCopy, AFullDiskLeavesTheTarget) {
    ASSERT_EQ(0, mkdir((directory / "small").c_str(), 0700));
    const SmallDisk disk(directory / "small", 1 << 20);
    if (!disk.mounted()) GTEST_SKIP() << "needs the right to mount a file system";
    writeFile(directory / "large", std::string(2 << 20, 'x'));
    writeFile(directory / "small/to", "before");
    EXPECT_EQ(ENOSPC, copyCode(directory / "large", directory / "small/to", true));
    EXPECT_EQ("before", contentOf(directory / "small/to"));
    EXPECT_EQ("to", directory.list("small"));
}

}  // namespace
