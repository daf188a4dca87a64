// The two list kinds of the structure engine, each as a table of methods.
//   1. `data` of a handle is its first node, null when empty. A position is a node, and the item is
//      its first word, so a position is also the slot of its item. Positions stay valid until their
//      node is removed; sort moves items between nodes.
//   2. The filter of the handle hides items from everything but sort and destructor.
//   3. Both kinds give the same answers. In the singly linked one prev has to walk from the head, and
//      so has tail when the last item is hidden.
//   4. Adding by Ds_fifo_comparator, or without comparator, takes constant time: the library
//      remembers where long lists end. Nodes are therefore linked, unlinked and freed by these
//      functions only; `data` may be moved between handles of one kind as a whole.
//   5. Callbacks (visit, match, release, filter, comparator) must not remove the node they are called
//      for, nor the handle. A release callback may clear the slot, and may add and remove others.
//      Statuses as in ds_structures.h; a null handle gives status 1.
#pragma once

#include "KelvoBase/ds_structures.h"
#include "KelvoBase/kelvo_api.h"

extern "C" {

/// Node of the doubly linked list.
struct Ds_dlist_node {
    void* item;
    Ds_dlist_node* next;  ///< null in the last node
    Ds_dlist_node* prev;  ///< null in the first node
};

/// Node of the singly linked list.
struct Ds_slist_node {
    void* item;
    Ds_slist_node* next;  ///< null in the last node
};

// --- Doubly linked list --------------------------------------------------------------------------

/// The table, for Ds_register_structure or a handle made by hand. Never null; not to be changed.
KELVO_API DsMethods* Ds_dlist_get_methods(void);

/// Calls visit(item, extra, status), or visit(item, status) when `extra` is null, for the visible
/// items, at most `count` (-1: all; 0 or less: none, 1). `direction` 0 goes forward from the head, 1
/// backward: from the end when count is -1, else from the head, which is then the only one visited.
/// Goes on when a visit returns 0, and then gives 0 with status 10. Status 1, 0: empty list, null
/// visit or another direction.
KELVO_API int Ds_dlist_walk(DS* handle, void* visit, void* extra, int count, int direction,
                            int* status);
/// Number of visible items. Null handle: -1.
KELVO_API int Ds_dlist_enumerate(DS* handle, int* status);
/// Adds before the first item, hidden ones included, for which comparator(new, existing) is not 1.
/// Status 16, 0: refused by the filter. Status 3, 0: no memory. Status 14, 1: no comparator, added at
/// the end. Clears `ordered` when the status is 14 and when `status` is null.
KELVO_API int Ds_dlist_add(DS* handle, void* item, int* status);
/// Removes the first visible node that holds `item`, after release(node, extra); returns the next
/// visible position. Status 12, null: not there.
KELVO_API void* Ds_dlist_remove(DS* handle, void* item, void* release, void* extra, int* status);
/// Sorts all items, hidden ones too, and sets `ordered`. Not stable: qsort with the handle's
/// comparator, or something quicker to the same result for Ds_default_comparator. Status 14, 0: no
/// comparator. Status 3, 0: no memory. Status 1, 0: empty list.
KELVO_API int Ds_dlist_sort(DS* handle, int* status);
/// First node of a new chain: the visible items of `a`, then of `b`, inserted by the comparator of
/// `a`. Either may be null, not both.
KELVO_API void* Ds_dlist_merge(DS* a, DS* b, int* status);
/// First visible position with match(item, key) non-zero, or without `match` the first that holds
/// `key`. Null without a status: none. Status 1: neither match nor key.
KELVO_API void* Ds_dlist_find(DS* handle, void* match, void* key, int* status);
/// First node of a new chain: the visible items of `a` that b's contains_item does not find,
/// inserted by the comparator of `a`. Null, status 0: none. Status 1: `a` is empty. Status 3: no
/// memory. Status 14: no comparator.
KELVO_API void* Ds_dlist_difference(DS* a, DS* b, int* status);
/// The same for those that it finds.
KELVO_API void* Ds_dlist_intersect(DS* a, DS* b, int* status);
/// 1 when a visible node holds `item`, else 0 with status 12.
KELVO_API int Ds_dlist_contains_item(DS* handle, void* item, int* status);
/// The item at a position. Null position: null, status 1.
KELVO_API void* Ds_dlist_get_data(DS* handle, void* position, int* status);
/// Replaces the item at a position; the node stays where it is and `ordered` as it is. Null position:
/// status 1, 0.
KELVO_API int Ds_dlist_set_data(DS* handle, void* position, void* item, int* status);
/// First node of a copy of all nodes, hidden ones too. Null, status 0: empty. Status 3: no memory.
/// The numbers are ignored.
KELVO_API void* Ds_dlist_duplicate(DS* handle, int a, int b, int* status);
/// First visible position, or null. Status 1 for an empty list, too.
KELVO_API void* Ds_dlist_head(DS* handle, int* status);
/// Last visible position, or null. Status 15 for an empty list.
KELVO_API void* Ds_dlist_tail(DS* handle, int* status);
/// Next visible position, or null. Null position: status 1.
KELVO_API void* Ds_dlist_next(DS* handle, void* position, int* status);
/// Previous visible position, or null. Null position: status 1.
KELVO_API void* Ds_dlist_prev(DS* handle, void* position, int* status);
/// Frees all nodes from the head on, each after release(node, extra). 1.
KELVO_API int Ds_dlist_destructor(DS* handle, void* release, void* extra, int* status);
/// The id under which the handle's table is registered, or -1.
KELVO_API int Ds_dlist_get_type(DS* handle, int* status);

// --- Singly linked list --------------------------------------------------------------------------

/// The same for the singly linked list: every function answers as its sibling above.
KELVO_API DsMethods* Ds_slist_get_methods(void);

KELVO_API int Ds_slist_walk(DS* handle, void* visit, void* extra, int count, int direction,
                            int* status);
KELVO_API int Ds_slist_enumerate(DS* handle, int* status);
KELVO_API int Ds_slist_add(DS* handle, void* item, int* status);
KELVO_API void* Ds_slist_remove(DS* handle, void* item, void* release, void* extra, int* status);
KELVO_API int Ds_slist_sort(DS* handle, int* status);
KELVO_API void* Ds_slist_merge(DS* a, DS* b, int* status);
KELVO_API void* Ds_slist_find(DS* handle, void* match, void* key, int* status);
KELVO_API void* Ds_slist_difference(DS* a, DS* b, int* status);
KELVO_API void* Ds_slist_intersect(DS* a, DS* b, int* status);
KELVO_API int Ds_slist_contains_item(DS* handle, void* item, int* status);
KELVO_API void* Ds_slist_get_data(DS* handle, void* position, int* status);
KELVO_API int Ds_slist_set_data(DS* handle, void* position, void* item, int* status);
KELVO_API void* Ds_slist_duplicate(DS* handle, int a, int b, int* status);
KELVO_API void* Ds_slist_head(DS* handle, int* status);
KELVO_API void* Ds_slist_tail(DS* handle, int* status);
KELVO_API void* Ds_slist_next(DS* handle, void* position, int* status);
KELVO_API void* Ds_slist_prev(DS* handle, void* position, int* status);
KELVO_API int Ds_slist_destructor(DS* handle, void* release, void* extra, int* status);
KELVO_API int Ds_slist_get_type(DS* handle, int* status);

}  // extern "C"

