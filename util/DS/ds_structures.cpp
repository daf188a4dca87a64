#include "KelvoBase/ds_structures.h"

#include <cstdint>

#include "Base/rpt.h"
#include "KelvoBase/vl_register.h"
#include "KelvoBase/vl_status.h"
#include "util/DS/ds_handle.h"
#include "util/DS/list_kind.h"
#include "util/status_codes.h"

using kelvo::ds::freeHandle;
using kelvo::ds::newHandle;
using kelvo::util::fail;
using kelvo::util::failNull;
using kelvo::util::setStatus;

namespace {

bool hasMethods(const DS* handle) {
    return handle && handle->methods;
}

unsigned long word(const void* pointer) {
    return reinterpret_cast<std::uintptr_t>(pointer);
}

void* asPointer(int (*function)(void*)) {
    return reinterpret_cast<void*>(function);
}

// Calls visit(position, item) for the visible positions until it returns false. The end of a
// structure, an empty one included, is no failure: its status stays here.
template <class Visit>
void forEachVisible(DS* handle, Visit visit) {
    const DsMethods& methods = *handle->methods;
    if (!methods.head || !methods.next || !methods.get_data) return;
    int ignored = 0;
    for (void* at = methods.head(handle, &ignored); at; at = methods.next(handle, at, &ignored))
        if (!visit(at, methods.get_data(handle, at, &ignored))) return;
}

// A structure like `model`, without data. Null, status 3: no memory.
DS* newLike(const DS* model, int* status) {
    DS* handle = newHandle(
        {model->comparator != nullptr, nullptr, model->comparator, model->filter, model->methods});
    if (!handle) setStatus(status, kelvo::util::kMemoryFault);
    return handle;
}

bool addVisible(DS* target, DS* source, int* status) {
    bool added = true;
    if (source)
        forEachVisible(source, [&](void*, void* item) {
            return added = target->methods->add(target, item, status) != 0;
        });
    return added;
}

using Selection = void* (*)(DS*, DS*, int*);

// What difference and intersect share: their method is the `slot` of the handles.
DS* select(DS* a, DS* b, Selection DsMethods::*slot, int* status) {
    setStatus(status, kelvo::util::kNoError);
    if (!hasMethods(a) || !hasMethods(b)) {
        setStatus(status, kelvo::util::kArgumentError);
        return nullptr;
    }
    const Selection method = a->methods->*slot;
    if (method != b->methods->*slot || a->comparator != b->comparator) {
        setStatus(status, kelvo::util::kIncompatibility);
        return nullptr;
    }
    if (!method) {
        setStatus(status, kelvo::util::kInvalidFunction);
        return nullptr;
    }
    DS* result = newLike(a, status);
    if (!result) return nullptr;
    result->data = method(a, b, status);
    if (!result->data) {
        freeHandle(result);
        return nullptr;
    }
    result->ordered = status && *status != kelvo::util::kCannotSort && a->ordered && b->ordered;
    return result;
}

// Removes what `keep` refuses among the visible items.
void removeRefused(DS* handle, int (*keep)(void* item), void* release, void* extra, int* status) {
    const DsMethods* m = handle->methods;
    if (!m || !m->head || !m->get_data || !m->next || !m->remove) return;
    int ignored = 0;
    for (void* at = m->head(handle, &ignored); at;) {
        void* item = m->get_data(handle, at, &ignored);
        at = keep && keep(item) != 0 ? m->next(handle, at, &ignored)
                                     : m->remove(handle, item, release, extra, status);
    }
}

int keepsItem(void* item) {
    return item != nullptr;
}

// The same for nulls. A list would look for each of them from its head.
void removeNulls(DS* handle, int* status) {
    const DsMethods* m = handle->methods;
    if (m && m->remove == Ds_dlist_remove)
        kelvo::ds::ListKind<Ds_dlist_node>::removeNulls(handle);
    else if (m && m->remove == Ds_slist_remove)
        kelvo::ds::ListKind<Ds_slist_node>::removeNulls(handle);
    else
        removeRefused(handle, keepsItem, nullptr, nullptr, status);
}

// Calls remove() while filter and comparator are set aside, as far as the registries let them:
// callers rely on the filter staying in place when it may not be cleared.
template <class Remove>
int removeUnfiltered(DS* handle, int* status, Remove remove) {
    setStatus(status, kelvo::util::kNoError);
    if (!handle) return fail(status, kelvo::util::kArgumentError);
    const DS saved = *handle;
    int ignored = 0;
    DS_set_filter(handle, nullptr, &ignored);
    DS_set_comparator(handle, nullptr, &ignored);
    remove();
    handle->filter = saved.filter;
    handle->comparator = saved.comparator;
    return 1;
}

}  // namespace

