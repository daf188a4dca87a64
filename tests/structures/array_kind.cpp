#include "tests/structures/array_kind.h"

#include <algorithm>
#include <vector>

namespace kelvo::test {

int g_liveArrays = 0;

namespace {

using Array = std::vector<void*>;

Array& array(DS* handle) {
    if (!handle->data) {
        handle->data = new Array;
        ++g_liveArrays;
    }
    return *static_cast<Array*>(handle->data);
}
void set(int* status, int code) {
    if (status) *status = code;
}
bool shows(DS* handle, void* item) {
    return !handle->filter || handle->filter(item) != 0;
}
void* position(std::size_t index) {
    return reinterpret_cast<void*>(index + 1);
}
std::size_t index(void* position) {
    return reinterpret_cast<std::size_t>(position) - 1;
}
void* visibleFrom(DS* handle, std::size_t at) {
    for (; at < array(handle).size(); ++at)
        if (shows(handle, array(handle)[at])) return position(at);
    return nullptr;
}

void* allocate(DS*, int* status) {
    set(status, 0);
    ++g_liveArrays;
    return new Array;
}
int destructor(DS* handle, void* release, void* extra, int* status) {
    set(status, 0);
    for (void*& item : array(handle))
        if (release) reinterpret_cast<void (*)(void*, void*)>(release)(&item, extra);
    delete static_cast<Array*>(handle->data);
    handle->data = nullptr;
    --g_liveArrays;
    return 1;
}
void insert(DS* handle, void* item) {
    Array& all = array(handle);
    const auto stays = [&](void*& existing) {
        return handle->comparator && handle->comparator(&item, &existing) != 1;
    };
    all.insert(std::find_if(all.begin(), all.end(), stays), item);
}
int add(DS* handle, void* item, int* status) {
    set(status, shows(handle, item) ? handle->comparator ? 0 : 14 : 16);
    if (!shows(handle, item)) return 0;
    insert(handle, item);
    if (!status || !handle->comparator) handle->ordered = 0;
    return 1;
}
void* head(DS* handle, int* status) {
    set(status, array(handle).empty());
    return visibleFrom(handle, 0);
}
void* next(DS* handle, void* at, int* status) {
    set(status, 0);
    return visibleFrom(handle, index(at) + 1);
}
void* getData(DS* handle, void* at, int* status) {
    set(status, 0);
    return array(handle)[index(at)];
}
int enumerate(DS* handle, int* status) {
    set(status, 0);
    const Array& all = array(handle);
    return static_cast<int>(
        std::count_if(all.begin(), all.end(), [&](void* each) { return shows(handle, each); }));
}
void* find(DS* handle, void*, void* key, int* status) {
    set(status, 0);
    for (void* at = head(handle, nullptr); at; at = next(handle, at, nullptr))
        if (getData(handle, at, nullptr) == key) return at;
    return nullptr;
}
int containsItem(DS* handle, void* item, int* status) {
    const bool found = find(handle, nullptr, item, status) != nullptr;
    set(status, found ? 0 : 12);
    return found;
}
void* remove(DS* handle, void* item, void* release, void* extra, int* status) {
    void* at = find(handle, nullptr, item, status);
    if (!at) return nullptr;
    Array& all = array(handle);
    if (release) reinterpret_cast<void (*)(void*, void*)>(release)(&all[index(at)], extra);
    all.erase(all.begin() + static_cast<std::ptrdiff_t>(index(at)));
    return visibleFrom(handle, index(at));
}
void* select(DS* a, DS* b, bool wanted) {
    DS result = {1, nullptr, a->comparator, nullptr, a->methods};
    for (void* at = head(a, nullptr); at; at = next(a, at, nullptr)) {
        void* item = getData(a, at, nullptr);
        if ((b->methods->contains_item(b, item, nullptr) != 0) == wanted) insert(&result, item);
    }
    return result.data;
}
void* difference(DS* a, DS* b, int* status) {
    set(status, 0);
    return select(a, b, false);
}
void* intersect(DS* a, DS* b, int* status) {
    set(status, 0);
    return select(a, b, true);
}
void* duplicate(DS* handle, int a, int b, int* status) {
    set(status, 0);
    if (a < 0) return nullptr;
    ++g_liveArrays;
    auto* copy = new Array(array(handle));
    copy->insert(copy->end(), static_cast<std::size_t>(a), reinterpret_cast<void*>(std::size_t(b)));
    return copy;
}
// Only what the engine calls; it is never registered.
DsMethods g_methods = {.walk = nullptr,
                       .enumerate = enumerate,
                       .add = add,
                       .remove = remove,
                       .sort = nullptr,
                       .merge = nullptr,
                       .find = find,
                       .difference = difference,
                       .intersect = intersect,
                       .contains_item = containsItem,
                       .get_data = getData,
                       .set_data = nullptr,
                       .duplicate = duplicate,
                       .head = head,
                       .tail = nullptr,
                       .next = next,
                       .prev = nullptr,
                       .destructor = destructor,
                       .allocate = allocate,
                       .get_type = nullptr};

}  // namespace

DsMethods* arrayMethods() {
    return &g_methods;
}

}  // namespace kelvo::test
