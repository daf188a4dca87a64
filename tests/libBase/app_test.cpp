// What could break: paths with too many or too few separators; programs looked for in the wrong
// places.
#include "Base/app.h"

#include <filesystem>

#include "Base/zo_os_filename.h"
#include "tests/support/test.h"

namespace {

namespace fs = std::filesystem;
const fs::path kOwn = fs::read_symlink("/proc/self/exe");

TEST(FilenameText, JoinPutsOneSeparatorBetween) {
    const char* cases[][3] = {
        {"/cache", "file", "/cache/file"},
        {"/cache/", "file", "/cache/file"},
        {"/cache", "//a", "/cache/a"},
        {"/", "file", "/file"},
        {"", "file", "file"},
        {"dir", "", "dir/"},
        {"C:\\w\\", "f", "C:\\w\\f"},
        {"C:\\w", "f", "C:\\w/f"},
    };
    for (const auto& [directory, name, joined] : cases)
        EXPECT_EQ(zoOS::Filename::join(directory, name).str(), joined) << directory;
}

TEST(BinaryPath, BesideTheExecutableUnlessADirectoryIsSet) {
    for (const std::string name : {"test_APP", "no such program", "..", ""})
        EXPECT_EQ(APP_getBinaryPath(name.c_str()).str(), kOwn.parent_path() / name);
    APP_setBinaryDirectory("/nonexistent");
    EXPECT_EQ(APP_getBinaryPath("sh").str(), "/nonexistent/sh");
    for (const char* none : {"", static_cast<const char*>(nullptr)}) {
        APP_setBinaryDirectory("/bin/");
        EXPECT_EQ(APP_getBinaryPath("sh").str(), "/bin/sh");
        APP_setBinaryDirectory(none);
        EXPECT_EQ(APP_getBinaryPath("sh").str(), kOwn.parent_path() / "sh");
    }
}

// A copy of this program stands alone in a directory; the programs are found from libBase.so.
TEST(BinaryPath, FoundFromThePlaceOfTheLibrary) {
    const fs::path root = mkdtemp(std::string("/tmp/app_test.XXXXXX").data());
    const fs::path library = kOwn.parent_path().parent_path() / "lib/libBase.so.0";
    const struct {
        const char *library, *program;
        bool found;
    } cases[] = {{"a/lib", "a/bin", true},
                 {"b/lib/x86_64-linux-gnu", "b/bin", true},
                 {"c/lib64", "c/libexec", true},
                 {"d/x/y/lib", "d/bin", false}};
    fs::create_directories(root / "app");
    fs::copy_file(kOwn, root / "app/copy");
    for (const auto& c : cases) {
        fs::create_directories(root / c.library);
        fs::create_directories(root / c.program);
        fs::copy_file(library, root / c.library / "libBase.so.0");
        fs::create_symlink("/bin/sh", root / c.program / "sh");
        const std::string expected = root / (c.found ? c.program : "app") / "sh";
        const std::string command = "LD_LIBRARY_PATH=" + (root / c.library).string() +
                                    " EXPECTED=" + expected + " " + (root / "app/copy").string() +
                                    " --gtest_filter=*Expected >/dev/null 2>&1";
        EXPECT_EQ(std::system(command.c_str()), 0) << command;
    }
    fs::remove_all(root);
}
TEST(BinaryPath, IsWhatTheTestAboveExpected) {
    const char* expected = std::getenv("EXPECTED");
    EXPECT_TRUE(expected == nullptr || APP_getBinaryPath("sh") == expected);
}

}  // namespace
