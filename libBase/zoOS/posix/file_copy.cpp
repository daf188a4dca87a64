#include "libBase/zoOS/posix/file_copy.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <limits>
#include <memory>

#include "Base/zo_os_file.h"
#include "Base/zo_os_path.h"
#include "libBase/zoOS/posix/file_size_errors.h"
#include "libBase/zoOS/posix/new_file.h"
#include "libBase/zoOS/posix/system_error.h"

using zoString::CString;
using zoUtil::Error;

namespace kelvo::zoos {
namespace {

constexpr off_t kLargestStep = off_t{1} << 30;  // bytes that one system call copies
constexpr off_t kEndOfFile = std::numeric_limits<off_t>::max();
constexpr mode_t kPermissions = S_IRWXU | S_IRWXG | S_IRWXO | S_ISVTX;
constexpr mode_t kIdentity = S_ISUID | S_ISGID;

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
int copyContent(int from, const struct stat& source, int to) {
    // Files that are made up as they are read know neither holes nor their size.
    if (source.st_size == 0) return copyThroughMemory(from, to, 0, kEndOfFile);
    if (ioctl(to, FICLONE, from) == 0) return 0;
    off_t end = 0;
    for (;;) {
        const off_t data = lseek(from, end, SEEK_DATA);
        if (data < 0 && errno == ENXIO) break;  // nothing but a hole from here
        const off_t hole = data >= 0 ? lseek(from, data, SEEK_HOLE) : -1;
        if (hole < 0) return copyThroughMemory(from, to, end, kEndOfFile);
        const int error = copyRange(from, to, data, hole);
        if (error != 0) return error;
        end = hole;
    }
    struct stat now;
    if (fstat(from, &now) != 0) return errno;
    return now.st_size > end && ftruncate(to, now.st_size) != 0 ? errno : 0;
}

// Some file systems, those of memory sticks for instance, have no such attributes: the copy is as
// good as it can be there.
int unlessUnknownThere(int done) {
    return done == 0 || errno == EPERM || errno == EOPNOTSUPP || errno == ENOSYS ? 0 : errno;
}

// The set-user and set-group bits would give rights to whoever the file belongs to now.
int copyAttributes(const struct stat& source, int to, Purpose purpose) {
    const bool kept = purpose == Purpose::kMove && fchown(to, source.st_uid, source.st_gid) == 0;
    const mode_t mode = source.st_mode & (kept ? kPermissions | kIdentity : kPermissions);
    const int error = unlessUnknownThere(fchmod(to, mode));
    if (error != 0) return error;
    const std::array<timespec, 2> times = {source.st_atim, source.st_mtim};
    return unlessUnknownThere(futimens(to, times.data()));
}

bool hasChanged(const struct stat& before, int file) {
    struct stat now;
    return fstat(file, &now) != 0 || now.st_size != before.st_size ||
           now.st_mtim.tv_sec != before.st_mtim.tv_sec ||
           now.st_mtim.tv_nsec != before.st_mtim.tv_nsec;
}

int fillCopy(int from, int to, Purpose purpose) {
    struct stat source;
    if (fstat(from, &source) != 0) return errno;
    int error = copyContent(from, source, to);
    if (error == 0) error = copyAttributes(source, to, purpose);
    if (error == 0 && fsync(to) != 0) error = errno;
    // What was written after we have read it would go with the first file.
    if (error == 0 && purpose == Purpose::kMove && hasChanged(source, from)) error = EBUSY;
    return error;
}

}  // namespace

bool isSameFile(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

bool isReplaceable(const struct stat& target) {
    return S_ISREG(target.st_mode) || S_ISDIR(target.st_mode) || S_ISLNK(target.st_mode);
}

int copyTo(const std::string& target, int from, bool overwrite, Purpose purpose) {
    const FileSizeErrors guard;
    {
        NewFile unnamed(target);
        if (unnamed.createUnnamed() == 0) {
            int error = fillCopy(from, unnamed.descriptor(), purpose);
            if (error != 0) return error;
            error = unnamed.place(overwrite);
            // Where unnamed files never get a name there is the other way.
            if (error != EPERM && error != ENOENT && error != EOPNOTSUPP) return error;
        }
    }
    NewFile named(target);
    int error = named.createNamed();
    if (error == 0) error = fillCopy(from, named.descriptor(), purpose);
    return error == 0 ? named.place(overwrite) : error;
}

}  // namespace kelvo::zoos

namespace zoOS {
namespace {

using kelvo::zoos::Descriptor;

Error notCopied(int error, const char* from, const char* to) {
    const char* const why = error == EINVAL    ? "both are the same file"
                            : error == ENOTSUP ? "the target is no file"
                                               : std::strerror(error);
    return Error(error, "cannot copy \"%s\" to \"%s\": %s", from, to, why);
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
    if (!kelvo::zoos::isReplaceable(found)) return ENOTSUP;
    return faccessat(AT_FDCWD, target.c_str(), W_OK, AT_EACCESS) == 0 ? 0 : errno;
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
                                    kelvo::zoos::Purpose::kCopy);
    return error == 0 ? Error() : notCopied(error, from, to != nullptr ? to : "");
}

}  // namespace zoOS
