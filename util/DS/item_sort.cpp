#include "util/DS/item_sort.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <utility>

#include "KelvoBase/ds_structures.h"

namespace kelvo::ds {
namespace {

// Below this std::sort is quicker than filling the tables of a radix sort.
constexpr std::size_t kRadixFrom = 512;
constexpr std::size_t kRadixTo = 0xFFFFFFFF;  // what the counters can count
constexpr int kDigitBits = 10;
constexpr std::uintptr_t kDigitValues = 1 << kDigitBits;
// Values that are spread well differ in their leading digits already. What is left then is at most
// this many steps an item.
constexpr int kLeadingBits = 2 * kDigitBits;
constexpr std::size_t kStepsToFinish = 4;

// The comparator of the running qsort; a comparator may itself sort, so runs nest.
Comparator g_running = nullptr;

class Running {
  public:
    explicit Running(Comparator comparator) : previous_(std::exchange(g_running, comparator)) {}
    ~Running() { g_running = previous_; }
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;

  private:
    Comparator previous_;
};

int compareSlots(const void* a, const void* b) {
    return g_running(const_cast<void*>(a), const_cast<void*>(b));
}

std::uintptr_t valueOf(const void* item) {
    return reinterpret_cast<std::uintptr_t>(item);
}

// The bits below this one are all in which items differ.
int differingBits(void* const* items, std::size_t count) {
    std::uintptr_t differing = 0;
    for (std::size_t i = 1; i < count; ++i) differing |= valueOf(items[i]) ^ valueOf(items[0]);
    return static_cast<int>(std::bit_width(differing));
}

// Moves items to `to` in the order of the digit at `shift`; false, and nothing done, when it is the
// same in all of them.
bool moveByDigit(void* const* from, void** to, std::size_t count, int shift) {
    std::uint32_t place[kDigitValues] = {};
    const auto digit = [shift](const void* item) {
        return (valueOf(item) >> shift) % kDigitValues;
    };
    for (std::size_t i = 0; i < count; ++i) ++place[digit(from[i])];
    if (place[digit(from[0])] == count) return false;
    std::uint32_t sum = 0;
    for (std::uint32_t& each : place) sum += std::exchange(each, sum);
    for (std::size_t i = 0; i < count; ++i) to[place[digit(from[i])]++] = from[i];
    return true;
}

// Sorts by the bits from `low` to `high`, least significant digit first.
void sortByBits(void** items, void** scratch, std::size_t count, int low, int high) {
    void** from = items;
    void** to = scratch;
    for (int shift = low; shift < high; shift += kDigitBits)
        if (moveByDigit(from, to, count, shift)) std::swap(from, to);
    if (from != items) std::copy(from, from + count, items);
}

// Insertion sort; false, with the items in some order, when it would be long.
bool finish(void** items, std::size_t count) {
    std::size_t steps = kStepsToFinish * count;
    for (std::size_t i = 1; i < count; ++i) {
        void* const item = items[i];
        std::size_t at = i;
        for (; at > 0 && valueOf(items[at - 1]) > valueOf(item) && steps > 0; --at, --steps)
            items[at] = items[at - 1];
        items[at] = item;
    }
    return steps > 0;
}

void radixSort(void** items, void** scratch, std::size_t count) {
    const int high = differingBits(items, count);
    const int low = std::max(0, high - kLeadingBits);
    sortByBits(items, scratch, count, low, high);
    if (low > 0 && !finish(items, count)) sortByBits(items, scratch, count, 0, high);
}

}  // namespace

bool usesScratch(std::size_t count, Comparator comparator) {
    return comparator == Ds_default_comparator && count >= kRadixFrom && count <= kRadixTo;
}

void sortItems(void** items, void** scratch, std::size_t count, Comparator comparator) {
    if (comparator != Ds_default_comparator) {
        const Running running(comparator);
        std::qsort(items, count, sizeof *items, compareSlots);
    } else if (scratch && usesScratch(count, comparator)) {
        radixSort(items, scratch, count);
    } else {
        std::sort(items, items + count, std::less<void*>());
    }
}

}  // namespace kelvo::ds
