#include "KelvoBase/vl_register.h"

#include "Base/ma.h"
#include "util/status_codes.h"

using kelvo::util::fail;
using kelvo::util::setStatus;

namespace {

// What a registry holds; lives as long as the registry. Tracked memory: who made a registry may
// release its entries with DS_memory_free.
struct Registration {
    int id;
    void* item;  // borrowed
};

// The first registration for which `wanted` is true, or null. A registry without methods has none.
template <class Wanted>
const Registration* firstOf(DS* registry, Wanted wanted) {
    if (!registry->methods) return nullptr;
    const DsMethods& methods = *registry->methods;
    int ignored = 0;  // the end of a structure is no failure
    for (void* at = methods.head(registry, &ignored); at;
         at = methods.next(registry, at, &ignored)) {
        const auto* entry =
            static_cast<const Registration*>(methods.get_data(registry, at, &ignored));
        if (entry && wanted(*entry)) return entry;
    }
    return nullptr;
}

}  // namespace

extern "C" {

int VL_register_item(int id, void* item, DS** registry, int* status) {
    setStatus(status, kelvo::util::kNoError);
    if (!registry || !*registry) return fail(status, kelvo::util::kArgumentError);
    if (id < 0) return fail(status, kelvo::util::kInvalidFunction);
    if (firstOf(*registry, [id](const Registration& entry) { return entry.id == id; }))
        return fail(status, kelvo::util::kInvalidFunction);
    // Callers rely on a registry of unknown kind losing what it is given without a word.
    if (!(*registry)->methods) return 1;
    auto* entry =
        static_cast<Registration*>(MA_malloc(sizeof(Registration), __LINE__, __FILE__, 0));
    if (!entry) return fail(status, kelvo::util::kMemoryFault);
    *entry = {id, item};
    if (!(*registry)->methods->add(*registry, entry, status)) MA_free(entry, __LINE__, __FILE__);
    return !status || *status == kelvo::util::kNoError;
}

void* VL_get_id_registration(int id, DS* registry, int* status) {
    setStatus(status, kelvo::util::kNoError);
    if (!registry) return kelvo::util::failNull(status, kelvo::util::kArgumentError);
    const Registration* entry =
        firstOf(registry, [id](const Registration& each) { return each.id == id; });
    return entry ? entry->item : nullptr;
}

int VL_get_items_registration_id(void* item, DS* registry, int* status) {
    setStatus(status, kelvo::util::kNoError);
    if (!registry) {
        setStatus(status, kelvo::util::kArgumentError);
        return -1;
    }
    const Registration* entry =
        firstOf(registry, [item](const Registration& each) { return each.item == item; });
    return entry ? entry->id : -1;
}

}  // extern "C"
