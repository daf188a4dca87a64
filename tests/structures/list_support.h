// What the tests of structures share: items, lists of either kind, reading a list whole.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <source_location>
#include <utility>
#include <vector>

#include "KelvoBase/ds_lists.h"

namespace kelvo::test {

using Items = std::vector<std::uintptr_t>;

inline void* item(std::uintptr_t value) {
    return reinterpret_cast<void*>(value);
}
inline std::uintptr_t value(const void* item) {
    return reinterpret_cast<std::uintptr_t>(item);
}

template <class Function>
void* pointer(Function* function) {
    return reinterpret_cast<void*>(function);
}

// The status that a call is given; -1 until one has set it.
class Status {
  public:
    operator int*() { return &code_; }
    // What the call before has set.
    int code() { return std::exchange(code_, -1); }
    // The call gave this answer and set this code.
    template <class Expected, class Answer>
    void expect(const Expected& expected, int code, const Answer& answer,
                std::source_location at = std::source_location::current()) {
        const testing::ScopedTrace trace(at.file_name(), static_cast<int>(at.line()), "");
        EXPECT_EQ(expected, answer);
        EXPECT_EQ(code, this->code());
    }

  private:
    int code_ = -1;
};

using Comparator = int (*)(void*, void*);
using Filter = int (*)(void*);

// Both list kinds, for tests that run over them.
struct Kind {
    const char* name;
    DsMethods* (*methods)();
};
inline constexpr Kind kKinds[] = {{"singly linked", Ds_slist_get_methods},
                                  {"doubly linked", Ds_dlist_get_methods}};

inline DS handMade(const Kind& kind, Comparator comparator = Ds_fifo_comparator,
                   Filter filter = nullptr) {
    return {1, nullptr, comparator, filter, kind.methods()};
}

inline Items visibleItems(DS* list) {
    Items items;
    int status = 0;
    const DsMethods& m = *list->methods;
    for (void* at = m.head(list, &status); at; at = m.next(list, at, &status))
        items.push_back(value(m.get_data(list, at, &status)));
    return items;
}

// Hidden ones too.
inline Items allItems(DS list) {
    list.filter = nullptr;
    return visibleItems(&list);
}

inline void addAll(DS* list, const Items& items) {
    int status = 0;
    for (std::uintptr_t each : items) list->methods->add(list, item(each), &status);
}

inline int isEven(void* item) {
    return value(item) % 2 == 0;
}
inline int isSmall(void* item) {
    return value(item) < 4;
}
inline int isNothing(void*) {
    return 0;
}

// A list that is emptied at the end of the scope.
class List : public DS {
  public:
    explicit List(const Kind& kind, const Items& items = {},
                  Comparator comparator = Ds_fifo_comparator, Filter filter = nullptr)
        : DS(handMade(kind, comparator)) {
        addAll(this, items);
        this->filter = filter;
        ordered = 1;
    }
    ~List() { methods->destructor(this, nullptr, nullptr, nullptr); }
    List(const List&) = delete;
    List& operator=(const List&) = delete;
};

// Owns a structure that the library made.
class Owned {
  public:
    explicit Owned(DS* handle) : handle_(handle) {}
    ~Owned() {
        if (handle_) DS_destructor(&handle_, nullptr, nullptr, nullptr);
    }
    Owned(const Owned&) = delete;
    Owned& operator=(const Owned&) = delete;
    DS* operator->() const { return handle_; }
    DS* get() const { return handle_; }

  private:
    DS* handle_;
};

}  // namespace kelvo::test
