// A list of values in a structure of the library (KelvoBase/ds_structures.h): appending takes
// constant time, positions and items stay where they are.
#pragma once

#include <KelvoBase/ds_structures.h>

#include <cstddef>
#include <iterator>
#include <memory>
#include <utility>
#include <vector>

namespace kelvo::fit {

/// The untyped part: a doubly linked list. Throws Failure when the library refuses a call, and
/// bad_alloc without memory.
class PointerList {
  public:
    /// Releases an item: gets its slot, and null.
    using Release = void (*)(void* slot, void* extra);

    explicit PointerList(Release release);
    PointerList(PointerList&& other) noexcept
        : list_(std::exchange(other.list_, nullptr)), release_(other.release_) {}
    PointerList& operator=(PointerList&& other) noexcept {
        std::swap(list_, other.list_);
        return *this;
    }
    ~PointerList();

    void add(void* item);
    std::size_t size() const;
    void* first() const;
    void* next(void* position) const;
    void* item(void* position) const;
    std::vector<void*> sorted(int (*comparator)(void*, void*)) const;

  private:
    DS* list_;  // owned; null when moved from, and empty then
    Release release_;
};

/// Owns its items.
template <class T>
class ItemList {
  public:
    class Iterator {
      public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = T;
        using difference_type = std::ptrdiff_t;
        using pointer = const T*;
        using reference = const T&;

        Iterator() = default;
        Iterator(const PointerList* list, void* position) : list_(list), position_(position) {}
        reference operator*() const { return *static_cast<T*>(list_->item(position_)); }
        pointer operator->() const { return &**this; }
        Iterator& operator++() {
            position_ = list_->next(position_);
            return *this;
        }
        Iterator operator++(int) {
            const Iterator before = *this;
            ++*this;
            return before;
        }
        bool operator==(const Iterator& other) const { return position_ == other.position_; }

      private:
        const PointerList* list_ = nullptr;
        void* position_ = nullptr;  // null: behind the last
    };

    ItemList() : list_(release) {}
    ItemList(const ItemList& other) : ItemList() {
        for (const T& item : other) add(item);
    }
    ItemList(ItemList&&) noexcept = default;
    ItemList& operator=(ItemList other) noexcept {
        list_ = std::move(other.list_);
        return *this;
    }
    ~ItemList() = default;

    /// Appends; the result stays valid as long as the list.
    T& add(T item) {
        auto owned = std::make_unique<T>(std::move(item));
        list_.add(owned.get());
        return *owned.release();
    }
    std::size_t size() const { return list_.size(); }
    bool empty() const { return begin() == end(); }
    Iterator begin() const { return {&list_, list_.first()}; }
    Iterator end() const { return {&list_, nullptr}; }

    /// The items from the one that `comparator` (ds_structures.h) puts first to the last.
    std::vector<const T*> sorted(int (*comparator)(void*, void*)) const {
        std::vector<const T*> items;
        for (void* item : list_.sorted(comparator)) items.push_back(static_cast<T*>(item));
        return items;
    }

  private:
    static void release(void* slot, void*) { delete *static_cast<T**>(slot); }

    PointerList list_;
};

}  // namespace kelvo::fit
