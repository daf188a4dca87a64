#include "libBase/zoUndo/history.h"

#include <algorithm>
#include <exception>

using zoUndo::Command;
using zoUndo::Group;

namespace kelvo::zo_undo {

void commitAndDelete(Command* command) noexcept {
    const std::unique_ptr<Command> last(command);
    dropping([&] { command->commit(); });
}

// Listeners may have made groups when they heard that the last ones left.
History::~History() {
    for (Group* g : groups_) g->history_ = nullptr;
    for (Group* g : groups_) delete g;
}

// ---- Groups

// Emits nothing: a listener that clears the history would end the group before the caller has it.
Group* History::insert(Group* group) {
    if (!group || group->history_) return nullptr;
    std::unique_ptr<Group> given(group);
    if (playing_) return nullptr;
    groups_.insert(done_, group);
    given.release();
    ++done_;
    group->history_ = this;
    bytes_ += group->bytes_;
    filled_ += group->count_ > 0;
    return group;
}

Group* History::group(int index) const {
    if (index == -1) return done_ > 0 ? groups_[done_ - 1] : nullptr;
    if (index < 0 || index >= numGroups()) return nullptr;
    return groups_[static_cast<std::size_t>(index)];
}

void History::deleteLast() {
    if (playing_ || done_ == 0) return;
    Dropped dropped;
    if (groups_[done_ - 1]->count_ > 0) loseMark();
    take({done_ - 1, done_}, dropped.final);
    end(dropped);
}

void History::clear() {
    if (playing_ || groups_.empty()) return;
    Dropped dropped;
    loseMark();
    take({done_, groups_.size()}, dropped.undone);
    take({0, done_}, dropped.final);
    end(dropped);
}

void History::forget(Group& group) {
    const auto place = std::find(groups_.begin(), groups_.end(), &group);
    const auto index = static_cast<std::size_t>(place - groups_.begin());
    if (group.count_ > 0) loseMark();
    Groups taken;
    take({index, index + 1}, taken);
    dropping([&] { manager_.groupDestroyed_.emitValue(&group); });
    dropping([&] { changed(); });
}

void History::take(Range range, Groups& taken) {
    const auto begin = groups_.at(range.begin), end = groups_.at(range.end);
    taken.insert(taken.end(), begin, end);
    for (auto g = begin; g != end; ++g) {
        bytes_ -= (*g)->bytes_;
        filled_ -= (*g)->count_ > 0;
        (*g)->history_ = nullptr;
    }
    // What was one step with the first of them begins a step now, unless that one was joined too.
    if (end != groups_.end() && range.begin != range.end && !(*begin)->joined_)
        (*end)->joined_ = false;
    groups_.erase(range.begin, range.end);
    if (range.begin < done_) done_ -= std::min(range.end, done_) - range.begin;
    if (partial_) partial_ = done_ > 0 && hasRest(lastDoneStep());
}

void History::end(Dropped& dropped) {
    if (dropped.final.empty() && dropped.undone.empty() && dropped.commands.empty())
        return changed();
    std::exception_ptr thrown;  // by a listener: what has left ends all the same, and is announced
    const auto tell = [&](auto emission) {
        try {
            emission();
        } catch (...) {
            if (!thrown) thrown = std::current_exception();
        }
    };
    for (const Groups* groups : {&dropped.final, &dropped.undone})
        for (Group* g : *groups) tell([&] { manager_.groupDestroyed_.emitValue(g); });
    for (Command* c : inOrder(dropped.final))
        if (c->phase_ == Phase::kDone) commitAndDelete(c);
    for (Group* g : dropped.final) delete g;
    for (Group* g : dropped.undone) delete g;
    dropped.commands.clear();
    tell([&] { changed(); });
    if (thrown) std::rethrow_exception(thrown);
}

History::Commands History::inOrder(const Groups& groups) {
    Commands all;
    for (const Group* g : groups)
        for (Command* c = g->commands_; c; c = c->next_) all.push_back(c);
    if (groups.size() > 1)
        std::sort(all.begin(), all.end(),
                  [](const Command* a, const Command* b) { return a->serial_ < b->serial_; });
    return all;
}

History::Range History::lastDoneStep() const {
    Range step = {done_, done_};
    for (const Group* after = nullptr; step.begin > 0 && (!step.filled || after->joined_);) {
        Group* const group = groups_[--step.begin];
        if (group->count_ > 0) ++step.filled, step.last = group;
        after = group;
    }
    return step;
}

History::Range History::firstUndoneStep() const {
    Range step = {done_, done_};
    for (; step.end < groups_.size() && (!step.filled || groups_[step.end]->joined_); ++step.end)
        if (groups_[step.end]->count_ > 0) ++step.filled, step.last = groups_[step.end];
    return step;
}

bool History::anyFilled(Range range) const {
    for (std::size_t i = range.end; i-- > range.begin;)
        if (groups_[i]->count_ > 0) return true;
    return false;
}

// Whether any command of a done step is undone: in each group those are the last ones.
bool History::hasRest(Range step) const {
    for (std::size_t i = step.begin; i < step.end; ++i) {
        const Command* first = groups_[i]->commands_;
        if (first && first->previous_->phase_ == Phase::kUndone) return true;
    }
    return false;
}

// ---- Recording

void History::recorded(Group& group, Command& command) {
    bytes_ += command.bytes_;
    filled_ += group.count_ == 1;
    const bool undone = partial_ || done_ < groups_.size();
    if (!undone && !beyondLimits()) {
        enter(group, command);
        return changed();
    }
    Dropped dropped;
    if (undone) takeUndone(group, dropped);
    enter(group, command);
    takeBeyondLimits(dropped);
    end(dropped);
}

void History::enter(Group& group, Command& command) {
    command.serial_ = ++serial_;
    command.before_ = state_;
    state_ = command.serial_;
    joinLaterGroups(group);
}

void History::removed(const Group& group, const Command& command) {
    bytes_ -= command.bytes_;
    filled_ -= group.count_ == 0;
    if (command.phase_ == Phase::kDone) loseMark();
}

// A group that was undone and is recorded into again goes on, without what it held, as the newest.
void History::takeUndone(Group& recording, Dropped& dropped) {
    // The step with the undone rest is the last but for `recording`, which holds its command already.
    for (std::size_t i = done_; partial_ && i-- > 0;) {
        takeUndoneCommands(*groups_[i], dropped);
        if (!dropped.commands.empty() && !groups_[i]->joined_) partial_ = false;
    }
    partial_ = false;
    take({done_, groups_.size()}, dropped.undone);
    const auto place = std::find(dropped.undone.begin(), dropped.undone.end(), &recording);
    if (place == dropped.undone.end()) return;
    dropped.undone.erase(place);
    takeUndoneCommands(recording, dropped);
    recording.history_ = this;
    recording.joined_ = false;
    groups_.insert(done_, &recording);
    ++done_;
    bytes_ += recording.bytes_;
    ++filled_;
}

void History::takeUndoneCommands(Group& group, Dropped& dropped) {
    for (Command *c = group.commands_, *next; c; c = next) {
        next = c->next_;
        if (c->phase_ != Phase::kUndone) continue;
        dropped.commands.emplace_back(c);
        group.unlink(*c);
        c->group_ = nullptr;
    }
}

// Keeps the order of undoing right when `group` has got a command after a later group.
void History::joinLaterGroups(Group& group) {
    bool laterCommands = false;
    std::size_t i = done_ - 1;
    for (; groups_[i] != &group; --i) laterCommands |= groups_[i]->count_ > 0;
    if (laterCommands)
        while (++i < done_) groups_[i]->joined_ = true;
    else if (group.count_ == 1)
        group.joined_ = false;
}

// ---- Limits

void History::setLimits(std::int64_t bytes, int groups) {
    byteLimit_ = bytes;
    groupLimit_ = groups;
    Dropped dropped;
    if (playing_) return;
    takeBeyondLimits(dropped);
    if (!dropped.final.empty()) end(dropped);
}

bool History::beyondLimits() const {
    return (byteLimit_ > 0 && bytes_ > byteLimit_) || (groupLimit_ > 0 && filled_ > groupLimit_);
}

// Empty groups at the front are left when the steps between them have gone. The latest of them may
// belong to operations that are still running and are going to record.
void History::takeBeyondLimits(Dropped& dropped) {
    constexpr std::size_t kMostRunning = 10;
    while (beyondLimits()) {
        Range oldest = {0, 0};
        while (oldest.begin < done_ && groups_[oldest.begin]->count_ == 0) ++oldest.begin;
        oldest.end = oldest.begin + 1;
        while (oldest.end < done_ && groups_[oldest.end]->joined_) ++oldest.end;
        if (oldest.end >= done_ || !anyFilled({oldest.end, done_})) return;
        take(oldest, dropped.final);
        if (oldest.begin > kMostRunning) take({0, oldest.begin - kMostRunning}, dropped.final);
    }
}

// ---- The saved document

void History::setClean() {
    clean_ = state_;
    changed();
}

void History::setModified() {
    clean_ = kNever;
    changed();
}

// Changes have left the history in the middle: going back no longer leads to the saved state.
void History::loseMark() {
    if (clean_ != state_) clean_ = kNever;
}

}  // namespace kelvo::zo_undo
