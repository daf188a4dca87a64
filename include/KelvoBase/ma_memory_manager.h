// How much memory there is, and blocks of memory outside the heap.
//   1. Sizes are bytes of 32 bits. Figures of the system wrap above 4 GiB; zo_os_system.h of
//      libBase has whole ones.
//   2. A block is backed by memory and swap ("paging") or by a scratch file in the scratch
//      directory: $TMPDIR, or c:\Temp when that is not set, asked anew at every call. Blocks in
//      scratch files are refused wherever the file system answers, that is, practically always
//      (Ma_findMmapMemory): ask for paging ones, and use moveable_memory.h for data in files.
//   3. A block carries a header of 16 bytes before its first byte; the caller never touches it.
//   4. Nothing is printed. Blocks belong to the caller until Ma_freeMmapMemory. All functions may
//      be called from any thread.
#pragma once

#include "KelvoBase/kelvo_api.h"

extern "C" {

// ---- Figures

/// Physical memory of the machine.
KELVO_API unsigned MA_get_real_memory_size(void);
/// Virtual memory of the machine: physical memory and swap.
KELVO_API unsigned MA_get_total_swap(void);
/// Virtual memory that is available.
KELVO_API unsigned MA_swap_available(void);

/// Physical memory of the machine.
KELVO_API unsigned Ma_findPhysicalMemory(void);
/// Physical memory that is available.
KELVO_API unsigned Ma_findFreePhysicalMemory(void);
/// The same as Ma_findFreePhysicalMemory.
KELVO_API unsigned Ma_findAvailableMemory(void);
/// Virtual memory of the machine.
KELVO_API unsigned Ma_findVirtualMemory(void);
/// Available virtual memory less a reserve of 5 MiB; 0 when no more than that is available.
KELVO_API unsigned Ma_findFreeVirtualMemory(void);
/// Scratch space for file-backed blocks: 0, for none, on a file system that answers. Where it does
/// not, what is known to be free, less 5 MiB.
KELVO_API unsigned Ma_findMmapMemory(void);

/// Limits of the process, each stored unless its pointer is null. The first five are 0 (not known);
/// `data` is 2147483646, `virtual_memory` the available virtual memory, `disk` the free space in
/// the scratch directory (low 32 bits; 0 when that cannot be asked).
KELVO_API void Ma_get_process_data_limits(unsigned* first, unsigned* second, unsigned* third,
                                          unsigned* fourth, unsigned* fifth, unsigned* data,
                                          unsigned* virtual_memory, unsigned* disk);

// ---- Blocks

/// 1 when a block of `size` bytes can be had and `reserve` bytes remain, else 0. `paging` is 0 for
/// a block in a scratch file (see 2. above), not 0 for one in memory. Sums are of 32 bits and wrap.
KELVO_API int Ma_checkMmapMemory(unsigned size, unsigned reserve, int paging);

/// A zeroed block of at least `size` bytes, 16 bytes behind the start of a page. Null when
/// Ma_checkMmapMemory says 0, when the scratch file cannot be made or when the system refuses.
/// Large paging blocks use huge pages.
KELVO_API void* Ma_allocMmapMemory(unsigned size, unsigned reserve, int paging);

/// Records that only `size` bytes are needed, rounded up so that the block ends on a page, and
/// returns the bytes recorded. A size that is no smaller changes nothing and returns what is
/// recorded. No memory is given back before Ma_freeMmapMemory. 0 for any other pointer.
KELVO_API unsigned Ma_shrinkMmapMemory(void* block, unsigned size);

/// Gives a block back and removes its scratch file. Null and any other pointer are ignored.
KELVO_API void Ma_freeMmapMemory(void* block);

/// Size of the header: 16.
KELVO_API unsigned Ma_get_mmap_overhead(void);

}  // extern "C"
