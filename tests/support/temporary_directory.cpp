#include "tests/support/temporary_directory.h"

#include <sched.h>
#include <sys/mount.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <thread>

namespace kelvo::test {
namespace {

namespace fs = std::filesystem;

void change(const std::string& name, const char* value) {
    if (value != nullptr)
        setenv(name.c_str(), value, 1);
    else
        unsetenv(name.c_str());
}

// A view of the mounts that nobody else shares.
bool ownMounts() {
    static const bool done =
        unshare(CLONE_NEWNS) == 0 && mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
    return done;
}

}  // namespace

TemporaryDirectory::TemporaryDirectory()
    : path_((fs::temp_directory_path() / "kelvo_test_XXXXXX").string()) {
    if (mkdtemp(path_.data()) == nullptr) std::abort();
}

// A server that a test left behind may write its last file meanwhile.
TemporaryDirectory::~TemporaryDirectory() {
    std::error_code error;
    for (int attempt = 0; attempt < 100; ++attempt) {
        fs::remove_all(path_, error);
        if (!error) return;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

std::string TemporaryDirectory::list(const std::string& below) const {
    std::set<std::string> names;
    for (const fs::directory_entry& entry : fs::directory_iterator(path_ + "/" + below))
        names.insert(entry.path().filename().string());
    std::string all;
    for (const std::string& name : names) all += (all.empty() ? "" : " ") + name;
    return all;
}

SmallDisk::SmallDisk(const std::string& path, std::uint64_t bytes) : path_(path) {
    const std::string size = "size=" + std::to_string(bytes);
    mounted_ = ownMounts() && mount("tmpfs", path.c_str(), "tmpfs", 0, size.c_str()) == 0;
}

SmallDisk::~SmallDisk() {
    if (mounted_) umount2(path_.c_str(), MNT_DETACH);
}

std::string contentOf(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void writeFile(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
}

ScopedVariable::ScopedVariable(const char* name, const char* value) : name_(name) {
    const char* before = std::getenv(name);
    wasSet_ = before != nullptr;
    if (wasSet_) before_ = before;
    change(name_, value);
}

ScopedVariable::~ScopedVariable() {
    change(name_, wasSet_ ? before_.c_str() : nullptr);
}

}  // namespace kelvo::test
