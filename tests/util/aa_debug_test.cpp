// Where debug text ends up. Destination, indentation and the files opened so far are process-wide,
// so every case runs in a child; what could break is a file truncated or closed at the wrong time.
#include "KelvoBase/aa_debug.h"

#include <sys/stat.h>

#include "KelvoBase/ds_lists.h"
#include "tests/support/child_process.h"
#include "tests/support/temporary_directory.h"
#include "tests/support/test.h"

namespace kelvo::test {
namespace {

class DebugOutput : public testing::Test {
  protected:
    std::string path(const char* file) const { return folder_ / file; }
    std::string content(const char* file) const { return contentOf(path(file)); }
    void select(const char* file) const {
        AA_set_print_out(2, const_cast<char*>(path(file).c_str()));
    }

    const TemporaryDirectory folder_;
};

// How many descriptors of this process name the file.
int openCount(const std::string& path) {
    struct stat wanted, found;
    int count = 0;
    if (stat(path.c_str(), &wanted) != 0) return 0;
    for (int fd = 0; fd < 64; ++fd)
        count += fstat(fd, &found) == 0 && found.st_ino == wanted.st_ino &&
                 found.st_dev == wanted.st_dev;
    return count;
}

TEST_F(DebugOutput, DriveAndBackslashesReachTheRealFile) {
    std::string name = "C:" + path("a");
    std::replace(name.begin(), name.end(), '/', '\\');
    EXPECT_TRUE(passesInChild([&] {
        AA_set_print_out(2, name.data());
        AA_debug_print("text");
        const char* shown = nullptr;
        AA_get_print_out(&shown);
        EXPECT_STREQ(shown, name.c_str());
    }));
    EXPECT_EQ(content("a"), "text");
}

TEST_F(DebugOutput, StartsAtStandardErrorAndIndents) {
    const ChildResult child = runInChild([] {
        const char* name = "untouched";
        EXPECT_EQ(1, AA_get_print_out(&name));
        EXPECT_STREQ("untouched", name);
        EXPECT_EQ(4, AA_debug_print("%d-%s\n", 1, "x"));
        EXPECT_EQ(-1, AA_set_indent(-1));
        EXPECT_EQ(-1, AA_set_indent(-1));
        EXPECT_EQ(1, AA_indent());
        EXPECT_EQ(27, Aa_print_assert("f", 9, "m\n"));
        EXPECT_EQ(-2, AA_set_indent(-2));
        AA_indent();
        EXPECT_EQ(-5, AA_set_indent(-5));
        EXPECT_EQ(1, AA_indent());  // nothing
        AA_set_print_out(7, nullptr);
        EXPECT_EQ(7, AA_get_print_out(nullptr));
        AA_debug_print("any other mode\n");
    });
    EXPECT_EQ(0, child.exitCode);
    EXPECT_EQ("1-x\n            ASSERT (file f, line 9): m\n   any other mode\n", child.errors);
}

TEST_F(DebugOutput, FilesAreTruncatedOnceAndThenAppendedTo) {
    writeFile(path("a"), "old");
    EXPECT_TRUE(passesInChild([&] {
        select("a");
        EXPECT_EQ("old", content("a")) << "opened at the first print only";
        AA_debug_print("1");
        EXPECT_EQ("1", content("a")) << "flushed";
        select("b");
        EXPECT_EQ(0, openCount(path("a")));
        AA_debug_print("2");
        select("a");
        AA_debug_print("3");
        select("a");  // again: closed, and appended to
        EXPECT_EQ(0, openCount(path("a")));
        AA_debug_print("4");
        AA_set_print_out(3, nullptr);  // keeps the file, and closes it as well
        EXPECT_EQ(0, openCount(path("a")));
        const char* name = nullptr;
        EXPECT_EQ(2, AA_get_print_out(&name));
        EXPECT_EQ(path("a"), name);
        AA_debug_print("5");
        EXPECT_EQ(1, openCount(path("a")));
        AA_set_print_out(0, nullptr);
        EXPECT_EQ(0, openCount(path("a")));
        EXPECT_EQ(0, AA_get_print_out(&name));
        EXPECT_EQ("1345", content("a"));
        EXPECT_EQ("2", content("b"));
    }));
}

// Whatever kind 2 is, and when ever it is registered.
TEST_F(DebugOutput, FilesAreRememberedWhateverIsRegistered) {
    for (const int when : {0, 1}) {
        EXPECT_TRUE(passesInChild([&] {
            int status = 0;
            if (when == 0) Ds_register_structure(2, Ds_dlist_get_methods(), &status);
            select("a");
            AA_debug_print("1");
            if (when == 1) Ds_register_structure(2, Ds_dlist_get_methods(), &status);
            select("b");
            select("a");
            AA_debug_print("2");
            EXPECT_EQ("12", content("a"));
        }));
    }
}

TEST_F(DebugOutput, FileThatCannotBeOpenedSwallowsText) {
    EXPECT_TRUE(passesInChild([&] {
        select("missing/a");
        EXPECT_EQ(0, AA_debug_print("lost"));
        EXPECT_EQ(2, AA_get_print_out(nullptr));
        mkdir(path("missing").c_str(), 0700);
        EXPECT_EQ(0, AA_debug_print("lost as well"));
        select("b");
        select("missing/a");
        EXPECT_EQ(4, AA_debug_print("kept"));
        EXPECT_EQ("kept", content("missing/a"));
    }));
}

TEST_F(DebugOutput, StreamsOfCallersAreNeverClosed) {
    EXPECT_TRUE(passesInChild([&] {
        FILE* stream = std::fopen(path("a").c_str(), "w");
        AA_set_print_out(3, stream);
        EXPECT_EQ(3, AA_get_print_out(nullptr));
        AA_debug_print("1");
        EXPECT_EQ("1", content("a")) << "flushed";
        select("b");
        AA_set_print_out(3, stream);
        AA_debug_print("2");
        AA_set_print_out(1, nullptr);
        EXPECT_EQ(0, std::fclose(stream));
        EXPECT_EQ("12", content("a"));
        EXPECT_EQ("a", folder_.list());
    }));
}

TEST_F(DebugOutput, NullNameIsRefusedAtTheOldPlace) {
    EXPECT_TRUE(passesInChild([&] {
        select("a");
        AA_debug_print("1\n");
        AA_set_indent(1);
        AA_set_print_out(2, nullptr);
        EXPECT_EQ(1, openCount(path("a"))) << "nothing changes";
        EXPECT_EQ("1\n   Cannot open debug output file\n", content("a"));
    }));
}

TEST(Traces, AreInert) {
    TdebugTrace trace(1, "name", "text"), other(2, "", nullptr);
    trace = other;
    EXPECT_EQ(0, trace.on());
    TdbgCbRegister callback("name", [](char*) { FAIL(); }), another("", nullptr);
    callback = another;
}

}  // namespace
}  // namespace kelvo::test
