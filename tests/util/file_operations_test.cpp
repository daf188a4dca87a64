// What could break: wrong files, separators at the end, listings that lose or double a name,
// positions of another listing.
#include "KelvoBase/file_operations.h"

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <type_traits>

#include "KelvoBase/win32_directory.h"
#include "tests/support/test.h"
#include "tests/util/sandbox.h"

namespace {

using namespace kelvo::test;

static_assert(std::is_same_v<DIR, win32_DIR>);

// Allocations until memory has run out; negative: never.
long g_allocationsLeft = -1;

}  // namespace

// The library allocates with these, as the linker prefers ours.
[[gnu::noinline]] void* operator new(std::size_t size) {
    void* const block = g_allocationsLeft == 0 ? nullptr : std::malloc(size);
    if (block == nullptr) throw std::bad_alloc();
    if (g_allocationsLeft > 0) --g_allocationsLeft;
    return block;
}
[[gnu::noinline]] void operator delete(void* block) noexcept {
    std::free(block);
}
[[gnu::noinline]] void operator delete(void* block, std::size_t /*size*/) noexcept {
    std::free(block);
}

namespace {

TEST(FileExists, TellsTheType) {
    const Sandbox sandbox;
    sandbox.file("dir/file");
    ASSERT_EQ(0, symlink((sandbox / "dir").c_str(), (sandbox / "link").c_str()));
    ASSERT_EQ(0, symlink("nowhere", (sandbox / "broken").c_str()));
    ASSERT_EQ(0, mkfifo((sandbox / "pipe").c_str(), 0600));
    const struct {
        const char* path;
        int type;
    } kRows[] = {
        {"C:\\dir", 0x4000},
        {"C:\\dir\\", 0x4000},
        {"C:\\dir/", 0x4000},
        {"C:\\dir\\file", 0x8000},
        {"c:/dir/file", 0x8000},
        {"C:\\dir\\file\\", 0x8000},
        {"C:\\dir\\file\\\\", 0},
        {"C:", 0x4000},
        {"C:\\", 0x4000},
        {"\\", 0x4000},
        {"\\dir\\", 0x4000},
        {"/", 0x4000},
        {"C:\\link", 0x4000},
        {"C:\\link\\file", 0x8000},
        {"C:\\broken", 0},
        {"C:\\pipe", 0x1000},
        {"C:\\none", 0},
        {"C:\\dir\\file\\x", 0},
        {"", 0},
        {"x:", 0x4000},
        {"::", 0},
    };
    for (const auto& row : kRows) EXPECT_EQ(row.type, FB_FileExists(row.path)) << row.path;
    EXPECT_EQ(0, FB_FileExists(nullptr));
    EXPECT_EQ(0, FB_FileExists(("C:\\" + std::string(100000, 'n')).c_str()));
}

TEST(FileOperations, AnswerOneForWhatIsDone) {
    const Sandbox sandbox;
    sandbox.file("a", "one");
    sandbox.file("b", "two");
    for (auto* operation : {zoFileCopy, zoFileMove}) {
        EXPECT_EQ(1, operation("C:\\a", "C:\\c", false));
        EXPECT_EQ(0, operation("C:\\b", "C:\\c", false));
        EXPECT_EQ("one", contentOf(sandbox / "c"));
        EXPECT_EQ(1, operation("C:\\b", "\\c", true));
        EXPECT_EQ("two", contentOf(sandbox / "c"));
        EXPECT_EQ(0, operation("C:\\none", "C:\\e", true));
        EXPECT_EQ(0, operation("C:\\work", nullptr, true));
        EXPECT_EQ(0, operation(nullptr, "C:\\e", true));
        sandbox.file("b", "two");
        EXPECT_EQ(1, zoFileDelete("c:c"));
    }
    EXPECT_EQ("b work", sandbox.list(""));
    EXPECT_EQ(0, zoFileDelete("C:\\work"));
    EXPECT_EQ(0, zoFileDelete(nullptr));
}

// Wherever memory runs out: the answer is true, the target is whole, and no other file stays.
TEST(FileOperations, TellTheTruthWithoutMemory) {
    const Sandbox sandbox;
    const std::string from = sandbox / "d/a name too long to be kept", to = sandbox / "d/to";
    for (const bool moves : {false, true})
        for (const bool overwrite : {false, true}) {
            int done = 0, failed = 0;
            for (int allocations = 0; done == 0; ++allocations) {
                sandbox.file("d/a name too long to be kept", "new");
                std::filesystem::remove(to);
                if (overwrite) sandbox.file("d/to", "old");
                g_allocationsLeft = allocations;
                done = (moves ? zoFileMove : zoFileCopy)(from.c_str(), to.c_str(), overwrite);
                g_allocationsLeft = -1;
                failed += 1 - done;
                const std::string kept = moves && done ? "" : "a name too long to be kept";
                const std::string there = done || overwrite ? "to" : "";
                EXPECT_EQ(kept + (kept.empty() || there.empty() ? "" : " ") + there,
                          sandbox.list("d"))
                    << moves << overwrite << allocations;
                if (!there.empty()) {
                    EXPECT_EQ(done ? "new" : "old", contentOf(to));
                }
            }
            EXPECT_LT(0, failed);
        }
}

// Opens a copy of the path, as opening may append to it.
win32_DIR* openDirectory(const std::string& path) {
    std::string room = path + std::string(4, '\0');
    return win32_opendir(room.data());
}

std::vector<std::string> namesFrom(win32_DIR* directory) {
    std::vector<std::string> names;
    while (const win32_dirent* const entry = win32_readdir(directory)) {
        names.emplace_back(entry->d_name);
        EXPECT_EQ(names.back().size(), static_cast<std::size_t>(entry->d_namlen));
    }
    return names;
}

// From one name to listings whose block has grown several times.
TEST(Directory, GivesEveryNameOnceTheDotsFirst) {
    const Sandbox sandbox;
    std::set<std::string> expected;
    for (const std::size_t count : {0u, 1u, 200u, 3000u}) {
        while (expected.size() < count) {
            const std::string name =
                std::string(1 + expected.size() % 250, 'n') + std::to_string(expected.size());
            if (name.size() > 255) break;
            sandbox.file("dir/" + name);
            expected.insert(name);
        }
        std::filesystem::create_directories(sandbox / "dir");
        win32_DIR* const directory = openDirectory("C:\\dir\\");
        ASSERT_NE(nullptr, directory);
        EXPECT_EQ(count + 2, static_cast<std::size_t>(directory->count));
        sandbox.file("late");
        const std::vector<std::string> names = namesFrom(directory);
        ASSERT_EQ(count + 2, names.size());
        EXPECT_EQ(".", names[0]);
        EXPECT_EQ("..", names[1]);
        EXPECT_EQ(expected, std::set<std::string>(names.begin() + 2, names.end()));
        EXPECT_EQ(nullptr, win32_readdir(directory));
        EXPECT_EQ(1, win32_closedir(directory));
    }
}

TEST(Directory, GoesBackToPositions) {
    const Sandbox sandbox;
    for (const char* name : {"a", "bb", "ccc"}) sandbox.file(std::string("dir/") + name);
    win32_DIR* const directory = openDirectory("C:\\dir");
    ASSERT_NE(nullptr, directory);
    std::vector<long> positions;
    std::vector<std::string> names;
    for (;;) {
        positions.push_back(win32_telldir(directory));
        const win32_dirent* const entry = win32_readdir(directory);
        if (entry == nullptr) break;
        names.emplace_back(entry->d_name);
    }
    ASSERT_EQ(6u, positions.size());
    EXPECT_EQ(0, positions[5]);
    for (const std::size_t i : {3u, 0u, 5u, 4u, 1u, 2u}) {
        win32_seekdir(directory, positions[i]);
        EXPECT_EQ(positions[i], win32_telldir(directory));
        EXPECT_EQ(std::vector(names.begin() + static_cast<long>(i), names.end()),
                  namesFrom(directory));
    }
    win32_rewinddir(directory);
    EXPECT_EQ(names, namesFrom(directory));
    for (const long wild : {1L, -1L, positions[0] - 1, positions[0] + directory->size}) {
        win32_rewinddir(directory);
        win32_seekdir(directory, wild);
        EXPECT_EQ(nullptr, win32_readdir(directory));
        EXPECT_EQ(0, win32_telldir(directory));
    }
    win32_closedir(directory);
}

TEST(Directory, CountsEntriesOfAllHandles) {
    const Sandbox sandbox;
    win32_DIR* const first = openDirectory("C:\\work");
    win32_DIR* second = openDirectory("C:\\work");
    ASSERT_TRUE(first != nullptr && second != nullptr);
    const win32_dirent* const record = win32_readdir(first);
    int serial = record->d_ino;
    EXPECT_EQ(++serial, win32_readdir(second)->d_ino);
    EXPECT_EQ(++serial, win32_readdir(second)->d_ino);
    EXPECT_EQ(++serial, win32_readdir(second)->d_ino);
    EXPECT_EQ(nullptr, win32_readdir(second));  // the end uses up none
    EXPECT_EQ(record, win32_readdir(first));
    EXPECT_EQ(++serial, record->d_ino);
    win32_closedir(second);
    second = openDirectory("C:\\work");
    EXPECT_EQ(++serial, win32_readdir(second)->d_ino);
    win32_closedir(second);
    win32_closedir(first);
}

TEST(Directory, OpensDrivesAndPathsOf260Characters) {
    const Sandbox sandbox;
    char drive[4] = "C:";
    win32_DIR* directory = win32_opendir(drive);
    ASSERT_NE(nullptr, directory);
    EXPECT_STREQ("C:\\", drive);
    const std::vector<std::string> names = namesFrom(directory);
    EXPECT_EQ(1, std::count(names.begin(), names.end(), "work"));
    win32_closedir(directory);
    std::string path = "C:\\";
    while (path.size() < 260) path += path.size() % 2 ? '.' : '\\';
    directory = openDirectory(path.replace(259, 1, "\\"));
    EXPECT_NE(nullptr, directory);
    win32_closedir(directory);
    EXPECT_EQ(nullptr, openDirectory(path + "\\"));
}

TEST(Directory, RefusesWhatIsNone) {
    const Sandbox sandbox;
    sandbox.file("file");
    for (const char* path : {"C:\\file", "C:\\none", "C:\\file\\x", ""})
        EXPECT_EQ(nullptr, openDirectory(path)) << path;
    char bad[4] = "::";  // changed before it is looked at
    EXPECT_EQ(nullptr, win32_opendir(bad));
    EXPECT_STREQ("::\\", bad);
    EXPECT_EQ(nullptr, win32_opendir(nullptr));
    EXPECT_EQ(nullptr, win32_readdir(nullptr));
    EXPECT_EQ(0, win32_telldir(nullptr));
    win32_seekdir(nullptr, 1);
    win32_rewinddir(nullptr);
    EXPECT_EQ(1, win32_closedir(nullptr));
}

}  // namespace
