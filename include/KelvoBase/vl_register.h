// Registrations: small numbers for pointers, kept in a structure. The engine keeps its kinds,
// comparators and filters this way.
//   1. A registry is a structure of any kind whose items are entries of the library; an entry is
//      found by its id or by what it holds, never replaced and never removed.
//      Who makes a registry releases it by DS_destructor with DS_memory_free as `release`.
//   2. There is no limit on the number of entries. `status` as in ds_structures.h.
#pragma once

#include "KelvoBase/ds_structures.h"
#include "KelvoBase/kelvo_api.h"

extern "C" {

/// Registers `item` (borrowed, may be null) under `id` in `*registry`. 1 when done. Status 1: null
/// registry; 4: negative or taken id (the earlier item stays); 3: no memory. Without a status
/// pointer the result is 1 even when the structure refused the entry; in a registry without methods
/// entries are lost, and the result is 1.
KELVO_API int VL_register_item(int id, void* item, DS** registry, int* status);

/// The item of an id, or null. Status 1: null registry.
KELVO_API void* VL_get_id_registration(int id, DS* registry, int* status);

/// The id of the first entry that holds `item`, or -1. Status 1: null registry.
KELVO_API int VL_get_items_registration_id(void* item, DS* registry, int* status);

}  // extern "C"
