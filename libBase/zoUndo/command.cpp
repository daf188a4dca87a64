#include "Base/zo_undo.h"
#include "libBase/zoUndo/history.h"
#include "libBase/zoUndo/shared_name.h"

using kelvo::zo_undo::Phase;
using kelvo::zo_undo::SharedName;

namespace zoUndo {

Command::Command(Group* group, const char* name) : group_(group), name_(SharedName::acquire(name)) {
    if (group_) group_->link(group_->fresh_, *this);
}

Command::~Command() {
    SharedName::release(name_);
    if (group_) group_->unlink(*this);
}

int Command::getNumBytesUsed() const {
    return static_cast<int>(sizeof(Command));
}

void Command::commit() {}

void Command::doIt() {
    if (phase_ != Phase::kNew) {
        redo();
        return;
    }
    std::unique_ptr<Command> given(this);
    if (!redo()) return;
    if (group_)
        group_->add(given.release());
    else
        kelvo::zo_undo::commitAndDelete(given.release());
}

const char* Command::name() const noexcept {
    return name_ ? name_->text() : "";
}

}  // namespace zoUndo
