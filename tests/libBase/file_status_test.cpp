// What could break: a missing file taken for an error or the other way round, root's rights taken
// for a writable directory, names lost while a directory is read.
#include <dirent.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Base/zo_os_file.h"
#include "tests/support/temporary_directory.h"
#include "tests/support/test.h"

namespace {

using namespace kelvo::test;
using zoOS::File;
using zoOS::FileStatus;
using FileQuery = InDirectory;

TEST_F(FileQuery, TellsTheKindAndSize) {
    writeFile(directory / "file", "12345");
    mkfifo((directory / "pipe").c_str(), 0600);
    ASSERT_EQ(0, symlink("file", (directory / "link").c_str()));
    ASSERT_EQ(0, symlink("absent", (directory / "dangling").c_str()));
    const struct {
        std::string path;
        bool ofLink;
        unsigned type;
        int size;
    } rows[] = {{directory / "file", false, 0x8000, 5},
                {directory / "link", false, 0x8000, 5},
                {directory / "link", true, 0xA000, 4},
                {directory.path(), false, 0x4000, -1},
                {directory / "pipe", false, 0x1000, 0},
                {"/dev/null", false, 0x2000, 0},
                {directory / "absent", false, 0, 0},
                {directory / "dangling", false, 0, 0},
                {directory / "dangling", true, 0xA000, 6},
                {directory / "file/x", false, 0, 0},
                {"", false, 0, 0}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.path);
        FileStatus status;
        EXPECT_FALSE(File(row.path).query(status, row.ofLink));
        EXPECT_EQ(row.type, status.type());
        EXPECT_EQ(row.type != 0, status.exists());
        EXPECT_EQ(row.type == 0x4000, status.isDirectory());
        EXPECT_EQ(row.type == 0x8000, status.isFile());
        if (row.size >= 0) {
            EXPECT_EQ(row.size, status.size());
        }
    }
}

TEST_F(FileQuery, WhatCannotBeLookedAtIsAnError) {
    ASSERT_EQ(0, symlink("loop", (directory / "loop").c_str()));
    const struct {
        std::string path;
        int code;
    } rows[] = {{directory / std::string(256, 'a'), ENAMETOOLONG},
                {std::string(5000, '/') + "tmp", ENAMETOOLONG},
                {directory / "loop", ELOOP}};
    for (const auto& row : rows) {
        writeFile(directory / "file", "x");
        FileStatus status;
        ASSERT_FALSE(File(directory / "file").query(status, false));
        const zoUtil::Error error = File(row.path).query(status, false);
        EXPECT_EQ(row.code, error.code());
        EXPECT_NE(std::string::npos, error.message().str().find(row.path));
        EXPECT_FALSE(status.exists() || status.isFile() || status.isWritable() || status.size());
    }
}

TEST_F(FileQuery, PermissionBitsCountForRootToo) {
    for (const mode_t mode : {0555u, 0500u, 0755u, 0700u}) {
        SCOPED_TRACE(mode);
        const std::string path = directory / std::to_string(mode);
        ASSERT_EQ(0, mkdir(path.c_str(), 0700));
        ASSERT_EQ(0, chmod(path.c_str(), mode));
        FileStatus status;
        EXPECT_FALSE(File(zoString::IString(path.c_str())).query(status, false));
        EXPECT_EQ((mode & 0200) != 0, status.isWritable());
    }
}

TEST_F(FileQuery, NobodyMayWriteToAReadOnlyDisk) {
    const SmallDisk disk(directory.path(), 1 << 20);
    if (!disk.mounted()) GTEST_SKIP() << "needs the right to mount a file system";
    writeFile(directory / "file", "x");
    FileStatus status;
    for (const unsigned long readOnly : {0ul, 0ul + MS_RDONLY}) {
        ASSERT_EQ(0, mount(nullptr, directory.path().c_str(), nullptr, MS_REMOUNT | readOnly, ""));
        for (const std::string& path : {directory.path(), directory / "file"}) {
            EXPECT_FALSE(File(path).query(status, false));
            EXPECT_EQ(readOnly == 0, status.isWritable()) << path;
        }
    }
}

TEST(MakeDirectory, MakesAllThatIsMissing) {
    const TemporaryDirectory directory;
    writeFile(directory / "file", "x");
    for (const char* name : {"a", "a/b/c/d", "a/b/c/d", "e//f/", "g/../h", "\\i\\j"})
        EXPECT_FALSE(File(directory.path() + "/" + name).makeDirectoryAll()) << name;
    EXPECT_EQ("a e file g h i", directory.list());
    EXPECT_EQ("d", directory.list("a/b/c"));
    EXPECT_EQ("f", directory.list("e"));
    EXPECT_EQ("j", directory.list("i"));
    EXPECT_EQ(ENOTDIR, File(directory / "file").makeDirectoryAll().code());
    EXPECT_EQ(ENOTDIR, File(directory / "file/x/y").makeDirectoryAll().code());
    EXPECT_EQ(ENOENT, File(zoString::CString()).makeDirectoryAll().code());
    EXPECT_EQ(ENAMETOOLONG, File(directory / std::string(300, 'x')).makeDirectoryAll().code());
    EXPECT_NE(0, File(directory / std::string(100000, '/') + "x").makeDirectoryAll().code());
    EXPECT_FALSE(zoOS::makeDirectory((directory / "one").c_str()));
    EXPECT_EQ(EEXIST, zoOS::makeDirectory((directory / "one").c_str()).code());
    EXPECT_EQ(ENOENT, zoOS::makeDirectory((directory / "no/one").c_str()).code());
    EXPECT_EQ(ENOENT, zoOS::makeDirectory(nullptr).code());
}

// Full listings are looked at through those of win32_directory.h.
TEST(DirectorySearch, EndsAndStartsAgain) {
    const TemporaryDirectory directory;
    writeFile(directory / "...", "");
    zoOS::DirectorySearch search;
    EXPECT_EQ(nullptr, search.next());
    for (int round = 0; round < 2; ++round) {
        ASSERT_FALSE(search.open(directory.path().c_str()));
        for (const char* name : {".", "..", "..."}) EXPECT_STREQ(name, search.next());
        EXPECT_EQ(nullptr, search.next());
        EXPECT_EQ(nullptr, search.next());
    }
    ASSERT_FALSE(search.open(directory.path().c_str()));
    EXPECT_STREQ(".", search.next());
    EXPECT_EQ(ENOTDIR, search.open((directory / "...").c_str()).code());
    EXPECT_EQ(nullptr, search.next());
    EXPECT_EQ(ENOENT, search.open((directory / "absent").c_str()).code());
    EXPECT_EQ(ENOENT, search.open(nullptr).code());
}

}  // namespace
