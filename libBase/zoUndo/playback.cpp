#include "libBase/zoUndo/history.h"

#include <algorithm>

using zoUndo::Command;
using zoUndo::Group;

namespace kelvo::zo_undo {

bool History::undo() {
    return canUndo() && play(lastDoneStep(), true);
}

bool History::redo() {
    return canRedo() && play(partial_ ? lastDoneStep() : firstUndoneStep(), false);
}

bool History::play(Range step, bool undoing) {
    playing_ = true;
    played_ = false;
    bool whole = false;
    try {
        manager_.creationDisable_.emitValue(true);
        whole = playCommands(step, undoing);
    } catch (...) {
        finishPlay(step, undoing);
        throw;
    }
    finishPlay(step, undoing);
    return whole;
}

bool History::playCommands(Range step, bool undoing) {
    if (step.end - step.begin > 1) {
        const auto first = groups_.begin();
        std::vector<Command*> commands =
            inOrder(Groups(first + static_cast<std::ptrdiff_t>(step.begin),
                           first + static_cast<std::ptrdiff_t>(step.end)));
        if (undoing) std::reverse(commands.begin(), commands.end());
        return std::all_of(commands.begin(), commands.end(),
                           [&](Command* c) { return playOne(*c, undoing); });
    }
    Command* const first = groups_[step.begin]->commands_;
    if (!first) return true;
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

void History::finishPlay(Range step, bool undoing) {
    bool anyDone = false, anyUndone = false;
    for (std::size_t i = step.begin; i < step.end; ++i)
        if (const Command* first = groups_[i]->commands_) {
            anyDone |= first->phase_ == Phase::kDone;
            anyUndone |= first->previous_->phase_ == Phase::kUndone;
        }
    // An empty step has nothing that could stop it.
    const bool onDoneSide = anyDone || (!anyUndone && !undoing);
    const bool moved = onDoneSide ? done_ < step.end : done_ > step.begin;
    done_ = onDoneSide ? step.end : step.begin;
    partial_ = anyDone && anyUndone;
    playing_ = false;
    manager_.creationDisable_.emitValue(false);
    if (played_ || moved) changed();
}

zoString::CString History::undoName() const {
    return canUndo() ? groups_[lastDoneStep().begin]->name() : zoString::CString();
}

zoString::CString History::redoName() const {
    if (!canRedo()) return {};
    return groups_[(partial_ ? lastDoneStep() : firstUndoneStep()).begin]->name();
}

}  // namespace kelvo::zo_undo
