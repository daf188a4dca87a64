// What the system tells about memory and disks.
//   1. SysInfo and Filesystem count in KiB of 32 bits: beyond 4 TiB they wrap, they never saturate.
//      SystemMemory has the whole figures and heeds the limits of a container.
//   2. Tests put figures of their own in place with setProbes.
#pragma once

#include <cstdint>

#include "Base/base_api.h"
#include "Base/zo_string.h"
#include "Base/zo_util.h"

namespace zoOS {

/// Memory of the machine in KiB. Virtual memory is physical memory and swap together. "Available"
/// includes what the system would give up for us, caches for instance.
struct BASE_API SysInfo {
    unsigned totalPhysicalMemory = 0;
    unsigned availPhysicalMemory = 0;
    unsigned totalVirtualMemory = 0;
    unsigned availVirtualMemory = 0;

    /// Bytes in a page of memory.
    static unsigned getPageSize();
};

/// The figures at this moment; all 0 when the system does not tell.
BASE_API SysInfo sysInfo();

/// Memory that this process can use, in bytes: as SysInfo, but no more than the limits of the
/// control groups (version 1 or 2) around this process leave, which is what a container is given.
struct SystemMemory {
    std::uint64_t totalPhysical = 0;
    std::uint64_t availPhysical = 0;
    std::uint64_t totalVirtual = 0;
    std::uint64_t availVirtual = 0;
};

/// The figures at this moment; all 0 when the system does not tell.
BASE_API SystemMemory systemMemory();

/// The file system that holds a path.
class BASE_API Filesystem {
  public:
    explicit Filesystem(const char* path);

    /// Asks the system. On an error the free space stays 0 (a probe may say otherwise).
    zoUtil::Error stat();

    /// KiB that this user may still fill; 0 before stat().
    unsigned freeSpace() const noexcept { return freeSpace_; }

  private:
    zoString::CString path_;
    unsigned freeSpace_ = 0;
};

/// Bytes that this user may still fill on the file system of `path`. False, with 0, on failure.
BASE_API bool diskFree(const char* path, std::uint64_t& bytes);

/// Answers in place of the system's; null members leave the system's own.
struct Probes {
    SysInfo (*sysInfo)() = nullptr;
    /// Error code of Filesystem::stat (0: success) and, in any case, its free space in KiB.
    int (*filesystem)(const char* path, unsigned* freeKiB) = nullptr;
    bool (*diskFree)(const char* path, std::uint64_t* bytes) = nullptr;
    const char* (*moduleFileName)() = nullptr;
    int (*currentDrive)() = nullptr;
    /// Directory that takes the place of "/" where sysInfo and systemMemory read /proc and the
    /// control groups. Borrowed until the next setProbes.
    const char* systemRoot = nullptr;
};

/// Takes over the probes, as a copy; null brings the system's own answers back. Not while other
/// threads ask.
BASE_API void setProbes(const Probes* probes);

}  // namespace zoOS
