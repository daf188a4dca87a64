// The application's one store of moveable memory: large blocks that live in a file while nobody
// works on them. This is where it is set up; Base/zo_os_moveable_memory.h says how it is used.
// Set up once from the main thread.
#pragma once

#include "Base/zo_os_moveable_memory.h"
#include "Base/zo_string.h"
#include "Base/zo_util.h"
#include "KelvoBase/kelvo_api.h"

namespace zoKelvoBase {

/// Holder of the store.
class KELVO_API MoveableMemory {
  public:
    MoveableMemory() = default;
    /// Deletes the store, if there is one.
    ~MoveableMemory();
    MoveableMemory(const MoveableMemory&) = delete;
    MoveableMemory& operator=(const MoveableMemory&) = delete;

    /// Makes the directory with all that is missing above it, then the store in its file `second`.
    /// Errors: those of the system for the directory; code 1 "directory not writeable: ..." (the
    /// text ends with a newline); code 1 "Failed to initialize moveable memory.", which leaves
    /// get() null. The directory is remembered in any case. A store made before is not deleted:
    /// its blocks stay usable for the life of the process by those who have its address.
    zoUtil::Error initialize(const zoString::IString& directory, const zoString::IString& second);

    /// The store, owned by this holder; null before a successful initialize().
    zoOS::MoveableMemory* get() const noexcept { return memory_; }

    /// The directory given last; empty before.
    const zoString::IString& getDirectory() const noexcept { return directory_; }

  private:
    zoOS::MoveableMemory* memory_ = nullptr;  // owned
    zoString::IString directory_;
};

/// The holder of the process; made at the first call, destroyed at exit.
KELVO_API MoveableMemory& moveableMemory();

}  // namespace zoKelvoBase
