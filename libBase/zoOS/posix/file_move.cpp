// Moving and deleting files.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "Base/zo_os_file.h"
#include "Base/zo_os_path.h"
#include "libBase/zoOS/posix/file_copy.h"
#include "libBase/zoOS/posix/new_file.h"
#include "libBase/zoOS/posix/system_error.h"

using kelvo::zoos::Descriptor;
using zoUtil::Error;

namespace zoOS {
namespace {

Error notMoved(int error, const char* why, const char* from, const char* to) {
    return Error(error, "cannot move \"%s\" to \"%s\": %s", from, to, why);
}

// Through a link as well: a link that replaced the file it points to would be all that is left.
bool areSameFile(const std::string& a, const std::string& b) {
    struct stat first, second;
    if (stat(a.c_str(), &first) == 0 && stat(b.c_str(), &second) == 0)
        return kelvo::zoos::isSameFile(first, second);
    return lstat(a.c_str(), &first) == 0 && lstat(b.c_str(), &second) == 0 &&
           kelvo::zoos::isSameFile(first, second);
}

bool exists(const std::string& path) {
    struct stat status;
    return lstat(path.c_str(), &status) == 0;
}

// A slip such as "/dev/null" as target must not cost the system its device.
bool isProtected(const std::string& path) {
    struct stat status;
    return lstat(path.c_str(), &status) == 0 && !kelvo::zoos::isReplaceable(status);
}

int copyLink(const std::string& from, const std::string& to, bool overwrite) {
    std::string text(PATH_MAX, '\0');
    const ssize_t length = readlink(from.c_str(), text.data(), text.size());
    if (length < 0) return errno;
    text.resize(static_cast<std::size_t>(length));
    const std::string name = kelvo::zoos::temporaryNameFor(to);
    if (symlink(text.c_str(), name.c_str()) != 0) return errno;
    const int error = kelvo::zoos::rename(name, to, overwrite);
    if (error != 0) unlink(name.c_str());
    return error;
}

int copyFile(const std::string& from, const std::string& to, bool overwrite) {
    const Descriptor source(open(from.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW));
    if (!source) return errno;
    return kelvo::zoos::copyTo(to, source.get(), overwrite, kelvo::zoos::Purpose::kMove);
}

// Whether a file could be deleted, as far as its directory tells; asked before a target is
// replaced.
int checkDeletable(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    const std::string directory = slash == std::string::npos ? "./" : path.substr(0, slash + 1);
    return faccessat(AT_FDCWD, directory.c_str(), W_OK | X_OK, AT_EACCESS) == 0 ? 0 : errno;
}

// To another file system.
Error moveAcross(const std::string& source, const std::string& target, bool overwrite,
                 const char* from, const char* to) {
    struct stat status;
    if (lstat(source.c_str(), &status) != 0) return notMoved(errno, std::strerror(errno), from, to);
    if (!S_ISREG(status.st_mode) && !S_ISLNK(status.st_mode))
        return notMoved(EXDEV, "only files and links can go to another file system", from, to);
    const bool replaces = exists(target);
    int error = checkDeletable(source);
    if (error == 0)
        error = S_ISLNK(status.st_mode) ? copyLink(source, target, overwrite)
                                        : copyFile(source, target, overwrite);
    if (error != 0) return notMoved(error, std::strerror(error), from, to);
    // Somebody else may have deleted it meanwhile: then the copy is the only one.
    if (unlink(source.c_str()) == 0 || errno == ENOENT) return Error();
    error = errno;
    if (replaces)
        return Error(error, "copied \"%s\" to \"%s\", but cannot delete the former: %s", from, to,
                     std::strerror(error));
    unlink(target.c_str());
    return notMoved(error, std::strerror(error), from, to);
}

}  // namespace

Error fileDelete(const char* path) {
    if (unlink(nativePath(path).c_str()) == 0) return Error();
    return kelvo::zoos::systemError(errno, "delete", path);
}

Error fileMove(const char* from, const char* to, bool overwrite) {
    const std::string source = nativePath(from).str();
    const std::string target = nativePath(to).str();
    if (from == nullptr) from = "";
    if (to == nullptr) to = "";
    if (areSameFile(source, target)) return notMoved(EINVAL, "both are the same file", from, to);
    if (overwrite && isProtected(target))
        return notMoved(ENOTSUP, "the target is neither file nor link nor directory", from, to);
    const int error = kelvo::zoos::rename(source, target, overwrite);
    if (error == 0) return Error();
    if (error == EXDEV) return moveAcross(source, target, overwrite, from, to);
    return notMoved(error, std::strerror(error), from, to);
}

}  // namespace zoOS
