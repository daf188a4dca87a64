#include "KelvoBase/ma_memory_manager.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <vector>

#include "Base/ma.h"
#include "Base/zo_os_filename.h"
#include "Base/zo_os_path.h"
#include "Base/zo_os_system.h"
#include "Base/zo_os_view.h"

namespace {

constexpr std::uint32_t kMagic = 0xBEEF;
constexpr std::uint32_t kReserve = 5u << 20;      // virtual memory that is never offered
constexpr std::uint32_t kDiskReserve = 5u << 10;  // KiB
constexpr std::uint32_t kDataLimit = 0x7FFFFFFE;
constexpr std::size_t kNameSize = 260;
constexpr const char* kFile = "ma_memory_manager";

// Stands before the caller's bytes. Four words, whatever the size of a pointer is: the name's
// address takes two, the second of them only in file-backed blocks.
struct Header {
    std::uint32_t magic;
    std::uint32_t nameLow;
    std::uint32_t mappedSize;  // with the header; less after shrinking
    std::uint32_t nameHigh;
};
constexpr std::uint32_t kOverhead = sizeof(Header);
static_assert(kOverhead == 16);

// Names of files that could not be made are kept, as callers know it. Lives for the process; any
// thread. Never destroyed.
struct KeptNames {
    std::mutex mutex;
    std::vector<char*> names;
};
KeptNames& keptNames() {
    static KeptNames* const names = new KeptNames;
    return *names;
}

// Stands in every scratch file's name; nothing changes it.
const int g_scratchNumber = 0;

// The figures arrive in KiB and wrap above 4 GiB: callers rely on these very values.
std::uint32_t inBytes(unsigned kib) {
    return std::uint32_t{kib} * 1024u;
}

const char* scratchDirectory() {
    const char* directory = std::getenv("TMPDIR");
    return directory != nullptr ? directory : "c:\\Temp";
}

std::uint32_t scratchBytesFree() {
    std::uint64_t bytes = 0;
    return zoOS::diskFree(scratchDirectory(), bytes) ? static_cast<std::uint32_t>(bytes) : 0;
}

Header* headerOf(void* block) {
    char* const start = static_cast<char*>(block) - kOverhead;
    return reinterpret_cast<Header*>(start);
}

// The header of one of our blocks, or null for any other pointer, which is not looked at.
Header* ownHeader(void* block) {
    if (reinterpret_cast<std::uintptr_t>(block) <= kOverhead) return nullptr;
    Header* const header = headerOf(block);
    return zoOS::isViewStart(header) && header->magic == kMagic ? header : nullptr;
}

char* nameIn(const Header& header) {
    if (header.nameLow == 0) return nullptr;  // no block of malloc has an address that ends so
    const std::uint64_t address = (std::uint64_t{header.nameHigh} << 32) | header.nameLow;
    return reinterpret_cast<char*>(static_cast<std::uintptr_t>(address));
}

void* finish(void* view, char* name, std::uint32_t total) {
    if (view == zoOS::kNoView) {
        if (name != nullptr) zoOS::removeScratchFile(name);
        MA_free(name, 0, kFile);
        return nullptr;
    }
    Header* const header = static_cast<Header*>(view);
    const auto address = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(name));
    header->magic = kMagic;
    header->nameLow = static_cast<std::uint32_t>(address);
    header->mappedSize = total;
    if (name != nullptr) header->nameHigh = static_cast<std::uint32_t>(address >> 32);
    return static_cast<char*>(view) + kOverhead;
}

void* allocateInFile(std::uint32_t total) {
    char* const name = static_cast<char*>(MA_malloc(kNameSize, __LINE__, kFile, 1));
    if (name == nullptr) return nullptr;
    const int length = std::snprintf(name, kNameSize, "%s%cMagic%dXXXXXX", scratchDirectory(),
                                     zoOS::Filename::separator(), g_scratchNumber);
    int file = -1;
    if (length > 0 && static_cast<std::size_t>(length) < kNameSize && zoOS::makeUniqueName(name))
        file = zoOS::createScratchFile(name, total, kMagic);
    if (file < 0) {
        KeptNames& kept = keptNames();
        const std::lock_guard<std::mutex> lock(kept.mutex);
        kept.names.push_back(name);
        return nullptr;
    }
    return finish(zoOS::mapScratchView(file, total), name, total);
}

