// Asking about files and directories, and making directories.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "Base/zo_os_file.h"
#include "Base/zo_os_path.h"
#include "libBase/zoOS/posix/system_error.h"

using kelvo::zoos::systemError;
using zoString::CString;
using zoUtil::Error;

namespace zoOS {
namespace {

constexpr mode_t kEverybody = 0777;  // less what the process's mask takes away

// The system lets root write wherever the disk can be written; then the permission bits decide.
bool mayWrite(const char* path, mode_t mode, bool ofLink) {
    if (geteuid() == 0 && (mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0) return false;
    return faccessat(AT_FDCWD, path, W_OK, AT_EACCESS | (ofLink ? AT_SYMLINK_NOFOLLOW : 0)) == 0;
}

bool isDirectory(const char* path) {
    struct stat status;
    return stat(path, &status) == 0 && S_ISDIR(status.st_mode);
}

// 0 when the directory is there afterwards, whoever made it.
int makeOne(const char* path) {
    if (mkdir(path, kEverybody) == 0) return 0;
    const int error = errno;
    if (isDirectory(path)) return 0;
    return error == EEXIST ? ENOTDIR : error;
}

// Error number; makes what is missing from the deepest directory that exists downwards.
int makeAll(const std::string& path) {
    int error = makeOne(path.c_str());
    if (error != ENOENT) return error;
    const std::size_t last = path.find_last_not_of('/');
    const std::size_t slash = last == std::string::npos ? last : path.rfind('/', last);
    if (slash == std::string::npos || slash == 0) return error;
    error = makeAll(path.substr(0, slash));
    return error == 0 ? makeOne(path.c_str()) : error;
}

}  // namespace

File::File(const char* path) : path_(path) {}
File::File(const CString& path) : path_(path) {}
File::File(const zoString::IString& path) : path_(path.toMultibyte()) {}

Error File::query(FileStatus& status, bool ofLink) const {
    status = FileStatus();
    const CString native = nativePath(path_.c_str());
    struct stat found;
    if ((ofLink ? lstat : stat)(native.c_str(), &found) != 0) {
        if (errno == ENOENT || errno == ENOTDIR) return Error();
        return systemError(errno, "look at", path_.c_str());
    }
    status.type_ = found.st_mode & S_IFMT;
    status.size_ = found.st_size;
    status.writable_ = mayWrite(native.c_str(), found.st_mode, ofLink);
    return Error();
}

Error File::makeDirectoryAll() const {
    const int error = makeAll(nativePath(path_.c_str()).str());
    return error == 0 ? Error() : systemError(error, "make directory", path_.c_str());
}

Error makeDirectory(const char* path) {
    if (mkdir(nativePath(path).c_str(), kEverybody) == 0) return Error();
    return systemError(errno, "make directory", path);
}

struct DirectorySearch::Listing {
    explicit Listing(DIR* directory) : stream(directory) {}
    ~Listing() { closedir(stream); }
    Listing(const Listing&) = delete;
    Listing& operator=(const Listing&) = delete;

    DIR* stream;  // owned
    int dotsGiven = 0;
};

DirectorySearch::DirectorySearch() = default;
DirectorySearch::~DirectorySearch() = default;

Error DirectorySearch::open(const char* directory) {
    listing_.reset();
    DIR* stream = opendir(nativePath(directory).c_str());
    if (stream == nullptr) return systemError(errno, "read directory", directory);
    listing_ = std::make_unique<Listing>(stream);
    return Error();
}

const char* DirectorySearch::next() {
    if (!listing_) return nullptr;
    static constexpr const char* kDots[] = {".", ".."};
    if (listing_->dotsGiven < 2) return kDots[listing_->dotsGiven++];
    const dirent* entry;
    do entry = readdir(listing_->stream);
    while (entry != nullptr &&
           (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0));
    return entry != nullptr ? entry->d_name : nullptr;
}

}  // namespace zoOS
