#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <mutex>

#include "Base/zo_os_system.h"
#include "Base/zo_os_view.h"
#include "libBase/zoOS/posix/descriptor.h"

namespace zoOS {
namespace {

constexpr std::size_t kHugePage = std::size_t{1} << 21;
// From here on the gain outweighs the memory that a page of 2 MiB may hold in vain.
constexpr std::size_t kHugeFrom = 2 * kHugePage;

// The views by address, with the length of their pages. Lives for the process and is never
// destroyed, since views may be ended while the process ends; any thread.
struct Views {
    std::mutex mutex;
    std::map<std::uintptr_t, std::size_t> lengths;
};

Views& views() {
    static Views* const all = new Views;
    return *all;
}

std::uintptr_t numberOf(const void* address) {
    return reinterpret_cast<std::uintptr_t>(address);
}

// munmap and madvise take an address in words; these are the only places that make one.
void* addressOf(std::uintptr_t number) {
    return reinterpret_cast<void*>(number);
}

void unmap(std::uintptr_t begin, std::size_t bytes) {
    if (bytes != 0) munmap(addressOf(begin), bytes);
}

void* map(std::size_t bytes, int flags, int file) {
    return mmap(nullptr, bytes, PROT_READ | PROT_WRITE, flags, file, 0);
}

std::size_t wholePages(std::size_t bytes) {
    const std::size_t page = SysInfo::getPageSize();
    return (bytes + page - 1) / page * page;
}

// Anonymous memory that begins where huge pages do. The system serves it with pages of that size
// as far as it has them and with ordinary ones elsewhere.
void* mapHuge(std::size_t bytes) {
    const std::size_t length = wholePages(bytes);
    if (length + kHugePage < bytes) return MAP_FAILED;
    void* const whole = map(length + kHugePage, MAP_PRIVATE | MAP_ANONYMOUS, -1);
    if (whole == MAP_FAILED) return MAP_FAILED;
    const std::uintptr_t first = numberOf(whole);
    const std::uintptr_t begin = (first + kHugePage - 1) / kHugePage * kHugePage;
    unmap(first, begin - first);
    unmap(begin + length, first + kHugePage - begin);
    madvise(addressOf(begin), length, MADV_HUGEPAGE);
    return addressOf(begin);
}

void* remember(void* view, std::size_t bytes) {
    if (view == MAP_FAILED) return kNoView;
    Views& all = views();
    const std::lock_guard<std::mutex> lock(all.mutex);
    all.lengths[numberOf(view)] = wholePages(bytes);
    return view;
}

}  // namespace

void* mapPagingView(std::size_t bytes) {
    void* view = bytes >= kHugeFrom ? mapHuge(bytes) : MAP_FAILED;
    if (view == MAP_FAILED) view = map(bytes, MAP_PRIVATE | MAP_ANONYMOUS, -1);
    return remember(view, bytes);
}

void* mapScratchView(int file, std::size_t bytes) {
    const kelvo::zoos::Descriptor closing(file);
    return remember(map(bytes, MAP_SHARED, file), bytes);
}

bool isViewStart(const void* address) {
    Views& all = views();
    const std::lock_guard<std::mutex> lock(all.mutex);
    return all.lengths.count(numberOf(address)) != 0;
}

bool unmapView(const void* address) {
    Views& all = views();
    const std::lock_guard<std::mutex> lock(all.mutex);
    auto after = all.lengths.upper_bound(numberOf(address));
    if (after == all.lengths.begin()) return false;
    const auto view = std::prev(after);
    if (numberOf(address) - view->first >= view->second) return false;
    unmap(view->first, view->second);
    all.lengths.erase(view);
    return true;
}

}  // namespace zoOS
