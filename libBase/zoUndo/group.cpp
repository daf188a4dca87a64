#include <algorithm>
#include <utility>
#include <vector>

#include "Base/zo_undo.h"
#include "libBase/zoUndo/history.h"
#include "libBase/zoUndo/shared_name.h"

using kelvo::zo_undo::Phase;
using kelvo::zo_undo::SharedName;

namespace zoUndo {

struct Group::Declared {
    std::vector<const void*> objects;  // sorted
};

Group::Group(Word first, Word second) : first_(first), second_(second) {}

int Group::numCommands() const {
    return count_;
}

void Group::setStart(bool start) {
    start_ = start;
}

void Group::declare(const void* object) {
    if (!object) return;
    if (!declared_) declared_ = std::make_unique<Declared>();
    auto& objects = declared_->objects;
    const auto place = std::lower_bound(objects.begin(), objects.end(), object, std::less<>());
    if (place == objects.end() || *place != object) objects.insert(place, object);
}

bool Group::isDeclared(const void* object) const noexcept {
    return declared_ && std::binary_search(declared_->objects.begin(), declared_->objects.end(),
                                           object, std::less<>());
}

Group::~Group() {
    if (history_) history_->forget(*this);
    SharedName::release(name_);
    while (commands_) delete commands_;
    // Commands that were made for this group and not recorded have none from now on.
    while (fresh_) {
        Command& command = *fresh_;
        unlink(command);
        command.group_ = nullptr;
    }
}

void Group::add(Command* command) {
    if (!command || command->phase_ != Phase::kNew) return;
    std::unique_ptr<Command> given(command);
    if (command->group_ != this) {
        if (command->group_) command->group_->unlink(*command);
        command->group_ = this;
        link(fresh_, *command);
    }
    // Asking runs foreign code. Should that end this group, the command has no group any more.
    const std::int32_t bytes = std::max(0, command->getNumBytesUsed());
    if (!command->group_ || (history_ && history_->isPlaying())) {
        kelvo::zo_undo::commitAndDelete(given.release());
        return;
    }
    unlink(*command);
    command->phase_ = Phase::kDone;
    command->bytes_ = bytes;
    link(commands_, *given.release());
    ++count_;
    bytes_ += bytes;
    if (history_) history_->recorded(*this, *command);
}

void Group::setName(const char* name) {
    SharedName::release(std::exchange(name_, SharedName::acquire(name)));
    if (history_) history_->changed();
}

zoString::CString Group::name() const {
    if (name_) return name_->text();
    return commands_ ? commands_->name() : "";
}

// Both lists are ended by null; "previous" of the first is the last.
void Group::link(Command*& first, Command& command) noexcept {
    command.next_ = nullptr;
    command.previous_ = first ? std::exchange(first->previous_, &command) : &command;
    if (first)
        command.previous_->next_ = &command;
    else
        first = &command;
}

void Group::unlink(Command& command) noexcept {
    const bool recorded = command.phase_ != Phase::kNew;
    Command*& first = recorded ? commands_ : fresh_;
    if (command.next_)
        command.next_->previous_ = command.previous_;
    else
        first->previous_ = command.previous_;
    if (first == &command)
        first = command.next_;
    else
        command.previous_->next_ = command.next_;
    if (!recorded) return;
    --count_;
    bytes_ -= command.bytes_;
    if (history_) history_->removed(*this, command);
}

}  // namespace zoUndo
