#include "fuzz/fake_files.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <numeric>

namespace kelvo::fuzz {
namespace {

FakeFiles* g_files = nullptr;  // borrowed; null: the system answers

int answer(int error) {
    if (error == 0) return 0;
    errno = error;
    return -1;
}

int describe(const char* path, struct stat* status) {
    const int error = g_files->ask(path);
    if (error == 0) {
        *status = {};
        const std::string text = path;
        status->st_mode = (text.back() == '/' ? S_IFDIR : S_IFREG) | S_IRWXU;
    }
    return answer(error);
}

}  // namespace

bool fakeFileExists(const std::string& path) {
    const auto sum = std::accumulate(path.begin(), path.end(), 0u);
    return !path.empty() && path.size() < PATH_MAX && sum % 4 == 0;
}

FakeFiles::FakeFiles() {
    g_files = this;
}

FakeFiles::~FakeFiles() {
    g_files = nullptr;
}

int FakeFiles::ask(const char* path) {
    asked_ = path;
    if (asked_.size() >= PATH_MAX) return ENAMETOOLONG;
    return fakeFileExists(asked_) ? 0 : ENOENT;
}

}  // namespace kelvo::fuzz

// The linker puts these in the place of the system's calls (--wrap).
extern "C" {

int __real_stat(const char* path, struct stat* status);
int __real_lstat(const char* path, struct stat* status);
int __real_mkdir(const char* path, mode_t mode);
int __real_faccessat(int directory, const char* path, int rights, int flags);

int __wrap_stat(const char* path, struct stat* status) {
    return kelvo::fuzz::g_files == nullptr ? __real_stat(path, status)
                                           : kelvo::fuzz::describe(path, status);
}

int __wrap_lstat(const char* path, struct stat* status) {
    return kelvo::fuzz::g_files == nullptr ? __real_lstat(path, status)
                                           : kelvo::fuzz::describe(path, status);
}

int __wrap_mkdir(const char* path, mode_t mode) {
    return kelvo::fuzz::g_files == nullptr ? __real_mkdir(path, mode) : kelvo::fuzz::answer(EACCES);
}

int __wrap_faccessat(int directory, const char* path, int rights, int flags) {
    return kelvo::fuzz::g_files == nullptr ? __real_faccessat(directory, path, rights, flags)
                                           : kelvo::fuzz::answer(kelvo::fuzz::g_files->ask(path));
}

}  // extern "C"
