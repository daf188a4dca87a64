// The directory part of a path: Db_make_dirname.
#include <cstring>
#include <string>

#include "Base/zo_os_path.h"
#include "KelvoBase/db_filename.h"
#include "fuzz/fuzz.h"

namespace {

std::string expected(const std::string& path) {
    const bool slashes = path[0] == '/' || !zoOS::URL(path.c_str()).isLocalFile();
    for (const char* separator : {"\\", "/"}) {
        const std::size_t last = path.find_last_of(separator);
        const bool counts = *separator == '\\' || slashes;
        if (counts && last != std::string::npos && last > 0) return path.substr(0, last + 1);
    }
    return path.substr(0, 1);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string path = kelvo::fuzz::Input(data, size).text();
    const auto out = kelvo::fuzz::blockWith("", path.size() + 1);
    kelvo::fuzz::require(Db_make_dirname(path.c_str(), out.get()) == 1, "a path has a directory");
    kelvo::fuzz::require(out.get() == expected(path), "the directory ends with its separator");
    const auto same = kelvo::fuzz::writable(path);
    Db_make_dirname(same.get(), same.get());
    kelvo::fuzz::require(std::strcmp(same.get(), out.get()) == 0, "in place as well");
    return 0;
}
