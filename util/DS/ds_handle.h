// Making and freeing handles.
#pragma once

#include "Base/ma.h"
#include "KelvoBase/ds_structures.h"

namespace kelvo::ds {

/// A handle without data, or null. Tracked memory: callers may free a handle themselves.
inline DS* newHandle(const DS& contents) {
    auto* handle = static_cast<DS*>(MA_malloc(sizeof(DS), __LINE__, __FILE__, 0));
    if (handle) *handle = contents;
    return handle;
}

inline void freeHandle(DS* handle) {
    MA_free(handle, __LINE__, __FILE__);
}

}  // namespace kelvo::ds
