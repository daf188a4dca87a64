// Both list kinds against a plain vector: what could break is a link, the head, the place of an
// insertion, visibility under a filter, a status. Random operations, whole content compared.
#include <algorithm>
#include <optional>
#include <random>

#include "tests/structures/list_support.h"

namespace kelvo::test {
namespace {

// Comparators of every sign: exactly 1 moves on, everything else stays.
int positiveTwo(void*, void*) {
    return 2;
}
int alwaysEqual(void*, void*) {
    return 0;
}
int descending(void* a, void* b) {
    return -Ds_default_comparator(a, b);
}
int byTens(void* a, void* b) {  // many equal ones
    const auto x = value(*static_cast<void**>(a)) / 10, y = value(*static_cast<void**>(b)) / 10;
    return x > y ? 1 : x < y ? -7 : 0;
}
const Comparator kComparators[] = {Ds_default_comparator,
                                   Ds_fifo_comparator,
                                   Ds_filo_comparator,
                                   positiveTwo,
                                   alwaysEqual,
                                   descending,
                                   byTens,
                                   nullptr};
const Filter kFilters[] = {nullptr, isEven, isSmall, isNothing};

struct Model {
    Items items;
    Comparator comparator = Ds_fifo_comparator;
    Filter filter = nullptr;
    int ordered = 1;

    bool shows(std::uintptr_t each) const { return !filter || filter(item(each)) != 0; }
    Items visible() const {
        Items result;
        for (std::uintptr_t each : items)
            if (shows(each)) result.push_back(each);
        return result;
    }
    Items::iterator visiblePlace(std::uintptr_t wanted) {
        return shows(wanted) ? std::find(items.begin(), items.end(), wanted) : items.end();
    }
    void insert(std::uintptr_t each) {
        auto at = items.begin();
        void* fresh = item(each);
        for (; at != items.end(); ++at) {
            void* existing = item(*at);
            if (comparator && comparator(&fresh, &existing) != 1) break;
        }
        items.insert(at, each);
    }
};

int collect(void* item, void* into, int*) {
    static_cast<Items*>(into)->push_back(value(item));
    return 1;
}

class Pair {
  public:
    explicit Pair(const Kind& kind) : list(handMade(kind)) {}
    ~Pair() { list.methods->destructor(&list, nullptr, nullptr, nullptr); }
    Pair(const Pair&) = delete;
    Pair& operator=(const Pair&) = delete;

    void choose(Comparator comparator, Filter filter) {
        list.comparator = model.comparator = comparator;
        list.filter = model.filter = filter;
    }

    void add(std::uintptr_t each, bool withStatus) {
        int status = -1;
        const int result = list.methods->add(&list, item(each), withStatus ? &status : nullptr);
        ASSERT_EQ(model.shows(each), result);
        if (withStatus) {
            ASSERT_EQ(!result ? 16 : model.comparator ? 0 : 14, status);
        }
        if (!result) return;
        model.insert(each);
        if (!withStatus || !model.comparator) model.ordered = 0;
    }

    void remove(std::uintptr_t each) {
        int status = -1;
        void* next = list.methods->remove(&list, item(each), nullptr, nullptr, &status);
        const auto place = model.visiblePlace(each);
        ASSERT_EQ(place == model.items.end() ? 12 : 0, status);
        if (place == model.items.end()) {
            ASSERT_EQ(nullptr, next);
            return;
        }
        const auto behind = model.items.erase(place);
        const auto following =
            std::find_if(behind, model.items.end(), [&](auto other) { return model.shows(other); });
        ASSERT_EQ(following == model.items.end(), next == nullptr);
        if (next) {
            ASSERT_EQ(*following, value(*static_cast<void**>(next)));
        }
    }

    void sort() {
        int status = -1;
        const int result = list.methods->sort(&list, &status);
        ASSERT_EQ(model.items.empty() ? 1 : model.comparator ? 0 : 14, status);
        ASSERT_EQ(status == 0, result);
        if (status != 0) return;
        model.ordered = 1;
        Items sorted = allItems(list);
        if (model.comparator == Ds_default_comparator || model.comparator == descending) {
            std::sort(model.items.begin(), model.items.end());
            if (model.comparator == descending)
                std::reverse(model.items.begin(), model.items.end());
        } else {  // not stable, and some are no orders: nothing lost, nothing new
            ASSERT_TRUE(std::is_permutation(sorted.begin(), sorted.end(), model.items.begin(),
                                            model.items.end()));
            model.items = sorted;
        }
    }

