#include "programs/zocached/directory.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "Base/zo_os_file.h"
#include "Base/zo_os_path.h"
#include "KelvoBase/file_cache_protocol.h"

using zoUtil::Error;

namespace kelvo::zocached {
namespace {

const char* lockFileName() {
    return zoKelvoBase::FileCacheProtocol::LockFileName;
}

Error failed(const char* what, const std::string& name) {
    const int error = errno;
    return Error(error, "cannot %s \"%s\": %s", what, name.c_str(), std::strerror(error));
}

std::optional<FileState> stateOf(int directory, const char* name, int flags) {
    struct statx status {};
    if (statx(directory, name, flags | AT_SYMLINK_NOFOLLOW,
              STATX_TYPE | STATX_INO | STATX_SIZE | STATX_BTIME, &status) != 0 ||
        !S_ISREG(status.stx_mode))
        return {};
    FileState file;
    file.inode = status.stx_ino;
    if ((status.stx_mask & STATX_BTIME) != 0)
        file.born = status.stx_btime.tv_sec * 1'000'000'000 + status.stx_btime.tv_nsec;
    file.bytes = static_cast<std::int64_t>(status.stx_size);
    return file;
}

int openBeneath(int directory, const char* name) {
    open_how how{};
    how.flags = O_PATH | O_NOFOLLOW | O_CLOEXEC;
    how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS | RESOLVE_NO_MAGICLINKS | RESOLVE_NO_XDEV;
    const long file = syscall(SYS_openat2, directory, name, &how, sizeof how);
    if (file >= 0 || (errno != ENOSYS && errno != EPERM)) return static_cast<int>(file);
    // Kernels before 5.6, and sandboxes that do not know the call: for a plain base name the last
    // component is all there is.
    return openat(directory, name, O_PATH | O_NOFOLLOW | O_CLOEXEC);
}

// Closes last: some file systems report a full disk only there.
bool writeAll(Descriptor file, const std::string& text) {
    const ssize_t written = write(file.get(), text.data(), text.size());
    const bool good = written == static_cast<ssize_t>(text.size()) && fsync(file.get()) == 0;
    return close(file.release()) == 0 && good;
}

}  // namespace

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
}

Descriptor::~Descriptor() {
    if (number_ >= 0) ::close(number_);
}

int Descriptor::release() noexcept {
    return std::exchange(number_, -1);
}

bool isEntryName(std::string_view name) {
    if (name.empty() || name.size() > 255 || name == "." || name == "..") return false;
    if (name.find('/') != name.npos || name.find('\0') != name.npos) return false;
    return name.rfind("zocached.", 0) != 0 && name != lockFileName();
}

Error Directory::open(const zoString::CString& text) {
    if (text.isEmpty() || text.length() > kLongestPath ||
        text.str().find('\0') != std::string::npos)
        return Error(EINVAL, "unusable name of a cache directory");
    const zoString::CString path = zoOS::nativePath(text.c_str());
    constexpr int kFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
    Descriptor directory(::open(path.c_str(), kFlags));
    if (!directory && errno == ENOENT) {
        if (Error error = zoOS::File(text).makeDirectoryAll()) return error;
        directory = Descriptor(::open(path.c_str(), kFlags));
    }
    if (!directory) return failed("open the cache directory", text.str());
    return take(std::move(directory));
}

Error Directory::take(Descriptor directory) {
    directory_ = std::move(directory);
    return examine(path().c_str());
}

Error Directory::examine(const char* text) const {
    struct stat status {};
    if (fstat(descriptor(), &status) != 0 || !S_ISDIR(status.st_mode))
        return Error(ENOTDIR, "\"%s\" is not a directory", text);
    if (status.st_uid != geteuid())
        return Error(EACCES, "the cache directory \"%s\" belongs to another user", text);
    if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0)
        return Error(EACCES, "others may write in the cache directory \"%s\" (chmod go-w helps)",
                     text);
    return Error();
}

bool Directory::isSame(int descriptor) const {
    struct stat ours {
    }, other{};
    return fstat(directory_.get(), &ours) == 0 && fstat(descriptor, &other) == 0 &&
           ours.st_dev == other.st_dev && ours.st_ino == other.st_ino;
}

