// The cache directory: whether it may be served, what its files are, and the files of the server
// itself. Names are looked up relative to the open directory, so that nothing outside is reached
// whatever happens to the path.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Base/zo_util.h"

namespace kelvo::zocached {

// Files of the server; no client can enter one of these names.
constexpr const char* kLogName = "zocached.log";
constexpr const char* kOldLogName = "zocached.log.1";
constexpr const char* kIndexName = "zocached.index";
constexpr const char* kBadIndexName = "zocached.index.bad";
constexpr const char* kGuardName = "zocached.guard";    // flock: one server a directory
constexpr const char* kSocketName = "zocached.socket";  // where other starters hand over
constexpr const char* kNewLockFileName = "zocached.newlock";

constexpr std::size_t kLongestPath = 4096;  ///< bytes of a key, a path or a directory

/// Which file it is, whatever name it has, and its size.
struct FileState {
    std::uint64_t inode = 0;
    std::int64_t born = 0;  ///< in nanoseconds; 0 where the file system does not know
    std::int64_t bytes = 0;

    bool isSameFile(const FileState& other) const {
        return inode == other.inode && born == other.born;
    }
};

/// Owns a descriptor.
class Descriptor {
  public:
    explicit Descriptor(int number = -1) noexcept : number_(number) {}
    Descriptor(Descriptor&& other) noexcept : number_(other.release()) {}
    Descriptor& operator=(Descriptor&& other) noexcept;
    ~Descriptor();

    int get() const noexcept { return number_; }
    explicit operator bool() const noexcept { return number_ >= 0; }
    int release() noexcept;

  private:
    int number_;
};

/// Whether `name` can be a cached file's: a plain base name that is none of the server's own.
bool isEntryName(std::string_view name);

class Directory {
  public:
    Directory() = default;

    /// Opens `text`, a path in the client's words. One that does not exist is made, for its owner
    /// alone. Refused when it is not ours or others may write there.
    zoUtil::Error open(const zoString::CString& text);
    /// The same for a directory that somebody else has opened.
    zoUtil::Error take(Descriptor directory);

    int descriptor() const { return directory_.get(); }
    bool isSame(int descriptor) const;
    /// Whether the path leads to this very directory.
    bool isAt(const zoString::CString& text) const;
    /// Where it is now; empty when it has been deleted.
    std::string path() const;

    /// The base name of `path` when it lies directly in here. `known` is a text for this directory.
    std::optional<std::string> nameOf(const zoString::CString& path,
                                      const zoString::CString& known) const;
    /// The regular file of that name; nothing when there is none.
    std::optional<FileState> look(const std::string& name) const;
    /// The same, by opening it with every escape from the directory shut.
    std::optional<FileState> lookClosely(const std::string& name) const;
    /// Deletes the name when it is still that file. False only when the system refuses.
    bool remove(const std::string& name, const FileState& file) const;

    /// Tries to become the one server here; the descriptor holds the right until it is closed.
    /// Without an error and without a descriptor another process has it.
    zoUtil::Error tryGuard(Descriptor& guard) const;
    /// Whether the guard is still the file of that name.
    bool isGuardedBy(const Descriptor& guard) const;

    /// Says in the lock file where the server listens: in one step, over whatever is there.
    zoUtil::Error advertise(int port) const;
    bool isAdvertised(int port) const;
    void withdraw(int port) const;

  private:
    zoUtil::Error examine(const char* text) const;

    Descriptor directory_;
};

}  // namespace kelvo::zocached
