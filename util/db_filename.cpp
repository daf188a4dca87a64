#include "KelvoBase/db_filename.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <string_view>

#include "Base/ma.h"
#include "Base/zo_os_file.h"
#include "Base/zo_os_path.h"
#include "util/expanded_name.h"

namespace {

constexpr std::size_t kPathSize = 260;     // of our buffers, with the terminator
constexpr std::size_t kLongestPath = 260;  // characters of a path in the table or from it
constexpr char kBackslash = '\\';
constexpr const char* kProject = ".";
constexpr const char* kProjectPath = "..";
constexpr const char* kWorkingDirectory = "..\\..";

constexpr DbPathEntry row(const char* name, int type) {
    return {const_cast<char*>(name), type};  // callers only read
}

const DbPathEntry kDefaults[] = {
    row("anim", ANIM_DATA),
    row("pix", PIX_DATA),
    row("pix", SOURCEPIX_DATA),
    row("mask", MASK_DATA),
    row("sdl", SDL_DATA),
    row("rib", RIB_DATA),
    row(kProject, DIR_DATA),
    row(kProject, ANYDIR_DATA),
    row(kProject, TEXT_DATA),
    row(kProjectPath, PROJ_DATA),
    row("misc_data", MISC_DATA),
    row("option", OPTION_DATA),
    row("option", WINDOW_DATA),
    row("plot", PLOT_DATA),
    row("wire", WIRE_DATA),
    row("wire", STAGE_DATA),
    row("wire", DEFAULT_DATA),
    row("wire", ANY_DATA),
    row("sla", SLA_DATA),
    row("shader", SHADER_DATA),
    row("texture", TEXTURE_DATA),
    row("light", LIGHT_DATA),
    row("environment", ENVIRONMENT_DATA),
    row("layeredshader", 45),
    row("canvas", 28),
    row("stencil", 31),
    row("colors", 38),
    row("shapes", 32),
    row("imageLayers", 39),
    row("textureLayers", 40),
    row("geometryLayers", 41),
    row("brushes", 42),
    row("spTextures", 43),
    row("spTextureScripts", 44),
    row(kWorkingDirectory, DEBUG_DATA),
    row("depth", 29),
    row("sdl", 30),
    row("stageset", 34),
    row("cloud", 35),
    row("wire", SOUND_DATA),
    row(kWorkingDirectory, 36),
    row("reference", 46),
    row(nullptr, 0),
};
constexpr std::size_t kEntries = std::size(kDefaults) - 1;

// A text of bounded length that callers may write to behind our back.
class PathBuffer {
  public:
    void set(const char* text) {
        const std::size_t length = text != nullptr ? strnlen(text, kPathSize - 1) : 0;
        if (length != 0) std::memmove(bytes_, text, length);
        bytes_[length] = '\0';
    }
    std::string_view text() const { return {bytes_, strnlen(bytes_, kPathSize)}; }
    char* bytes() { return bytes_; }

  private:
    char bytes_[kPathSize];
};

// The current project. Lives for the process; main thread.
struct Project {
    PathBuffer path, name, workingDirectory;
    char* extension;     // owned
    DbPathEntry* paths;  // owned; kEntries and one that ends them
    PathBuffer velaPath;
};
Project g_project;

// Null when memory runs out.
char* trackedCopy(std::string_view text) {
    auto* const copy = static_cast<char*>(MA_malloc(text.size() + 1, __LINE__, __FILE__, 0));
    if (copy == nullptr) return nullptr;
    text.copy(copy, text.size());
    copy[text.size()] = '\0';
    return copy;
}

void release(char*& text) {
    MA_free(text, __LINE__, __FILE__);
    text = nullptr;
}

std::string pathOf(std::string_view directory) {
    const std::string_view project = g_project.path.text();
    std::string path;
    if (directory == kWorkingDirectory) {
        path.append(g_project.workingDirectory.text()) += kBackslash;
        return path;
    }
    if (directory == kProjectPath) return std::string(project);
    if (directory == kProject) {
        path.append(project).append(g_project.name.text()) += kBackslash;
        return path;
    }
    if (project.size() < 2 || project[1] != ':') {
        path += static_cast<char>('A' + std::clamp(zoOS::currentDrive(), 1, 26) - 1);
        path += ':';
    }
    path.append(project).append(g_project.name.text()) += kBackslash;
    path.append(directory) += kBackslash;
    return path;
}

bool isSeparator(char c) {
    return c == '/' || c == kBackslash;
}

std::size_t directoryLength(const char* path) {
    const std::string_view text = path;
    std::size_t last = text.rfind(kBackslash);
    const bool slashes = text.starts_with('/') || !zoOS::URL(path).isLocalFile();
    if (last == std::string_view::npos && slashes) last = text.rfind('/');
    // Of a path without one the first character remains, which is also what a separator in front
    // leaves.
    return last == std::string_view::npos ? std::min<std::size_t>(text.size(), 1) : last + 1;
}

bool isAbsolute(std::string_view name) {
    return (name.size() >= 2 && name[1] == ':') || (!name.empty() && isSeparator(name[0]));
}

std::string installationOf(std::string program) {
    program.resize(std::min(program.size(), kPathSize - 1));
    program.resize(std::min(program.find_last_of("/\\"), program.size()));
    const std::size_t bin = std::min(program.find("\\bin"), program.find("/bin"));
    program.resize(std::min(bin, program.size()));
    return program;
}

char* freeableCopy(const char* text) {
    return text != nullptr ? strdup(text) : nullptr;
}

}  // namespace