bool Directory::isAt(const zoString::CString& text) const {
    if (text.length() > kLongestPath || text.str().find('\0') != std::string::npos) return false;
    const Descriptor other(
        ::open(zoOS::nativePath(text.c_str()).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    return other && isSame(other.get());
}

std::string Directory::path() const {
    const std::string link = "/proc/self/fd/" + std::to_string(descriptor());
    char text[kLongestPath + 1];
    const ssize_t length = readlink(link.c_str(), text, sizeof text);
    struct stat status {};
    if (length <= 0 || fstat(descriptor(), &status) != 0 || status.st_nlink == 0) return {};
    return std::string(text, static_cast<std::size_t>(length));
}

std::optional<std::string> Directory::nameOf(const zoString::CString& path,
                                             const zoString::CString& known) const {
    if (path.length() > kLongestPath || path.str().find('\0') != std::string::npos) return {};
    const std::string native = zoOS::nativePath(path.c_str()).str();
    const std::size_t cut = native.rfind('/');
    const std::string parent = cut == native.npos ? "." : native.substr(0, cut == 0 ? 1 : cut);
    const std::string name = cut == native.npos ? native : native.substr(cut + 1);
    if (!isEntryName(name)) return {};
    if (parent != zoOS::nativePath(known.c_str()).str() && !isAt(parent)) return {};
    return name;
}

std::optional<FileState> Directory::look(const std::string& name) const {
    return stateOf(descriptor(), name.c_str(), 0);
}

std::optional<FileState> Directory::lookClosely(const std::string& name) const {
    const Descriptor file(openBeneath(descriptor(), name.c_str()));
    if (!file) return {};
    return stateOf(file.get(), "", AT_EMPTY_PATH);
}

bool Directory::remove(const std::string& name, const FileState& file) const {
    if (!isEntryName(name)) return true;
    const std::optional<FileState> now = look(name);
    if (!now || !now->isSameFile(file)) return true;
    return unlinkat(descriptor(), name.c_str(), 0) == 0 || errno == ENOENT;
}

Error Directory::tryGuard(Descriptor& guard) const {
    Descriptor file(openat(descriptor(), kGuardName,
                           O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600));
    struct stat status {};
    if (!file) return failed("open", kGuardName);
    if (fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode) || status.st_uid != geteuid() ||
        (status.st_mode & (S_IWGRP | S_IWOTH)) != 0)
        return Error(EACCES, "\"%s\" in the cache directory is not ours alone", kGuardName);
    if (flock(file.get(), LOCK_EX | LOCK_NB) != 0)
        return errno == EWOULDBLOCK ? Error() : failed("lock", kGuardName);
    if (isGuardedBy(file)) guard = std::move(file);  // otherwise deleted meanwhile: try again
    return Error();
}

bool Directory::isGuardedBy(const Descriptor& guard) const {
    struct stat held {
    }, named{};
    return fstat(guard.get(), &held) == 0 &&
           fstatat(descriptor(), kGuardName, &named, AT_SYMLINK_NOFOLLOW) == 0 &&
           held.st_ino == named.st_ino && held.st_dev == named.st_dev;
}

Error Directory::advertise(int port) const {
    unlinkat(descriptor(), kNewLockFileName, 0);  // left by a server that was killed
    Descriptor file(openat(descriptor(), kNewLockFileName,
                           O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!file) return failed("make", kNewLockFileName);
    if (!writeAll(std::move(file), std::to_string(port) + "\n")) {
        Error error = failed("write", kNewLockFileName);
        unlinkat(descriptor(), kNewLockFileName, 0);
        return error;
    }
    if (renameat(descriptor(), kNewLockFileName, descriptor(), lockFileName()) == 0) return Error();
    Error error = failed("write", lockFileName());
    unlinkat(descriptor(), kNewLockFileName, 0);
    return error;
}

bool Directory::isAdvertised(int port) const {
    const Descriptor file(
        openat(descriptor(), lockFileName(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    char text[128] = {};
    struct stat status {};
    return file && fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode) &&
           read(file.get(), text, sizeof text - 1) > 0 && std::atoi(text) == port;
}

void Directory::withdraw(int port) const {
    if (isAdvertised(port)) unlinkat(descriptor(), lockFileName(), 0);
}

}  // namespace kelvo::zocached
