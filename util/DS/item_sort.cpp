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
constexpr int kDigitBits = 8;
constexpr std::uintptr_t kDigitValues = 1 << kDigitBits;
constexpr int kMostDigits = 8;

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

// Where the digits lie that differ at all.
struct Digits {
    int count = 0;
    int shift[kMostDigits] = {};
};

Digits differingDigits(void* const* items, std::size_t count) {
    std::uintptr_t differing = 0;
    for (std::size_t i = 1; i < count; ++i) differing |= valueOf(items[i]) ^ valueOf(items[0]);
    Digits digits;
    for (int shift = 0; shift < 64 && (differing >> shift) != 0; shift += kDigitBits) {
        shift += std::countr_zero(differing >> shift);
        digits.shift[digits.count++] = shift;
    }
    return digits;
}

// Least significant digit first.
void radixSort(void** items, void** scratch, std::size_t count) {
    const Digits digits = differingDigits(items, count);
    std::uint32_t start[kMostDigits][kDigitValues] = {};
    for (std::size_t i = 0; i < count; ++i)
        for (int d = 0; d < digits.count; ++d)
            ++start[d][(valueOf(items[i]) >> digits.shift[d]) % kDigitValues];
    void** from = items;
    void** to = scratch;
    for (int d = 0; d < digits.count; ++d) {
        std::uint32_t sum = 0;
        for (std::uint32_t& each : start[d]) sum += std::exchange(each, sum);
        for (std::size_t i = 0; i < count; ++i)
            to[start[d][(valueOf(from[i]) >> digits.shift[d]) % kDigitValues]++] = from[i];
        std::swap(from, to);
    }
    if (from != items) std::copy(from, from + count, items);
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
