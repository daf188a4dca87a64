#include "KelvoBase/file_operations.h"

#include <new>
#include <string>

#include "Base/zo_os_file.h"

namespace {

constexpr char kBackslash = '\\';

int done(const zoUtil::Error& error) {
    return error ? 0 : 1;
}

// A directory is asked about without the separator behind it, the root of a drive with it.
std::string askable(std::string path) {
    const std::size_t size = path.size();
    if (size > 1 && path[size - 1] == kBackslash && path[size - 2] != ':')
        path.pop_back();
    else if (size == 2 && path[1] == ':')
        path += kBackslash;
    return path;
}

}  // namespace

extern "C" {

int zoFileDelete(const char* path) try {
    return done(zoOS::fileDelete(path));
} catch (const std::bad_alloc&) {
    return 0;
}

int zoFileCopy(const char* from, const char* to, bool overwrite) try {
    return done(zoOS::fileCopy(from, to, overwrite));
} catch (const std::bad_alloc&) {
    return 0;
}

int zoFileMove(const char* from, const char* to, bool overwrite) try {
    return done(zoOS::fileMove(from, to, overwrite));
} catch (const std::bad_alloc&) {
    return 0;
}

int FB_FileExists(const char* path) try {
    if (path == nullptr) return 0;
    zoOS::FileStatus status;
    if (zoOS::File(askable(path)).query(status, false)) return 0;
    return static_cast<int>(status.type());
} catch (const std::bad_alloc&) {
    return 0;
}

}  // extern "C"
