// Files and directories of the file system.
//   1. Paths go through nativePath. An error carries the system's error number as its code and a
//      message for people that names the file.
//   2. No operation leaves a half-written target: until the last step the target is what it was,
//      from then on it is complete, also for a program that reads it meanwhile and after a crash.
//      A process that dies leaves no other file behind where the file system has files without a
//      name; elsewhere one whose name begins with ".copy-" may stay.
//   3. A limit of file sizes (ulimit -f) is the error EFBIG, not a signal.
#pragma once

#include <cstdint>
#include <memory>

#include "Base/base_api.h"
#include "Base/zo_string.h"
#include "Base/zo_util.h"

namespace zoOS {

/// What File::query found out. A value; at start nothing exists.
class BASE_API FileStatus {
  public:
    bool exists() const noexcept { return type_ != 0; }
    bool isDirectory() const noexcept { return type_ == kDirectory; }
    /// A regular file: no directory, link, device, pipe or socket.
    bool isFile() const noexcept { return type_ == kFile; }
    /// Whether this process may write: not on a disk that is mounted for reading only. The
    /// permission bits must allow it to someone even when the user is root, for whom the system
    /// itself never looks at them.
    bool isWritable() const noexcept { return writable_; }
    /// Bytes; 0 when there is no file.
    std::int64_t size() const noexcept { return size_; }
    /// The type bits: 0x4000 directory, 0x8000 regular file, 0x2000 and 0x6000 devices, 0x1000
    /// pipe, 0xA000 link, 0xC000 socket; 0 when there is no file.
    unsigned type() const noexcept { return type_; }

  private:
    friend class File;
    static constexpr unsigned kDirectory = 0x4000;
    static constexpr unsigned kFile = 0x8000;

    std::int64_t size_ = 0;
    unsigned type_ = 0;
    bool writable_ = false;
};

/// The name of a file or directory, to be asked about or made.
class BASE_API File {
  public:
    explicit File(const char* path);
    explicit File(const zoString::CString& path);
    explicit File(const zoString::IString& path);

    /// Fills `status`. Links are followed unless `ofLink` asks for the link itself. A file that is
    /// not there is no error: exists() is false then. Errors, with `status` as of no file: no
    /// right to look (EACCES), a name too long, a circle of links.
    zoUtil::Error query(FileStatus& status, bool ofLink) const;

    /// Makes the directory and all directories above it that are missing. Success when it is there
    /// already; ENOTDIR when a part of the path is no directory.
    zoUtil::Error makeDirectoryAll() const;

  private:
    zoString::CString path_;
};

/// Makes one directory, which everybody may use as far as the process's mask allows. EEXIST when
/// there is something of that name.
BASE_API zoUtil::Error makeDirectory(const char* path);

/// Removes a file or a link, not a directory. ENOENT when it is absent.
BASE_API zoUtil::Error fileDelete(const char* path);

/// Copies the content, permission bits and times of a regular file, as far as the file system has
/// them; holes stay holes. An existing target is replaced when `overwrite` is set, else the error
/// is EEXIST; a link as target keeps pointing at the file that is replaced, one that leads nowhere
/// is replaced itself. EINVAL for a file onto itself, by whatever names or links; ENOTSUP for a
/// device, pipe or socket on either side. On success the copy is on the disk; on an error the target
/// is as before.
BASE_API zoUtil::Error fileCopy(const char* from, const char* to, bool overwrite);

/// Gives a file, a link or a directory another name. An existing target is replaced when
/// `overwrite` is set, else the error is EEXIST. To another file system a file is copied and then
/// deleted (a link is made anew; a directory is refused with EXDEV; a file that is being written to
/// with EBUSY). EINVAL for a file onto itself, ENOTSUP for a device, pipe or socket as target.
/// After an error the file still is where it was; only when it could not be deleted there after
/// copying over an existing target are there two, and the message says so.
BASE_API zoUtil::Error fileMove(const char* from, const char* to, bool overwrite);

/// Reads the first `limit` bytes, or what there is, of a small file that tells this process what to
/// do. It must be a regular file that belongs to this user and that nobody else may write (EPERM);
/// a link is not followed (ELOOP), and a pipe or device is refused without waiting for it. After an
/// error `content` is what it was.
BASE_API zoUtil::Error readOwnFile(const char* path, int limit, zoString::CString& content);

/// Goes through the names in a directory.
class BASE_API DirectorySearch {
  public:
    DirectorySearch();
    ~DirectorySearch();
    DirectorySearch(const DirectorySearch&) = delete;
    DirectorySearch& operator=(const DirectorySearch&) = delete;

    /// Begins with a directory; a search under way ends. ENOENT, ENOTDIR, EACCES and the like.
    zoUtil::Error open(const char* directory);

    /// The next name, valid until the next call; null at the end or when nothing is open. First
    /// come "." and "..", then the others in the order of the file system.
    const char* next();

  private:
    struct Listing;
    std::unique_ptr<Listing> listing_;
};

}  // namespace zoOS
