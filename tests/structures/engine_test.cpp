// Handles without a kind, and null handles: nothing crashes, everything says so.
#include <cstdlib>
#include <utility>

#include "Base/ma.h"
#include "tests/structures/list_support.h"
#include "tests/support/report_capture.h"

namespace kelvo::test {
namespace {

TEST(Engine, UnknownKindsFailHarmlessly) {
    int status = -1;
    DS* bare = DS_create_type(1234, &status);
    ASSERT_NE(nullptr, bare);
    EXPECT_EQ(nullptr, bare->methods);
    EXPECT_EQ(nullptr, bare->data);
    EXPECT_EQ(1, bare->ordered);
    EXPECT_EQ(Ds_fifo_comparator, bare->comparator);
    EXPECT_EQ(nullptr, bare->filter);
    DS* null = nullptr;
    const auto fails = [&status](int expected, int result) {
        EXPECT_EQ(expected, result);
        EXPECT_EQ(1, std::exchange(status, -1));
    };
    fails(-1, Ds_enumerate(bare, &status));
    fails(-1, Ds_enumerate(nullptr, &status));
    fails(0, DS_destructor(&bare, nullptr, nullptr, &status));
    fails(0, DS_destructor(&null, nullptr, nullptr, &status));
    fails(0, DS_destructor(nullptr, nullptr, nullptr, &status));
    ASSERT_NE(nullptr, bare);
    EXPECT_EQ(1, DS_empty_list(bare, nullptr, nullptr, &status));
    EXPECT_EQ(0, status);
    EXPECT_EQ(1, DS_empty_list(nullptr, nullptr, nullptr, &status));
    EXPECT_EQ(nullptr, DS_duplicate(bare, 0, 0, &status));
    EXPECT_EQ(1, status);
    EXPECT_EQ(nullptr, DS_merge(bare, nullptr, &status));
    EXPECT_EQ(1, status);
    EXPECT_EQ(1, DS_remove_nulls(bare, &status));
    EXPECT_EQ(0, status);
    {
        const ReportCapture capture;
        EXPECT_EQ(1, DS_print_structure(bare, nullptr, 0, &status));
        EXPECT_EQ(9u, capture.reports().size()) << capture.text();
    }
    const ReportCapture capture;
    EXPECT_EQ(1, DS_print(nullptr, nullptr, 0, &status));
    EXPECT_EQ("Null structure\n", capture.text());
    EXPECT_EQ(0, status);
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
