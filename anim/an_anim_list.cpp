// Items in structures.
#include "KelvoBase/an_anim_list.h"

#include <cstdint>

#include "Base/ma.h"
#include "KelvoBase/aa_debug.h"
#include "util/status_codes.h"

using kelvo::util::fail;
using kelvo::util::setStatus;

namespace {

// The item for `data`, or null. Leaves a code in `status` when the structure failed; an empty one
// did not.
AN_item* findItem(const void* data, DS* list, int* status) {
    const DsMethods* methods = list->methods;
    *status = kelvo::util::kArgumentError;
    if (!methods || !methods->head || !methods->next || !methods->get_data) return nullptr;
    void* at = methods->head(list, status);
    if (!at) *status = kelvo::util::kNoError;
    while (at && *status == kelvo::util::kNoError) {
        auto* item = static_cast<AN_item*>(methods->get_data(list, at, status));
        if (*status != kelvo::util::kNoError) return nullptr;
        if (item && item->data == data) return item;
        at = methods->next(list, at, status);
    }
    return nullptr;
}

unsigned long word(const void* pointer) {
    return reinterpret_cast<std::uintptr_t>(pointer);
}

}  // namespace

extern "C" {

AN_item* AN_item_create_type(int type, void* data, int line, const char* file, int* status) {
    setStatus(status, kelvo::util::kNoError);
    auto* item = static_cast<AN_item*>(MA_malloc(sizeof(AN_item), line, file, 0));
    if (item)
        *item = {type, data, nullptr};
    else
        setStatus(status, kelvo::util::kMemoryFault);
    return item;
}

int AN_item_free(AN_item** item_pointer, int* status) {
    setStatus(status, kelvo::util::kNoError);
    if (!item_pointer) return fail(status, kelvo::util::kArgumentError);
    MA_free(*item_pointer, __LINE__, __FILE__);
    *item_pointer = nullptr;
    return 1;
}

int AN_item_list_free(AN_item** list_pointer, int* status) {
    setStatus(status, kelvo::util::kNoError);
    if (!list_pointer) return fail(status, kelvo::util::kArgumentError);
    while (AN_item* item = *list_pointer) {
        *list_pointer = item->next;
        MA_free(item, __LINE__, __FILE__);
    }
    return 1;
}

int AN_ds_item_equal(const AN_item* a, const AN_item* b) {
    return a && b && a->type == b->type && a->data == b->data;
}

int AN_print_item(const AN_item* item, int* status) {
    setStatus(status, kelvo::util::kNoError);
    AA_indent();
    if (!item) {
        AA_debug_print("Item: NULL\n");
        return 0;
    }
    AA_debug_print("Item: %#lx\n", word(item));
    AA_indent();
    AA_debug_print("{\n");
    AA_set_indent(-1);
    AA_indent();
    AA_debug_print("Type: %d\n", item->type);
    AA_indent();
    AA_debug_print("Data: %#lx\n", word(item->data));
    AA_indent();
    AA_debug_print("Next: %#lx\n", word(item->next));
    AA_set_indent(-2);
    AA_indent();
    AA_debug_print("}\n");
    return 1;
}

AN_item* AN_is_item_in_item_list(void* data, DS* list, int* status) {
    int code = kelvo::util::kArgumentError;
    AN_item* item = data && list ? findItem(data, list, &code) : nullptr;
    setStatus(status, code);
    return item;
}

int AN_add_to_item_list(int type, void* data, DS* list, int* status) {
    int code = kelvo::util::kNoError;
    const AN_item* known = AN_is_item_in_item_list(data, list, &code);
    setStatus(status, code);
    if (known || code != kelvo::util::kNoError || !list->methods->add) return 0;
    AN_item* item = AN_item_create_type(type, data, __LINE__, __FILE__, status);
    if (!item) return 0;
    // Callers rely on 1 without a status pointer, even when the structure refused the item.
    if (!list->methods->add(list, item, status)) AN_item_free(&item, nullptr);
    return !status || *status == kelvo::util::kNoError;
}

int AN_remove_from_item_list(void* data, DS* list, int* status) {
    int code = kelvo::util::kNoError;
    AN_item* item = AN_is_item_in_item_list(data, list, &code);
    setStatus(status, code);
    if (!data || !list || !list->methods || !list->methods->remove) return 0;
    if (!item) {
        setStatus(status, kelvo::util::kItemNotFound);
        return 1;  // callers rely on this: afterwards the object is not in the list
    }
    list->methods->remove(list, item, reinterpret_cast<void*>(AN_item_free), nullptr, status);
    return !status || *status == kelvo::util::kNoError;
}

}  // extern "C"
