#include "libBase/zoOS/posix/page_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>

#include "Base/zo_os_system.h"
#include "libBase/zoOS/posix/file_copy.h"
#include "libBase/zoOS/posix/file_size_errors.h"
#include "libBase/zoOS/posix/system_error.h"

namespace kelvo::zoos {
namespace {

// The first page holds nothing but this, which tells our files from others.
constexpr char kSignature[] = "moveable memory\n";

// Smaller parts stay with the file until they are used again: to give them back takes the disk
// longer than it is worth.
constexpr std::uint64_t kSmallestGift = std::uint64_t{1} << 20;

// Whether the file may be replaced by a new one.
bool isLeftOver(const char* path) {
    const Descriptor file(open(path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat status;
    if (!file || fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) return false;
    char begin[sizeof kSignature] = {};
    return status.st_size == 0 ||
           (pread(file.get(), begin, sizeof begin - 1, 0) == sizeof begin - 1 &&
            std::strcmp(begin, kSignature) == 0);
}

}  // namespace

PageFile::PageFile() : extents_(zoOS::SysInfo::getPageSize()) {}

PageFile::~PageFile() {
    struct stat ours, named;
    if (file_ && owner_ == getpid() && fstat(file_.get(), &ours) == 0 &&
        lstat(path_.c_str(), &named) == 0 && isSameFile(ours, named))
        unlink(path_.c_str());
}

int PageFile::create(const std::string& path) {
    struct stat there;
    if (lstat(path.c_str(), &there) == 0) {
        if (!isLeftOver(path.c_str())) return EEXIST;
        if (unlink(path.c_str()) != 0 && errno != ENOENT) return errno;
    }
    file_ =
        Descriptor(open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
    if (!file_) return errno;
    path_ = path;
    owner_ = getpid();
    int error = reserve(0, extents_.end());
    if (error == 0 && pwrite(file_.get(), kSignature, sizeof kSignature - 1, 0) < 0) error = errno;
    if (error != 0) {
        unlink(path.c_str());
        file_.close();
    }
    return error;
}

int PageFile::reserve(std::uint64_t offset, std::uint64_t length) {
    const FileSizeErrors guard;
    int error;
    do error = posix_fallocate(file_.get(), static_cast<off_t>(offset), static_cast<off_t>(length));
    while (error == EINTR);
    return error;
}

int PageFile::take(std::uint64_t length, std::uint64_t& offset) {
    offset = extents_.take(length);
    const int error = reserve(offset, length);
    if (error != 0) give(offset, length);
    return error;
}

int PageFile::takeAt(std::uint64_t offset, std::uint64_t more) {
    if (!extents_.takeAt(offset, more)) return EBUSY;
    const int error = reserve(offset, more);
    if (error != 0) give(offset, more);
    return error;
}

// That the disk gets the room back is a kindness: where the system cannot, the file stays longer.
void PageFile::give(std::uint64_t offset, std::uint64_t length) {
    extents_.give(offset, length);
    int done = 0;
    if (extents_.end() <= offset)
        done = ftruncate(file_.get(), static_cast<off_t>(extents_.end()));
    else if (length >= kSmallestGift)
        done = fallocate(file_.get(), FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE,
                         static_cast<off_t>(offset), static_cast<off_t>(length));
    static_cast<void>(done);
}

int PageFile::copy(std::uint64_t from, std::uint64_t to, std::uint64_t length) {
    void* const source = map(from, length);
    if (source == nullptr) return ENOMEM;
    void* const target = map(to, length);
    if (target != nullptr) std::memcpy(target, source, length);
    if (target != nullptr) unmap(target, length);
    unmap(source, length);
    return target != nullptr ? 0 : ENOMEM;
}

void* PageFile::map(std::uint64_t offset, std::uint64_t length) {
    void* const address = mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_SHARED, file_.get(),
                               static_cast<off_t>(offset));
    return address != MAP_FAILED ? address : nullptr;
}

void PageFile::unmap(void* address, std::uint64_t length) {
    munmap(address, length);
}

}  // namespace kelvo::zoos
