// Nodes in linked lists.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "Base/ma.h"
#include "KelvoBase/an_anim_list.h"

static_assert(offsetof(An_item_node, links) == 0, "a node is found by its links");

namespace {

An_item_node* asNode(VL_ll* links) {
    return reinterpret_cast<An_item_node*>(links);
}

int compareWords(const void* a, const void* b) {
    const auto x = reinterpret_cast<std::uintptr_t>(a);
    const auto y = reinterpret_cast<std::uintptr_t>(b);
    return static_cast<int>(x > y) - static_cast<int>(x < y);
}

// Order of a pair of which at least one is null: null comes last.
int compareNulls(const void* a, const void* b) {
    return static_cast<int>(b != nullptr) - static_cast<int>(a != nullptr);
}

// Writes sorted records into the nodes and frees the nodes that are left.
void writeBack(VL_list* list, const An_sort_record* records, int count, int unique) {
    VL_ll* links = list->first;
    const void* written = nullptr;  // so a null pointer is dropped like a repeated one
    for (int i = 0; i < count; ++i) {
        if (unique && records[i].data == written) continue;
        An_item_node* node = asNode(links);
        node->type = records[i].type;
        node->data = records[i].data;
        node->extra = records[i].extra;
        written = node->data;
        links = VL_ll_next(links);
    }
    while (links) {
        VL_ll* const next = VL_ll_next(links);
        VL_list_delete(list, links);
        links = next;
    }
}

}  // namespace

extern "C" {

int An_add_to_item_list(int type, void* data, void* extra, VL_list* list) {
    if (!data || !list) return 0;
    auto* node = static_cast<An_item_node*>(MA_malloc(sizeof(An_item_node), __LINE__, __FILE__, 0));
    if (!node) return 0;
    *node = {{nullptr, nullptr}, type, data, extra};
    VL_ll_insert(list, list->first, &node->links);
    return 1;
}

int An_addUnique_to_item_list(int type, void* data, void* extra, VL_list* list) {
    if (!data || !list) return 0;
    const An_item_node key = {{nullptr, nullptr}, type, data, extra};
    if (VL_ll_find(list->first, &key, An_compareItemList)) return 1;
    return An_add_to_item_list(type, data, extra, list);
}

int An_sort_item_list(VL_list* list, int unique) {
    if (!list || !list->first) return 0;
    const int count = VL_ll_length(list->first);
    const std::size_t size = static_cast<std::size_t>(count) * sizeof(An_sort_record);
    auto* records = static_cast<An_sort_record*>(MA_allocate(size));
    if (!records) return 0;
    An_sort_record* record = records;
    for (VL_ll* links = list->first; links; links = VL_ll_next(links)) {
        const An_item_node* node = asNode(links);
        *record++ = {node->type, node->data, node->extra};
    }
    std::qsort(records, static_cast<std::size_t>(count), sizeof *records, An_compareItem);
    writeBack(list, records, count, unique);
    MA_release(records);
    return 1;
}

int An_compareItem(const void* a, const void* b) {
    if (!a || !b) return compareNulls(a, b);
    return compareWords(static_cast<const An_sort_record*>(a)->data,
                        static_cast<const An_sort_record*>(b)->data);
}

int An_compareItemList(const void* a, const void* b) {
    if (!a || !b) return compareNulls(a, b);
    const auto* x = static_cast<const An_item_node*>(a);
    const auto* y = static_cast<const An_item_node*>(b);
    const int byData = compareWords(x->data, y->data);
    return byData != 0 ? byData : compareWords(x->extra, y->extra);
}

}  // extern "C"
