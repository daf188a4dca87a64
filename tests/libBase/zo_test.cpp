// What could break: an object deleted too early, twice or never; a copy that takes the count along;
// counts lost between threads.
#include "Base/zo.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace {

struct Base : zo::ReferenceCount {};

struct Item : Base {
    explicit Item(int* deleted) : deleted(deleted) {}
    ~Item() override { ++*deleted; }
    int* deleted;
};

TEST(ReferenceCount, LastHandleDeletesThroughTheBase) {
    int deleted = 0;
    {
        zo::Reference<Base> first(new Item(&deleted));
        EXPECT_EQ(1, first->referenceCount());
        zo::Reference<const Base> second = first;
        zo::Reference<Base> third(
            first.get());  // from the plain pointer, the count is in the object
        EXPECT_EQ(3, first->referenceCount());
        first = nullptr;
        third = std::move(third);
        EXPECT_EQ(2, second->referenceCount());
        EXPECT_EQ(0, deleted);
    }
    EXPECT_EQ(1, deleted);
}

TEST(ReferenceCount, CopiesAndAssignmentsKeepTheirOwnCount) {
    int deleted = 0;
    const zo::Reference<Item> original(new Item(&deleted));
    const zo::Reference<Item> other(original);
    const zo::Reference<Item> copy(new Item(*original));
    EXPECT_EQ(1, copy->referenceCount());
    *copy = *original;
    EXPECT_EQ(1, copy->referenceCount());
    EXPECT_EQ(2, original->referenceCount());
}

// Counted plainly before the first thread starts, atomically from then on.
TEST(ReferenceCount, HandlesMayBeCopiedByThreads) {
    int deleted = 0;
    {
        const zo::Reference<Item> shared(new Item(&deleted));
        std::vector<std::thread> threads;
        for (int t = 0; t < 3; ++t)
            threads.emplace_back([shared] {
                for (int i = 0; i < 200000; ++i) zo::Reference<Item> another(shared);
            });
        for (std::thread& t : threads) t.join();
        threads.clear();
        EXPECT_EQ(1, shared->referenceCount());
        EXPECT_EQ(0, deleted);
    }
    EXPECT_EQ(1, deleted);
}

}  // namespace
