#include "KelvoBase/win32_directory.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>

#include "Base/zo_os_file.h"

namespace {

constexpr std::size_t kLongestPath = 260;  // characters
constexpr std::size_t kFirstRoom = 4096;   // bytes for names, doubled as often as needed
constexpr std::size_t kMostRoom = std::numeric_limits<std::int32_t>::max();
constexpr std::size_t kNameSize = sizeof(win32_dirent::d_name);

static_assert(sizeof(long) >= sizeof(char*), "a position is an address");

// Entries given so far. Lives for the process; one thread.
std::uint32_t g_serial = 0;

// Gathers names in a growing block.
class Names {
  public:
    Names() = default;
    ~Names() { std::free(block_); }
    Names(const Names&) = delete;
    Names& operator=(const Names&) = delete;

    /// False when there is no room for the name.
    bool add(const char* name) {
        const std::size_t bytes = std::strlen(name) + 1;
        if (bytes > room_ - size_ && !grow(size_ + bytes)) return false;
        std::memcpy(block_ + size_, name, bytes);
        size_ += bytes;
        ++count_;
        return true;
    }

    void moveTo(win32_DIR& directory) {
        directory.start = directory.curr = block_;
        directory.size = static_cast<std::int32_t>(size_);
        directory.count = count_;
        block_ = nullptr;
    }

  private:
    bool grow(std::size_t least) {
        const std::size_t room = std::max({kFirstRoom, least, 2 * room_});
        if (least > kMostRoom) return false;
        char* const block = static_cast<char*>(std::realloc(block_, room));
        if (block == nullptr) return false;
        block_ = block;
        room_ = room;
        return true;
    }

    char* block_ = nullptr;  // owned
    std::size_t size_ = 0, room_ = 0;
    std::int32_t count_ = 0;
};

bool isDirectory(const char* path) {
    zoOS::FileStatus status;
    return !zoOS::File(path).query(status, false) && status.isDirectory();
}

bool readNames(const char* path, Names& names) {
    zoOS::DirectorySearch search;
    // A directory that has gone meanwhile is one without names.
    if (const zoUtil::Error error = search.open(path)) return error.code() == ENOENT;
    while (const char* const name = search.next())
        if (!names.add(name)) return false;
    return true;
}

}  // namespace

extern "C" {

win32_DIR* win32_opendir(char* path) try {
    const std::size_t length = path != nullptr ? strnlen(path, kLongestPath + 1) : 0;
    if (path == nullptr || length > kLongestPath) return nullptr;
    if (length == 2 && path[1] == ':') std::strcpy(path + 2, "\\");
    Names names;
    if (!isDirectory(path) || !readNames(path, names)) return nullptr;
    auto* const directory = static_cast<win32_DIR*>(std::calloc(1, sizeof(win32_DIR)));
    if (directory != nullptr) names.moveTo(*directory);
    return directory;
} catch (const std::bad_alloc&) {
    return nullptr;
}

win32_dirent* win32_readdir(win32_DIR* directory) {
    if (directory == nullptr || directory->curr == nullptr) return nullptr;
    win32_dirent& entry = directory->entry;
    const std::size_t length = std::strlen(directory->curr);
    const std::size_t shown = std::min(length, kNameSize - 1);
    std::memcpy(entry.d_name, directory->curr, shown);
    entry.d_name[shown] = '\0';
    entry.d_namlen = static_cast<std::int32_t>(shown);
    entry.d_ino = static_cast<std::int32_t>(g_serial++);
    directory->curr += length + 1;
    if (directory->curr >= directory->start + directory->size) directory->curr = nullptr;
    return &entry;
}

long win32_telldir(win32_DIR* directory) {
    return directory != nullptr ? reinterpret_cast<long>(directory->curr) : 0;
}

void win32_seekdir(win32_DIR* directory, long position) {
    if (directory == nullptr) return;
    const auto at = static_cast<std::uintptr_t>(position);
    const auto start = reinterpret_cast<std::uintptr_t>(directory->start);
    const bool inside = at >= start && at - start < static_cast<std::uint32_t>(directory->size);
    directory->curr = inside ? directory->start + (at - start) : nullptr;
}

void win32_rewinddir(win32_DIR* directory) {
    if (directory != nullptr) directory->curr = directory->size > 0 ? directory->start : nullptr;
}

int win32_closedir(win32_DIR* directory) {
    if (directory != nullptr) std::free(directory->start);
    std::free(directory);
    return 1;
}

}  // extern "C"
