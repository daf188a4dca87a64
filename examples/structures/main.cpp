// The parts of a small model as a structure: ordered by name, printed, filtered, compared.
#include <KelvoBase/aa_debug.h>
#include <KelvoBase/ds_lists.h>
#include <KelvoBase/vl_status.h>

#include <initializer_list>

namespace {

struct Part {
    const char* name;
    int patches;
};

// Comparators get slots, filters and printers get items.
int byName(void* new_slot, void* existing_slot) {
    void* a = const_cast<char*>((*static_cast<Part**>(new_slot))->name);
    void* b = const_cast<char*>((*static_cast<Part**>(existing_slot))->name);
    return Ds_string_comparator(&a, &b) > 0 ? 1 : -1;
}

int isLarge(void* item) {
    return static_cast<Part*>(item)->patches >= 4;
}

int printPart(void* item, int* /*status*/) {
    const Part* part = static_cast<Part*>(item);
    AA_indent();
    AA_debug_print("%-6s %2d patches\n", part->name, part->patches);
    return 1;
}

void show(const char* title, DS* parts) {
    AA_debug_print("%s: %d\n", title, Ds_enumerate(parts, &Vl_err_ignore));
    AA_set_indent(-1);  // one deeper
    parts->methods->walk(parts, reinterpret_cast<void*>(printPart), nullptr, -1, 0, &Vl_err_ignore);
    AA_set_indent(-2);
}

}  // namespace

int main() {
    Part all[] = {{"rim", 4}, {"lid", 8}, {"body", 8}, {"spout", 4}, {"handle", 4}, {"knob", 2}};
    AA_set_print_out(0, nullptr);  // debug text to standard output

    // The application says which kinds there are; 2 is a list.
    int status = 0;
    Ds_register_structure(2, Ds_dlist_get_methods(), &status);
    Vl_print_conditional(status, __FILE__, __LINE__, "no list kind\n");

    DS* parts = DS_create_type(2, &status);
    DS_set_comparator(parts, reinterpret_cast<void*>(byName), &status);
    for (Part& part : all) parts->methods->add(parts, &part, &status);
    show("parts by name", parts);

    DS* large = DS_duplicate(parts, 0, 0, &status);
    DS_set_filter(large, reinterpret_cast<void*>(isLarge), &status);
    show("large ones", large);

    DS* small = DS_difference(parts, large, &status);
    show("the others", small);

    // A part that is not there: the status says so, and a report names it.
    Part stranger = {"cup", 1};
    if (!parts->methods->contains_item(parts, &stranger, &status))
        Vl_print_error(status, "main.cpp", 1, "cup\n");

    for (DS** each : {&parts, &large, &small}) DS_destructor(each, nullptr, nullptr, &status);
}
