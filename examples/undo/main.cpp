// A control point that can be undone: the object knows how to capture and to put back its state, and
// every change stands between startChange() and endChange().
#include <KelvoBase/undo_command.h>
#include <KelvoBase/vl_undo.h>

#include <iostream>
#include <memory>

class ControlPoint : public zoKelvoBase::StatefulUndoCmd {
  public:
    ControlPoint() : StatefulUndoCmd("Move Control Point") {}

    void moveTo(double x) {
        VL_undo_push_new_group(0, 0);  // what the user undoes at once
        startChange();
        x_ = x;
        endChange();
        VL_undo_pop_group(true);
    }
    double x() const { return x_; }

  private:
    struct State : zoKelvoBase::StatefulUndoState {
        explicit State(double value) : x(value) {}
        int sizeInBytes() const override { return sizeof(State); }
        double x;
    };
    zo::Reference<zoKelvoBase::StatefulUndoState> captureState() override {
        return zo::Reference<zoKelvoBase::StatefulUndoState>(new State(x_));
    }
    void applyState(zo::Reference<zoKelvoBase::StatefulUndoState> state) override {
        x_ = static_cast<const State&>(*state).x;
    }

    double x_ = 0;
};

int main() {
    zoKelvoBase::undoInit();
    const std::unique_ptr<zoUndo::Manager> history(zoUndo::getInstalledManager());
    history->setByteLimit(64 << 20);

    ControlPoint point;
    point.changedSignal().addCallback(
        new zoRTB::FunctionObject([&] { std::cout << "  x is now " << point.x() << '\n'; }));
    point.moveTo(1);
    history->setClean();  // saved here
    point.moveTo(2);
    std::cout << history->undoText() << '\n';
    history->undo();
    std::cout << (history->isClean() ? "as saved\n" : "modified\n") << history->redoText() << '\n';
    history->redo();
}
