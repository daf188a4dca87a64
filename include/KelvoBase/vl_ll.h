// Linked nodes: doubly linked lists of structures that begin with their two links.
//   1. The caller makes the nodes (MA_malloc, Base/ma.h) and reads what follows the links.
//   2. A list with both pointers null is empty, so zeroed memory is a list.
//   3. Null arguments do nothing.
#pragma once

#include "KelvoBase/kelvo_api.h"

extern "C" {

/// The first two words of every node.
struct VL_ll {
    VL_ll* next;  ///< null in the last node
    VL_ll* prev;  ///< null in the first node
};

/// A list. Owns its nodes as far as VL_list_delete releases them.
struct VL_list {
    VL_ll* first;
    VL_ll* last;
};

/// Links `node` in before `before`, or at the end when that is null.
KELVO_API void VL_ll_insert(VL_list* list, VL_ll* before, VL_ll* node);

/// The first node from `first` on for which comparator(key, node) is 0, or null.
KELVO_API VL_ll* VL_ll_find(VL_ll* first, const void* key,
                            int (*comparator)(const void* key, const void* node));

/// Number of nodes from `first` to the end.
KELVO_API int VL_ll_length(const VL_ll* first);

/// The node behind `node`, or null.
KELVO_API VL_ll* VL_ll_next(const VL_ll* node);

/// Unlinks a node of this list and releases it with MA_free.
KELVO_API void VL_list_delete(VL_list* list, VL_ll* node);

}  // extern "C"
