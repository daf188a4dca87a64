// The remembered ends of long lists must never name a node that is gone: random histories of many
// lists, some under the table and some in use, with everything that frees, moves or reuses nodes.
// The address sanitizer is the judge of the nodes, a vector that of the content.
#include <algorithm>
#include <functional>
#include <memory>
#include <random>

#include "Base/ma.h"
#include "tests/structures/list_support.h"

namespace kelvo::test {
namespace {

constexpr unsigned kLists = 7;

class History {
  public:
    History(const Kind& kind, unsigned seed) : kind_(kind), random_(seed) {
        for (Each& each : lists_) each.handle = std::make_unique<DS>(handMade(kind));
    }
    ~History() {
        for (Each& each : lists_) empty(each);
    }

    void step() {
        Each& each = lists_[below(kLists)];
        const std::function<void()> append60 = [&] { append(each, 1 + below(60)); };
        const std::function<void()> acts[] = {
            append60,
            append60,
            append60,
            [&] { std::for_each(lists_, lists_ + kLists, [&](Each& any) { append(any, 1); }); },
            [&] { prepend(each); },
            [&] { dropLast(each, 1 + below(20)); },
            [&] { dropFirst(each, 1 + below(40)); },
            [&] { dropAny(each); },
            [&] { return below(6) == 0 ? empty(each) : append60(); },
            [&] { swapData(each, lists_[below(kLists)]); },
            [&] { renewHandle(each); },
            [&] { appendBehindSuffix(each); },
            [&] { replaceByDuplicate(each); },
            [&] { replaceByDifference(each, lists_[below(kLists)]); },
            [&] { return below(10) == 0 ? freeByHand(each) : sort(each); },
        };
        acts[below(std::size(acts))]();
        ASSERT_EQ(each.model, visibleItems(each.handle.get()));
        void* last = each.handle->methods->tail(each.handle.get(), &status_);
        ASSERT_EQ(each.model.empty(), last == nullptr);
        if (last) {
            ASSERT_EQ(each.model.back(), value(*static_cast<void**>(last)));
        }
    }

  private:
    struct Each {
        std::unique_ptr<DS> handle;
        Items model;
    };

    unsigned below(unsigned n) { return static_cast<unsigned>(random_() % n); }
    std::uintptr_t fresh() { return ++lastItem_; }

    void append(Each& each, unsigned count) {
        for (; count > 0; --count) {
            each.model.push_back(fresh());
            each.handle->methods->add(each.handle.get(), item(lastItem_), &status_);
        }
    }
    void prepend(Each& each) {
        each.handle->comparator = Ds_filo_comparator;
        each.handle->methods->add(each.handle.get(), item(fresh()), &status_);
        each.handle->comparator = Ds_fifo_comparator;
        each.model.insert(each.model.begin(), lastItem_);
    }
    void drop(Each& each, std::size_t at) {
        each.handle->methods->remove(each.handle.get(), item(each.model[at]), nullptr, nullptr,
                                     &status_);
        each.model.erase(each.model.begin() + static_cast<std::ptrdiff_t>(at));
    }
    void dropLast(Each& each, unsigned count) {
        for (; count > 0 && !each.model.empty(); --count) drop(each, each.model.size() - 1);
    }
    void dropFirst(Each& each, unsigned count) {
        for (; count > 0 && !each.model.empty(); --count) drop(each, 0);
    }
    void dropAny(Each& each) {
        if (!each.model.empty()) drop(each, below(static_cast<unsigned>(each.model.size())));
    }
    void empty(Each& each) {
        DS_empty_list(each.handle.get(), nullptr, nullptr, &status_);
        each.model.clear();
    }
    void swapData(Each& a, Each& b) {
        std::swap(a.handle->data, b.handle->data);
        std::swap(a.model, b.model);
    }
    // The same chain under a handle at another address.
    void renewHandle(Each& each) {
        auto handle = std::make_unique<DS>(*each.handle);
        each.handle = std::move(handle);
    }
    // A second handle, on the stack, that begins somewhere inside the chain.
    void appendBehindSuffix(Each& each) {
        if (each.model.empty()) return;
        DS suffix = *each.handle;
        for (unsigned n = below(static_cast<unsigned>(each.model.size())); n > 0; --n)
            suffix.data = suffix.methods->next(&suffix, suffix.data, &status_);
        for (int n = 0; n < 3; ++n) {
            each.model.push_back(fresh());
            suffix.methods->add(&suffix, item(lastItem_), &status_);
        }
    }
    void replaceByDuplicate(Each& each) {
        void* copy = each.handle->methods->duplicate(each.handle.get(), 0, 0, &status_);
        DS_empty_list(each.handle.get(), nullptr, nullptr, &status_);
        each.handle->data = copy;
    }
    void replaceByDifference(Each& each, Each& other) {
        if (&each == &other || each.model.empty()) return;
        void* rest =
            each.handle->methods->difference(each.handle.get(), other.handle.get(), &status_);
        DS_empty_list(each.handle.get(), nullptr, nullptr, &status_);
        each.handle->data = rest;
    }
    void sort(Each& each) {
        each.handle->comparator = Ds_default_comparator;
        each.handle->methods->sort(each.handle.get(), &status_);
        each.handle->comparator = Ds_fifo_comparator;
        std::sort(each.model.begin(), each.model.end());
    }
    // A caller who gives the nodes back to malloc himself: the item is the first word, `next` the
    // second in both kinds.
    void freeByHand(Each& each) {
        for (void* node = each.handle->data; node;) {
            void* next = static_cast<void**>(node)[1];
            MA_release(node);
            node = next;
        }
        each.handle->data = nullptr;
        each.model.clear();
    }

    const Kind& kind_;
    std::mt19937 random_;
    Each lists_[kLists];
    std::uintptr_t lastItem_ = 0;
    int status_ = 0;
};

TEST(ListEnds, SurviveRandomHistories) {
    const long before = MA_liveBlocks();
    for (const Kind& kind : kKinds)
        for (unsigned seed = 1; seed <= 40; ++seed) {
            SCOPED_TRACE(testing::Message() << kind.name << ", seed " << seed);
            History history(kind, seed);
            for (int step = 0; step < 500; ++step)
                ASSERT_NO_FATAL_FAILURE(history.step()) << "step " << step;
        }
    // Nodes are back; what a caller freed behind the library's back may stay remembered.
    EXPECT_LE(MA_liveBlocks(), before + 1);
}

// Long enough that walking to the end each time would take minutes.
TEST(ListEnds, ManyInterleavedListsAppendInConstantTime) {
    for (const Kind& kind : kKinds) {
        constexpr unsigned kMany = 40, kItems = 25'000;
        std::vector<DS> lists(kMany, handMade(kind));
        int status = 0;
        for (std::uintptr_t n = 1; n <= kItems; ++n)
            for (DS& list : lists) list.methods->add(&list, item(n), &status);
        for (DS& list : lists) {
            ASSERT_EQ(int{kItems}, list.methods->enumerate(&list, &status));
            ASSERT_EQ(kItems, value(*static_cast<void**>(list.methods->tail(&list, &status))));
            DS_empty_list(&list, nullptr, nullptr, &status);
        }
    }
}

}  // namespace
}  // namespace kelvo::test
