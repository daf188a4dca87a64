#include "libBase/zoOS/posix/new_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <new>
#include <utility>

#include "Base/zo_os_path.h"

namespace kelvo::zoos {
namespace {

constexpr int kTries = 8;  // another process may take a temporary name first
constexpr mode_t kOursAlone = S_IRUSR | S_IWUSR;

std::string directoryOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? "./" : path.substr(0, slash + 1);
}

// Makes a change of names outlive a crash. A directory that cannot be opened or synchronised is no
// reason to call the operation failed: it has been done. Nor is a lack of memory.
void syncDirectoryOf(const std::string& path) noexcept try {
    const Descriptor directory(open(directoryOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (directory) fsync(directory.get());
} catch (const std::bad_alloc&) {
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

NewFile::~NewFile() {
    if (!temporary_.empty()) unlink(temporary_.c_str());
}

int NewFile::createUnnamed() {
    const std::string directory = directoryOf(target_);
    file_ = Descriptor(open(directory.c_str(), O_RDWR | O_TMPFILE | O_CLOEXEC, kOursAlone));
    return file_ ? 0 : errno;
}

int NewFile::createNamed() {
    for (int i = 0; i < kTries && !file_; ++i) {
        std::string name = temporaryNameFor(target_);
        file_ = Descriptor(open(name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, kOursAlone));
        if (file_)
            temporary_ = std::move(name);  // a copy could fail, and the file would stay
        else if (errno != EEXIST)
            return errno;
    }
    return file_ ? 0 : EEXIST;
}

// A user may give a name to an unnamed file only by way of this directory.
int NewFile::linkTo(const std::string& name) const {
    const std::string file = "/proc/self/fd/" + std::to_string(file_.get());
    const int done = linkat(AT_FDCWD, file.c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW);
    return done == 0 ? 0 : errno;
}

int NewFile::giveTemporaryName() {
    int error = EEXIST;
    for (int i = 0; i < kTries && error == EEXIST; ++i) {
        std::string name = temporaryNameFor(target_);
        error = linkTo(name);
        if (error == 0) temporary_ = std::move(name);
    }
    return error;
}

int NewFile::place(bool overwrite) {
    if (temporary_.empty()) {
        int error = linkTo(target_);
        if (error == 0) syncDirectoryOf(target_);
        if (error != EEXIST || !overwrite) return error;
        // No system call puts an unnamed file in the place of another one.
        error = giveTemporaryName();
        if (error != 0) return error;
    }
    if (file_.close() != 0) return errno;
    const int error = rename(temporary_, target_, overwrite);
    if (error == 0) temporary_.clear();
    return error;
}

}  // namespace kelvo::zoos
