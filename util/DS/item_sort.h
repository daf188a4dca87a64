// Sorting the items of a structure.
#pragma once

#include <cstddef>

namespace kelvo::ds {

using Comparator = int (*)(void*, void*);

/// Sorts `count` items as qsort with the comparator does. For Ds_default_comparator a radix sort
/// gives the same order; it needs `scratch`, of the same size, and falls back when that is null.
void sortItems(void** items, void** scratch, std::size_t count, Comparator comparator);

/// Whether scratch space helps to sort this many items.
bool usesScratch(std::size_t count, Comparator comparator);

}  // namespace kelvo::ds
