// Views: memory from the system beside the heap, anonymous or behind a scratch file.
//   1. A view begins on a page, is zeroed and may be read and written. It lives until unmapView or
//      the end of the process.
//   2. Failure is kNoView, never null.
//   3. All functions may be called from any thread.
#pragma once

#include <cstddef>
#include <cstdint>

#include "Base/base_api.h"

namespace zoOS {

/// The address that stands for "no view": all bits set.
inline void* const kNoView = reinterpret_cast<void*>(~std::uintptr_t{0});

/// A view of anonymous memory; large ones use huge pages where the system has them (so touching one
/// byte may cost 2 MiB). kNoView for 0 bytes or when the system refuses.
BASE_API void* mapPagingView(std::size_t bytes);

/// A new scratch file of this size with its space reserved on the disk, so that writing through a
/// view never fails. Only this user may open it. Returns a descriptor, or -1 (the name is taken, no
/// right, disk full), with no file left behind. `magic` is the word with which such files begin
/// once they are filled: the first call for a directory removes files there whose name differs
/// from this one in the last six characters only, which begin with that word and whose process has
/// died.
BASE_API int createScratchFile(const char* path, std::size_t bytes, std::uint32_t magic);

/// A view of a scratch file; closes the descriptor in any case. The file's name stays until
/// removeScratchFile or the end of this process.
BASE_API void* mapScratchView(int file, std::size_t bytes);

/// Removes the name; a view of the file stays usable.
BASE_API void removeScratchFile(const char* path);

/// True when a view begins at this address.
BASE_API bool isViewStart(const void* address);

/// Ends the view that holds this address, the whole of it. False when no view does.
BASE_API bool unmapView(const void* address);

}  // namespace zoOS