void store(unsigned* where, unsigned value) {
    if (where != nullptr) *where = value;
}

}  // namespace

extern "C" {

unsigned MA_get_real_memory_size(void) {
    return inBytes(zoOS::sysInfo().totalPhysicalMemory);
}

unsigned MA_get_total_swap(void) {
    return inBytes(zoOS::sysInfo().totalVirtualMemory);
}

unsigned MA_swap_available(void) {
    return inBytes(zoOS::sysInfo().availVirtualMemory);
}

unsigned Ma_findPhysicalMemory(void) {
    return inBytes(zoOS::sysInfo().totalPhysicalMemory);
}

unsigned Ma_findFreePhysicalMemory(void) {
    return inBytes(zoOS::sysInfo().availPhysicalMemory);
}

unsigned Ma_findAvailableMemory(void) {
    return Ma_findFreePhysicalMemory();
}

unsigned Ma_findVirtualMemory(void) {
    return inBytes(zoOS::sysInfo().totalVirtualMemory);
}

unsigned Ma_findFreeVirtualMemory(void) {
    const std::uint32_t available = MA_swap_available();
    return available <= kReserve ? 0 : available - kReserve;
}

unsigned Ma_findMmapMemory(void) {
    zoOS::Filesystem filesystem(scratchDirectory());
    // The free space counts only when the query reports an error. Callers rely on 0 for a file
    // system that works, which keeps large blocks out of files.
    if (!filesystem.stat()) return 0;
    const std::uint32_t free = filesystem.freeSpace();
    return free < kDiskReserve ? 0 : inBytes(free - kDiskReserve);
}

void Ma_get_process_data_limits(unsigned* first, unsigned* second, unsigned* third,
                                unsigned* fourth, unsigned* fifth, unsigned* data,
                                unsigned* virtual_memory, unsigned* disk) {
    for (unsigned* unknown : {first, second, third, fourth, fifth}) store(unknown, 0);
    store(data, kDataLimit);
    if (virtual_memory != nullptr) *virtual_memory = MA_swap_available();
    if (disk != nullptr) *disk = scratchBytesFree();
}

int Ma_checkMmapMemory(unsigned size, unsigned reserve, int paging) {
    const std::uint32_t need = size + kOverhead;
    const std::uint32_t total = need + reserve;
    const std::uint32_t available = MA_swap_available();
    const std::uint32_t diskFree = scratchBytesFree();
    if (paging != 0) return available >= total;
    return need <= diskFree && Ma_findMmapMemory() >= total;
}

void* Ma_allocMmapMemory(unsigned size, unsigned reserve, int paging) {
    if (Ma_checkMmapMemory(size, reserve, paging) == 0) return nullptr;
    const std::uint32_t total = size + kOverhead;
    if (total < kOverhead) return nullptr;  // the sum has wrapped: nothing could hold the size
    if (paging == 0) return allocateInFile(total);
    return finish(zoOS::mapPagingView(total), nullptr, total);
}

unsigned Ma_shrinkMmapMemory(void* block, unsigned size) {
    Header* const header = ownHeader(block);
    if (header == nullptr) return 0;
    const std::uint32_t page = zoOS::SysInfo::getPageSize();
    std::uint32_t total = size + kOverhead;
    // Blocks begin on a page, so a whole number of pages ends on one.
    const std::uint32_t beyond = total % page;
    if (beyond != 0) total += page - beyond;
    if (total < header->mappedSize) header->mappedSize = total;
    return header->mappedSize - kOverhead;
}

void Ma_freeMmapMemory(void* block) {
    Header* const header = ownHeader(block);
    if (header == nullptr) return;
    char* const name = nameIn(*header);
    // Any address inside a view ends the whole of it.
    zoOS::unmapView(block);
    if (name == nullptr) return;
    zoOS::removeScratchFile(name);
    MA_free(name, __LINE__, kFile);
}

unsigned Ma_get_mmap_overhead(void) {
    return kOverhead;
}

}  // extern "C"
