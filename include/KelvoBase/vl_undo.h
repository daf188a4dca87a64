// Undo groups: which group of the undo history (Base/zo_undo.h) receives what is recorded now.
//   1. The groups form a stack of at most 10; commands go into the one on top. An undoable operation
//      pushes a new group, records, and pops: VL_undo_push_new_group(a, b); ... VL_undo_pop_group(true);
//   2. A null entry on top stands for "nothing is recorded": recording was disabled, no manager is
//      installed, or the group has been destroyed meanwhile.
//   3. Groups belong to the manager, never to the stack. Pushes and pops must balance; entries beyond
//      the tenth are counted but read as null, and a pop of an empty stack does nothing.
//   4. Misuse is reported through zoUndoReport and never stops the caller. Main thread only.
#pragma once

#include "Base/zo_undo.h"
#include "KelvoBase/kelvo_api.h"

extern "C" {

// ---- Playback flags, set by the application around undo and redo

/// 1 while the undo or the redo flag is set, else 0.
KELVO_API int VL_undo_is_active(void);
/// The undo flag.
KELVO_API bool VL_undo_in_undo(void);
/// The redo flag. Nothing sets it: see VL_undo_set_in_redo.
KELVO_API bool VL_undo_in_redo(void);
/// Sets the undo flag.
KELVO_API void VL_undo_set_in_undo(bool in_undo);
/// Sets the undo flag too. Callers rely on VL_undo_in_undo() answering for both directions.
KELVO_API void VL_undo_set_in_redo(bool in_redo);

// ---- The stack

/// A new group of the installed manager, made from two words that are passed on unchanged. The
/// manager owns it; it is not pushed. Null without a manager and while it plays back.
KELVO_API zoUndo::Group* VL_undo_new_group(zoUndo::Word first, zoUndo::Word second);
/// Makes `group` the current one; null stops recording.
KELVO_API void VL_undo_push_group(zoUndo::Group* group);
/// VL_undo_new_group, pushed. Pop it even when the result is null.
KELVO_API zoUndo::Group* VL_undo_push_new_group(zoUndo::Word first, zoUndo::Word second);
/// Takes the top entry off. With `discard_if_empty`, a group that is still the manager's newest and
/// holds no command leaves the history with it, so that no empty step stays.
KELVO_API void VL_undo_pop_group(bool discard_if_empty);
/// The top entry; null when the stack is empty.
KELVO_API zoUndo::Group* VL_undo_get_group(void);
/// Number of entries, null ones included.
KELVO_API int VL_undo_get_num_groups(void);
/// True pushes a null entry, so that nothing is recorded; false takes the top entry off. Balance
/// the two like push and pop.
KELVO_API void VL_undo_creation_disable(bool disable);

// ---- Guards

/// For a call whose effect has to be recorded: reports "UNSAFE call NAME" when there is no current
/// group.
KELVO_API void VL_undo_call_supported(const char* name);
/// For a call that cannot be undone: reports "UNSUPPORTED NAME from FILE line LINE" if `report`
/// says so. Of `file` only what follows the last backslash is shown; slashes do not count.
KELVO_API void VL_undo_call_unsupported(const char* name, bool report, const char* file, int line);

}  // extern "C"

namespace zoKelvoBase {

/// The current group; null when the stack is empty or its top entry is null.
KELVO_API zoUndo::Group* undoGetGroup();

/// Start-up: makes an undo manager, installs it, and connects it to the stack, so that its playback
/// disables recording and a group that it destroys reads as null here. The manager installed before
/// is replaced, not deleted. The caller owns the new one through zoUndo::getInstalledManager().
KELVO_API void undoInit();

}  // namespace zoKelvoBase
