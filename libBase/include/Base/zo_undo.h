// Undo history: commands that can be played back, groups of them, and the manager that plays.
//   1. A command is one recorded change. Commands are made with new; doIt() performs one and gives
//      it to its group, which deletes it.
//   2. A group is what the user undoes at once. A manager owns its groups, oldest first: those that
//      can be undone, then those that were undone and can be redone.
//   3. Commands are undone in the reverse of the order in which they were recorded, always. When
//      one was recorded into a group while a later group already held commands, the two belong
//      to one operation: they are undone, redone and dropped together, as one step. Empty groups are
//      no steps; playing passes over them.
//   4. Recording anything deletes what could have been redone.
//   5. What leaves the history while it is done (by a limit, deleteLastGroup, clear, the end of the
//      manager) can never be undone again: its commands get commit(), in the order of recording,
//      and are deleted. What leaves it while it is undone is deleted without.
//   6. When a command of a step answers false or throws, playback stops there. The commands played
//      before it keep their new state, it and the rest keep the old one. undo() then goes on with
//      what is left to undo of the step, the failing command first; redo() brings back the part
//      that was undone; and so the other way round. Nothing leaves the history.
//   7. Nothing is recorded while a manager plays: it emits its creation-disable signal with true
//      before the first command and with false after the last; newGroup answers null, doIt() only
//      performs, and undo, redo, deleteLastGroup and clear do nothing.
//   8. An exception of a listener changes nothing of this: all others are told, notifications that
//      belong together are all made, and what is to be deleted is. It leaves the call then; but no
//      destructor, and a command's comes first.
//   9. One thread. A manager must not be destroyed from inside its own playback or signals, nor its
//      groups and commands from inside a playback.
#pragma once

#include <cstdint>
#include <memory>

#include "Base/base_api.h"
#include "Base/zo_rtb.h"
#include "Base/zo_string.h"

namespace kelvo::zo_undo {
class History;
class SharedName;
enum class Phase : std::uint8_t;
}  // namespace kelvo::zo_undo

namespace zoUndo {

/// What a group is made from: two words that mean something to the application only. Holds an
/// integer or a pointer.
using Word = std::intptr_t;

class Group;

/// One recorded change.
class BASE_API Command {
  public:
    /// For `group`, which may be null: the command can then be performed but not undone. A null
    /// name is an empty one. The command is not recorded before doIt(); until then deleting it is
    /// up to the caller.
    Command(Group* group, const char* name);
    Command(const Command&) = delete;
    Command& operator=(const Command&) = delete;
    /// A recorded command belongs to its group; deleting it yourself takes it out of there.
    virtual ~Command();

    /// Makes the change (again). False, or an exception, says that it was not made.
    virtual bool redo() = 0;
    /// Takes the change back. False, or an exception, says that it was not taken back.
    virtual bool undo() = 0;
    /// Memory that the command holds, in bytes, itself included. Asked once, when it is recorded;
    /// below 0 counts as 0. Default: the size of the base class.
    virtual int getNumBytesUsed() const;
    /// The change is final: what is kept for undo() can be given up. Called at most once, right
    /// before the command is deleted. Exceptions are dropped. Default: nothing.
    virtual void commit();

    /// Calls redo(), then gives the command to its group. Without a group (none was given, it has
    /// been destroyed, or the manager is playing) the change is final: commit(), then the command
    /// is deleted. A redo() that fails deletes the command; its exception goes on to the caller.
    /// Either way the command is no longer the caller's. On a recorded command: redo() only.
    void doIt();

    /// The name; never null.
    const char* name() const noexcept;
    /// The group that the command was made for; null when there was none or it has gone.
    Group* group() const noexcept { return group_; }

  private:
    friend class Group;
    friend class kelvo::zo_undo::History;

    Group* group_;                      // borrowed
    Command* previous_ = nullptr;       // neighbours in the group's list of new or of recorded
    Command* next_ = nullptr;           // commands
    kelvo::zo_undo::SharedName* name_;  // counted; null: empty
    std::uint64_t serial_ = 0;          // of the recording; the state of the document after it
    std::uint64_t before_ = 0;          // the state before it
    std::int32_t bytes_ = 0;            // as counted in group and manager
    kelvo::zo_undo::Phase phase_{};     // new, done or undone
};

/// Commands that belong together. Groups come from Manager::newGroup; one made on its own owns its
/// commands the same way but nobody plays them.
class BASE_API Group {
  public:
    explicit Group(Word first = 0, Word second = 0);
    Group(const Group&) = delete;
    Group& operator=(const Group&) = delete;

    /// Number of recorded commands; 0 when the group holds none.
    virtual int numCommands() const;
    /// Marks the group as one that holds the initial state of an object, which is no edit.
    virtual void setStart(bool start);
    /// Notes that the commands of this group change `object`. Null, and again the same, do nothing.
    virtual void declare(const void* object);
    /// Deletes the commands. A group of a manager leaves the history first, by itself: as by
    /// deleteLastGroup, without commit() for its commands.
    virtual ~Group();

    /// Records a change that has been made already, and takes `command` over. Null and recorded
    /// commands do nothing. While the manager plays: commit(), then the command is deleted.
    void add(Command* command);

    Word firstWord() const noexcept { return first_; }
    Word secondWord() const noexcept { return second_; }
    /// What setStart last said; false at first.
    bool isStart() const noexcept { return start_; }
    /// Whether `object` was declared.
    bool isDeclared(const void* object) const noexcept;

