#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <utility>

#include "Base/zo_os_file.h"
#include "Base/zo_os_path.h"
#include "libBase/zoOS/posix/descriptor.h"
#include "libBase/zoOS/posix/system_error.h"

using kelvo::zoos::Descriptor;
using kelvo::zoos::systemError;
using kelvo::zoos::uninterrupted;
using zoUtil::Error;

namespace zoOS {
namespace {

bool isTrusted(const struct stat& file) {
    return S_ISREG(file.st_mode) && file.st_uid == geteuid() &&
           (file.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

}  // namespace

Error readOwnFile(const char* path, int limit, zoString::CString& content) {
    // Without O_NONBLOCK a pipe would keep us until somebody writes into it.
    const int flags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    const Descriptor file(uninterrupted([&] { return open(nativePath(path).c_str(), flags); }));
    if (!file) return systemError(errno, "open", path);
    struct stat status;
    if (fstat(file.get(), &status) != 0) return systemError(errno, "look at", path);
    if (!isTrusted(status)) return systemError(EPERM, "trust", path);
    std::string bytes(static_cast<std::size_t>(std::max(limit, 0)), '\0');
    std::size_t size = 0;
    while (size < bytes.size()) {
        const ssize_t part = uninterrupted(
            [&] { return ::read(file.get(), bytes.data() + size, bytes.size() - size); });
        if (part < 0) return systemError(errno, "read", path);
        if (part == 0) break;
        size += static_cast<std::size_t>(part);
    }
    bytes.resize(size);
    content = zoString::CString(std::move(bytes));
    return Error();
}

}  // namespace zoOS
