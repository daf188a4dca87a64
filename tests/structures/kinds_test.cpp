// The engine over every kind: lists of both forms and an array that the library has never seen. What
// could break is a slot called with the wrong handle, comparator, filter or status, or a leak.
#include <cstdlib>

#include "Base/ma.h"
#include "tests/structures/array_kind.h"
#include "tests/structures/list_support.h"
#include "tests/support/child_process.h"
#include "tests/support/report_capture.h"

namespace kelvo::test {
namespace {

const Kind kAllKinds[] = {kKinds[0], kKinds[1], {"array", arrayMethods}};

// A structure on the heap, as the engine's destructor wants it. No registry is needed for it.
DS* newStructure(const Kind& kind, const Items& items, Comparator comparator = Ds_fifo_comparator,
                 Filter filter = nullptr) {
    Status status;
    DS* handle = DS_create_type(99, status);
    handle->methods = kind.methods();
    if (handle->methods->allocate) handle->data = handle->methods->allocate(handle, status);
    handle->comparator = comparator;
    addAll(handle, items);
    handle->filter = filter;
    return handle;
}

class EngineKinds : public testing::TestWithParam<Kind> {
  protected:
    void TearDown() override { EXPECT_EQ(0, g_liveArrays); }
    DS* make(const Items& items, Comparator comparator = Ds_fifo_comparator,
             Filter filter = nullptr) {
        return newStructure(GetParam(), items, comparator, filter);
    }
    Status status;
};
INSTANTIATE_TEST_SUITE_P(Kinds, EngineKinds, testing::ValuesIn(kAllKinds), [](const auto& kind) {
    return std::string(kind.index == 2 ? "array" : kind.index == 1 ? "doubly" : "singly");
});

TEST_P(EngineKinds, MergeTakesWhatIsVisible) {
    const struct {
        const char* what;
        Items a, b;
        Comparator comparator;
        Filter filterA, filterB;
        Items merged;
    } rows[] = {
        {"behind each other", {5, 1}, {3, 5}, Ds_fifo_comparator, nullptr, nullptr, {5, 1, 3, 5}},
        {"in order", {5, 1, 3}, {4, 3}, Ds_default_comparator, nullptr, nullptr, {1, 3, 3, 4, 5}},
        {"hidden ones stay behind",
         {1, 2, 4},
         {1, 2},
         Ds_default_comparator,
         isEven,
         isEven,
         {2, 2, 4}},
        {"empty", {}, {2}, Ds_fifo_comparator, nullptr, nullptr, {2}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        Owned a(make(row.a, row.comparator, row.filterA));
        Owned b(make(row.b, row.comparator, row.filterB));
        Owned merged(DS_merge(a.get(), b.get(), status));
        ASSERT_NE(nullptr, merged.get());
        EXPECT_EQ(0, status.code());
        EXPECT_EQ(row.merged, allItems(*merged.get()));
        EXPECT_EQ(row.filterA, merged->filter);
        EXPECT_EQ(1, merged->ordered);
        Owned silent(DS_merge(a.get(), nullptr, nullptr));
        EXPECT_EQ(row.a.empty(), silent->ordered) << "adds without a status give up the order";
        Owned only(DS_merge(nullptr, b.get(), status));
        EXPECT_EQ(visibleItems(b.get()), allItems(*only.get()));
    }
    Owned a(make({2, 4}, Ds_fifo_comparator, isEven)), odd(make({6, 7}));
    status.expect(nullptr, 16, DS_merge(a.get(), odd.get(), status));
    Owned unordered(make({1}, nullptr)), alike(make({2}, nullptr));
    Owned both(DS_merge(unordered.get(), alike.get(), status));
    EXPECT_EQ(14, status.code());
    EXPECT_EQ(0, both->ordered);
}

TEST_P(EngineKinds, SetsCompareByValue) {
    Owned a(make({4, 1, 4, 0, 6}, Ds_filo_comparator)), b(make({4, 0}, Ds_filo_comparator));
    Owned rest(DS_difference(a.get(), b.get(), status));
    EXPECT_EQ(0, status.code());
    EXPECT_EQ((Items{1, 6}), visibleItems(rest.get()));  // taken as 6, 1 and put first each time
    EXPECT_EQ(1, rest->ordered);
    Owned common(DS_intersect(a.get(), b.get(), status));
    EXPECT_EQ((Items{4, 4, 0}), visibleItems(common.get()));
    Owned silent(DS_intersect(a.get(), b.get(), nullptr));
    EXPECT_EQ(0, silent->ordered);
    b->ordered = 0;
    Owned unsure(DS_difference(a.get(), b.get(), status));
    EXPECT_EQ(0, unsure->ordered);
    EXPECT_EQ(nullptr, DS_difference(b.get(), a.get(), status));  // none left: null, no failure
    EXPECT_EQ(0, status.code());
    b->filter = isSmall;  // hides the 4 from the question as well
    Owned more(DS_difference(a.get(), b.get(), status));
    EXPECT_EQ((Items{4, 1, 4, 6}), visibleItems(more.get()));
}

TEST_P(EngineKinds, StrangersDoNotMix) {
    using Operation = DS* (*)(DS*, DS*, int*);
    Owned a(make({1})), other(make({1}, Ds_filo_comparator));
    DS bare = {1, nullptr, Ds_fifo_comparator, nullptr, nullptr};
    static DsMethods foreign = *Ds_dlist_get_methods();
    foreign.merge = [](DS*, DS*, int*) -> void* { return nullptr; };
    foreign.difference = foreign.intersect = foreign.merge;
    DS stranger = {1, nullptr, Ds_fifo_comparator, nullptr, &foreign};
    for (Operation operation : {DS_merge, DS_difference, DS_intersect}) {
        status.expect(nullptr, 7, operation(a.get(), other.get(), status));
        status.expect(nullptr, 7, operation(a.get(), &stranger, status));
        status.expect(nullptr, 1, operation(&bare, a.get(), status));
        status.expect(nullptr, 1, operation(nullptr, nullptr, status));
    }
    status.expect(nullptr, 1, DS_difference(a.get(), nullptr, status));
}

TEST_P(EngineKinds, DuplicateKeepsEverything) {
    Owned source(make({3, 1, 2}, Ds_filo_comparator, isEven));
    source->ordered = 0;
    Owned copy(DS_duplicate(source.get(), 0, 0, status));
    EXPECT_EQ(allItems(*source.get()), allItems(*copy.get()));
    EXPECT_NE(source->data, copy->data);
    EXPECT_EQ(isEven, copy->filter);
    EXPECT_EQ(Ds_filo_comparator, copy->comparator);
    EXPECT_EQ(0, copy->ordered);
    status.expect(nullptr, 1, DS_duplicate(nullptr, 0, 0, status));
    if (GetParam().methods != arrayMethods) return;
    Owned longer(DS_duplicate(source.get(), 2, 8, status));
    EXPECT_EQ((Items{2, 1, 3, 8, 8}), allItems(*longer.get()));
    EXPECT_EQ(nullptr, DS_duplicate(source.get(), -1, 0, status));
}

TEST_P(EngineKinds, RemovesWhatIsNotKept) {
    int released = 0;
    const auto count = [](void*, void* counter) { ++*static_cast<int*>(counter); };
    Owned a(make({0, 3, 0, 0, 2, 1, 0}));
    status.expect(1, 0, DS_remove_nulls(a.get(), status));
    EXPECT_EQ((Items{3, 2, 1}), visibleItems(a.get()));
    EXPECT_EQ(0, a->ordered);
    EXPECT_EQ(Ds_fifo_comparator, a->comparator);
    a->filter = isEven;  // no registry of filters: hidden ones are removed as well
    EXPECT_EQ(1, DS_remove_unfiltered_items(a.get(), nullptr, pointer(+count), &released, status));
    EXPECT_EQ(3, released);
    EXPECT_EQ(isEven, a->filter);
    EXPECT_EQ(Items{}, allItems(*a.get()));
    status.expect(1, 0, DS_remove_nulls(a.get(), status));
    status.expect(0, 1, DS_remove_nulls(nullptr, status));
}

TEST(Engine, RemovingManyTellsWhatTheKindSaid) {
    DsMethods complaining = *Ds_slist_get_methods();
    complaining.remove = [](DS* handle, void* item, void* release, void* extra, int* status) {
        void* next = Ds_slist_remove(handle, item, release, extra, status);
        *status = 13;
        return next;
    };
    List list(kKinds[0], {0, 5});
    list.methods = &complaining;
    Status status;
    status.expect(1, 13, DS_remove_nulls(&list, status));
    EXPECT_EQ(Items{5}, allItems(list));
}

TEST_P(EngineKinds, HiddenItemsStayOnceFiltersAreRegistered) {
    EXPECT_TRUE(passesInChild([] {
        Status status;
        Ds_register_structure(2, Ds_slist_get_methods(), status);
        DS_register_filter(1, pointer(isEven), status);
        Owned a(newStructure(GetParam(), {1, 0, 2, 3}, Ds_fifo_comparator, isEven));
        status.expect(1, 0, DS_remove_unfiltered_items(a.get(), nullptr, nullptr, nullptr, status));
        EXPECT_EQ((Items{1, 3}), allItems(*a.get()));
    }));
}

void printShort(void* item, int argument) {
    rptDebug(argument, "<%d>\n", static_cast<int>(value(item)));
}

TEST_P(EngineKinds, PrintsItsVisibleItems) {
    Owned a(make({2, 3, 0}, Ds_fifo_comparator, isEven));
    a->ordered = 0;
    char text[160];
    std::string expected;
    const auto expect = [&](const char* format, const void* word) {
        std::snprintf(text, sizeof text, format, value(word));
        expected += text;
    };
    for (const bool own : {true, false}) {
        expected.clear();
        expect("Structure 0x%lx\n>>>", a.get());
        expect("Filter = 0x%lx\n", pointer(isEven));
        expect("Comparator = 0x%lx\nOrdered = FALSE\nFiltered Member list =\n>>>",
               pointer(Ds_fifo_comparator));
        void* first = a->methods->head(a.get(), nullptr);
        expect("Item %#lx:\n", first);
        expected += own ? ">>><2>\n<<<" : "0x2\n";
        expect("Item %#lx:\n", a->methods->next(a.get(), first, nullptr));
        expected += own ? ">>><0>\n<<<" : "0x0\n";
        expected += "<<<<<<";
        const ReportCapture capture;
        EXPECT_EQ(1, (own ? DS_print_structure : DS_print)(a.get(), own ? printShort : nullptr, 0,
                                                           status));
        EXPECT_EQ(expected, capture.text(rptKind::kDebug));
        EXPECT_EQ(0, status.code());
        for (const Report& report : capture.reports()) EXPECT_EQ(0, report.level);
        EXPECT_EQ(">>>", capture.reports()[1].text);
    }
}

// Handles without a kind, and null handles: nothing crashes, everything says so.
TEST(Engine, UnknownKindsFailHarmlessly) {
    Status status;
    DS* bare = DS_create_type(1234, status);
    ASSERT_NE(nullptr, bare);
    EXPECT_EQ(nullptr, bare->methods);
    EXPECT_EQ(nullptr, bare->data);
    EXPECT_EQ(1, bare->ordered);
    EXPECT_EQ(Ds_fifo_comparator, bare->comparator);
    EXPECT_EQ(nullptr, bare->filter);
    DS* null = nullptr;
    status.expect(-1, 1, Ds_enumerate(bare, status));
    status.expect(-1, 1, Ds_enumerate(nullptr, status));
    status.expect(0, 1, DS_destructor(&bare, nullptr, nullptr, status));
    status.expect(0, 1, DS_destructor(&null, nullptr, nullptr, status));
    status.expect(0, 1, DS_destructor(nullptr, nullptr, nullptr, status));
    ASSERT_NE(nullptr, bare);
    status.expect(1, 0, DS_empty_list(bare, nullptr, nullptr, status));
    EXPECT_EQ(1, DS_empty_list(nullptr, nullptr, nullptr, status));
    status.expect(nullptr, 1, DS_duplicate(bare, 0, 0, status));
    status.expect(nullptr, 1, DS_merge(bare, nullptr, status));
    status.expect(1, 0, DS_remove_nulls(bare, status));
    {
        const ReportCapture capture;
        EXPECT_EQ(1, DS_print_structure(bare, nullptr, 0, status));
        EXPECT_EQ(9u, capture.reports().size()) << capture.text();
    }
    const ReportCapture capture;
    EXPECT_EQ(1, DS_print(nullptr, nullptr, 0, status));
    EXPECT_EQ("Null structure\n", capture.text());
    EXPECT_EQ(0, status.code());
    DS_memory_free(reinterpret_cast<void**>(&bare));
}

TEST(Engine, MemoryFreeTakesAnyBlock) {
    const long before = MA_liveBlocks();
    for (void* block : {MA_malloc(8, 0, nullptr, 0), std::malloc(8), static_cast<void*>(nullptr)}) {
        EXPECT_EQ(1, DS_memory_free(&block));
        EXPECT_EQ(nullptr, block);
    }
    EXPECT_EQ(1, DS_memory_free(nullptr));
    EXPECT_EQ(before, MA_liveBlocks());
}

}  // namespace
}  // namespace kelvo::test
