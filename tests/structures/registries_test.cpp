// Registries of kinds, comparators and filters: they are process-wide and cannot be emptied, so
// every case runs in a child of its own. What could break is the order of first uses.
#include "Base/ma.h"
#include "KelvoBase/vl_register.h"
#include "KelvoBase/vl_status.h"
#include "tests/structures/list_support.h"
#include "tests/support/child_process.h"

namespace kelvo::test {
namespace {

TEST(Registries, KindsAreCheckedAndKept) {
    EXPECT_TRUE(passesInChild([] {
        Status status;
        Vl_err_ignore = 77;
        EXPECT_EQ(nullptr, Ds_get_object_table());
        DS* early = DS_create_type(0, status);
        EXPECT_EQ(1, status.code());
        EXPECT_EQ(nullptr, early->methods);

        status.expect(0, 1, Ds_register_structure(0, nullptr, status));
        for (std::size_t slot = 0; slot < 20; ++slot) {
            DsMethods broken = *Ds_dlist_get_methods();
            reinterpret_cast<void**>(&broken)[slot] = nullptr;
            if (slot == 8 || slot == 18) continue;
            EXPECT_EQ(0, Ds_register_structure(0, &broken, status)) << slot;
            EXPECT_EQ(5, status.code()) << slot;
        }
        EXPECT_EQ(nullptr, Ds_get_object_table());
        EXPECT_EQ(77, Vl_err_ignore);

        static DsMethods noIntersect = *Ds_slist_get_methods();
        noIntersect.intersect = nullptr;
        status.expect(1, 0, Ds_register_structure(5, &noIntersect, status));
        EXPECT_EQ(0, Vl_err_ignore);
        DS* table = Ds_get_object_table();
        EXPECT_EQ(&noIntersect, table->methods);
        EXPECT_EQ(Ds_default_comparator, table->comparator);
        EXPECT_EQ(1, table->ordered);

        status.expect(0, 4, Ds_register_structure(5, Ds_dlist_get_methods(), status));
        status.expect(0, 4, Ds_register_structure(-1, Ds_dlist_get_methods(), status));
        EXPECT_EQ(&noIntersect, VL_get_id_registration(5, table, status));
        status.expect(nullptr, 0, VL_get_id_registration(6, table, status));

        Owned known(DS_create_type(5, status));
        EXPECT_EQ(&noIntersect, known->methods);
        EXPECT_EQ(5, known->methods->get_type(known.get(), status));
        status.expect(nullptr, 4, DS_intersect(known.get(), known.get(), status));
        DS handMade = {1, nullptr, nullptr, nullptr, Ds_dlist_get_methods()};
        EXPECT_EQ(-1, handMade.methods->get_type(&handMade, status));
        DS* unknown = DS_create_type(6, status);
        EXPECT_EQ(0, status.code());
        EXPECT_EQ(nullptr, unknown->methods);
        for (DS** each : {&early, &unknown}) DS_memory_free(reinterpret_cast<void**>(each));
        EXPECT_EQ(nullptr, unknown);
    }));
}

// Both function registries by one table.
struct FunctionRegistry {
    const char* name;
    int (*add)(int, void*, int*);
    void* (*function)(int, int*);
    int (*index)(void*, int*);
    void* (*set)(DS*, void*, int*);
    void* a;
    void* b;
    int statusOfUnknown;  // before and after the first registration
    int statusOfUnknownInRegistry;
};
const FunctionRegistry kRegistries[] = {
    {"comparators", DS_register_comparator, DS_get_comparator_function, DS_get_comparator_index,
     DS_set_comparator, pointer(Ds_fifo_comparator), pointer(Ds_string_comparator), 12, 12},
    {"filters", DS_register_filter, DS_get_filter_function, DS_get_filter_index, DS_set_filter,
     pointer(isEven), pointer(isSmall), 1, 0},
};

void registerFunctions(const FunctionRegistry& r) {
    SCOPED_TRACE(r.name);
    Status status;
    DS list = handMade(kKinds[1]);
    status.expect(nullptr, r.statusOfUnknown, r.function(1, status));
    status.expect(-1, 1, r.index(r.a, status));
    r.set(&list, r.a, status);
    EXPECT_EQ(r.a, r.set(&list, nullptr, status));  // anything goes as yet
    EXPECT_EQ(0, status.code());
    EXPECT_EQ(nullptr, r.set(&list, r.b, status));

    status.expect(1, 0, r.add(3, r.a, status));
    status.expect(0, 4, r.add(3, r.b, status));
    status.expect(0, 4, r.add(-1, r.b, status));
    status.expect(r.a, 0, r.function(3, status));
    EXPECT_EQ(3, r.index(r.a, status));
    status.expect(nullptr, r.statusOfUnknownInRegistry, r.function(4, status));
    status.expect(-1, 0, r.index(r.b, status));

    for (void* refused : {r.b, static_cast<void*>(nullptr)}) {
        list.ordered = 1;
        status.expect(r.b, 12, r.set(&list, refused, status));
        EXPECT_EQ(r.set != DS_set_filter, list.ordered);
    }
    status.expect(r.b, 0, r.set(&list, r.a, status));
    EXPECT_EQ(1, r.add(9, nullptr, status));
    EXPECT_EQ(r.a, r.set(&list, nullptr, status));  // null is known now
    EXPECT_EQ(0, status.code());
    status.expect(nullptr, 1, r.set(nullptr, r.a, status));
}

TEST(Registries, FunctionsAreTakenFromTheirRegistry) {
    for (const FunctionRegistry& registry : kRegistries)
        EXPECT_TRUE(passesInChild([&] {
            Status status;
            Ds_register_structure(2, Ds_slist_get_methods(), status);
            registerFunctions(registry);
        }));
}

// A registry made before kind 2 is known swallows everything, for good.
TEST(Registries, FunctionsAreLostWithoutKindTwo) {
    for (const FunctionRegistry& registry : kRegistries)
        EXPECT_TRUE(passesInChild([&] {
            Status status;
            status.expect(1, 0, registry.add(1, registry.a, status));
            Ds_register_structure(2, Ds_slist_get_methods(), status);
            EXPECT_EQ(1, registry.add(1, registry.a, status));
            EXPECT_EQ(nullptr, registry.function(1, status));
            EXPECT_EQ(-1, registry.index(registry.a, status));
            DS list = handMade(kKinds[0]);
            registry.set(&list, registry.a, status);
            EXPECT_EQ(12, status.code());
        }));
}

TEST(Registries, OwnRegistriesOfCallers) {
    const long before = MA_liveBlocks();
    List list(kKinds[0]);
    DS* registry = &list;
    DS* none = nullptr;
    Status status;
    int a = 0, b = 0;
    status.expect(0, 1, VL_register_item(1, &a, nullptr, status));
    status.expect(0, 1, VL_register_item(1, &a, &none, status));
    status.expect(1, 0, VL_register_item(0, &a, &registry, status));
    EXPECT_EQ(1, VL_register_item(1, nullptr, &registry, status));
    EXPECT_EQ(0, VL_register_item(1, &b, &registry, status));  // null is an item, too
    EXPECT_EQ(4, status.code());
    EXPECT_EQ(1, VL_register_item(2, &a, &registry, nullptr));
    EXPECT_EQ(&a, VL_get_id_registration(0, registry, status));
    EXPECT_EQ(0, VL_get_items_registration_id(&a, registry, status));
    EXPECT_EQ(1, VL_get_items_registration_id(nullptr, registry, status));
    status.expect(-1, 0, VL_get_items_registration_id(&b, registry, status));
    status.expect(nullptr, 1, VL_get_id_registration(0, nullptr, status));
    status.expect(-1, 1, VL_get_items_registration_id(&a, nullptr, status));
    list.filter = isNothing;
    status.expect(0, 16, VL_register_item(7, &b, &registry, status));
    EXPECT_EQ(1, VL_register_item(7, &b, &registry, nullptr));  // lost, and yet
    list.filter = nullptr;
    EXPECT_EQ(-1, VL_get_items_registration_id(&b, registry, status));
    EXPECT_EQ(1, DS_empty_list(registry, pointer(DS_memory_free), nullptr, status));
    EXPECT_EQ(before, MA_liveBlocks());
}

TEST(Comparators, AnswerAsDocumented) {
    void *low = item(1), *wide = item(0x1'0000'0000), *none = nullptr;
    void *abc = const_cast<char*>("abc"), *abd = const_cast<char*>("abd");
    EXPECT_EQ(-1, Ds_default_comparator(&low, &wide)) << "all bits count";
    EXPECT_EQ(1, Ds_default_comparator(&wide, &low));
    EXPECT_EQ(0, Ds_default_comparator(&low, &low));
    EXPECT_EQ(0, Ds_default_comparator(nullptr, &low));
    EXPECT_EQ(1, Ds_fifo_comparator(nullptr, nullptr));
    EXPECT_EQ(-1, Ds_filo_comparator(nullptr, nullptr));
    EXPECT_GT(0, Ds_string_comparator(&abc, &abd));
    EXPECT_EQ(0, Ds_string_comparator(&none, &abc));
    EXPECT_EQ(0, Ds_string_comparator(&abc, nullptr));
}

}  // namespace
}  // namespace kelvo::test