// --- Steps of a walk, inline ---------------------------------------------------------------------
// Two empty functions of a shared library take three times as long to call as the step to the next
// node takes, so callers that name head, next and get_data get them inline. The library holds the
// same bodies for all others: tables of methods, function pointers, programs without optimisation.

namespace kelvo::ds {

inline void* refuseArgument(int* status) {
    if (status) *status = 1;
    return nullptr;
}

// Apart, so that walks without a filter save no registers for its calls.
template <class Node>
[[gnu::noinline]] Node* firstPassed(const DS* handle, Node* node) {
    while (node && handle->filter && handle->filter(node->item) == 0) node = node->next;
    return node;
}

template <class Node>
Node* visibleFrom(const DS* handle, Node* node) {
    if (__builtin_expect(handle->filter != nullptr, 0)) return firstPassed(handle, node);
    return node;
}

template <class Node>
void* listHead(const DS* handle, int* status) {
    if (!handle || !handle->data) return refuseArgument(status);
    if (status) *status = 0;
    return visibleFrom(handle, static_cast<Node*>(handle->data));
}

template <class Node>
void* listNext(const DS* handle, void* position, int* status) {
    if (!handle || !position) return refuseArgument(status);
    if (status) *status = 0;
    return visibleFrom(handle, static_cast<Node*>(position)->next);
}

template <class Node>
void* listItem(const DS* handle, void* position, int* status) {
    if (!handle || !position) return refuseArgument(status);
    if (status) *status = 0;
    return static_cast<Node*>(position)->item;
}

}  // namespace kelvo::ds

#if defined(__GNUC__) && !defined(KELVOBASE_BUILDING)
extern "C" {

// gnu_inline: these may stand in for the functions of the library and are never emitted themselves.
[[gnu::gnu_inline]] extern inline void* Ds_dlist_head(DS* handle, int* status) {
    return kelvo::ds::listHead<Ds_dlist_node>(handle, status);
}
[[gnu::gnu_inline]] extern inline void* Ds_dlist_next(DS* handle, void* position, int* status) {
    return kelvo::ds::listNext<Ds_dlist_node>(handle, position, status);
}
[[gnu::gnu_inline]] extern inline void* Ds_dlist_get_data(DS* handle, void* position, int* status) {
    return kelvo::ds::listItem<Ds_dlist_node>(handle, position, status);
}
[[gnu::gnu_inline]] extern inline void* Ds_slist_head(DS* handle, int* status) {
    return kelvo::ds::listHead<Ds_slist_node>(handle, status);
}
[[gnu::gnu_inline]] extern inline void* Ds_slist_next(DS* handle, void* position, int* status) {
    return kelvo::ds::listNext<Ds_slist_node>(handle, position, status);
}
[[gnu::gnu_inline]] extern inline void* Ds_slist_get_data(DS* handle, void* position, int* status) {
    return kelvo::ds::listItem<Ds_slist_node>(handle, position, status);
}

}  // extern "C"
#endif
