#include "libBase/zoUndo/history.h"

#include <algorithm>

using zoUndo::Command;
using zoUndo::Group;

namespace kelvo::zo_undo {

bool History::undo() {
    if (playing_) return false;
    const Range step = lastDoneStep();
    return step.filled > 0 && play(step, true);
}

bool History::redo() {
    if (playing_) return false;
    const Range step = partial_ ? lastDoneStep() : firstUndoneStep();
    return step.filled > 0 && play(step, false);
}

bool History::play(const Range& step, bool undoing) {
    playing_ = true;
    played_ = false;
    bool whole = false;
    try {
        manager_.creationDisable_.emitValue(true);
        whole = step.filled == 1 ? playGroup(*step.last, undoing) : playGroups(step, undoing);
    } catch (...) {
        settle(step);
        finishPlay();
        throw;
    }
    if (whole) {
        done_ = undoing ? step.begin : step.end;
        partial_ = false;
    } else {
        settle(step);
    }
    finishPlay();
    return whole;
}

bool History::playGroups(const Range& step, bool undoing) {
    const auto first = groups_.begin();
    Commands commands = inOrder(Groups(first + static_cast<std::ptrdiff_t>(step.begin),
                                       first + static_cast<std::ptrdiff_t>(step.end)));
    if (undoing) std::reverse(commands.begin(), commands.end());
    return std::all_of(commands.begin(), commands.end(),
                       [&](Command* c) { return playOne(*c, undoing); });
}

bool History::playGroup(Group& group, bool undoing) {
    Command* const first = group.commands_;
    if (!undoing) {
        for (Command* c = first; c; c = c->next_)
            if (!playOne(*c, undoing)) return false;
        return true;
    }
    for (Command* c = first->previous_;; c = c->previous_) {
        if (!playOne(*c, undoing)) return false;
        if (c == first) return true;
    }
}

// Commands that are where the playback leads are passed over: part of the step was played before.
bool History::playOne(Command& command, bool undoing) {
    const auto target = undoing ? Phase::kUndone : Phase::kDone;
    if (command.phase_ == target) return true;
    if (!(undoing ? command.undo() : command.redo())) return false;
    command.phase_ = target;
    state_ = undoing ? command.before_ : command.serial_;
    played_ = true;
    return true;
}

// Where the history stands after a playback that did not come to its end.
void History::settle(const Range& step) {
    bool anyDone = false, anyUndone = false;
    for (std::size_t i = step.begin; i < step.end; ++i)
        if (const Command* first = groups_[i]->commands_) {
            anyDone |= first->phase_ == Phase::kDone;
            anyUndone |= first->previous_->phase_ == Phase::kUndone;
        }
    done_ = anyDone ? step.end : step.begin;
    partial_ = anyDone && anyUndone;
}

void History::finishPlay() {
    playing_ = false;
    manager_.creationDisable_.emitValue(false);
    if (played_) changed();
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
