// Every allocation of structures, debug files and item lists fails in turn: the call says so, what
// was there stays as it was, and nothing is lost.
#include <cstdio>
#include <functional>

#include "Base/ma.h"
#include "KelvoBase/aa_debug.h"
#include "KelvoBase/an_anim_list.h"
#include "KelvoBase/vl_register.h"
#include "tests/structures/list_support.h"
#include "tests/support/child_process.h"

namespace kelvo::test {
namespace {

// Runs `call` with 0, 1, 2 ... allocations to succeed, until it does. `undo` takes its result away.
void failEachInTurn(const char* what, int expectedStatus, const std::function<bool(int*)>& call,
                    const std::function<void()>& check, const std::function<void()>& undo) {
    SCOPED_TRACE(what);
    int failures = 0;
    for (bool done = false; !done; ++failures) {
        ASSERT_LT(failures, 100);
        const long before = MA_liveBlocks();
        int status = -1;
        MA_failAfter(failures);
        done = call(&status);
        MA_failAfter(-1);
        if (done) break;
        EXPECT_EQ(expectedStatus, status);
        EXPECT_EQ(before, MA_liveBlocks()) << "leak after " << failures << " allocations";
        check();
    }
    EXPECT_GT(failures, 0) << "nothing was allocated";
    undo();
}

TEST(AllocationFailures, LeaveListsAsTheyWere) {
    for (const Kind& kind : kKinds) {
        SCOPED_TRACE(kind.name);
        const Items items = {5, 2, 9, 2, 7};
        List a(kind, items, Ds_fifo_comparator), b(kind, {2, 7});
        const DsMethods& m = *a.methods;
        DS* made = nullptr;
        const auto same = [&] { EXPECT_EQ(items, visibleItems(&a)); };
        const auto destroy = [&] { DS_destructor(&made, nullptr, nullptr, nullptr); };
        using Make = std::function<DS*(int*)>;
        const std::pair<const char*, Make> operations[] = {
            {"duplicate", [&](int* s) { return DS_duplicate(&a, 0, 0, s); }},
            {"merge", [&](int* s) { return DS_merge(&a, &b, s); }},
            {"difference", [&](int* s) { return DS_difference(&a, &b, s); }},
            {"intersect", [&](int* s) { return DS_intersect(&a, &b, s); }},
        };
        for (const auto& [name, make] : operations)
            failEachInTurn(
                name, 3, [&](int* s) { return (made = make(s)) != nullptr; }, same, destroy);
        failEachInTurn(
            "add", 3, [&](int* s) { return m.add(&a, item(1), s) != 0; }, same,
            [&] { m.remove(&a, item(1), nullptr, nullptr, nullptr); });
        List large(kind);
        for (std::uintptr_t n = 0; n < 1000; ++n) addAll(&large, {1000 - n});
        large.comparator = Ds_default_comparator;
        failEachInTurn(
            "sort", 3, [&](int* s) { return m.sort(&large, s) != 0; },
            [&] { EXPECT_EQ(item(1000), *static_cast<void**>(large.data)); }, [] {});
        EXPECT_EQ(item(1), *static_cast<void**>(large.data));
        // The notes of a backward walk are a help, not a need.
        MA_failAfter(0);
        int sum = 0, status = -1;
        const auto visit = [](void* item, void* total, int*) {
            *static_cast<int*>(total) += static_cast<int>(value(item));
            return 1;
        };
        EXPECT_EQ(1, m.walk(&large, pointer(+visit), &sum, -1, 1, &status));
        MA_failAfter(-1);
        EXPECT_EQ(1000 * 1001 / 2, sum);
    }
}

// Without memory for what is remembered, lists are slower and nothing else.
TEST(AllocationFailures, OfRememberedEndsAreHarmless) {
    for (const Kind& kind : kKinds) {
        const long before = MA_liveBlocks();
        std::vector<DS> lists(200, handMade(kind));
        int status = 0;
        for (DS& list : lists)
            for (std::uintptr_t n = 1; n <= 40; ++n) {
                // The add that remembers gets its node and no more.
                MA_failAfter(n == 16 && &list != &lists[100] ? 1 : -1);
                ASSERT_EQ(1, list.methods->add(&list, item(n), &status));
            }
        MA_failAfter(-1);
        for (DS& list : lists) {
            ASSERT_EQ(40, list.methods->enumerate(&list, &status));
            DS_empty_list(&list, nullptr, nullptr, &status);
        }
        EXPECT_EQ(before, MA_liveBlocks());
    }
}

TEST(AllocationFailures, OfHandlesRegistriesAndItems) {
    EXPECT_TRUE(passesInChild([] {
        const auto nothing = [] {};
        int status = -1;
        for (const long successes : {0, 1, 0, 1}) {  // the registry itself stays once it is there
            MA_failAfter(successes);
            EXPECT_EQ(0, Ds_register_structure(2, Ds_slist_get_methods(), &status));
            EXPECT_EQ(3, status);
            MA_failAfter(-1);
        }
        EXPECT_EQ(1, MA_liveBlocks());
        EXPECT_EQ(1, Ds_register_structure(2, Ds_slist_get_methods(), &status));
        DS* made = nullptr;
        failEachInTurn(
            "create", 3, [&](int* s) { return (made = DS_create_type(2, s)) != nullptr; }, nothing,
            [&] { EXPECT_NE(nullptr, made->methods); });
        MA_failAfter(0);
        EXPECT_EQ(0, DS_register_filter(1, pointer(isEven), &status));
        EXPECT_EQ(3, status);
        MA_failAfter(1);
        EXPECT_EQ(0, DS_register_filter(1, pointer(isEven), &status));
        EXPECT_EQ(3, status);
        MA_failAfter(-1);
        EXPECT_EQ(1, DS_register_filter(1, pointer(isEven), &status));

        int object = 0;
        failEachInTurn(
            "item", 3, [&](int* s) { return AN_add_to_item_list(1, &object, made, s) != 0; },
            [&] { EXPECT_EQ(nullptr, made->data); },
            [&] { AN_remove_from_item_list(&object, made, nullptr); });
        DS_destructor(&made, nullptr, nullptr, nullptr);
        VL_list list = {};
        An_add_to_item_list(1, &object, nullptr, &list);
        MA_failAfter(0);
        EXPECT_EQ(0, An_add_to_item_list(1, &object, nullptr, &list));
        EXPECT_EQ(0, An_sort_item_list(&list, 1));
        MA_failAfter(-1);
        EXPECT_EQ(list.last, list.first);
        VL_list_delete(&list, list.first);
    }));
}

TEST(AllocationFailures, OfDebugFilesAreSaidAtTheOldPlace) {
    const struct {
        int mode;
        long successes;
        const char* said;
    } rows[] = {{2, 0, "list"}, {2, 1, "entry"}, {2, 1, "entry"}, {2, 2, "entry"}, {3, 0, "entry"}};
    const ChildResult child = runInChild([&] {
        AA_set_indent(1);
        bool madeList = false;
        for (const auto& row : rows) {
            void* argument =
                row.mode == 2 ? const_cast<char*>("/dev/null") : static_cast<void*>(stdout);
            const long before = MA_liveBlocks();
            MA_failAfter(row.successes);
            AA_set_print_out(row.mode, argument);
            MA_failAfter(-1);
            EXPECT_EQ(1, AA_get_print_out(nullptr));
            EXPECT_EQ(before + (row.successes == 1 && !madeList), MA_liveBlocks());
            madeList = madeList || row.successes == 1;
        }
    });
    EXPECT_EQ(0, child.exitCode);
    std::string expected;
    for (const auto& row : rows)
        expected += std::string("   Cannot create debug file ") + row.said + "\n";
    EXPECT_EQ(expected, child.errors);
}

}  // namespace
}  // namespace kelvo::test
