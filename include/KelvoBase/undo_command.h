// Commands for the undo history. Two ways to make an operation undoable:
//   - derive from UndoCommand when undo and redo are known as code;
//   - derive the edited object from StatefulUndoCmd when undo means putting an earlier state back:
//     it supplies a snapshot and puts one back, and every change stands between startChange() and
//     endChange().
// Commands go into the current group (vl_undo.h). Without one nothing is recorded, no snapshot is
// taken, and nobody is told. Main thread only.
#pragma once

#include "Base/zo.h"
#include "Base/zo_rtb.h"
#include "Base/zo_string.h"
#include "Base/zo_undo.h"
#include "KelvoBase/kelvo_api.h"
#include "KelvoBase/redraw.h"

namespace zoKelvoBase {

/// A command that knows how to undo and redo itself. `redo` and `undo` are left to the derived
/// class; `new Move(undoGetGroup(), ...)->doIt()` performs and records it.
class KELVO_API UndoCommand : public zoUndo::Command {
  public:
    /// As zoUndo::Command; `group` may be null.
    UndoCommand(zoUndo::Group* group, const char* name);
    ~UndoCommand() override;

    /// Tells the group that this command changes `object`. Nothing when either is null, or the
    /// group has gone.
    void declare(const void* object);
    /// Requests a redraw of these planes; other values do nothing.
    void redrawPlanes(KelvoRedraw which);
    /// Requests a redraw of everything.
    void setRedrawPending();

  private:
    zoUndo::Group* group_;  // borrowed
};

/// A snapshot of an object. Copying one copies what derived classes add, never the count of owners.
class KELVO_API StatefulUndoState : public zo::ReferenceCount {
  public:
    StatefulUndoState();
    StatefulUndoState(const StatefulUndoState& other);
    StatefulUndoState& operator=(const StatefulUndoState& other);
    ~StatefulUndoState() override;

    /// Memory that the snapshot takes, in bytes.
    virtual int sizeInBytes() const = 0;
};

#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
#endif

/// Base of objects that are undone by snapshots. Objects are destroyed as what they are, never
/// through this base; their recorded commands then do nothing any more. History belongs to the
/// object and not to its value: a copy takes the name along and nothing else, and assignment, which
/// may be the change itself, leaves this base alone.
class KELVO_API StatefulUndoCmd {
  public:
    /// `name` is given to every recorded command; null is empty.
    explicit StatefulUndoCmd(const char* name);
    StatefulUndoCmd(const StatefulUndoCmd& other);
    StatefulUndoCmd& operator=(const StatefulUndoCmd& other);
    ~StatefulUndoCmd();

    /// A snapshot of the current state. A null one is kept and handed back like any other.
    virtual zo::Reference<StatefulUndoState> captureState() = 0;
    /// Makes the object match `state`, one of its own snapshots. An exception stops a playback.
    virtual void applyState(zo::Reference<StatefulUndoState> state) = 0;

    /// Records the state at which the history of this object begins, and marks the current group as
    /// one that holds initial states.
    void initialize();
    /// Before a change: records the state to which undo returns.
    void startChange();
    /// After a change: records the state to which redo returns. Recording it applies it, so that
    /// applyState() and the changed signal run once here, as they will on redo.
    void endChange();

    /// Whether initialize() has been called.
    bool isInitialized() const noexcept { return initialized_; }
    /// Whether a change is open: between startChange() and endChange().
    bool isChanging() const noexcept { return changing_; }

    /// Emitted without a value after a state has been applied.
    zoRTB::SignalBase& changedSignal() noexcept { return changed_; }

  private:
    void record(bool isStart);

    zoRTB::SignalBase connections_;  // owner of the connections from recorded commands to this
    zoRTB::SignalBase changed_;
    zoString::CString name_;
    bool initialized_ = false;
    bool changing_ = false;
};

#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

}  // namespace zoKelvoBase
