#include "libBase/zoOS/posix/file_copy.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <memory>

#include "Base/zo_os_file.h"
#include "Base/zo_os_path.h"
#include "libBase/zoOS/posix/system_error.h"

using zoString::CString;
using zoUtil::Error;

namespace kelvo::zoos {
namespace {

constexpr off_t kLargestStep = off_t{1} << 30;  // bytes that one system call copies
constexpr off_t kEndOfFile = std::numeric_limits<off_t>::max();
constexpr mode_t kPermissions = S_IRWXU | S_IRWXG | S_IRWXO | S_ISVTX;
constexpr mode_t kIdentity = S_ISUID | S_ISGID;

std::string directoryOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? "./" : path.substr(0, slash + 1);
}

// Makes a change of names outlive a crash. A directory that cannot be opened or synchronised is no
// reason to call the operation failed: it has been done.
void syncDirectoryOf(const std::string& path) {
    const Descriptor directory(open(directoryOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (directory) fsync(directory.get());
}

int writeAll(int to, const char* bytes, std::size_t count, off_t at) {
    while (count > 0) {
        const ssize_t done = uninterrupted([&] { return pwrite(to, bytes, count, at); });
        if (done < 0) return errno;
        bytes += done;
        count -= static_cast<std::size_t>(done);
        at += done;
    }
    return 0;
}

// Copies [at, end) by way of memory, up to the end of the file.
int copyThroughMemory(int from, int to, off_t at, off_t end) {
    static constexpr std::size_t kBuffer = std::size_t{1} << 18;
    const auto buffer = std::make_unique<char[]>(kBuffer);
    while (at < end) {
        const auto wanted = static_cast<std::size_t>(std::min<off_t>(end - at, kBuffer));
        const ssize_t got = uninterrupted([&] { return pread(from, buffer.get(), wanted, at); });
        if (got < 0) return errno;
        if (got == 0) return 0;
        const int error = writeAll(to, buffer.get(), static_cast<std::size_t>(got), at);
        if (error != 0) return error;
        at += got;
    }
    return 0;
}

// Copies [at, end) inside the system as far as it does that, the rest through memory.
int copyRange(int from, int to, off_t at, off_t end) {
    while (at < end) {
        off_t in = at, out = at;
        const auto step = static_cast<std::size_t>(std::min(end - at, kLargestStep));
        const ssize_t done =
            uninterrupted([&] { return copy_file_range(from, &in, to, &out, step, 0); });
        if (done < 0 && (errno == ENOSPC || errno == EDQUOT || errno == EFBIG)) return errno;
        if (done <= 0) return copyThroughMemory(from, to, at, end);
        at += done;
    }
    return 0;
}

// Copies all data; what the source has as holes becomes holes.
int copyContent(int from, int to) {
    if (ioctl(to, FICLONE, from) == 0) return 0;
    off_t end = 0;
    for (;;) {
        const off_t data = lseek(from, end, SEEK_DATA);
        if (data < 0 && errno == ENXIO) break;  // nothing but a hole from here
        const off_t hole = data >= 0 ? lseek(from, data, SEEK_HOLE) : -1;
        // Files that are made up as they are read know neither holes nor their size.
        if (hole < 0) return copyThroughMemory(from, to, end, kEndOfFile);
        const int error = copyRange(from, to, data, hole);
        if (error != 0) return error;
        end = hole;
    }
    struct stat source;
    if (fstat(from, &source) != 0) return errno;
    return source.st_size > end && ftruncate(to, source.st_size) != 0 ? errno : 0;
}

// The set-user and set-group bits would give rights to whoever the file belongs to now.
int copyAttributes(const struct stat& source, int to, Owner owner) {
    const bool kept = owner == Owner::kKept && fchown(to, source.st_uid, source.st_gid) == 0;
    const mode_t mode = source.st_mode & (kept ? kPermissions | kIdentity : kPermissions);
    if (fchmod(to, mode) != 0) return errno;
    const std::array<timespec, 2> times = {source.st_atim, source.st_mtim};
    return futimens(to, times.data()) != 0 ? errno : 0;
}

int fillCopy(int from, Descriptor& to, Owner owner) {
    struct stat source;
    if (fstat(from, &source) != 0) return errno;
    int error = copyContent(from, to.get());
    if (error == 0) error = copyAttributes(source, to.get(), owner);
    if (error == 0 && fsync(to.get()) != 0) error = errno;
    if (to.close() != 0 && error == 0) error = errno;
    return error;
}

// Renaming without overwriting, for file systems that have no such call.
int renameIfFree(const std::string& from, const std::string& to) {
    if (link(from.c_str(), to.c_str()) == 0) return unlink(from.c_str()) == 0 ? 0 : errno;
    if (errno != EPERM && errno != EOPNOTSUPP && errno != EMLINK) return errno;
    struct stat there;
    if (lstat(to.c_str(), &there) == 0) return EEXIST;
    return std::rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
}

}  // namespace

bool isSameFile(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

int rename(const std::string& from, const std::string& to, bool overwrite) {
    int error = 0;
    if (overwrite) {
        if (std::rename(from.c_str(), to.c_str()) != 0) error = errno;
    } else if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) != 0) {
        error = errno == EINVAL || errno == ENOSYS ? renameIfFree(from, to) : errno;
    }
    if (error == 0) syncDirectoryOf(to);
    return error;
}

std::string temporaryNameFor(const std::string& target) {
    std::string name = directoryOf(target) + ".copy-XXXXXX";
    zoOS::makeUniqueName(name.data());
    return name;
}

int copyTo(const std::string& target, int from, bool overwrite, Owner owner) {
    static constexpr int kTries = 8;  // another process may take the name first
    std::string name;
    Descriptor to;
    for (int i = 0; i < kTries && !to; ++i) {
        name = temporaryNameFor(target);
        to = Descriptor(open(name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
        if (!to && errno != EEXIST) return errno;
    }
    if (!to) return EEXIST;
    int error = fillCopy(from, to, owner);
    if (error == 0) error = rename(name, target, overwrite);
    if (error != 0) unlink(name.c_str());
    return error;
}

}  // namespace kelvo::zoos

namespace zoOS {
namespace {

using kelvo::zoos::Descriptor;

Error notCopied(int error, const char* from, const char* to) {
    return Error(error, "cannot copy \"%s\" to \"%s\": %s", from, to,
                 error == EINVAL ? "both are the same file" : std::strerror(error));
}

// The file that a link leads to; the path itself when it is no link or leads nowhere.
std::string throughLinks(const std::string& path) {
    const std::unique_ptr<char, void (*)(void*)> real(realpath(path.c_str(), nullptr), std::free);
    return real ? real.get() : path;
}

// Whether the copy may go there, before anything is written.
int checkTarget(const struct stat& source, const std::string& target, bool overwrite) {
    struct stat found;
    if (target.empty()) return ENOENT;
    if (stat(target.c_str(), &found) != 0) return errno == ENOENT ? 0 : errno;
    if (kelvo::zoos::isSameFile(source, found)) return EINVAL;
    if (!overwrite) return EEXIST;
    if (S_ISDIR(found.st_mode)) return EISDIR;
    return access(target.c_str(), W_OK) == 0 ? 0 : errno;
}

}  // namespace

Error fileCopy(const char* from, const char* to, bool overwrite) {
    // A pipe without a writer must not hold us.
    const Descriptor source(open(nativePath(from).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status;
    if (!source || fstat(source.get(), &status) != 0)
        return kelvo::zoos::systemError(errno, "read", from);
    if (S_ISDIR(status.st_mode)) return kelvo::zoos::systemError(EISDIR, "copy", from);
    if (!S_ISREG(status.st_mode)) return kelvo::zoos::systemError(ENOTSUP, "copy", from);
    const std::string target = nativePath(to).str();
    int error = checkTarget(status, target, overwrite);
    if (error == 0)
        error = kelvo::zoos::copyTo(throughLinks(target), source.get(), overwrite,
                                    kelvo::zoos::Owner::kOurs);
    return error == 0 ? Error() : notCopied(error, from, to != nullptr ? to : "");
}

}  // namespace zoOS
