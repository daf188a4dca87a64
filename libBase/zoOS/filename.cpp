#include <string>

#include "Base/zo_os_filename.h"

namespace zoOS {
namespace {

// Paths that were written elsewhere use backslashes; both separate.
constexpr const char* kSeparators = "/\\";

}  // namespace

char Filename::separator() noexcept {
    return '/';
}

zoString::CString Filename::join(const zoString::CString& directory,
                                 const zoString::CString& name) {
    if (directory.isEmpty()) return name;
    std::string path = directory.str();
    if (path.find_last_of(kSeparators) != path.size() - 1) path += separator();
    const std::size_t begin = name.str().find_first_not_of(kSeparators);
    if (begin != std::string::npos) path.append(name.str(), begin);
    return path;
}

}  // namespace zoOS
