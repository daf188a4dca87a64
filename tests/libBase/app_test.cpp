// What could break: paths with too many or too few separators; programs looked for in the wrong
// places.
#include "Base/app.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "Base/zo_os_filename.h"

namespace {

using zoOS::Filename;
namespace fs = std::filesystem;

TEST(FilenameText, JoinPutsOneSeparatorBetween) {
    const struct {
        const char *directory, *name, *joined;
    } cases[] = {
        {"/cache", "file", "/cache/file"},
        {"/cache/", "file", "/cache/file"},
        {"/cache", "/file", "/cache/file"},
        {"/cache/", "//a/b", "/cache/a/b"},
        {"/", "file", "/file"},
        {"", "file", "file"},
        {"", "/file", "/file"},
        {"dir", "", "dir/"},
        {"C:\\work\\", "file", "C:\\work\\file"},
        {"C:\\work", "file", "C:\\work/file"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Filename::join(c.directory, c.name).str(), c.joined)
            << c.directory << " with " << c.name;
    }
    EXPECT_EQ(Filename::separator(), '/');
    EXPECT_TRUE(Filename().isEmpty());
    EXPECT_EQ(Filename("/a b").path().str(), "/a b");
}

TEST(BinaryPath, BesideTheExecutableBeforeTheLibrary) {
    const fs::path own = fs::read_symlink("/proc/self/exe");
    EXPECT_EQ(APP_getBinaryPath(own.filename().c_str()).str(), own.string());
    EXPECT_EQ(APP_getBinaryPath("no such program").str(), own.parent_path() / "no such program");
    // A directory of that name is no program.
    EXPECT_EQ(APP_getBinaryPath("..").str(), own.parent_path() / "..");
    EXPECT_EQ(APP_getBinaryPath(nullptr).str(), own.parent_path().string() + "/");
}

// The executable stands alone in another directory; the programs are found from libBase.so.
TEST(BinaryPath, FoundFromThePlaceOfTheLibrary) {
    char name[] = "/tmp/app_test.XXXXXX";
    ASSERT_NE(mkdtemp(name), nullptr);
    const fs::path root(name), own = fs::read_symlink("/proc/self/exe");
    const fs::path library = own.parent_path().parent_path() / "lib" / "libBase.so.0";
    ASSERT_TRUE(fs::exists(library));
    const struct {
        const char *library, *program;
        bool found;
    } cases[] = {
        {"a/lib", "a/bin", true},       {"b/lib/x86_64-linux-gnu", "b/bin", true},
        {"c/lib64", "c/libexec", true}, {"d/lib/x86_64-linux-gnu", "d/libexec", true},
        {"e/x/y/lib", "e/bin", false},
    };
    fs::create_directories(root / "app");
    fs::copy_file(own, root / "app/application");
    for (const auto& c : cases) {
        SCOPED_TRACE(c.library);
        const fs::path program = root / c.program / "sh";
        fs::create_directories(root / c.library);
        fs::create_directories(program.parent_path());
        fs::copy_file(library, root / c.library / "libBase.so.0");
        fs::create_symlink("/bin/sh", program);
        const std::string expected = c.found ? program.string() : (root / "app/sh").string();
        const std::string command = "LD_LIBRARY_PATH=" + (root / c.library).string() +
                                    " EXPECT_SH=" + expected + " " +
                                    (root / "app/application").string() +
                                    " --gtest_also_run_disabled_tests "
                                    "--gtest_filter=*LookedForBy* >/dev/null 2>&1";
        EXPECT_EQ(std::system(command.c_str()), 0) << command;
    }
    fs::remove_all(root);
}
TEST(BinaryPath, DISABLED_LookedForByTheTestAbove) {
    const char* expected = std::getenv("EXPECT_SH");
    ASSERT_NE(expected, nullptr);
    EXPECT_EQ(APP_getBinaryPath("sh").str(), expected);
}

TEST(BinaryPath, TheDirectorySetIsTakenAsItIs) {
    APP_setBinaryDirectory("/nonexistent");
    EXPECT_EQ(APP_getBinaryPath("sh").str(), "/nonexistent/sh");
    APP_setBinaryDirectory("/bin/");
    EXPECT_EQ(APP_getBinaryPath("sh").str(), "/bin/sh");
    for (const char* none : {"", static_cast<const char*>(nullptr)}) {
        APP_setBinaryDirectory("/bin");
        APP_setBinaryDirectory(none);
        EXPECT_NE(APP_getBinaryPath("sh").str(), "/bin/sh");
    }
}

}  // namespace
