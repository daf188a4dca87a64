// What the model test does not see: arguments that are wrong, callbacks and the order in which
// they come, walks, the sizes that callers rely on.
#include <algorithm>
#include <utility>

#include "tests/structures/list_support.h"

namespace kelvo::test {
namespace {

static_assert(sizeof(DS) == 5 * sizeof(void*) && sizeof(DsMethods) == 20 * sizeof(void*));
static_assert(sizeof(Ds_dlist_node) == 3 * sizeof(void*));
static_assert(sizeof(Ds_slist_node) == 2 * sizeof(void*));

class EachKind : public testing::TestWithParam<Kind> {
  protected:
    DsMethods& m = *GetParam().methods();
    int status = -1;
};
INSTANTIATE_TEST_SUITE_P(Kinds, EachKind, testing::ValuesIn(kKinds),
                         [](const auto& kind) { return kind.index ? "doubly" : "singly"; });

TEST_P(EachKind, WrongArgumentsGiveTheirStatus) {
    List list(GetParam(), {1});
    List empty(GetParam());
    void* visit = pointer(isEven);
    const auto fails = [&](int expected, auto result) {
        EXPECT_FALSE(result > decltype(result)());
        EXPECT_EQ(expected, std::exchange(status, -1));
    };
    int* s = &status;
    fails(1, m.walk(nullptr, visit, nullptr, -1, 0, s));
    fails(1, m.walk(&list, nullptr, nullptr, -1, 0, s));
    fails(1, m.walk(&empty, visit, nullptr, 0, 0, s));  // before the count is looked at
    fails(1, m.walk(&list, visit, nullptr, 0, 2, s));
    fails(1, m.enumerate(nullptr, s));
    fails(0, m.enumerate(&empty, s));
    fails(1, m.add(nullptr, nullptr, s));
    fails(1, m.sort(nullptr, s));
    fails(1, m.sort(&empty, s));
    fails(1, m.contains_item(nullptr, item(1), s));
    fails(1, m.set_data(&list, nullptr, nullptr, s));
    fails(1, m.destructor(nullptr, nullptr, nullptr, s));
    fails(1, m.get_type(nullptr, s));
    fails(1, m.head(nullptr, s));
    fails(1, m.head(&empty, s));
    fails(1, m.tail(nullptr, s));
    fails(15, m.tail(&empty, s));
    fails(1, m.next(nullptr, list.data, s));
    fails(1, m.next(&list, nullptr, s));
    fails(0, m.next(&list, list.data, s));
    fails(1, m.prev(&list, nullptr, s));
    fails(0, m.prev(&list, list.data, s));
    fails(1, m.get_data(&list, nullptr, s));
    fails(1, m.find(nullptr, nullptr, item(1), s));
    fails(1, m.find(&list, nullptr, nullptr, s));
    fails(0, m.find(&list, nullptr, item(2), s));
    fails(1, m.remove(nullptr, item(1), nullptr, nullptr, s));
    fails(12, m.remove(&list, item(2), nullptr, nullptr, s));
    fails(1, m.merge(nullptr, nullptr, s));
    fails(1, m.difference(nullptr, &list, s));
    fails(1, m.intersect(&list, nullptr, s));
    fails(0, m.intersect(&list, &empty, s));
    fails(1, m.duplicate(nullptr, 0, 0, s));
    fails(0, m.duplicate(&empty, 0, 0, s));
}

// --- Steps by name, which callers get inline

struct Steps {
    Kind kind;
    void* (*head)(DS*, int*);
    void* (*next)(DS*, void*, int*);
    void* (*item)(DS*, void*, int*);
};
template <auto head, auto next, auto item>
Steps byName(const Kind& kind) {
    return {kind, [](DS* list, int* s) { return head(list, s); },
            [](DS* list, void* at, int* s) { return next(list, at, s); },
            [](DS* list, void* at, int* s) { return item(list, at, s); }};
}

// What the steps give, every result with its status: over the list, then for nulls.
Items answers(DS* list, const Steps& steps, bool withStatus) {
    int status = -1;
    int* s = withStatus ? &status : nullptr;
    Items all;
    const auto note = [&](void* result) {
        all.push_back(value(result));
        all.push_back(static_cast<unsigned>(std::exchange(status, -1)));
        return result;
    };
    for (void* at = note(steps.head(list, s)); at; at = note(steps.next(list, at, s)))
        note(steps.item(list, at, s));
    for (DS* handle : {list, static_cast<DS*>(nullptr)}) {
        note(steps.next(handle, handle ? nullptr : list->data, s));
        note(steps.item(handle, handle ? nullptr : list->data, s));
    }
    note(steps.head(nullptr, s));
    return all;
}

TEST(Steps, ByNameAnswerAsThoseOfTheTable) {
    const Steps kinds[] = {
        byName<Ds_slist_head, Ds_slist_next, Ds_slist_get_data>(kKinds[0]),
        byName<Ds_dlist_head, Ds_dlist_next, Ds_dlist_get_data>(kKinds[1]),
    };
    for (const Steps& named : kinds)
        for (const Items& items : {Items{}, {1}, {2}, {2, 1}, {0, 1, 3, 4, 5}, {7, 9, 0, 0, 11}})
            for (Filter filter : {Filter(nullptr), Filter(isEven), Filter(isNothing)})
                for (bool withStatus : {true, false}) {
                    List list(named.kind, items, Ds_fifo_comparator, filter);
                    const DsMethods& m = *list.methods;
                    EXPECT_EQ(answers(&list, {named.kind, m.head, m.next, m.get_data}, withStatus),
                              answers(&list, named, withStatus))
                        << named.kind.name << ", " << items.size() << " items";
                }
    EXPECT_EQ(Ds_dlist_get_methods()->next, Ds_dlist_next);  // one address, everywhere
}

// --- Walks

int visitInto(void* item, void* into, int*) {
    static_cast<Items*>(into)->push_back(value(item));
    return value(item) != 1;  // fails at 1
}
Items g_visited;
int visitAlone(void* item, int* status) {
    g_visited.push_back(value(item));
    return status ? *status == 0 : 1;
}

TEST_P(EachKind, WalkVisitsWhatCountAndDirectionSay) {
    const struct {
        const char* what;
        int count, direction;
        Filter filter;
        Items visited;
        int status;
    } rows[] = {
        {"all, although the first fails", -1, 0, nullptr, {1, 2, 3, 4}, 10},
        {"all backward", -1, 1, nullptr, {4, 3, 2, 1}, 10},
        {"hidden ones do not count", 2, 0, isEven, {2, 4}, 0},
        {"limited backward: the head alone", 2, 1, nullptr, {1}, 10},
        {"limited backward, hidden head", 2, 1, isEven, {}, 0},
        {"one", 1, 0, nullptr, {1}, 10},
        {"none", 0, 0, nullptr, {}, 0},
        {"less than none", -2, 0, nullptr, {}, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        List list(GetParam(), {1, 2, 3, 4}, Ds_fifo_comparator, row.filter);
        Items visited;
        EXPECT_EQ(row.status == 0,
                  m.walk(&list, pointer(visitInto), &visited, row.count, row.direction, &status));
        EXPECT_EQ(row.visited, visited);
        EXPECT_EQ(row.status, status);
        g_visited.clear();
        EXPECT_EQ(1,
                  m.walk(&list, pointer(visitAlone), nullptr, row.count, row.direction, nullptr));
        EXPECT_EQ(row.visited, g_visited);
    }
}

// A visitor may change the list elsewhere: here it removes the node before the one it sees.
int removeBefore(void* item, void* list, int*) {
    DS* handle = static_cast<DS*>(list);
    handle->methods->remove(handle, test::item(value(item) - 1), nullptr, nullptr, nullptr);
    return 1;
}

TEST_P(EachKind, BackwardWalkToleratesARemovalAhead) {
    List list(GetParam(), {1, 2, 3, 4, 5, 6});
    EXPECT_EQ(1, m.walk(&list, pointer(removeBefore), &list, -1, 1, &status));
    EXPECT_EQ((Items{2, 4, 6}), visibleItems(&list));
}

TEST_P(EachKind, LongBackwardWalkIsNotQuadratic) {
    List list(GetParam());
    for (std::uintptr_t n = 0; n < 200'000; ++n) m.add(&list, item(n + 2), &status);
    Items visited;
    m.walk(&list, pointer(visitInto), &visited, -1, 1, &status);
    ASSERT_EQ(200'000u, visited.size());
    EXPECT_EQ(2u, visited.back());
}

// --- Callbacks

struct Released {
    DS* list;
    Items items;
    Items left;  // what the list held at each call
};
void releaseInto(void* slot, void* extra) {
    auto* released = static_cast<Released*>(extra);
    released->items.push_back(value(*static_cast<void**>(slot)));
    released->left.push_back(
        static_cast<std::uintptr_t>(released->list->methods->enumerate(released->list, nullptr)));
    *static_cast<void**>(slot) = nullptr;  // allowed
}
int g_releases = 0;
void releaseAlone(void* slot) {
    g_releases += *static_cast<void**>(slot) != nullptr;
}

TEST_P(EachKind, ReleaseComesBeforeTheNodeGoes) {
    List list(GetParam(), {7, 8, 9});
    Released released = {&list, {}, {}};
    void* next = m.remove(&list, item(8), pointer(releaseInto), &released, &status);
    EXPECT_EQ(9u, value(*static_cast<void**>(next)));
    EXPECT_EQ(1, m.destructor(&list, pointer(releaseInto), &released, &status));
    EXPECT_EQ((Items{8, 7, 9}), released.items);
    EXPECT_EQ((Items{3, 2, 1}), released.left);
    EXPECT_EQ(nullptr, list.data);
    addAll(&list, {1, 2});
    EXPECT_EQ(item(2), *static_cast<void**>(
                           m.remove(&list, item(1), pointer(releaseAlone), nullptr, &status)));
    m.destructor(&list, pointer(releaseAlone), nullptr, &status);
    EXPECT_EQ(2, g_releases);
    g_releases = 0;
}

struct Meddler {
    DS* list;
    Comparator comparator;  // for an item that is added
    std::uintptr_t added, removed;
};
void meddle(void*, void* extra) {
    const auto& meddler = *static_cast<Meddler*>(extra);
    int ignored = 0;
    meddler.list->comparator = meddler.comparator;
    if (meddler.added != 0) meddler.list->methods->add(meddler.list, item(meddler.added), &ignored);
    if (meddler.removed != 0)
        meddler.list->methods->remove(meddler.list, item(meddler.removed), nullptr, nullptr,
                                      &ignored);
    else if (meddler.added == 0)
        DS_empty_list(meddler.list, nullptr, nullptr, &ignored);
}

TEST_P(EachKind, ReleaseMayChangeTheListItself) {
    const struct {
        const char* what;
        std::uintptr_t added, removed;
        Items left;
        std::uintptr_t next;  // 0: none
    } rows[] = {
        {"removes the one before", 0, 4, {2, 8, 10}, 8},
        {"removes the one behind", 0, 8, {2, 4, 10}, 10},
        {"removes itself", 0, 6, {2, 4, 8, 10}, 0},
        {"adds before it", 5, 0, {2, 4, 5, 8, 10}, 8},
        {"adds at the end", 11, 0, {2, 4, 8, 10, 11}, 8},
        {"empties the list", 0, 0, {}, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        List list(GetParam(), {2, 4, 6, 8, 10});
        Meddler meddler = {&list, Ds_default_comparator, row.added, row.removed};
        void* next = m.remove(&list, item(6), pointer(meddle), &meddler, &status);
        EXPECT_EQ(0, status);
        ASSERT_EQ(row.next == 0, next == nullptr);
        if (next) {
            EXPECT_EQ(row.next, value(*static_cast<void**>(next)));
        }
        EXPECT_EQ(row.left, visibleItems(&list));
    }
}

int isNext(void* item, void* key) {
    return value(item) == value(key) + 1;
}

TEST_P(EachKind, FindGivesItemsToTheMatchFunction) {
    List list(GetParam(), {3, 4, 5, 6}, Ds_fifo_comparator, isEven);
    EXPECT_EQ(item(6), *static_cast<void**>(m.find(&list, pointer(isNext), item(5), &status)));
    EXPECT_EQ(item(4), *static_cast<void**>(m.find(&list, pointer(isEven), nullptr, &status)));
    EXPECT_EQ(nullptr, m.find(&list, pointer(isNext), item(4), &status));  // 5 is hidden
}

TEST_P(EachKind, PositionsStayWhileItemsMove) {
    List list(GetParam(), {3, 1, 2}, Ds_default_comparator);
    void* second = m.next(&list, m.head(&list, &status), &status);
    EXPECT_EQ(1, m.set_data(&list, second, item(9), &status));
    EXPECT_EQ((Items{1, 9, 3}), visibleItems(&list));
    EXPECT_EQ(1, list.ordered);  // as far as the list knows
    m.sort(&list, &status);
    EXPECT_EQ((Items{1, 3, 9}), visibleItems(&list));
    EXPECT_EQ(item(3), m.get_data(&list, second, &status));
}

// The quick route for the library's comparator, at sizes on both sides of every branch, against the
// same order asked for by a comparator of the caller, which takes the stated route.
int callers(void* a, void* b) {
    return Ds_default_comparator(a, b);
}
int sortsAnother(void* a, void* b) {
    int status = 0;
    List other(kKinds[0], {2, 1}, callers);
    other.methods->sort(&other, &status);
    return Ds_default_comparator(a, b);
}

TEST_P(EachKind, SortsAlikeByAnyRoute) {
    std::uint64_t state = 88172645463325252u;
    for (const std::size_t size : {1, 2, 3, 16, 511, 512, 513, 3000})
        for (const std::uint64_t mask :
             {~0ull, 0xFFFFFFFFull, 0xFF00ull, 0ull, 7ull << 61, (1ull << 63) + 0xFFF}) {
            SCOPED_TRACE(testing::Message() << size << " items, mask " << mask);
            Items items(size);
            for (auto& each : items) {
                state ^= state << 13, state ^= state >> 7, state ^= state << 17;
                each = state & mask;
            }
            Items sorted = items;
            std::sort(sorted.begin(), sorted.end());
            for (Comparator comparator : {Comparator{Ds_default_comparator}, Comparator{callers}}) {
                List list(GetParam(), items);
                list.comparator = comparator;
                ASSERT_EQ(1, m.sort(&list, &status));
                ASSERT_EQ(sorted, visibleItems(&list));
            }
        }
    List nested(GetParam(), {5, 3, 4, 1, 2});
    nested.comparator = sortsAnother;
    EXPECT_EQ(1, m.sort(&nested, &status));
    EXPECT_EQ((Items{1, 2, 3, 4, 5}), visibleItems(&nested));
}

// Looking for each null from the head would take minutes.
TEST_P(EachKind, RemovesNullsBehindManyOthers) {
    constexpr std::size_t kMany = 200'000;
    Items items(kMany, 7), kept = items;
    items.resize(2 * kMany, 0);
    items.push_back(9), kept.push_back(9);
    List list(GetParam(), items);
    EXPECT_EQ(1, DS_remove_nulls(&list, &status));
    EXPECT_TRUE(kept == allItems(list));
}

}  // namespace
}  // namespace kelvo::test