    /// Name for menus; null or empty: that of the oldest command (as it is without this call).
    void setName(const char* name);
    /// The name; empty when there is neither one given nor a command.
    zoString::CString name() const;
    /// Sum of the commands' bytes.
    std::int64_t numBytesUsed() const noexcept { return bytes_; }

  private:
    friend class Command;
    friend class kelvo::zo_undo::History;
    struct Declared;

    void link(Command*& first, Command& command) noexcept;
    void unlink(Command& command) noexcept;

    Word first_, second_;
    kelvo::zo_undo::History* history_ = nullptr;  // borrowed; null: no manager
    kelvo::zo_undo::SharedName* name_ = nullptr;  // counted; null: none given
    Command* commands_ = nullptr;                 // owned: recorded, oldest first
    Command* fresh_ = nullptr;                    // borrowed: made for this group, not recorded
    std::int64_t bytes_ = 0;
    std::unique_ptr<Declared> declared_;  // null: nothing
    int count_ = 0;                       // recorded commands
    bool start_ = false;
    bool joined_ = false;  // one step with the group before it
};

/// The history of one document.
class BASE_API Manager {
  public:
    /// Makes a group as the newest one, recording nothing yet; what could be redone stays. Both
    /// words are kept for the application. Null while a playback runs.
    virtual Group* newGroup(Word first, Word second);
    /// A group by its age: 0 is the oldest, numGroups() - 1 the last that can be redone. -1 is the
    /// newest of those that can be undone. Null when there is none.
    virtual Group* getGroup(int index);
    /// Undoes the newest step. True when all of it was undone; false when there is none, or a
    /// command answered false (6. above). Exceptions of commands pass through, after the same.
    virtual bool undo();
    /// Redoes the oldest undone step. Results as of undo().
    virtual bool redo();
    /// Removes the newest group, getGroup(-1); its changes are final. Nothing without one.
    virtual void deleteLastGroup();
    /// Destroys all groups, as clear() does. An installed manager is no longer installed then.
    virtual ~Manager();

    Manager();
    Manager(const Manager&) = delete;
    Manager& operator=(const Manager&) = delete;

    // ---- Contents

    /// Number of groups, those that can be redone included.
    int numGroups() const noexcept;
    /// Number of groups that can be undone, wholly or in part; they come first.
    int numDoneGroups() const noexcept;
    /// Whether there is a step to undo. False while a playback runs.
    bool canUndo() const noexcept;
    /// Whether there is a step, or the rest of one, to redo. False while a playback runs.
    bool canRedo() const noexcept;
    /// Whether undo() or redo() is running.
    bool isPlaying() const noexcept;
    /// Sum of the commands' bytes in all groups.
    std::int64_t numBytesUsed() const noexcept;
    /// Destroys all groups: the whole history, and with it what could be redone.
    void clear();

    // ---- Menus

    /// Name of the step that undo() would undo: of its oldest group that has one. Empty when there
    /// is none.
    zoString::CString undoName() const;
    /// Name of the step that redo() would redo.
    zoString::CString redoName() const;
    /// "Undo Move Control Point"; "Undo" for a step without a name and when there is none.
    zoString::CString undoText() const;
    /// "Redo Move Control Point"; "Redo" likewise.
    zoString::CString redoText() const;

    // ---- Limits: the oldest steps go first; the newest always stays, whatever its size

    /// Most bytes of commands that the history keeps. 0 or less: no limit, as at first.
    void setByteLimit(std::int64_t bytes);
    std::int64_t byteLimit() const noexcept;
    /// Most groups with commands that the history keeps. 0 or less: no limit, as at first.
    void setGroupLimit(int groups);
    int groupLimit() const noexcept;

    // ---- The saved document

    /// The document is now as it was saved. A new manager is clean.
    void setClean();
    /// The document was changed past the history: it is modified until the next setClean().
    void setModified();
    /// Whether what is done is exactly what was done at setClean(). Undoing and redoing come back
    /// to it; dropping the oldest steps does not lose it.
    bool isClean() const noexcept;

    // ---- Signals

    /// Carries a bool: true when recording has to stop for a while, false when it may go on. Calls
    /// come in pairs.
    zoRTB::SignalBase& creationDisableSignal() noexcept;
    /// Carries a Group*: the group has left the history and is about to be deleted.
    zoRTB::SignalBase& groupDestroyedSignal() noexcept;
    /// Carries nothing: what a menu or a title shows may have changed. Once for each call that recorded,
    /// named, played, dropped, or moved the saved mark.
    zoRTB::SignalBase& changedSignal() noexcept;

  protected:
    /// For managers with their own kind of group: enters `group`, made with new and empty, as
    /// newGroup does, owns it and returns it. While a playback runs the group is deleted; null then,
    /// and for a group that has a manager already.
    Group* adoptGroup(Group* group);

  private:
    friend class kelvo::zo_undo::History;
    zoRTB::SignalBase creationDisable_;
    zoRTB::SignalBase groupDestroyed_;
    zoRTB::SignalBase changed_;
    std::unique_ptr<kelvo::zo_undo::History> history_;  // owned; never null
};

/// A new manager, owned by the caller; null when memory runs out.
BASE_API Manager* newManager();
/// The manager that the application works with; null when none is installed.
BASE_API Manager* getInstalledManager();
/// Makes `manager` the installed one; null: none. The one before is not deleted.
BASE_API void installManager(Manager* manager);

}  // namespace zoUndo
