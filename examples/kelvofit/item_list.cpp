#include "item_list.h"

#include <KelvoBase/ds_lists.h>
#include <KelvoBase/vl_status.h>

#include <new>

#include "failure.h"

namespace kelvo::fit {
namespace {

constexpr int kListKind = 2, kNoMemory = 3, kTaken = 4;

/// The program says which kinds of structures there are.
void registerLists() {
    int status = 0;
    Ds_register_structure(kListKind, Ds_dlist_get_methods(), &status);
    if (status != kTaken) Vl_print_conditional(status, __FILE__, __LINE__, "list kind\n");
}

void expect(int status, int line) {
    if (status == 0) return;
    if (status == kNoMemory) throw std::bad_alloc();
    Vl_print_error(status, __FILE__, line, "list of patches\n");
    throw Failure("a list of patches could not be kept");
}

}  // namespace

PointerList::PointerList(Release release) : release_(release) {
    registerLists();
    int status = 0;
    list_ = DS_create_type(kListKind, &status);
    expect(status, __LINE__);
}

PointerList::~PointerList() {
    if (list_ != nullptr)
        DS_destructor(&list_, reinterpret_cast<void*>(release_), nullptr, &Vl_err_ignore);
}

void PointerList::add(void* item) {
    int status = 0;
    list_->methods->add(list_, item, &status);
    expect(status, __LINE__);
}

std::size_t PointerList::size() const {
    return list_ == nullptr ? 0 : static_cast<std::size_t>(Ds_enumerate(list_, &Vl_err_ignore));
}

void* PointerList::first() const {
    return list_ == nullptr ? nullptr : list_->methods->head(list_, &Vl_err_ignore);
}

void* PointerList::next(void* position) const {
    return list_->methods->next(list_, position, &Vl_err_ignore);
}

void* PointerList::item(void* position) const {
    return list_->methods->get_data(list_, position, &Vl_err_ignore);
}

std::vector<void*> PointerList::sorted(int (*comparator)(void*, void*)) const {
    std::vector<void*> items;
    if (size() == 0) return items;
    int status = 0;
    DS* copy = DS_duplicate(list_, 0, 0, &status);
    expect(status, __LINE__);
    DS_set_comparator(copy, reinterpret_cast<void*>(comparator), &status);
    copy->methods->sort(copy, &status);
    for (void* at = copy->methods->head(copy, &Vl_err_ignore); at != nullptr;
         at = copy->methods->next(copy, at, &Vl_err_ignore))
        items.push_back(copy->methods->get_data(copy, at, &Vl_err_ignore));
    DS_destructor(&copy, nullptr, nullptr, &Vl_err_ignore);
    expect(status, __LINE__);
    return items;
}

}  // namespace kelvo::fit
