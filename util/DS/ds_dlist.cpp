#include "KelvoBase/ds_lists.h"
#include "util/DS/list_kind.h"

namespace {

using List = kelvo::ds::ListKind<Ds_dlist_node>;

DsMethods g_methods = {
    Ds_dlist_walk,      Ds_dlist_enumerate,     Ds_dlist_add,      Ds_dlist_remove,
    Ds_dlist_sort,      Ds_dlist_merge,         Ds_dlist_find,     Ds_dlist_difference,
    Ds_dlist_intersect, Ds_dlist_contains_item, Ds_dlist_get_data, Ds_dlist_set_data,
    Ds_dlist_duplicate, Ds_dlist_head,          Ds_dlist_tail,     Ds_dlist_next,
    Ds_dlist_prev,      Ds_dlist_destructor,    nullptr,           Ds_dlist_get_type,
};

}  // namespace

extern "C" {

DsMethods* Ds_dlist_get_methods(void) {
    return &g_methods;
}
int Ds_dlist_walk(DS* handle, void* visit, void* extra, int count, int direction, int* status) {
    return List::walk(handle, visit, extra, count, direction, status);
}
int Ds_dlist_enumerate(DS* handle, int* status) {
    return List::enumerate(handle, status);
}
int Ds_dlist_add(DS* handle, void* item, int* status) {
    return List::add(handle, item, status);
}
void* Ds_dlist_remove(DS* handle, void* item, void* release, void* extra, int* status) {
    return List::remove(handle, item, release, extra, status);
}
int Ds_dlist_sort(DS* handle, int* status) {
    return List::sort(handle, status);
}
void* Ds_dlist_merge(DS* a, DS* b, int* status) {
    return List::merge(a, b, status);
}
void* Ds_dlist_find(DS* handle, void* match, void* key, int* status) {
    return List::find(handle, match, key, status);
}
void* Ds_dlist_difference(DS* a, DS* b, int* status) {
    return List::select(a, b, false, status);
}
void* Ds_dlist_intersect(DS* a, DS* b, int* status) {
    return List::select(a, b, true, status);
}
int Ds_dlist_contains_item(DS* handle, void* item, int* status) {
    return List::containsItem(handle, item, status);
}
void* Ds_dlist_get_data(DS* handle, void* position, int* status) {
    return kelvo::ds::listItem<Ds_dlist_node>(handle, position, status);
}
int Ds_dlist_set_data(DS* handle, void* position, void* item, int* status) {
    return List::setData(handle, position, item, status);
}
void* Ds_dlist_duplicate(DS* handle, int /*a*/, int /*b*/, int* status) {
    return List::duplicate(handle, status);
}
void* Ds_dlist_head(DS* handle, int* status) {
    return kelvo::ds::listHead<Ds_dlist_node>(handle, status);
}
void* Ds_dlist_tail(DS* handle, int* status) {
    return List::tail(handle, status);
}
void* Ds_dlist_next(DS* handle, void* position, int* status) {
    return kelvo::ds::listNext<Ds_dlist_node>(handle, position, status);
}
void* Ds_dlist_prev(DS* handle, void* position, int* status) {
    return List::prev(handle, position, status);
}
int Ds_dlist_destructor(DS* handle, void* release, void* extra, int* status) {
    return List::destructor(handle, release, extra, status);
}
int Ds_dlist_get_type(DS* handle, int* status) {
    return List::getType(handle, status);
}

}  // extern "C"
