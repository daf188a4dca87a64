#include "util/DS/item_sort.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <utility>

#include "KelvoBase/ds_structures.h"

namespace kelvo::ds {
namespace {

// Below this std::sort is quicker than filling the tables of a radix sort.
constexpr std::size_t kRadixFrom = 512;
constexpr int kDigits = 8;  // of 8 bits each

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

unsigned digit(const void* item, int number) {
    return (reinterpret_cast<std::uintptr_t>(item) >> (8 * number)) & 0xFF;
}

// Least significant digit first; digits that are the same in all items cost nothing.
void radixSort(void** items, void** scratch, std::size_t count) {
    std::uintptr_t differing = 0;
    for (std::size_t i = 1; i < count; ++i)
        differing |=
            reinterpret_cast<std::uintptr_t>(items[i]) ^ reinterpret_cast<std::uintptr_t>(items[0]);
    void** from = items;
    void** to = scratch;
    for (int d = 0; d < kDigits; ++d) {
        if (((differing >> (8 * d)) & 0xFF) == 0) continue;
        std::size_t start[257] = {};
        for (std::size_t i = 0; i < count; ++i) ++start[digit(from[i], d) + 1];
        for (int value = 0; value < 256; ++value) start[value + 1] += start[value];
        for (std::size_t i = 0; i < count; ++i) to[start[digit(from[i], d)]++] = from[i];
        std::swap(from, to);
    }
    if (from != items) std::copy(from, from + count, items);
}

}  // namespace

bool usesScratch(std::size_t count, Comparator comparator) {
    return comparator == Ds_default_comparator && count >= kRadixFrom;
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
