// What could break: an object deleted too early, twice or never; a copy that takes the count along.
#include "Base/zo.h"

#include <gtest/gtest.h>

#include <string>
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

TEST(ReferenceCount, ThreadsShareOneObject) {
    int deleted = 0;
    zo::Reference<Item> item(new Item(&deleted));
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([item] {
            for (int i = 0; i < 20000; ++i) zo::Reference<Item> mine(item);
        });
    for (std::thread& thread : threads) thread.join();
    threads.clear();
    EXPECT_EQ(1, item->referenceCount());
    item = nullptr;
    EXPECT_EQ(1, deleted);
}

TEST(Map, IsOrderedByKey) {
    zo::Map<std::string, int> map;
    for (const char* key : {"b", "c", "a"}) map[key] = key[0];
    std::string keys;
    for (const auto& [key, value] : map) keys += key;
    EXPECT_EQ("abc", keys);
}

}  // namespace
