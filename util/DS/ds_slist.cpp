#include "KelvoBase/ds_lists.h"
#include "util/DS/list_kind.h"

namespace {

using List = kelvo::ds::ListKind<Ds_slist_node>;

DsMethods g_methods = {
    Ds_slist_walk,      Ds_slist_enumerate,     Ds_slist_add,      Ds_slist_remove,
    Ds_slist_sort,      Ds_slist_merge,         Ds_slist_find,     Ds_slist_difference,
    Ds_slist_intersect, Ds_slist_contains_item, Ds_slist_get_data, Ds_slist_set_data,
    Ds_slist_duplicate, Ds_slist_head,          Ds_slist_tail,     Ds_slist_next,
    Ds_slist_prev,      Ds_slist_destructor,    nullptr,           Ds_slist_get_type,
};

}  // namespace

extern "C" {

DsMethods* Ds_slist_get_methods(void) {
    return &g_methods;
}
int Ds_slist_walk(DS* handle, void* visit, void* extra, int count, int direction, int* status) {
    return List::walk(handle, visit, extra, count, direction, status);
}
int Ds_slist_enumerate(DS* handle, int* status) {
    return List::enumerate(handle, status);
}
int Ds_slist_add(DS* handle, void* item, int* status) {
    return List::add(handle, item, status);
}
void* Ds_slist_remove(DS* handle, void* item, void* release, void* extra, int* status) {
    return List::remove(handle, item, release, extra, status);
}
int Ds_slist_sort(DS* handle, int* status) {
    return List::sort(handle, status);
}
void* Ds_slist_merge(DS* a, DS* b, int* status) {
    return List::merge(a, b, status);
}
void* Ds_slist_find(DS* handle, void* match, void* key, int* status) {
    return List::find(handle, match, key, status);
}
void* Ds_slist_difference(DS* a, DS* b, int* status) {
    return List::select(a, b, false, status);
}
void* Ds_slist_intersect(DS* a, DS* b, int* status) {
    return List::select(a, b, true, status);
}
int Ds_slist_contains_item(DS* handle, void* item, int* status) {
    return List::containsItem(handle, item, status);
}
void* Ds_slist_get_data(DS* handle, void* position, int* status) {
    return kelvo::ds::listItem<Ds_slist_node>(handle, position, status);
}
int Ds_slist_set_data(DS* handle, void* position, void* item, int* status) {
    return List::setData(handle, position, item, status);
}
void* Ds_slist_duplicate(DS* handle, int /*a*/, int /*b*/, int* status) {
    return List::duplicate(handle, status);
}
void* Ds_slist_head(DS* handle, int* status) {
    return kelvo::ds::listHead<Ds_slist_node>(handle, status);
}
void* Ds_slist_tail(DS* handle, int* status) {
    return List::tail(handle, status);
}
void* Ds_slist_next(DS* handle, void* position, int* status) {
    return kelvo::ds::listNext<Ds_slist_node>(handle, position, status);
}
void* Ds_slist_prev(DS* handle, void* position, int* status) {
    return List::prev(handle, position, status);
}
int Ds_slist_destructor(DS* handle, void* release, void* extra, int* status) {
    return List::destructor(handle, release, extra, status);
}
int Ds_slist_get_type(DS* handle, int* status) {
    return List::getType(handle, status);
}

}  // extern "C"
