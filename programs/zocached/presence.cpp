#include "programs/zocached/presence.h"

#include <unistd.h>

#include <utility>

#include "programs/zocached/control.h"
#include "programs/zocached/log.h"

using zoUtil::Error;

namespace kelvo::zocached {
namespace {

constexpr int kMostUnguarded = 3;  // checks

}  // namespace

Presence::Presence(const Directory& directory, Descriptor guard)
    : directory_(directory), guard_(std::move(guard)) {}

Error Presence::listen() {
    Descriptor fresh;
    if (Error error = openControl(directory_, fresh)) return error;
    control_ = std::move(fresh);
    return Error();
}

// Without a lock file clients start servers, which hand them over.
void Presence::advertise(int port) const {
    if (Error error = directory_.advertise(port))
        logLine(Level::kWarning, "%s", error.message().c_str());
}

void Presence::keepAdvertised(int port) const {
    if (!directory_.isAdvertised(port)) advertise(port);
}

void Presence::withdraw(int port) const {
    directory_.withdraw(port);
}

void Presence::leave(int port) const {
    withdraw(port);
    if (control_ && !isLost_) unlinkat(directory_.descriptor(), kSocketName, 0);
}

Presence::State Presence::check() {
    if (isLost_ || directory_.path().empty() || !isStillGuarded()) {
        isLost_ = true;
        return State::kLost;
    }
    const bool isHeard = !directory_.isGuardedBy(guard_) || isControlThere(directory_);
    return isHeard ? State::kSound : State::kUnheard;
}

// A guard that was deleted is replaced. Somebody else may have a new one: a starter, who ends soon,
// or a server.
bool Presence::isStillGuarded() {
    if (directory_.isGuardedBy(guard_)) {
        unguarded_ = 0;
        return true;
    }
    Descriptor fresh;
    const bool isAnswered = !directory_.tryGuard(fresh);
    if (isAnswered && fresh) guard_ = std::move(fresh);
    return ++unguarded_ < kMostUnguarded;
}

}  // namespace kelvo::zocached
