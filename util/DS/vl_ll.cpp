#include "KelvoBase/vl_ll.h"

#include "Base/ma.h"

extern "C" {

void VL_ll_insert(VL_list* list, VL_ll* before, VL_ll* node) {
    if (!list || !node) return;
    VL_ll* const behind = before ? before->prev : list->last;
    node->next = before;
    node->prev = behind;
    (behind ? behind->next : list->first) = node;
    (before ? before->prev : list->last) = node;
}

VL_ll* VL_ll_find(VL_ll* first, const void* key,
                  int (*comparator)(const void* key, const void* node)) {
    if (!comparator) return nullptr;
    while (first && comparator(key, first) != 0) first = first->next;
    return first;
}

int VL_ll_length(const VL_ll* first) {
    int length = 0;
    for (; first; first = first->next) ++length;
    return length;
}

VL_ll* VL_ll_next(const VL_ll* node) {
    return node ? node->next : nullptr;
}

void VL_list_delete(VL_list* list, VL_ll* node) {
    if (!list || !node) return;
    (node->prev ? node->prev->next : list->first) = node->next;
    (node->next ? node->next->prev : list->last) = node->prev;
    MA_free(node, __LINE__, __FILE__);
}

}  // extern "C"
