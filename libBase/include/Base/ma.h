// Memory for the flat interfaces.
//   1. All blocks are blocks of malloc: aligned for any type, uninitialised, null when there is no
//      memory. A block of 0 bytes is a block, not null.
//   2. MA_malloc remembers its blocks, so MA_free also takes blocks of plain malloc, and plain free
//      may release a block of MA_malloc (it then counts as live until its address is used again).
//   3. MA_allocate remembers nothing and is for memory that one owner both makes and releases:
//      element arrays, handles, nodes.
//   4. Tests make either kind fail with MA_failAfter and find leaks with MA_liveBlocks.
// All functions may be called from any thread.
#pragma once

#include <cstddef>

#include "Base/base_api.h"

extern "C" {

/// A tracked block of at least `size` bytes, or null. Released with MA_free. `line` and `file` name
/// the calling place (file may be null); they and `flag` do not change what happens.
BASE_API void* MA_malloc(size_t size, int line, const char* file, int flag);

/// Releases a block of MA_malloc or malloc; null does nothing. The place is as for MA_malloc.
BASE_API void MA_free(void* pointer, int line, const char* file);

/// A block of at least `size` bytes, or null. Released with MA_release and nothing else.
BASE_API void* MA_allocate(size_t size);

/// Releases a block of MA_allocate; null does nothing.
BASE_API void MA_release(void* pointer);

/// What owners of very many small blocks on the main thread need to call malloc and free themselves
/// and still be seen by tests. They count their blocks in `live`; while `failing` is not 0 they call
/// MA_allocate instead of malloc.
struct MA_DirectUse {
    long live;
    long released;  ///< list nodes that were freed: counted here instead of taken off `live`, so
                    ///< that lists see at no further cost whether any was
    int failing;    ///< set by MA_failAfter alone
};
BASE_API extern MA_DirectUse MA_direct;

/// Lets `successes` more allocations of MA_malloc and MA_allocate together succeed; every later one
/// returns null until the next call. Negative: no failures are made (as at start).
BASE_API void MA_failAfter(long successes);

/// Number of blocks of MA_malloc, MA_allocate and direct use that have not been released.
BASE_API long MA_liveBlocks(void);

}  // extern "C"
