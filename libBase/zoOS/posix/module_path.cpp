#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <string>

#include "libBase/port.h"

namespace kelvo::port {

std::string executablePath() {
    std::string path(256, '\0');
    for (;;) {
        const ssize_t length = readlink("/proc/self/exe", path.data(), path.size());
        if (length < 0) return {};
        if (static_cast<std::size_t>(length) < path.size()) {
            path.resize(static_cast<std::size_t>(length));
            return path;
        }
        path.resize(2 * path.size());
    }
}

std::string libraryPath() {
    Dl_info here{};
    if (dladdr(reinterpret_cast<const void*>(&libraryPath), &here) == 0) return {};
    const std::unique_ptr<char, void (*)(void*)> path(realpath(here.dli_fname, nullptr), std::free);
    return path ? path.get() : "";
}

bool isProgram(const char* path) {
    struct stat status;
    return stat(path, &status) == 0 && S_ISREG(status.st_mode) && access(path, X_OK) == 0;
}

}  // namespace kelvo::port
