// Paths and addresses as texts: zoOS::nativePath, zoOS::URL, zoOS::Filename::join.
#include <algorithm>
#include <cctype>
#include <string>

#include "Base/zo_os_filename.h"
#include "Base/zo_os_path.h"
#include "fuzz/fuzz.h"

namespace {

using kelvo::fuzz::require;
using kelvo::fuzz::slashed;

bool isLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// What follows a drive letter, or the text itself; `drive` tells which.
std::string expectedPath(const std::string& text, char rootLetter, std::string root) {
    const bool drive = text.size() > 1 && isLetter(text[0]) && text[1] == ':';
    const bool rooted = !drive && text[0] == '\\' && text[1] != '\\';
    if (!drive && !rooted) return slashed(text);
    const char letter = drive ? text[0] : 'C';
    root.erase(root.find_last_not_of('/') + 1);
    if (std::tolower(letter) != std::tolower(rootLetter)) root.clear();
    const std::string rest = text.substr(drive ? 2 : 0);
    const bool separated = !rest.empty() && (rest[0] == '/' || rest[0] == '\\');
    const bool bare = rest.empty() && !root.empty();
    return slashed(root + (separated || bare ? "" : "/") + rest);
}

bool expectedLocal(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    const std::size_t end = text.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789+-.");
    const bool scheme = end != std::string::npos && end >= 2 && isLetter(text[0]) &&
                        text.compare(end, 3, "://") == 0;
    return !scheme || text.substr(0, end) == "file";
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    kelvo::fuzz::Input input(data, size);
    const char letter = static_cast<char>('A' + input.byte() % 26);
    const std::string root = input.text(), path = input.text(), name = input.text();
    zoOS::setDriveRoot(letter, root.c_str());
    require(zoOS::nativePath(path.c_str()).str() == expectedPath(path, letter, root),
            "nativePath maps drives and separators");
    zoOS::setDriveRoot(letter, nullptr);
    require(zoOS::URL(path.c_str()).isLocalFile() == expectedLocal(path), "URL knows schemes");
    const std::string joined = zoOS::Filename::join(path, name).str();
    require(joined.size() <= path.size() + name.size() + 1, "join adds one separator at most");
    require(path.empty() ? joined == name : joined.compare(0, path.size(), path) == 0,
            "join keeps the directory");
    return 0;
}
