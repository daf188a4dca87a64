#include "KelvoBase/vl_undo.h"

#include <cstring>
#include <limits>
#include <new>

#include "Base/rpt.h"

namespace {

constexpr int kCapacity = 10;

// Where recording goes. Lives for the process; one thread.
struct UndoState {
    bool inUndo = false;
    bool inRedo = false;  // written by nothing
    // Borrowed; also above the depth, where the groups popped last are found when they are destroyed.
    zoUndo::Group* groups[kCapacity] = {};
    int depth = 0;  // may exceed the capacity: those entries are null
};
UndoState g_undo;

zoUndo::Group* entry(int index) {
    return index >= 0 && index < kCapacity ? g_undo.groups[index] : nullptr;
}

void push(zoUndo::Group* group) {
    if (g_undo.depth < kCapacity)
        g_undo.groups[g_undo.depth] = group;
    else if (g_undo.depth == std::numeric_limits<int>::max())
        return;
    ++g_undo.depth;
}

// Takes the top entry off and returns it; null from an empty stack.
zoUndo::Group* takeTop() {
    return g_undo.depth == 0 ? nullptr : entry(--g_undo.depth);
}

void forgetGroup(zoUndo::Group* group) {
    if (!group) return;
    for (zoUndo::Group*& held : g_undo.groups)
        if (held == group) held = nullptr;
}

const char* text(const char* given) {
    return given ? given : "(null)";
}

}  // namespace

extern "C" {

int VL_undo_is_active(void) {
    return g_undo.inUndo || g_undo.inRedo;
}
bool VL_undo_in_undo(void) {
    return g_undo.inUndo;
}
bool VL_undo_in_redo(void) {
    return g_undo.inRedo;
}
void VL_undo_set_in_undo(bool in_undo) {
    g_undo.inUndo = in_undo;
}
// Callers rely on the undo flag standing for both directions.
void VL_undo_set_in_redo(bool in_redo) {
    g_undo.inUndo = in_redo;
}

zoUndo::Group* VL_undo_new_group(zoUndo::Word first, zoUndo::Word second) {
    zoUndo::Manager* manager = zoUndo::getInstalledManager();
    return manager ? manager->newGroup(first, second) : nullptr;
}

void VL_undo_push_group(zoUndo::Group* group) {
    push(group);
}

zoUndo::Group* VL_undo_push_new_group(zoUndo::Word first, zoUndo::Word second) {
    zoUndo::Group* group = VL_undo_new_group(first, second);
    push(group);
    return group;
}

void VL_undo_pop_group(bool discard_if_empty) {
    zoUndo::Group* group = takeTop();
    if (!group) return;
    zoUndo::Manager* manager = zoUndo::getInstalledManager();
    if (!manager) return;
    if (manager->getGroup(-1) == group && discard_if_empty && group->numCommands() == 0)
        manager->deleteLastGroup();
}

zoUndo::Group* VL_undo_get_group(void) {
    return entry(g_undo.depth - 1);
}

int VL_undo_get_num_groups(void) {
    return g_undo.depth;
}

void VL_undo_creation_disable(bool disable) {
    if (disable) {
        push(nullptr);
        return;
    }
    if (!takeTop()) return;
    // Managers may rely on being asked here, as they are by every pop.
    if (zoUndo::Manager* manager = zoUndo::getInstalledManager()) manager->getGroup(-1);
}

void VL_undo_call_supported(const char* name) {
    if (!VL_undo_get_group()) zoUndoReport("UNSAFE call %s\n", text(name));
}

void VL_undo_call_unsupported(const char* name, bool report, const char* file, int line) {
    if (!report) return;
    const char* separator = file ? std::strrchr(file, '\\') : nullptr;
    zoUndoReport("UNSUPPORTED %s from %s line %d\n", text(name),
                 text(separator ? separator + 1 : file), line);
}

}  // extern "C"

namespace zoKelvoBase {

zoUndo::Group* undoGetGroup() {
    return VL_undo_get_group();
}

void undoInit() {
    zoUndo::getInstalledManager();
    zoUndo::Manager* manager = zoUndo::newManager();
    zoUndo::installManager(manager);
    if (!manager) return;
    manager->creationDisableSignal().addCallback(
        new (std::nothrow) zoRTB::FunctionArgGlobal<bool>(VL_undo_creation_disable));
    manager->groupDestroyedSignal().addCallback(
        new (std::nothrow) zoRTB::FunctionArgGlobal<zoUndo::Group*>(forgetGroup));
}

}  // namespace zoKelvoBase
