#include "libBase/zoUndo/history.h"

#include <algorithm>

using zoUndo::Command;
using zoUndo::Group;

namespace kelvo::zo_undo {

// Ends a playback that has changed something.
inline void History::announce() {
    playing_ = false;
    try {
        manager_.creationDisable_.emitValue(false);
    } catch (...) {
        dropping([&] { changed(); });
        throw;
    }
    changed();
}

// Most steps are one group, all of it done or all of it undone. What such a step takes beside its
// commands is what every undo and redo of an application waits for.

bool History::undo() {
    if (playing_) return false;
    if (!partial_ && done_ > 0) {
        Group& newest = *groups_[done_ - 1];
        if (newest.count_ > 0 && !newest.joined_) return playGroup<true>(newest);
    }
    return playStep(true);
}

bool History::redo() {
    if (playing_) return false;
    if (!partial_ && done_ < groups_.size()) {
        Group& oldest = *groups_[done_];
        const bool alone = done_ + 1 == groups_.size() || !groups_[done_ + 1]->joined_;
        if (oldest.count_ > 0 && alone) return playGroup<false>(oldest);
    }
    return playStep(false);
}

template <bool undoing>
inline bool History::playGroup(Group& group) {
    playing_ = true;
    bool whole = false;
    try {
        manager_.creationDisable_.emitValue(true);
        whole = playCommands<undoing>(*group.commands_);
    } catch (...) {
        dropping([&] { stop(undoing); });
        throw;
    }
    if (!whole) return stop(undoing);
    undoing ? --done_ : ++done_;
    announce();
    return true;
}

template <bool undoing>
inline bool History::playCommands(Command& first) {
    for (Command* c = undoing ? first.previous_ : &first;;) {
        if (!playOne(*c, undoing)) return false;
        if (undoing ? c == &first : !c->next_) return true;
        c = undoing ? c->previous_ : c->next_;
    }
}

inline bool History::playOne(Command& command, bool undoing) {
    if (!(undoing ? command.undo() : command.redo())) return false;
    command.phase_ = undoing ? Phase::kUndone : Phase::kDone;
    state_ = undoing ? command.before_ : command.serial_;
    return true;
}

// Ends a playback of a whole group that has not come to its end. False.
bool History::stop(bool undoing) {
    const Command& first = *groups_[undoing ? done_ - 1 : done_]->commands_;
    const bool played =
        undoing ? first.previous_->phase_ == Phase::kUndone : first.phase_ == Phase::kDone;
    settle(stepTowards(undoing));
    finish(played);
    return false;
}

void History::finish(bool played) {
    if (played) return announce();
    playing_ = false;
    manager_.creationDisable_.emitValue(false);
}

// Steps of several groups, with empty groups around them, or played in part before.
bool History::playStep(bool undoing) {
    const Range step = stepTowards(undoing);
    if (step.filled == 0) return false;
    playing_ = true;
    int played = 0;
    bool whole = false;
    try {
        manager_.creationDisable_.emitValue(true);
        whole = playGroups(step, undoing, played);
    } catch (...) {
        settle(step);
        dropping([&] { finish(played > 0); });
        throw;
    }
    if (whole) {
        done_ = undoing ? step.begin : step.end;
        partial_ = false;
    } else {
        settle(step);
    }
    finish(played > 0);
    return whole;
}

bool History::playGroups(Range step, bool undoing, int& played) {
    Commands commands = inOrder(Groups(groups_.at(step.begin), groups_.at(step.end)));
    if (undoing) std::reverse(commands.begin(), commands.end());
    const auto there = undoing ? Phase::kUndone : Phase::kDone;
    for (Command* c : commands) {
        if (c->phase_ == there) continue;
        if (!playOne(*c, undoing)) return false;
        ++played;
    }
    return true;
}

// Where the history stands after a playback that did not come to its end.
void History::settle(Range step) {
    bool anyDone = false, anyUndone = false;
    for (std::size_t i = step.begin; i < step.end; ++i)
        if (const Command* first = groups_[i]->commands_) {
            anyDone |= first->phase_ == Phase::kDone;
            anyUndone |= first->previous_->phase_ == Phase::kUndone;
        }
    done_ = anyDone ? step.end : step.begin;
    partial_ = anyDone && anyUndone;
}

zoString::CString History::undoName() const {
    return canUndo() ? stepName(lastDoneStep()) : zoString::CString();
}

zoString::CString History::redoName() const {
    return canRedo() ? stepName(partial_ ? lastDoneStep() : firstUndoneStep())
                     : zoString::CString();
}

zoString::CString History::stepName(Range step) const {
    zoString::CString name;
    for (std::size_t i = step.begin; i < step.end && name.isEmpty(); ++i)
        if (groups_[i]->count_ > 0) name = groups_[i]->name();
    return name;
}

}  // namespace kelvo::zo_undo
