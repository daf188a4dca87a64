// Item lists: what is in a list once, what its statuses say, and who frees what.
#include "KelvoBase/an_anim_list.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <random>
#include <set>
#include <utility>
#include <vector>

#include "Base/ma.h"
#include "KelvoBase/aa_debug.h"
#include "tests/structures/list_support.h"
#include "tests/support/child_process.h"

namespace kelvo::test {
namespace {

class ItemLists : public testing::Test {
  protected:
    void TearDown() override { EXPECT_EQ(before_, MA_liveBlocks()); }
    Status status;

  private:
    const long before_ = MA_liveBlocks();
};

int g_objects[3];
void* const kA = &g_objects[0];
void* const kB = &g_objects[1];
void* const kC = &g_objects[2];

TEST_F(ItemLists, HoldEachObjectOnce) {
    for (const Kind& kind : kKinds) {
        DS list = handMade(kind);
        status.expect(nullptr, 0, AN_is_item_in_item_list(kA, &list, status));  // empty: no failure
        status.expect(1, 0, AN_add_to_item_list(4, kA, &list, status));
        status.expect(0, 0, AN_add_to_item_list(5, kA, &list, status));
        EXPECT_EQ(1, AN_add_to_item_list(6, kB, &list, nullptr));
        EXPECT_EQ(2, Ds_enumerate(&list, status));
        AN_item* a = AN_is_item_in_item_list(kA, &list, status);
        ASSERT_NE(nullptr, a);
        EXPECT_EQ(4, a->type);
        EXPECT_EQ(nullptr, a->next);
        const AN_item key = {6, kB, nullptr};
        EXPECT_NE(nullptr, list.methods->find(&list, pointer(AN_ds_item_equal),
                                              const_cast<AN_item*>(&key), status));

        status.expect(1, 12, AN_remove_from_item_list(kC, &list, status));
        status.expect(1, 0, AN_remove_from_item_list(kA, &list, status));
        EXPECT_EQ(1, AN_remove_from_item_list(kB, &list, nullptr));
        EXPECT_EQ(nullptr, list.data);
    }
}

TEST_F(ItemLists, SayWhatIsWrong) {
    DS list = handMade(kKinds[0]), bare = {1, nullptr, nullptr, nullptr, nullptr};
    const struct {
        void* data;
        DS* list;
    } rows[] = {{nullptr, &list}, {kA, nullptr}, {kA, &bare}};
    for (const auto& row : rows) {
        status.expect(nullptr, 1, AN_is_item_in_item_list(row.data, row.list, status));
        status.expect(0, 1, AN_add_to_item_list(1, row.data, row.list, status));
        status.expect(0, 1, AN_remove_from_item_list(row.data, row.list, status));
    }
    list.filter = isNothing;
    status.expect(0, 16, AN_add_to_item_list(1, kA, &list, status));
    EXPECT_EQ(1, AN_add_to_item_list(1, kA, &list, nullptr));  // refused, and yet
    list.filter = nullptr;
    EXPECT_EQ(0, Ds_enumerate(&list, status));
    list.comparator = nullptr;
    status.expect(0, 14, AN_add_to_item_list(1, kA, &list, status));
    EXPECT_EQ(1, Ds_enumerate(&list, status));  // added, and yet
    AN_remove_from_item_list(kA, &list, status);
}

TEST_F(ItemLists, FreeItemsAndChains) {
    AN_item* item = AN_item_create_type(3, kA, 1, "f", status);
    EXPECT_EQ(1, AN_item_free(&item, status));
    EXPECT_EQ(nullptr, item);
    EXPECT_EQ(1, AN_item_free(&item, status));
    status.expect(0, 1, AN_item_free(nullptr, status));
    for (int i = 0; i < 3; ++i) {
        AN_item* first = AN_item_create_type(i, kA, 1, nullptr, status);
        first->next = item;
        item = first;
    }
    EXPECT_EQ(1, AN_item_list_free(&item, status));
    EXPECT_EQ(nullptr, item);
    status.expect(0, 1, AN_item_list_free(nullptr, status));
    const AN_item a = {1, kA, nullptr}, type = {2, kA, nullptr}, data = {1, kB, nullptr};
    EXPECT_EQ(0, AN_ds_item_equal(&a, &type) + AN_ds_item_equal(&a, &data));
    EXPECT_EQ(0, AN_ds_item_equal(&a, nullptr) + AN_ds_item_equal(nullptr, &a));
}

void printItems() {
    Status status;
    AN_item item = {-7, reinterpret_cast<void*>(0xAB), nullptr};
    char text[200] = {}, expected[200];
    FILE* stream = fmemopen(text, sizeof text, "w");
    AA_set_print_out(3, stream);
    AA_set_indent(1);
    EXPECT_EQ(1, AN_print_item(&item, status));
    EXPECT_EQ(0, AN_print_item(nullptr, status));
    AA_set_indent(0);
    AA_set_print_out(1, nullptr);
    std::fclose(stream);
    std::snprintf(expected, sizeof expected,
                  "   Item: %p\n   {\n      Type: -7\n      Data: 0xab\n      Next: 0\n   }\n"
                  "   Item: NULL\n",
                  static_cast<void*>(&item));
    EXPECT_STREQ(expected, text);
}

TEST_F(ItemLists, PrintItems) {
    EXPECT_TRUE(passesInChild(printItems));  // destinations are process-wide
}

// --- Nodes in linked lists

using Row = std::array<std::uintptr_t, 3>;  // data, extra, type

std::vector<Row> rowsOf(const VL_list& list) {
    std::vector<Row> rows;
    const VL_ll* before = nullptr;
    for (const VL_ll* each = list.first; each; before = each, each = VL_ll_next(each)) {
        EXPECT_EQ(before, each->prev);
        const auto* node = reinterpret_cast<const An_item_node*>(each);
        rows.push_back(
            {value(node->data), value(node->extra), static_cast<std::uintptr_t>(node->type)});
    }
    EXPECT_EQ(before, list.last);
    return rows;
}
void empty(VL_list& list) {
    while (list.first) VL_list_delete(&list, list.first);
}

TEST_F(ItemLists, NodesGoFirstAndOncePerDataAndExtra) {
    VL_list list = {};
    EXPECT_EQ(0, An_add_to_item_list(1, nullptr, nullptr, &list));
    EXPECT_EQ(0, An_add_to_item_list(1, kA, nullptr, nullptr));
    EXPECT_EQ(0, An_addUnique_to_item_list(1, nullptr, nullptr, &list));
    EXPECT_EQ(0, An_addUnique_to_item_list(1, kA, nullptr, nullptr));
    EXPECT_EQ(1, An_add_to_item_list(1, item(10), item(5), &list));
    EXPECT_EQ(1, An_addUnique_to_item_list(9, item(10), item(5), &list));  // there already
    EXPECT_EQ(1, An_addUnique_to_item_list(2, item(10), item(6), &list));
    EXPECT_EQ(1, An_add_to_item_list(3, item(10), item(5), &list));
    EXPECT_EQ((std::vector<Row>{{10, 5, 3}, {10, 6, 2}, {10, 5, 1}}), rowsOf(list));
    VL_list_delete(&list, list.first->next);
    EXPECT_EQ((std::vector<Row>{{10, 5, 3}, {10, 5, 1}}), rowsOf(list));
    VL_list_delete(&list, list.last);
    VL_list_delete(nullptr, list.first);
    VL_ll_insert(&list, nullptr, nullptr);
    EXPECT_EQ(1, VL_ll_length(list.first));
    EXPECT_EQ(nullptr, VL_ll_next(nullptr));
    empty(list);
}

TEST_F(ItemLists, SortByDataAndDropRepeated) {
    std::mt19937 random(3);
    for (int round = 0; round < 200; ++round)
        for (const int unique : {0, 1}) {
            VL_list list = {};
            std::vector<Row> rows;
            EXPECT_EQ(0, An_sort_item_list(&list, unique));
            for (auto count = random() % 12 + 1; count > 0; --count) {
                const std::uintptr_t data = random() % 6, extra = random() % 4;
                rows.push_back({data, extra, count});
                An_add_to_item_list(static_cast<int>(count), item(data + 1), item(extra), &list);
                reinterpret_cast<An_item_node*>(list.first)->data = item(data);  // null, too
            }
            EXPECT_EQ(1, An_sort_item_list(&list, unique));
            std::vector<Row> sorted = rowsOf(list);
            const auto byData = [](const Row& a, const Row& b) { return a[0] < b[0]; };
            EXPECT_TRUE(std::is_sorted(sorted.begin(), sorted.end(), byData));
            std::sort(sorted.begin(), sorted.end());
            std::sort(rows.begin(), rows.end());
            EXPECT_TRUE(std::includes(rows.begin(), rows.end(), sorted.begin(), sorted.end()));
            std::set<std::uintptr_t> different;
            for (const Row& row : rows) different.insert(row[0]);
            different.erase(0);
            EXPECT_EQ(unique ? different.size() : rows.size(), sorted.size());
            empty(list);
        }
    EXPECT_EQ(0, An_sort_item_list(nullptr, 1));
}

TEST_F(ItemLists, ComparatorsPutNullArgumentsLast) {
    const An_sort_record low = {1, item(1), item(9)}, none = {0, nullptr, nullptr};
    const An_item_node node = {{}, 1, item(1), item(9)}, extra = {{}, 0, item(1), item(3)};
    EXPECT_EQ(-1, An_compareItem(&none, &low)) << "null data is smallest";
    EXPECT_EQ(1, An_compareItem(nullptr, &low));
    EXPECT_EQ(-1, An_compareItemList(&node, nullptr));
    EXPECT_EQ(0, An_compareItemList(nullptr, nullptr));
    EXPECT_EQ(1, An_compareItemList(&node, &extra));
}

}  // namespace
}  // namespace kelvo::test
