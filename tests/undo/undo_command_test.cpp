// What could break: a snapshot put back in the wrong direction, twice or into a dead object; one
// taken where nothing is recorded; objects that die while they are told.
#include "KelvoBase/undo_command.h"

#include "KelvoBase/vl_undo.h"
#include "tests/support/test.h"

namespace {

using zoKelvoBase::StatefulUndoCmd;
using zoKelvoBase::StatefulUndoState;
using zoKelvoBase::UndoCommand;

struct Snapshot : StatefulUndoState {
    explicit Snapshot(int v) : value(v) {}
    int sizeInBytes() const override { return 100; }
    int value;
};

class Knob : public StatefulUndoCmd {
  public:
    explicit Knob(const char* name = "Turn Knob") : StatefulUndoCmd(name) {}
    zo::Reference<StatefulUndoState> captureState() override {
        ++captured;
        return zo::Reference<StatefulUndoState>(new Snapshot(value));
    }
    void applyState(zo::Reference<StatefulUndoState> state) override {
        value = static_cast<const Snapshot&>(*state).value;
        applied.push_back(value);
        if (dies) dies->reset();
    }
    void turn(int to) {
        startChange();
        value = to;
        endChange();
    }

    int value = 0, captured = 0;
    std::vector<int> applied;
    std::unique_ptr<Knob>* dies = nullptr;  // holds this; given up while a state is applied
};

// Its own manager, removed with all it recorded.
class StatefulUndo : public testing::Test {
  protected:
    StatefulUndo() {
        zoKelvoBase::undoInit();
        manager_.reset(zoUndo::getInstalledManager());
    }
    ~StatefulUndo() override {
        while (VL_undo_get_num_groups() > 0) VL_undo_pop_group(true);
    }
    std::unique_ptr<zoUndo::Manager> manager_;
};

TEST_F(StatefulUndo, WithoutGroupNothingIsRecordedOrCaptured) {
    Knob knob;
    EXPECT_FALSE(knob.isInitialized());
    for (const bool disabled : {false, true}) {
        if (disabled) VL_undo_creation_disable(true);
        knob.initialize();
        EXPECT_TRUE(knob.isInitialized());
        EXPECT_FALSE(knob.isChanging());
        knob.startChange();
        EXPECT_TRUE(knob.isChanging());
        knob.endChange();
        EXPECT_FALSE(knob.isChanging());
    }
    EXPECT_EQ(0, knob.captured);
    EXPECT_TRUE(knob.applied.empty());
    EXPECT_EQ(0, manager_->numGroups());
}

TEST_F(StatefulUndo, ChangeIsUndoneAndRedoneOnce) {
    Knob knob;
    int told = 0;
    knob.changedSignal().addCallback(new zoRTB::FunctionObject([&] { ++told; }));
    zoUndo::Group* group = VL_undo_push_new_group(0, 0);
    knob.initialize();
    EXPECT_TRUE(group->isStart());
    EXPECT_EQ(1, group->numCommands());
    VL_undo_pop_group(true);

    zoUndo::Group* change = VL_undo_push_new_group(0, 0);
    knob.turn(5);
    VL_undo_pop_group(true);
    EXPECT_FALSE(change->isStart());
    EXPECT_EQ(2, change->numCommands());
    EXPECT_EQ(2 * 128, change->numBytesUsed());
    EXPECT_EQ("Undo Turn Knob", manager_->undoText());
    // Recording the end puts the end state back, once.
    EXPECT_EQ(std::vector<int>({5}), knob.applied);
    EXPECT_EQ(1, told);

    EXPECT_TRUE(manager_->undo());
    EXPECT_EQ(std::vector<int>({5, 0}), knob.applied);
    EXPECT_EQ(2, told);
    EXPECT_TRUE(manager_->redo());
    EXPECT_EQ(std::vector<int>({5, 0, 5}), knob.applied);
    EXPECT_EQ(3, told);
    EXPECT_EQ(3, knob.captured);

    knob.value = 77;
    EXPECT_TRUE(manager_->undo());
    EXPECT_TRUE(manager_->undo());  // back to the initial state
    EXPECT_EQ(std::vector<int>({5, 0, 5, 0, 0}), knob.applied);
    EXPECT_EQ(5, told);
    EXPECT_TRUE(manager_->redo());  // which redo does not touch
    EXPECT_EQ(5, told);
}

TEST_F(StatefulUndo, ObjectMayDieWhileItIsTold) {
    for (const bool inSignal : {false, true}) {
        auto knob = std::make_unique<Knob>();
        VL_undo_push_new_group(0, 0);
        knob->turn(1);
        VL_undo_pop_group(true);
        int told = 0;
        knob->changedSignal().addCallback(new zoRTB::FunctionObject([&] {
            ++told;
            if (inSignal) knob.reset();
        }));
        if (!inSignal) knob->dies = &knob;
        EXPECT_TRUE(manager_->undo());
        EXPECT_EQ(nullptr, knob);
        EXPECT_EQ(inSignal ? 1 : 0, told);
        EXPECT_TRUE(manager_->redo());
    }
    auto knob = std::make_unique<Knob>();
    knob->dies = &knob;
    VL_undo_push_new_group(0, 0);
    knob->turn(1);  // dies in endChange()
    EXPECT_EQ(nullptr, knob);
}

TEST_F(StatefulUndo, ListenersThatEditDuringPlaybackRecordNothing) {
    Knob knob, follower("Follow");
    knob.changedSignal().addCallback(
        new zoRTB::FunctionObject([&] { follower.turn(knob.value * 10); }));
    VL_undo_push_new_group(0, 0);
    knob.turn(1);
    zoUndo::Group* group = VL_undo_get_group();
    const int recorded = group->numCommands();
    EXPECT_EQ(4, recorded);
    EXPECT_TRUE(manager_->undo());  // the group is still open
    EXPECT_TRUE(manager_->redo());
    EXPECT_EQ(recorded, group->numCommands());
    EXPECT_EQ(group, VL_undo_get_group());
    EXPECT_EQ(10, follower.value);
}

struct Step : UndoCommand {
    using UndoCommand::UndoCommand;
    bool redo() override { return true; }
    bool undo() override { return true; }
};

TEST(UndoCommand, DeclaresToItsGroup) {
    const int object = 0;
    auto group = std::make_unique<zoUndo::Group>();
    Step step(group.get(), "Step"), none(nullptr, nullptr);
    step.declare(nullptr);
    EXPECT_FALSE(group->isDeclared(nullptr));
    step.declare(&object);
    step.declare(&object);
    EXPECT_TRUE(group->isDeclared(&object));
    EXPECT_FALSE(group->isDeclared(&group));
    none.declare(&object);
    group.reset();
    step.declare(&object);
    EXPECT_STREQ("Step", step.name());
    EXPECT_STREQ("", none.name());
}

TEST(UndoCommand, RedrawRequestsCollect) {
    Step step(nullptr, "Step");
    redraw_clear();
    unsigned all = 1;
    for (const int which : {-1, 0, 5, 32, 1, 2, 3, 4}) {
        const bool known = which >= 1 && which <= 4;
        step.redrawPlanes(static_cast<KelvoRedraw>(which));
        if (known) all |= 1u << which;
        EXPECT_EQ(all & ~1u, redraw_pending()) << which;
    }
    redraw_clear();
    EXPECT_EQ(0u, redraw_pending());
    step.setRedrawPending();
    EXPECT_EQ(all, redraw_pending());
    redraw_clear();
}

}  // namespace
