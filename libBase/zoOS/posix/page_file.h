// A file of whole pages whose space is always reserved, so that mapped pages can be written.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>

#include "libBase/zoOS/extents.h"
#include "libBase/zoOS/posix/descriptor.h"

namespace kelvo::zoos {

/// The file of moveable memory. Results are error numbers, 0 for success; lengths and offsets are
/// whole pages, in bytes.
class PageFile {
  public:
    PageFile();
    /// Removes the file, unless its name belongs to another one by now or this is a forked child.
    ~PageFile();
    PageFile(const PageFile&) = delete;
    PageFile& operator=(const PageFile&) = delete;

    /// Makes the file; one that such an object has left is replaced. EEXIST when the name belongs
    /// to anything else.
    int create(const std::string& path);

    bool isOpen() const { return static_cast<bool>(file_); }
    const std::string& path() const { return path_; }
    const Extents& extents() const { return extents_; }

    /// Reserves room; its content is undefined.
    int take(std::uint64_t length, std::uint64_t& offset);
    /// Reserves the `more` behind a part that ends at `offset`; EBUSY when others have them.
    int takeAt(std::uint64_t offset, std::uint64_t more);
    /// Gives room back; much of it, or what ends the file, to the disk too.
    void give(std::uint64_t offset, std::uint64_t length);
    /// Copies to another place that does not overlap.
    int copy(std::uint64_t from, std::uint64_t to, std::uint64_t length);

    /// Null when the system has no room for another mapping.
    void* map(std::uint64_t offset, std::uint64_t length);
    static void unmap(void* address, std::uint64_t length);

  private:
    int reserve(std::uint64_t offset, std::uint64_t length);

    Descriptor file_;
    std::string path_;  // the system's
    pid_t owner_ = 0;
    Extents extents_;
};

}  // namespace kelvo::zoos
