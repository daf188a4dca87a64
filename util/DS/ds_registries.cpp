// Kinds, comparators and filters, and the comparators that come with the library.
#include <cstdint>
#include <cstring>

#include "KelvoBase/ds_structures.h"
#include "KelvoBase/vl_register.h"
#include "KelvoBase/vl_status.h"
#include "util/DS/ds_handle.h"
#include "util/status_codes.h"

using kelvo::util::fail;
using kelvo::util::failNull;
using kelvo::util::setStatus;

namespace {

// The kind that registries of functions have.
constexpr int kRegistryKind = 2;

// Each made by the first registration, then kept for the process.
struct Registries {
    DS* kinds = nullptr;
    DS* comparators = nullptr;
    DS* filters = nullptr;
};
Registries g_registries;

bool isComplete(const DsMethods& m) {
    return m.walk && m.enumerate && m.add && m.remove && m.sort && m.merge && m.find &&
           m.difference && m.contains_item && m.get_data && m.set_data && m.duplicate && m.head &&
           m.tail && m.next && m.prev && m.destructor && m.get_type;
}

// The registry of kinds is a structure of the first kind that is registered.
DS* newKindRegistry(DsMethods* methods) {
    DS* registry = kelvo::ds::newHandle({1, nullptr, Ds_default_comparator, nullptr, methods});
    if (!registry) return nullptr;
    Vl_err_ignore = 0;
    if (methods->allocate) registry->data = methods->allocate(registry, &Vl_err_ignore);
    return registry;
}

int registerFunction(DS*& registry, int index, void* function, int* status) {
    setStatus(status, kelvo::util::kNoError);
    if (!registry) registry = DS_create_type(kRegistryKind, &Vl_err_ignore);
    if (!registry) return fail(status, kelvo::util::kMemoryFault);
    return VL_register_item(index, function, &registry, status);
}

// Whether a handle may get this function: before the first registration any will do.
bool isAccepted(void* function, DS* registry) {
    int ignored = 0;
    return !registry || VL_get_items_registration_id(function, registry, &ignored) != -1;
}

std::uintptr_t valueAt(const void* slot) {
    return reinterpret_cast<std::uintptr_t>(*static_cast<void* const*>(slot));
}

}  // namespace

extern "C" {

int Ds_register_structure(int kind_id, DsMethods* methods, int* status) {
    setStatus(status, kelvo::util::kNoError);
    if (!methods) return fail(status, kelvo::util::kArgumentError);
    if (!isComplete(*methods)) return fail(status, kelvo::util::kInvalidData);
    if (!g_registries.kinds) g_registries.kinds = newKindRegistry(methods);
    if (!g_registries.kinds) return fail(status, kelvo::util::kMemoryFault);
    return VL_register_item(kind_id, methods, &g_registries.kinds, status);
}

DS* Ds_get_object_table(void) {
    return g_registries.kinds;
}

int Ds_default_comparator(void* new_slot, void* existing_slot) {
    if (!new_slot || !existing_slot) return 0;
    const std::uintptr_t a = valueAt(new_slot);
    const std::uintptr_t b = valueAt(existing_slot);
    return static_cast<int>(a > b) - static_cast<int>(a < b);
}

int Ds_fifo_comparator(void* /*new_slot*/, void* /*existing_slot*/) {
    return 1;
}

int Ds_filo_comparator(void* /*new_slot*/, void* /*existing_slot*/) {
    return -1;
}

int Ds_string_comparator(void* new_slot, void* existing_slot) {
    if (!new_slot || !existing_slot) return 0;
    const char* a = *static_cast<char**>(new_slot);
    const char* b = *static_cast<char**>(existing_slot);
    return a && b ? std::strcmp(a, b) : 0;
}

int DS_register_comparator(int index, void* function, int* status) {
    return registerFunction(g_registries.comparators, index, function, status);
}

int DS_register_filter(int index, void* function, int* status) {
    return registerFunction(g_registries.filters, index, function, status);
}

void* DS_get_comparator_function(int index, int* status) {
    void* function = VL_get_id_registration(index, g_registries.comparators, status);
    return function ? function : failNull(status, kelvo::util::kItemNotFound);
}

void* DS_get_filter_function(int index, int* status) {
    return VL_get_id_registration(index, g_registries.filters, status);
}

int DS_get_comparator_index(void* function, int* status) {
    return VL_get_items_registration_id(function, g_registries.comparators, status);
}

int DS_get_filter_index(void* function, int* status) {
    return VL_get_items_registration_id(function, g_registries.filters, status);
}

void* DS_set_comparator(DS* handle, void* function, int* status) {
    setStatus(status, kelvo::util::kNoError);
    if (!handle) return failNull(status, kelvo::util::kArgumentError);
    void* const previous = reinterpret_cast<void*>(handle->comparator);
    if (isAccepted(function, g_registries.comparators))
        handle->comparator = reinterpret_cast<int (*)(void*, void*)>(function);
    else
        setStatus(status, kelvo::util::kItemNotFound);
    return previous;
}

void* DS_set_filter(DS* handle, void* function, int* status) {
    setStatus(status, kelvo::util::kNoError);
    if (!handle) return failNull(status, kelvo::util::kArgumentError);
    void* const previous = reinterpret_cast<void*>(handle->filter);
    if (isAccepted(function, g_registries.filters))
        handle->filter = reinterpret_cast<int (*)(void*)>(function);
    else
        setStatus(status, kelvo::util::kItemNotFound);
    // Callers rely on this even when the filter was refused.
    handle->ordered = 0;
    return previous;
}

}  // extern "C"
