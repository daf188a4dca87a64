#include "tests/structures/array_kind.h"

#include <algorithm>
#include <vector>

#include "KelvoBase/vl_register.h"

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
void* prev(DS* handle, void* at, int* status) {
    set(status, 0);
    for (std::size_t i = index(at); i-- > 0;)
        if (shows(handle, array(handle)[i])) return position(i);
    return nullptr;
}
void* tail(DS* handle, int* status) {
    return prev(handle, position(array(handle).size()), status);
}
void* getData(DS* handle, void* at, int* status) {
    set(status, 0);
    return array(handle)[index(at)];
}
int setData(DS* handle, void* at, void* item, int* status) {
    set(status, 0);
    array(handle)[index(at)] = item;
    return 1;
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
int sort(DS* handle, int* status) {
    set(status, 0);
    std::sort(array(handle).begin(), array(handle).end(),
              [&](void* a, void* b) { return handle->comparator(&a, &b) < 0; });
    return handle->ordered = 1;
}
int walk(DS*, void*, void*, int, int, int* status) {
    set(status, 9);
    return 0;
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
void* merge(DS*, DS*, int* status) {
    set(status, 4);
    return nullptr;
}
void* duplicate(DS* handle, int a, int b, int* status) {
    set(status, 0);
    if (a < 0) return nullptr;
    ++g_liveArrays;
    auto* copy = new Array(array(handle));
    copy->insert(copy->end(), static_cast<std::size_t>(a), reinterpret_cast<void*>(std::size_t(b)));
    return copy;
}
int getType(DS* handle, int* status) {
    return VL_get_items_registration_id(handle->methods, Ds_get_object_table(), status);
}

DsMethods g_methods = {walk,       enumerate, add,          remove,     sort,     merge,     find,
                       difference, intersect, containsItem, getData,    setData,  duplicate, head,
                       tail,       next,      prev,         destructor, allocate, getType};

}  // namespace

DsMethods* arrayMethods() {
    return &g_methods;
}

}  // namespace kelvo::test
