// Animation item lists: lists of references to objects, each with a type number of the caller.
//   1. AN_ functions keep items in a structure (ds_structures.h); an object is in a list once, told
//      by its pointer. An_ functions keep nodes in linked lists (vl_ll.h).
//   2. Objects are never owned; items and nodes belong to their list.
//   3. `status` may be null; otherwise 0 or a code of vl_status.h.
#pragma once

#include "KelvoBase/ds_structures.h"
#include "KelvoBase/kelvo_api.h"
#include "KelvoBase/vl_ll.h"

extern "C" {

/// An item of the AN_ functions, from MA_malloc.
struct AN_item {
    int type;
    void* data;     ///< the object, borrowed
    AN_item* next;  ///< next item of a plain chain; null in structures
};

/// A node of the An_ functions, from MA_malloc.
struct An_item_node {
    VL_ll links;
    int type;
    void* data;  ///< the object, borrowed
    void* extra;
};

/// What An_sort_item_list sorts: the contents of one node.
struct An_sort_record {
    int type;
    void* data;
    void* extra;
};

// --- Items ---------------------------------------------------------------------------------------

/// A new item for `data`, at the end of no chain. `line` and `file` (may be null) name the place for
/// the allocator. Null, status 3: no memory. Released with AN_item_free.
KELVO_API AN_item* AN_item_create_type(int type, void* data, int line, const char* file,
                                       int* status);

/// Frees the item pointed to, if any, and stores null. Null pointer: status 1, 0. Serves as release
/// callback of structures.
KELVO_API int AN_item_free(AN_item** item_pointer, int* status);

/// Frees a chain of items linked by `next` and stores null. Null pointer: status 1, 0.
KELVO_API int AN_item_list_free(AN_item** list_pointer, int* status);

/// 1 when both are there and have the same type and data, else 0. Serves as match function of find.
KELVO_API int AN_ds_item_equal(const AN_item* a, const AN_item* b);

/// Shows an item through AA_debug_print. 1, or 0 for null, which is shown as such.
KELVO_API int AN_print_item(const AN_item* item, int* status);

// --- Items in structures -------------------------------------------------------------------------

/// The first visible item for `data`, or null. Status 1: null argument or no methods.
KELVO_API AN_item* AN_is_item_in_item_list(void* data, DS* list, int* status);

/// Adds an item for `data` unless there is one already, which gives 0 with status 0. 1 when the
/// status is 0; without a status pointer also when the structure refused the item. Status 1: null
/// argument; 3: no memory; 16: filtered; 14: added, but there is no comparator.
KELVO_API int AN_add_to_item_list(int type, void* data, DS* list, int* status);

/// Removes and frees the item for `data`. Not there: status 12, and yet 1. Null argument: status 1,
/// 0.
KELVO_API int AN_remove_from_item_list(void* data, DS* list, int* status);

// --- Nodes in linked lists -----------------------------------------------------------------------

/// Puts a new node first. 0 for a null `data` or list, or without memory.
KELVO_API int An_add_to_item_list(int type, void* data, void* extra, VL_list* list);

/// The same, unless a node with this data and extra is there already, which gives 1.
KELVO_API int An_addUnique_to_item_list(int type, void* data, void* extra, VL_list* list);

/// Sorts the contents of the nodes by the value of `data`; equal ones come in any order. With
/// `unique` one node is kept for each data, none for null data; the others are freed. 0 for a null
/// or empty list, or without memory.
KELVO_API int An_sort_item_list(VL_list* list, int unique);

/// Compares two An_sort_record by data, as unsigned numbers: -1, 0 or 1. A null record comes last.
KELVO_API int An_compareItem(const void* a, const void* b);

/// Compares two An_item_node by data, then by extra, in the same way.
KELVO_API int An_compareItemList(const void* a, const void* b);

}  // extern "C"
