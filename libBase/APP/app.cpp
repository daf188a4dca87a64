#include "Base/app.h"

#include <string>

#include "Base/zo_os_filename.h"
#include "libBase/port.h"

using zoOS::Filename;
using zoString::CString;

namespace {

constexpr int kLevelsAboveLibrary = 2;  // PREFIX/lib and PREFIX/lib/<architecture>

// Set by the application; empty: search. Lives for the process.
std::string g_directory;

std::string parentOf(const std::string& path) {
    const std::size_t end = path.rfind(Filename::separator());
    if (end == std::string::npos) return {};
    return path.substr(0, end == 0 ? 1 : end);
}

}  // namespace

CString APP_getBinaryPath(const char* program) {
    if (!g_directory.empty()) return Filename::join(g_directory, program);
    std::string place = parentOf(kelvo::port::libraryPath());
    std::string beside = parentOf(kelvo::port::executablePath());
    // A bare name would be taken from whatever directory is the current one.
    if (beside.empty()) beside = place.empty() ? "/" : place;
    const CString fallback = Filename::join(beside, program);
    if (kelvo::port::isProgram(fallback.c_str())) return fallback;
    for (int level = 0; level < kLevelsAboveLibrary && !place.empty(); ++level) {
        place = parentOf(place);
        for (const char* folder : {"bin", "libexec"}) {
            const CString path = Filename::join(Filename::join(place, folder), program);
            if (!place.empty() && kelvo::port::isProgram(path.c_str())) return path;
        }
    }
    return fallback;
}

void APP_setBinaryDirectory(const char* directory) {
    g_directory = directory != nullptr ? directory : "";
}