    void compare() {
        int status = -1;
        const DsMethods& m = *list.methods;
        const Items visible = model.visible();
        ASSERT_EQ(model.items, allItems(list));
        ASSERT_EQ(visible, visibleItems(&list));
        ASSERT_EQ(model.ordered, list.ordered);
        ASSERT_EQ(static_cast<int>(visible.size()), m.enumerate(&list, &status));
        Items backward;
        for (void* at = m.tail(&list, &status); at; at = m.prev(&list, at, &status))
            backward.push_back(value(m.get_data(&list, at, &status)));
        std::reverse(backward.begin(), backward.end());
        ASSERT_EQ(visible, backward);
        Items walked;
        m.walk(&list, pointer(collect), &walked, -1, 1, &status);
        std::reverse(walked.begin(), walked.end());
        ASSERT_EQ(visible, walked);
        for (std::uintptr_t each = 0; each < 12; ++each) {
            const bool there = model.visiblePlace(each) != model.items.end();
            ASSERT_EQ(there, m.contains_item(&list, item(each), &status));
            ASSERT_EQ(there ? 0 : 12, status);
            if (each != 0) {
                ASSERT_EQ(there, m.find(&list, nullptr, item(each), &status) != nullptr);
            }
        }
    }

    DS list;
    Model model;
};

// The chain that a set operation made, as items, by the comparator of `a`.
void compareChain(const Pair& a, void* chain, int status, const Items& taken) {
    Model expected;
    expected.comparator = a.model.comparator;
    for (std::uintptr_t each : taken) expected.insert(each);
    DS result = {1, chain, nullptr, nullptr, a.list.methods};
    ASSERT_EQ(expected.items, visibleItems(&result));
    ASSERT_EQ(!taken.empty() && !expected.comparator ? 14 : 0, status);
    result.methods->destructor(&result, nullptr, nullptr, nullptr);
}

void compareSets(Pair& a, Pair& b) {
    int status = -1;
    const DsMethods& m = *a.list.methods;
    Items both, onlyA, all = a.model.visible();
    for (std::uintptr_t each : a.model.visible()) {
        const bool inB = b.model.visiblePlace(each) != b.model.items.end();
        (inB ? both : onlyA).push_back(each);
    }
    for (std::uintptr_t each : b.model.visible()) all.push_back(each);
    void* chain = m.merge(&a.list, &b.list, &status);
    ASSERT_NO_FATAL_FAILURE(compareChain(a, chain, status, all));
    if (a.model.items.empty()) {
        ASSERT_EQ(nullptr, m.difference(&a.list, &b.list, &status));
        ASSERT_EQ(1, status);
        return;
    }
    chain = m.difference(&a.list, &b.list, &status);
    ASSERT_NO_FATAL_FAILURE(compareChain(a, chain, status, onlyA));
    chain = m.intersect(&a.list, &b.list, &status);
    ASSERT_NO_FATAL_FAILURE(compareChain(a, chain, status, both));
}

class ListModel : public testing::TestWithParam<Kind> {};

TEST_P(ListModel, BehavesAsAVector) {
    for (unsigned seed = 1; seed <= 60; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        std::mt19937 random(seed);
        const auto below = [&](unsigned n) { return static_cast<unsigned>(random() % n); };
        Pair pairs[2] = {Pair(GetParam()), Pair(GetParam())};
        for (int step = 0; step < 400; ++step) {
            Pair& pair = pairs[below(2)];
            const unsigned choice = below(100);
            // Small values: nulls and duplicates are frequent.
            if (choice < 60)
                pair.add(below(30), below(4) != 0);
            else if (choice < 80)
                pair.remove(below(30));
            else if (choice < 82)
                pair.sort();
            else if (choice < 90)
                pair.choose(kComparators[below(std::size(kComparators))],
                            kFilters[below(std::size(kFilters))]);
            else if (choice < 91)
                std::swap(pairs[0].list.data, pairs[1].list.data),
                    std::swap(pairs[0].model.items, pairs[1].model.items);
            else if (choice < 94)
                compareSets(pairs[0], pairs[1]);
            if (HasFatalFailure()) return;
            ASSERT_NO_FATAL_FAILURE(pair.compare()) << "step " << step;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, ListModel, testing::ValuesIn(kKinds),
                         [](const auto& kind) { return kind.index ? "doubly" : "singly"; });

}  // namespace
}  // namespace kelvo::test