namespace kelvo::util {

bool fileExists(const std::string& path) {
    zoOS::FileStatus status;
    return !zoOS::File(path).query(status, false) && status.exists();
}

std::string expandedName(char* name, int type) {
    if (!zoOS::URL(name).isLocalFile()) return name;
    if (name != nullptr) {
        if (name[0] == '"') VL_string_leading_trailing_remove(name, '"');
        if (isAbsolute(name)) return name;
    }
    const DbPathEntry* const entry = Db_default_path(type);
    if (entry == nullptr) return name != nullptr ? name : "";
    std::string path(entry->path, directoryLength(entry->path));
    // A failure shows when the file is used.
    if (!fileExists(path)) static_cast<void>(zoOS::makeDirectory(path.c_str()));
    if (name == nullptr || path.size() + std::strlen(name) > kLongestPath) return entry->path;
    return path += name;
}

}  // namespace kelvo::util

extern "C" {

char* Db_get_project_name(void) {
    return g_project.name.bytes();
}

char* Db_get_project_path(void) {
    return g_project.path.bytes();
}

char* Db_get_vl_cwd(void) {
    return g_project.workingDirectory.bytes();
}

void Db_set_project_name(const char* name) {
    g_project.name.set(name);
}

void Db_set_project_path(const char* path) {
    g_project.path.set(path);
}

void Db_set_vl_cwd(const char* directory) {
    g_project.workingDirectory.set(directory);
}

char* Db_get_project_extension(void) {
    return g_project.extension;
}

void Db_set_project_extension(const char* extension) {
    char* const copy = extension != nullptr ? trackedCopy(extension) : nullptr;
    release(g_project.extension);
    g_project.extension = copy;
}

void Db_init_paths(void) try {
    if (g_project.paths == nullptr) {
        constexpr std::size_t kBytes = sizeof(kDefaults);
        g_project.paths = static_cast<DbPathEntry*>(MA_malloc(kBytes, __LINE__, __FILE__, 0));
        if (g_project.paths == nullptr) return;
        std::fill_n(g_project.paths, kEntries + 1, DbPathEntry{nullptr, 0});
    }
    for (std::size_t i = 0; i < kEntries; ++i) release(g_project.paths[i].path);
    for (std::size_t i = 0; i < kEntries; ++i) {
        const std::string path = pathOf(kDefaults[i].path).substr(0, kLongestPath);
        g_project.paths[i] = {trackedCopy(path), kDefaults[i].type};
    }
} catch (const std::bad_alloc&) {
    // The table ends where memory did.
}

DbPathEntry* Db_get_paths(void) {
    return g_project.paths;
}

DbPathEntry* Db_get_default_paths(void) {
    return const_cast<DbPathEntry*>(kDefaults);
}

DbPathEntry* Db_default_path(int type) {
    if (g_project.paths == nullptr) Db_init_paths();
    DbPathEntry* entry = g_project.paths;
    if (entry == nullptr) return nullptr;
    while (entry->path != nullptr && entry->type != type) ++entry;
    return entry->path != nullptr ? entry : nullptr;
}

int Db_make_dirname(const char* path, char* out) {
    if (path == nullptr || out == nullptr) return 0;
    const std::size_t length = directoryLength(path);
    std::memmove(out, path, length);
    out[length] = '\0';
    return 1;
}

char* expand_filename(char* out, const char* name, int type) try {
    if (out == nullptr) return nullptr;
    const std::string path = kelvo::util::expandedName(const_cast<char*>(name), type);
    return std::strcpy(out, path.c_str());
} catch (const std::bad_alloc&) {
    *out = '\0';
    return out;
}

char* convertFilename(const char* name, int toForward) {
    char* const copy = freeableCopy(name);
    if (copy == nullptr) return nullptr;
    const char from = toForward != 0 ? kBackslash : '/';
    const char to = toForward != 0 ? '/' : kBackslash;
    std::replace(copy, copy + std::strlen(copy), from, to);
    return copy;
}

// Home directories are not looked up. Callers rely on names that begin with '~' staying as they are.
char* ExpandPathname(const char* name) {
    return freeableCopy(name);
}

const char* getVelaPath(void) try {
    if (const char* const given = std::getenv("VELA_LOCATION")) return given;
    g_project.velaPath.set(installationOf(zoOS::moduleFileName().str()).c_str());
    return g_project.velaPath.bytes();
} catch (const std::bad_alloc&) {
    g_project.velaPath.set("");
    return g_project.velaPath.bytes();
}

void VL_string_leading_trailing_remove(char* s, char c) {
    if (s == nullptr || c == '\0') return;
    const std::string_view text = s;
    const std::size_t first = std::min(text.find_first_not_of(c), text.size());
    const std::size_t end = text.find_last_not_of(c) + 1;  // 0 when nothing remains
    const std::size_t length = end > first ? end - first : 0;
    if (length == text.size()) return;
    std::memmove(s, s + first, length);
    s[length] = '\0';
}

}  // extern "C"
