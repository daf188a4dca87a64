// The library and its server program as they ship. What could break: what one side takes for
// granted of the other, when servers die, hang, or serve another directory.
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "Base/app.h"
#include "KelvoBase/file_cache.h"
#include "tests/support/temporary_directory.h"

namespace {

namespace fs = std::filesystem;
using zo::Reference;
using zoKelvoBase::FileCache;
using zoKelvoBase::FileCacheItem;
using Clock = std::chrono::steady_clock;

// Servers that this process has started and that still run.
std::vector<pid_t> servers() {
    std::vector<pid_t> found;
    for (const auto& entry : fs::directory_iterator("/proc")) {
        const std::string name = entry.path().filename();
        if (name.find_first_not_of("0123456789") != std::string::npos) continue;
        std::ifstream status(entry.path() / "stat");
        std::string pid, program, state;
        pid_t parent = 0;
        status >> pid >> program >> state >> parent;
        if (parent == getpid() && program == "(zocached)" && state != "Z")
            found.push_back(std::stoi(name));
    }
    return found;
}

class Together : public testing::Test {
  protected:
    Together() { APP_setBinaryDirectory(SERVER_PROGRAMS); }
    ~Together() override {
        for (const pid_t pid : servers()) kill(pid, SIGKILL);
        while (!servers().empty()) usleep(1000);
        APP_setBinaryDirectory(nullptr);
    }

    static void open(FileCache& cache, const kelvo::test::TemporaryDirectory& directory) {
        const zoUtil::Error error = cache.initialize(directory.path(), 0, 0);
        EXPECT_FALSE(error) << error.message();
    }
    static Reference<FileCacheItem> put(FileCache& cache, const char* key, const char* content) {
        const zoString::CString path = cache.generatePath();
        kelvo::test::writeFile(path.str(), content);
        return cache.add(key, path);
    }
    static std::string contentAt(const Reference<FileCacheItem>& item) {
        return item ? kelvo::test::contentOf(item->path().str()) : "none";
    }

    kelvo::test::TemporaryDirectory directory;
};

TEST_F(Together, ShareWhatOneOfThemAdds) {
    FileCache first, second;
    open(first, directory);
    open(second, directory);
    EXPECT_EQ(servers().size(), 1U);
    Reference<FileCacheItem> mine = put(first, "k", "content");
    Reference<FileCacheItem> theirs = second.find("k");
    EXPECT_EQ(contentAt(theirs), "content");
    const std::string path = theirs->path().str();
    first.remove(std::move(mine));
    EXPECT_EQ(contentAt(theirs), "content");  // the second one holds it
    theirs.reset();
    EXPECT_EQ(second.find("k"), nullptr);
    for (int i = 0; i < 500 && fs::exists(path); ++i) usleep(10000);
    EXPECT_FALSE(fs::exists(path));
}

TEST_F(Together, KilledServersAreReplaced) {
    FileCache cache;
    for (int round = 0; round < 3; ++round) {
        open(cache, directory);
        EXPECT_EQ(contentAt(cache.find("k")), round == 0 ? "none" : "content");
        const Reference<FileCacheItem> item = put(cache, "k", "content");
        EXPECT_TRUE(item);
        for (const pid_t pid : servers()) kill(pid, SIGKILL);
        EXPECT_EQ(cache.find("other"), nullptr);
        EXPECT_EQ(contentAt(item), "content");
    }
}

// A port passes on: what the lock file names may be the server of another directory.
TEST_F(Together, LockFileThatNamesAnotherDirectorysServer) {
    const kelvo::test::TemporaryDirectory other;
    FileCache theirs, ours;
    open(theirs, other);
    fs::copy_file(other / "lockfile.lck", directory / "lockfile.lck");
    open(ours, directory);
    EXPECT_EQ(contentAt(put(ours, "k", "content")), "content");
    EXPECT_EQ(contentAt(theirs.find("k")), "none");
}

TEST_F(Together, HangingServersHoldNobodyUp) {
    FileCache first, second;
    open(first, directory);
    for (const pid_t pid : servers()) kill(pid, SIGSTOP);
    const auto begin = Clock::now();
    second.initialize(directory.path(), 0, 0);  // an error or a new server, but an answer
    EXPECT_LT(Clock::now() - begin, std::chrono::seconds(12));
    for (const pid_t pid : servers()) kill(pid, SIGCONT);
    open(second, directory);
    EXPECT_EQ(contentAt(put(second, "k", "content")), "content");
}

}  // namespace
