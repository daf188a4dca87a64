// Large blocks of data that need no address while nobody works on them.
//   1. A block is known by its handle and lives in a file of a directory. lock() gives it an
//      address, the last unlock() takes that away; the next lock() may give another one.
//   2. Space on the disk is reserved with the block: writing to a locked block never fails. When
//      the disk is full, allocate and resize say so and everything stays as it was.
//   3. Each block takes whole pages of the file, so this is for blocks of some KiB and more.
//   4. The file goes with the object. One left by a program that died is replaced at next use.
//   5. Handles are never used twice: an old or foreign one is an error (EINVAL), nothing worse.
//   6. One thread at a time for one object.
#pragma once

#include <cstdint>
#include <memory>

#include "Base/base_api.h"
#include "Base/zo_string.h"
#include "Base/zo_util.h"

namespace zoOS {

/// A store of blocks in one file.
class BASE_API MoveableMemory {
  public:
    /// Names a block; 0 names none.
    using Handle = std::uint64_t;

    /// Counts of blocks and bytes at one moment.
    struct Statistics {
        std::uint64_t blocks = 0;
        std::uint64_t bytes = 0;         ///< asked for, all blocks together
        std::uint64_t lockedBlocks = 0;  ///< with at least one lock
        std::uint64_t lockedBytes = 0;
        std::uint64_t mappedBytes = 0;  ///< with an address now: locked, or kept for the next lock
        std::uint64_t fileBytes = 0;    ///< length of the file
        std::uint64_t freeBytes = 0;    ///< of it between blocks; large parts are not on the disk
    };

    MoveableMemory();
    /// All blocks and addresses go, and the file.
    ~MoveableMemory();
    MoveableMemory(const MoveableMemory&) = delete;
    MoveableMemory& operator=(const MoveableMemory&) = delete;

    /// Creates the file `name` in `directory`. False, with lastError() saying why, when it cannot be
    /// created, when a file of that name holds something else, or when this object has its file
    /// already. A file of the same name that another object uses loses its name only.
    bool initializeFiles(const zoString::IString& directory, const zoString::IString& name);

    /// Why initializeFiles answered false; no error otherwise.
    const zoUtil::Error& lastError() const noexcept;

    /// A new block; its content is undefined. 0 bytes are a block too. ENOSPC when the disk is
    /// full; `handle` is 0 with any error.
    zoUtil::Error allocate(std::uint64_t bytes, Handle& handle);

    /// The address of the block, aligned to a page, which holds until as many unlock() calls were
    /// made as lock() calls. Null: no such block, or no room for another mapping.
    void* lock(Handle handle);

    /// Takes one lock back. EINVAL when there is none. After the last one the content may leave
    /// memory; the address must not be used any more.
    zoUtil::Error unlock(Handle handle);

    /// Changes the size and keeps the content up to the smaller one. EBUSY while locked; ENOSPC when
    /// the disk is full. Unchanged with any error.
    zoUtil::Error resize(Handle handle, std::uint64_t bytes);

    /// Gives the block and its space back. EBUSY while locked.
    zoUtil::Error free(Handle handle);

    /// Bytes of the block as asked for; 0 when there is no such block.
    std::uint64_t size(Handle handle) const;

    Statistics statistics() const;

  private:
    class Store;
    std::unique_ptr<Store> store_;
};

}  // namespace zoOS
