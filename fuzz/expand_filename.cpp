// Full paths in any project: expand_filename, the setters behind it, and the helpers for texts.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>

#include "Base/zo_os_path.h"
#include "KelvoBase/db_filename.h"
#include "fuzz/fake_files.h"
#include "fuzz/fuzz.h"

namespace {

using kelvo::fuzz::require;

constexpr std::size_t kBuffer = 260;   // of the project, with the terminator
constexpr std::size_t kLongest = 260;  // characters of a path that is made here
constexpr std::size_t kRoom = 263;     // bytes that callers owe beside the name's

bool isPrefix(const std::string& text, const std::string& prefix) {
    return text.compare(0, prefix.size(), prefix) == 0;
}

void setProject(kelvo::fuzz::Input& input) {
    const std::string path = input.text(), name = input.text(), directory = input.text();
    Db_set_project_path(path.c_str());
    Db_set_project_name(name.c_str());
    Db_set_vl_cwd(directory.c_str());
    Db_set_project_extension(name.c_str());
    require(Db_get_project_path() == path.substr(0, kBuffer - 1), "the path is kept, or cut");
    require(Db_get_project_name() == name.substr(0, kBuffer - 1), "the name is kept, or cut");
    require(Db_get_vl_cwd() == directory.substr(0, kBuffer - 1), "the directory is kept, or cut");
    require(Db_get_project_extension() == name, "the extension is kept");
    Db_init_paths();
    for (const DbPathEntry* entry = Db_get_paths(); entry->path != nullptr; ++entry)
        require(std::strlen(entry->path) <= kLongest, "paths of the table are bounded");
}

void expand(const std::string& name, int type) {
    const auto given = kelvo::fuzz::writable(name);
    const auto out = kelvo::fuzz::blockWith("", kRoom + name.size());
    require(expand_filename(out.get(), given.get(), type) == out.get(), "answers its buffer");
    const std::string path = out.get(), bare = given.get();
    const DbPathEntry* const entry = Db_default_path(type);
    const bool absolute = (bare.size() > 1 && bare[1] == ':') || bare[0] == '/' || bare[0] == '\\';
    if (!zoOS::URL(name.c_str()).isLocalFile()) {
        require(path == name && bare == name, "an address stays");
    } else if (absolute || entry == nullptr) {
        require(path == bare, "an absolute name stays");
    } else {
        const auto directory = kelvo::fuzz::writable(entry->path);
        Db_make_dirname(entry->path, directory.get());
        const std::string full = directory.get() + bare;
        require(path == (full.size() <= kLongest ? full : entry->path), "directory and name");
    }
    const auto place = kelvo::fuzz::blockWith(name, kRoom + name.size());
    expand_filename(place.get(), place.get(), type);
    require(place.get() == path, "in place as well");
    expand_filename(out.get(), nullptr, type);
    require(out.get() == std::string(entry != nullptr ? entry->path : ""), "no name: the path");
}

void convert(const std::string& name, char letter) {
    char* const forward = convertFilename(name.c_str(), 1);
    char* const back = convertFilename(forward, 0);
    char* const home = ExpandPathname(name.c_str());
    require(forward == kelvo::fuzz::slashed(name), "all are forward");
    require(std::strchr(back, '/') == nullptr && std::strlen(back) == name.size(), "none is");
    require(home == name, "nothing is expanded");
    for (char* copy : {forward, back, home}) std::free(copy);
    const auto text = kelvo::fuzz::writable(name);
    VL_string_leading_trailing_remove(text.get(), letter);
    const std::string rest = text.get();
    if (letter != '\0')
        require(rest.empty() || (rest.front() != letter && rest.back() != letter), "both ends");
    require(name.find(rest) != std::string::npos, "nothing else goes");
    require(isPrefix(name, std::string(name.find(rest), letter)), "only that character goes");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    kelvo::fuzz::Input input(data, size);
    const kelvo::fuzz::FakeFiles files;
    const int type = static_cast<int>(input.byte() % 50) - 1;
    const char letter = static_cast<char>(input.byte());
    const std::string name = input.text();
    setProject(input);
    expand(name, type);
    convert(name, letter);
    return 0;
}
