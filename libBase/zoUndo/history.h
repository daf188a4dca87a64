// What a manager keeps, and how it is played.
#pragma once

#include <boost/container/small_vector.hpp>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <vector>

#include "Base/zo_undo.h"

namespace kelvo::zo_undo {

/// Where a command is: not recorded, or recorded and in force, or recorded and undone.
enum class Phase : std::uint8_t { kNew, kDone, kUndone };

/// commit() for a command that nobody can undo, then its end.
void commitAndDelete(zoUndo::Command* command) noexcept;

/// Calls `step` and drops what it throws: where nothing can be passed on, or something is on its way.
template <class Step>
void dropping(Step step) noexcept {
    try {
        step();
    } catch (...) {
    }
}

/// Groups in a row. Taking them off at the front is as cheap as at the back.
class Row {
  public:
    using Iterator = std::vector<zoUndo::Group*>::iterator;

    bool empty() const { return size() == 0; }
    std::size_t size() const { return slots_.size() - front_; }
    zoUndo::Group* operator[](std::size_t index) const { return slots_[front_ + index]; }
    Iterator at(std::size_t index) {
        return slots_.begin() + static_cast<std::ptrdiff_t>(front_ + index);
    }
    Iterator begin() { return at(0); }
    Iterator end() { return slots_.end(); }
    void insert(std::size_t index, zoUndo::Group* group) { slots_.insert(at(index), group); }
    void erase(std::size_t begin, std::size_t end) {
        if (begin > 0)
            slots_.erase(at(begin), at(end));
        else if (front_ += end; front_ > slots_.size() / 2)
            slots_.erase(slots_.begin(), at(0)), front_ = 0;
    }

  private:
    std::vector<zoUndo::Group*> slots_;
    std::size_t front_ = 0;  // slots before it are no longer used: at most half of them
};

/// Groups in the order of their age. The done side, groups_[0, done_), can be undone; the rest can
/// be redone, groups_[done_] first. Invariants:
///   - a step is a run of groups of which all but the first are `joined_`, with the empty groups
///     that come after it when it is undone and before it when it is redone; no step crosses done_;
///   - the commands of all done steps have ascending serials from step to step;
///   - all commands of the done side are done, except that the last step may have an undone rest
///     (partial_); in each of its groups the done commands come first;
///   - all commands beyond done_ are undone.
class History {
  public:
    // Most steps are one group with a few commands.
    using Groups = boost::container::small_vector<zoUndo::Group*, 4>;
    using Commands = boost::container::small_vector<zoUndo::Command*, 16>;

    // A run of groups: [begin, end) of groups_.
    struct Range {
        std::size_t begin, end;
        int filled = 0;                 // how many of them hold commands: known for steps only
        zoUndo::Group* last = nullptr;  // one of those
    };

    explicit History(zoUndo::Manager& manager) : manager_(manager) {}
    ~History();
    History(const History&) = delete;
    History& operator=(const History&) = delete;

    // Groups
    zoUndo::Group* insert(zoUndo::Group* group);
    zoUndo::Group* group(int index) const;
    int numGroups() const { return static_cast<int>(groups_.size()); }
    int numDone() const { return static_cast<int>(done_); }
    void deleteLast();
    void clear();
    /// The group is being deleted by somebody else.
    void forget(zoUndo::Group& group);

    // Recording
    /// `command` has just become the last one of `group`. Either may be gone when this returns.
    void recorded(zoUndo::Group& group, zoUndo::Command& command);
    /// `command` has just been taken out of a group.
    void removed(const zoUndo::Group& group, const zoUndo::Command& command);

    // Playing
    bool isPlaying() const { return playing_; }
    bool canUndo() const { return !playing_ && lastDoneStep().filled > 0; }
    bool canRedo() const { return !playing_ && (partial_ || anyFilled({done_, groups_.size()})); }
    bool undo();
    bool redo();
    zoString::CString undoName() const;
    zoString::CString redoName() const;

    // Limits
    void setLimits(std::int64_t bytes, int groups);
    std::int64_t byteLimit() const { return byteLimit_; }
    int groupLimit() const { return groupLimit_; }
    std::int64_t bytes() const { return bytes_; }

    // The saved document
    void setClean();
    void setModified();
    bool isClean() const { return state_ == clean_; }

    void changed() { manager_.changed_.emit(); }

  private:
    // What has left the history and waits for its end. Signals and destructors run other people's
    // code, so they come last, when the history is in order again.
    struct Dropped {
        Groups final, undone;
        std::vector<std::unique_ptr<zoUndo::Command>> commands;  // undone ones
    };

    Range lastDoneStep() const;
    Range firstUndoneStep() const;
    Range stepTowards(bool undoing) const {
        return undoing || partial_ ? lastDoneStep() : firstUndoneStep();
    }
    bool anyFilled(Range range) const;
    zoString::CString stepName(Range step) const;
    bool hasRest(Range step) const;
    /// All commands of the groups in the order of recording.
    static Commands inOrder(const Groups& groups);

    template <bool undoing>
    bool playGroup(zoUndo::Group& group);
    template <bool undoing>
    bool playCommands(zoUndo::Command& first);
    bool playOne(zoUndo::Command& command, bool undoing);
    [[gnu::cold]] bool stop(bool undoing);
    [[gnu::noinline]] bool playStep(bool undoing);
    bool playGroups(Range step, bool undoing, int& played);
    void settle(Range step);
    [[gnu::noinline]] void finish(bool played);
    void announce();

    void enter(zoUndo::Group& group, zoUndo::Command& command);
    void takeUndone(zoUndo::Group& recording, Dropped& dropped);
    static void takeUndoneCommands(zoUndo::Group& group, Dropped& dropped);
    void joinLaterGroups(zoUndo::Group& group);
    bool beyondLimits() const;
    void takeBeyondLimits(Dropped& dropped);
    void take(Range range, Groups& taken);
    void end(Dropped& dropped);
    void loseMark();

    // A state that no command leads to.
    static constexpr std::uint64_t kNever = std::numeric_limits<std::uint64_t>::max();

    zoUndo::Manager& manager_;
    Row groups_;  // owned
    std::size_t done_ = 0;
    bool partial_ = false;  // the last done step has an undone rest
    bool playing_ = false;
    std::int64_t bytes_ = 0;
    int filled_ = 0;  // groups that hold commands
    std::int64_t byteLimit_ = 0;
    int groupLimit_ = 0;
    // States of the document are named by the serial of the command that led to them.
    std::uint64_t serial_ = 0;  // given last
    std::uint64_t state_ = 0;   // now; 0: before anything was recorded
    std::uint64_t clean_ = 0;   // as saved; kNever: cannot be reached
};

}  // namespace kelvo::zo_undo
