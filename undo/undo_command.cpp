#include "KelvoBase/undo_command.h"

#include <algorithm>
#include <boost/pool/pool.hpp>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>
#include <utility>

#include "KelvoBase/vl_undo.h"

namespace zoKelvoBase {
namespace {

using State = zo::Reference<StatefulUndoState>;

// What a recorded command takes beside its snapshot; part of the answers that limits count on.
constexpr int kCommandBytes = 28;

// Puts a state back into the object and says so, unless the object went while it was put back.
class SetState final : public zoRTB::FunctionBase {
  public:
    explicit SetState(StatefulUndoCmd& object) : object_(object) {}
    void call(void* argument) override {
        object_.applyState(*static_cast<const State*>(argument));
        if (isConnected()) object_.changedSignal().emit();
    }
    void release() override {}  // part of a command

  private:
    StatefulUndoCmd& object_;  // borrowed; the connection ends with it
};

// Room for recorded commands: two for each change, all of one size, by the hundred thousand. It goes
// back to the heap with the last of them. Lives for the process, so that a history in a static
// object can still give its commands back.
class Room {
  public:
    void* take(std::size_t bytes) {
        if (!pool_) pool_ = new Pool(bytes, kFirst, kMost);
        void* place = pool_->malloc();
        if (!place) throw std::bad_alloc();
        ++taken_;
        return place;
    }
    void giveBack(void* place) noexcept {
        pool_->free(place);
        if (--taken_ == 0) pool_->purge_memory();
    }

  private:
    using Pool = boost::pool<boost::default_user_allocator_new_delete>;
    static constexpr std::size_t kFirst = 32, kMost = 512;  // commands taken from the heap at once

    Pool* pool_ = nullptr;  // owned, never deleted; null until the first command
    std::size_t taken_ = 0;
};
Room g_room;

// One end of a change: undo puts start snapshots back, redo the others.
class StateCommand : public zoUndo::Command {
  public:
    StateCommand(zoUndo::Group* group, const char* name, State state, bool isStart,
                 StatefulUndoCmd& object, zoRTB::SignalBase& owner)
        : Command(group, name), state_(std::move(state)), isStart_(isStart), setState_(object) {
        signal_.addCallback(&setState_, owner);
    }

    bool redo() override {
        if (!isStart_ && !skipRedo_) return put();
        skipRedo_ = false;
        return true;
    }
    bool undo() override { return !isStart_ || put(); }
    int getNumBytesUsed() const override {
        const std::int64_t bytes = std::int64_t{state_ ? state_->sizeInBytes() : 0} + kCommandBytes;
        return static_cast<int>(std::min<std::int64_t>(bytes, std::numeric_limits<int>::max()));
    }

#if !defined(__SANITIZE_ADDRESS__)  // which looks for uses of what was deleted
    static void* operator new(std::size_t bytes) {
        return g_room.take(bytes);
    }
    static void operator delete(void* place) {
        g_room.giveBack(place);
    }
#endif

  private:
    // Nobody else hears the signal, and its callback goes with it: called without what an emission
    // does for callbacks that may be deleted meanwhile.
    [[gnu::noinline]] bool put() {
        if (setState_.isConnected()) setState_.call(&state_);
        return true;
    }

    zoRTB::SignalBase signal_;  // carries a State
    State state_;
    bool isStart_;
    bool skipRedo_ = false;  // set by nothing
    SetState setState_;
};

}  // namespace

UndoCommand::UndoCommand(zoUndo::Group* group, const char* name)
    : Command(group, name), group_(group) {}

UndoCommand::~UndoCommand() = default;

void UndoCommand::declare(const void* object) {
    // The base knows when the group has gone.
    if (object && group_ && group_ == group()) group_->declare(object);
}

void UndoCommand::redrawPlanes(KelvoRedraw which) {
    switch (which) {
        case KelvoRedrawActivePlanes:
            return redraw_add_active_planes();
        case KelvoRedrawModelPlanes:
            return redraw_add_model_planes();
        case KelvoRedrawTemplatePlanes:
            return redraw_add_template_planes();
        case KelvoRedrawWindowPlanes:
            return redraw_add_window_planes();
    }
}

void UndoCommand::setRedrawPending() {
    redraw_add_all();
}

StatefulUndoState::StatefulUndoState() = default;
StatefulUndoState::StatefulUndoState(const StatefulUndoState&) = default;
StatefulUndoState& StatefulUndoState::operator=(const StatefulUndoState&) = default;
StatefulUndoState::~StatefulUndoState() = default;

StatefulUndoCmd::StatefulUndoCmd(const char* name) : name_(name) {}
StatefulUndoCmd::StatefulUndoCmd(const StatefulUndoCmd& other) : name_(other.name_) {}
StatefulUndoCmd& StatefulUndoCmd::operator=(const StatefulUndoCmd&) {
    return *this;
}
StatefulUndoCmd::~StatefulUndoCmd() = default;

void StatefulUndoCmd::initialize() {
    initialized_ = true;
    if (zoUndo::Group* group = undoGetGroup()) {
        group->setStart(true);
        record(true);
    }
}

void StatefulUndoCmd::startChange() {
    changing_ = true;
    record(true);
}

void StatefulUndoCmd::endChange() {
    changing_ = false;
    record(false);
}

// The object may be gone when this returns: what it applies is its own code.
void StatefulUndoCmd::record(bool isStart) {
    if (!undoGetGroup()) return;
    State state = captureState();
    // Taking the snapshot may have ended the group.
    zoUndo::Group* group = undoGetGroup();
    if (!group) return;
    (new StateCommand(group, name_.c_str(), std::move(state), isStart, *this, connections_))
        ->doIt();
}

}  // namespace zoKelvoBase
