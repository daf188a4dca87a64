#include <sys/statvfs.h>

#include <cerrno>
#include <cstring>

#include "Base/zo_os_path.h"
#include "Base/zo_os_system.h"
#include "libBase/zoOS/posix/system_error.h"
#include "libBase/zoOS/probes.h"

namespace zoOS {
namespace {

// Error number.
int freeBytes(const char* path, std::uint64_t& bytes) {
    struct statvfs status;
    bytes = 0;
    const zoString::CString native = nativePath(path);
    if (kelvo::zoos::uninterrupted([&] { return statvfs(native.c_str(), &status); }) != 0)
        return errno;
    bytes = std::uint64_t{status.f_bavail} * status.f_frsize;
    return 0;
}

}  // namespace

Filesystem::Filesystem(const char* path) : path_(path) {}

zoUtil::Error Filesystem::stat() {
    const Probes& probes = kelvo::zoos::probes();
    int error;
    if (probes.filesystem != nullptr) {
        error = probes.filesystem(path_.c_str(), &freeSpace_);
    } else {
        std::uint64_t bytes;
        error = freeBytes(path_.c_str(), bytes);
        freeSpace_ = static_cast<unsigned>(bytes / 1024);
    }
    if (error == 0) return zoUtil::Error();
    return kelvo::zoos::systemError(error, "look at the disk of", path_.c_str());
}

bool diskFree(const char* path, std::uint64_t& bytes) {
    const Probes& probes = kelvo::zoos::probes();
    if (probes.diskFree == nullptr) return freeBytes(path, bytes) == 0;
    bytes = 0;
    return probes.diskFree(path, &bytes);
}

}  // namespace zoOS
