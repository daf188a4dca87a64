// Structures: one handle type for every kind of container.
//   1. A structure holds items: one pointer-sized value each, never owned, null allowed. A position
//      (from head, next, find ...) is a value of the kind; null means none.
//   2. The comparator of a handle orders its items, the filter hides items and refuses new ones.
//   3. A kind is a table of functions, registered by the application under an id of its choosing.
//      Lists come with the library (ds_lists.h) but are registered by the application too. Kind id
//      2 must be a list kind, registered before any comparator or filter.
//   4. `status` may be null; otherwise it is set to 0 first, then to a code of vl_status.h. int
//      results: 1 done, 0 failed. Pointer results: null failed. Nothing is printed on failure.
//   5. Callbacks passed as void*: release is void (*)(void* slot, void* extra), called with the slot
//      of each item (a void** in effect) before its storage goes. Functions that take the slot alone
//      work as well; `extra` reaches them as null.
//   6. Not for use by several threads at a time: registries are process-wide and without locks.
#pragma once

#include "KelvoBase/kelvo_api.h"

extern "C" {

struct DsMethods;

/// A structure. Made by DS_create_type, or by hand by a caller who fills all members.
struct DS_Structure {
    int ordered;  ///< 1: items are in the comparator's order, as far as known
    void* data;   ///< state of the kind; a list: its first node
    int (*comparator)(void*,
                      void*);  ///< gets the slots of the new and of an existing item: exactly
                               ///< 1 when the new one belongs behind; null: no order
    int (*filter)(void*);      ///< gets an item: non-zero shows (and admits) it; null: all
    DsMethods* methods;        ///< functions of the kind, borrowed; null: unknown kind
};
typedef DS_Structure DS;

/// The functions of a kind. All but intersect and allocate must be there. The engine promises what
/// the members say; a kind keeps to rules 4 and 5 above. The list kinds are the model.
struct DsMethods {
    /// Calls visit(item, extra, status), or visit(item, status) when `extra` is null, for at most
    /// `count` visible items (-1: all). `direction`: 0 forward, 1 backward.
    int (*walk)(DS* handle, void* visit, void* extra, int count, int direction, int* status);
    /// Number of visible items.
    int (*enumerate)(DS* handle, int* status);
    /// Adds where the comparator says. Refused by the filter: 0, status 16. No memory: 0, status 3.
    /// No comparator: added at the end all the same, 1, status 14.
    int (*add)(DS* handle, void* item, int* status);
    /// Removes the first visible item of that value; returns the next visible position.
    void* (*remove)(DS* handle, void* item, void* release, void* extra, int* status);
    /// Puts all items into the comparator's order.
    int (*sort)(DS* handle, int* status);
    /// Data for a new handle: the visible items of both. Both handles are of this kind.
    void* (*merge)(DS* a, DS* b, int* status);
    /// First visible position with match(item, key) non-zero, or that holds `key` if no match given.
    void* (*find)(DS* handle, void* match, void* key, int* status);
    /// Data for a new handle: visible items of `a` that `b` does not contain.
    void* (*difference)(DS* a, DS* b, int* status);
    /// Data for a new handle: visible items of `a` that `b` contains. May be null.
    void* (*intersect)(DS* a, DS* b, int* status);
    /// 1 when a visible item has this value, else 0.
    int (*contains_item)(DS* handle, void* item, int* status);
    /// The item at a position.
    void* (*get_data)(DS* handle, void* position, int* status);
    /// Replaces the item at a position, without moving it.
    int (*set_data)(DS* handle, void* position, void* item, int* status);
    /// Data for a new handle: a copy. The two numbers are those of DS_duplicate.
    void* (*duplicate)(DS* handle, int a, int b, int* status);
    void* (*head)(DS* handle, int* status);                  ///< first visible position
    void* (*tail)(DS* handle, int* status);                  ///< last visible position
    void* (*next)(DS* handle, void* position, int* status);  ///< next visible position
    void* (*prev)(DS* handle, void* position, int* status);  ///< previous visible position
    /// Releases all items, hidden ones too, and the storage; the handle stays, empty. 0 refuses.
    int (*destructor)(DS* handle, void* release, void* extra, int* status);
    /// Data of a new, empty handle whose other members are set. Null when the kind needs none.
    void* (*allocate)(DS* handle, int* status);
    /// The id of the kind, -1 when it is not registered.
    int (*get_type)(DS* handle, int* status);
};

// --- Kinds ---------------------------------------------------------------------------------------

/// Registers a table (borrowed, must live for the process) under an id of 0 or more. Status 1: null
/// table; 4: bad or taken id; 5: an obligatory member is null; 3: no memory.
KELVO_API int Ds_register_structure(int kind_id, DsMethods* methods, int* status);

/// The registry of kinds, for the functions of vl_register.h; null before the first registration.
KELVO_API DS* Ds_get_object_table(void);

// --- Comparators and filters ---------------------------------------------------------------------

/// By value, as unsigned numbers: -1, 0 or 1. 0 when a slot is null.
KELVO_API int Ds_default_comparator(void* new_slot, void* existing_slot);
/// Always 1: items stay in the order of their arrival. New handles have this one, and adding to a
/// list by it takes constant time.
KELVO_API int Ds_fifo_comparator(void* new_slot, void* existing_slot);
/// Always -1: latest first.
KELVO_API int Ds_filo_comparator(void* new_slot, void* existing_slot);
/// strcmp of items that are texts. 0 when a slot or an item is null.
KELVO_API int Ds_string_comparator(void* new_slot, void* existing_slot);

/// Makes a function known under an index of 0 or more. Statuses of VL_register_item. As long as no
/// kind 2 is registered, registrations are lost without a status.
KELVO_API int DS_register_comparator(int index, void* function, int* status);
KELVO_API int DS_register_filter(int index, void* function, int* status);

/// The comparator of an index. Null and status 12 when there is none.
KELVO_API void* DS_get_comparator_function(int index, int* status);
/// The filter of an index, or null. Status 1 as long as no filter was ever registered.
KELVO_API void* DS_get_filter_function(int index, int* status);
/// The first index of a function, or -1. Status 1 as long as none was ever registered.
KELVO_API int DS_get_comparator_index(void* function, int* status);
KELVO_API int DS_get_filter_index(void* function, int* status);

/// Replaces the comparator; returns the previous one either way. Once any comparator has been
/// registered, only registered ones are taken, null being no exception: status 12, nothing changes.
/// Items are not reordered. Null handle: null, status 1.
KELVO_API void* DS_set_comparator(DS* handle, void* function, int* status);
/// The same for the filter. Clears `ordered` even when it refuses.
KELVO_API void* DS_set_filter(DS* handle, void* function, int* status);

// --- Create and destroy --------------------------------------------------------------------------

/// An empty structure: ordered 1, Ds_fifo_comparator, no filter. Belongs to the caller until
/// DS_destructor. For an unknown kind the handle comes back without methods (status 1 before any
/// kind is registered, else 0). Null, status 3: no memory.
KELVO_API DS* DS_create_type(int kind_id, int* status);

/// Releases the items (see 5. above), then the structure, and stores null through `handle`. Status 1
/// and 0 for a null pointer, a null handle or one without methods, which stays (DS_memory_free frees
/// it). Only for handles that the library made; for others use DS_empty_list.
KELVO_API int DS_destructor(DS** handle, void* release, void* extra, int* status);

/// Releases all items and keeps the handle. 1 also for a null handle or one without methods.
KELVO_API int DS_empty_list(DS* handle, void* release, void* extra, int* status);

/// Frees a block of MA_malloc, malloc or a bare handle, and stores null. Always 1; null is allowed.
KELVO_API int DS_memory_free(void** pointer);

// --- Query ---------------------------------------------------------------------------------------

/// Number of visible items; -1 and status 1 for a null handle or one without methods.
KELVO_API int Ds_enumerate(DS* handle, int* status);

/// Shows handle and visible items through rptDebug at level 0, one line each. An item is shown by
/// print_item(item, argument), or as a number when that is null. Always 1.
KELVO_API int DS_print_structure(DS* handle, void (*print_item)(void* item, int argument),
                                 int argument, int* status);
/// The same under its short name.
KELVO_API int DS_print(DS* handle, void (*print_item)(void* item, int argument), int argument,
                       int* status);

// --- New structures from others ------------------------------------------------------------------
// The result belongs to the caller; items are shared, not copied. Methods, comparator and filter are
// those of the first structure. Status 1: null handle or one without methods.

/// A copy, `ordered` included. The two numbers go to the kind; lists ignore them. Null also for an
/// empty list.
KELVO_API DS* DS_duplicate(DS* source, int a, int b, int* status);

/// The visible items of both (one may be null), in the order of the common comparator, duplicates
/// included. Status 7 when kind or comparator differ; 16 when the filter of `a` refuses an item of
/// `b`. Ordered, unless there is no comparator or `status` is null.
KELVO_API DS* DS_merge(DS* a, DS* b, int* status);

/// The visible items of `a` that are not visible items of `b`, compared by value. Status 7 as above.
/// Null and status 0 when none is left. Ordered when both are, a `status` is given and it is not 14.
KELVO_API DS* DS_difference(DS* a, DS* b, int* status);

/// The same for those that are also in `b`. Status 4 when the kind cannot intersect.
KELVO_API DS* DS_intersect(DS* a, DS* b, int* status);

// --- Removing many -------------------------------------------------------------------------------

/// Removes the visible items for which `keep` gives 0 (null: all of them). Works without filter and
/// comparator where DS_set_filter and DS_set_comparator admit null (hidden items then count as
/// well), and restores both. Clears `ordered`. The status is that of the last removal. Null handle:
/// status 1, 0.
KELVO_API int DS_remove_unfiltered_items(DS* handle, int (*keep)(void* item), void* release,
                                         void* extra, int* status);

/// Removes the null items, as above.
KELVO_API int DS_remove_nulls(DS* handle, int* status);

}  // extern "C"
