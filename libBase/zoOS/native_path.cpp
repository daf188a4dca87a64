#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include "Base/zo_os_path.h"
#include "libBase/port.h"
#include "libBase/zoOS/probes.h"

namespace zoOS {
namespace {

constexpr int kUsualDrive = 3;  // 'C'

// What each drive letter stands for, without a separator at the end; empty: "/". Lives for the
// process and is never destroyed, since files may be removed while it ends; set while one thread
// runs.
std::array<std::string, 26>& driveRoots() {
    static auto* const roots = new std::array<std::string, 26>;
    return *roots;
}

// Number of a drive letter from 0, or -1. No locale has a say in it.
int driveOf(char letter) {
    const char lower = static_cast<char>(letter | 0x20);
    return lower >= 'a' && lower <= 'z' ? lower - 'a' : -1;
}

bool isSchemeCharacter(char c) {
    return driveOf(c) >= 0 || (c >= '0' && c <= '9') || c == '+' || c == '-' || c == '.';
}

// The root followed by a rest that may or may not begin with a separator.
std::string below(const std::string& root, std::string_view rest) {
    std::string path = root;
    if (rest.empty() ? path.empty() : rest[0] != '/' && rest[0] != '\\') path += '/';
    return path.append(rest);
}

bool beginsWithOneBackslash(std::string_view text) {
    return !text.empty() && text[0] == '\\' && (text.size() == 1 || text[1] != '\\');
}

}  // namespace

zoString::CString nativePath(const char* text) {
    if (text == nullptr) return {};
    const std::string_view given = text;
    std::string path;
    if (given.size() >= 2 && given[1] == ':' && driveOf(given[0]) >= 0) {
        const auto drive = static_cast<std::size_t>(driveOf(given[0]));
        path = below(driveRoots()[drive], given.substr(2));
    } else if (beginsWithOneBackslash(given)) {
        const int drive = std::clamp(currentDrive(), 1, 26) - 1;
        path = below(driveRoots()[static_cast<std::size_t>(drive)], given);
    } else {
        path = given;
    }
    std::replace(path.begin(), path.end(), '\\', '/');
    return path;
}

void setDriveRoot(char letter, const char* posixRoot) {
    const int drive = driveOf(letter);
    if (drive < 0) return;
    std::string root = posixRoot != nullptr ? posixRoot : "";
    while (!root.empty() && root.back() == '/') root.pop_back();
    driveRoots()[static_cast<std::size_t>(drive)] = root;
}

int currentDrive() {
    const Probes& probes = kelvo::zoos::probes();
    return probes.currentDrive != nullptr ? probes.currentDrive() : kUsualDrive;
}

zoString::CString moduleFileName() {
    const Probes& probes = kelvo::zoos::probes();
    if (probes.moduleFileName != nullptr) return probes.moduleFileName();
    return kelvo::port::executablePath();
}

URL::URL(const char* text) : local_(true) {
    const std::string_view name = text != nullptr ? text : "";
    const std::size_t length = name.find("://");
    if (length == std::string_view::npos || length < 2 || driveOf(name[0]) < 0) return;
    const std::string_view scheme = name.substr(0, length);
    if (!std::all_of(scheme.begin(), scheme.end(), isSchemeCharacter)) return;
    constexpr std::string_view kFile = "file";
    local_ = std::equal(scheme.begin(), scheme.end(), kFile.begin(), kFile.end(),
                        [](char a, char b) { return (a | 0x20) == b; });
}

}  // namespace zoOS