extern "C" {

// --- Create and destroy --------------------------------------------------------------------------

DS* DS_create_type(int kind_id, int* status) {
    setStatus(status, kelvo::util::kNoError);
    DS* handle = newHandle({1, nullptr, Ds_fifo_comparator, nullptr, nullptr});
    if (!handle) {
        setStatus(status, kelvo::util::kMemoryFault);
        return nullptr;
    }
    handle->methods =
        static_cast<DsMethods*>(VL_get_id_registration(kind_id, Ds_get_object_table(), status));
    if (handle->methods && handle->methods->allocate)
        handle->data = handle->methods->allocate(handle, status);
    return handle;
}

int DS_destructor(DS** handle, void* release, void* extra, int* status) {
    setStatus(status, kelvo::util::kNoError);
    if (!handle || !hasMethods(*handle) || !(*handle)->methods->destructor)
        return fail(status, kelvo::util::kArgumentError);
    if (!(*handle)->methods->destructor(*handle, release, extra, status)) return 0;
    freeHandle(*handle);
    *handle = nullptr;
    return 1;
}

int DS_empty_list(DS* handle, void* release, void* extra, int* status) {
    setStatus(status, kelvo::util::kNoError);
    if (!hasMethods(handle) || !handle->methods->destructor) return 1;
    return handle->methods->destructor(handle, release, extra, status) > 0;
}

int DS_memory_free(void** pointer) {
    if (!pointer) return 1;
    MA_free(*pointer, __LINE__, __FILE__);
    *pointer = nullptr;
    return 1;
}

// --- Query ---------------------------------------------------------------------------------------

int Ds_enumerate(DS* handle, int* status) {
    setStatus(status, kelvo::util::kNoError);
    if (hasMethods(handle) && handle->methods->enumerate)
        return handle->methods->enumerate(handle, status);
    setStatus(status, kelvo::util::kArgumentError);
    return -1;
}

int DS_print_structure(DS* handle, void (*print_item)(void* item, int argument), int argument,
                       int* status) {
    setStatus(status, kelvo::util::kNoError);
    if (!handle) {
        rptDebug(0, "Null structure\n");
        return 1;
    }
    rptDebug(0, "Structure 0x%lx\n", word(handle));
    rptDebug(0, ">>>");
    rptDebug(0, "Filter = 0x%lx\n", word(asPointer(handle->filter)));
    rptDebug(0, "Comparator = 0x%lx\n", word(reinterpret_cast<void*>(handle->comparator)));
    rptDebug(0, "Ordered = %s\n", handle->ordered ? "TRUE" : "FALSE");
    rptDebug(0, "Filtered Member list =\n");
    rptDebug(0, ">>>");
    const auto show = [&](void* position, void* item) {
        rptDebug(0, "Item %#lx:\n", word(position));
        if (print_item) {
            rptDebug(0, ">>>");
            print_item(item, argument);
            rptDebug(0, "<<<");
        } else {
            rptDebug(0, "0x%lx\n", word(item));
        }
        return true;
    };
    if (handle->methods) forEachVisible(handle, show);
    rptDebug(0, "<<<");
    rptDebug(0, "<<<");
    return 1;
}

int DS_print(DS* handle, void (*print_item)(void* item, int argument), int argument, int* status) {
    return DS_print_structure(handle, print_item, argument, status);
}

// --- New structures from others ------------------------------------------------------------------

DS* DS_duplicate(DS* source, int a, int b, int* status) {
    setStatus(status, kelvo::util::kNoError);
    if (!hasMethods(source) || !source->methods->duplicate) {
        setStatus(status, kelvo::util::kArgumentError);
        return nullptr;
    }
    DS* copy = newLike(source, status);
    if (!copy) return nullptr;
    copy->ordered = source->ordered;
    copy->data = source->methods->duplicate(source, a, b, status);
    if (copy->data) return copy;
    freeHandle(copy);
    return nullptr;
}

DS* DS_merge(DS* a, DS* b, int* status) {
    setStatus(status, kelvo::util::kNoError);
    if ((!a && !b) || (a && !a->methods) || (b && !b->methods)) {
        setStatus(status, kelvo::util::kArgumentError);
        return nullptr;
    }
    if (a && b && (a->methods->merge != b->methods->merge || a->comparator != b->comparator)) {
        setStatus(status, kelvo::util::kIncompatibility);
        return nullptr;
    }
    DS* result = newLike(a ? a : b, status);
    if (!result) return nullptr;
    if (result->methods->allocate) result->data = result->methods->allocate(result, status);
    const bool ready = result->data || !status || *status == kelvo::util::kNoError;
    if (ready && addVisible(result, a, status) && addVisible(result, b, status)) return result;
    if (ready) result->methods->destructor(result, nullptr, nullptr, &Vl_err_ignore);
    freeHandle(result);
    return nullptr;
}

DS* DS_difference(DS* a, DS* b, int* status) {
    return select(a, b, &DsMethods::difference, status);
}

DS* DS_intersect(DS* a, DS* b, int* status) {
    return select(a, b, &DsMethods::intersect, status);
}

// --- Removing many -------------------------------------------------------------------------------

int DS_remove_unfiltered_items(DS* handle, int (*keep)(void* item), void* release, void* extra,
                               int* status) {
    return removeUnfiltered(handle, status,
                            [=] { removeRefused(handle, keep, release, extra, status); });
}

int DS_remove_nulls(DS* handle, int* status) {
    return removeUnfiltered(handle, status, [=] { removeNulls(handle, status); });
}

}  // extern "C"
