// Undo history beside QUndoStack. One change is a start and an end state of an object (64 bytes
// each), recorded in a group here, in a macro of two commands there.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <QUndoCommand>
#include <QUndoStack>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "KelvoBase/undo_command.h"
#include "KelvoBase/vl_undo.h"

namespace {

using Value = std::array<double, 8>;
constexpr int kKept = 1000;  // changes in the history

struct Snapshot : zoKelvoBase::StatefulUndoState {
    explicit Snapshot(const Value& v) : value(v) {}
    int sizeInBytes() const override { return sizeof(Value); }
    Value value;
};
using State = zo::Reference<zoKelvoBase::StatefulUndoState>;

class Ours : public zoKelvoBase::StatefulUndoCmd {
  public:
    Ours() : StatefulUndoCmd("Move Control Point") {
        zoKelvoBase::undoInit();
        manager_.reset(zoUndo::getInstalledManager());
    }
    // From the start without the group stack's own connection to the manager.
    void hearNobody() {
        manager_.reset(zoUndo::newManager());
        zoUndo::installManager(manager_.get());
    }
    void listen() { manager_->changedSignal().addCallback(new zoRTB::FunctionGlobal(hear)); }
    State captureState() override { return State(new Snapshot(value)); }
    void applyState(State state) override { value = static_cast<Snapshot&>(*state).value; }

    void change() {
        VL_undo_push_new_group(0, 0);
        startChange();
        value[0] += 1;
        endChange();
        VL_undo_pop_group(true);
    }
    void undo() { manager_->undo(); }
    void redo() { manager_->redo(); }
    void clear() { manager_->clear(); }
    void limit(int changes) { manager_->setGroupLimit(changes); }

    Value value{};

    static int heard;

  private:
    static void hear() { ++heard; }

    std::unique_ptr<zoUndo::Manager> manager_;
};
int Ours::heard = 0;

class Peer {
  public:
    Value value{};
    static int heard;

    void hearNobody() {}
    void listen() {
        QObject::connect(stack_.get(), &QUndoStack::indexChanged, [](int) { ++heard; });
    }
    void change() {
        stack_->beginMacro(name_);
        stack_->push(new Put(*this, true));
        value[0] += 1;
        stack_->push(new Put(*this, false));
        stack_->endMacro();
    }
    void undo() { stack_->undo(); }
    void redo() { stack_->redo(); }
    void clear() { stack_->clear(); }
    void limit(int changes) {
        stack_->clear();
        stack_->setUndoLimit(changes);
    }

  private:
    class Put : public QUndoCommand {
      public:
        Put(Peer& peer, bool start)
            : QUndoCommand(peer.name_),
              peer_(peer),
              state_(new Snapshot(peer.value)),
              start_(start) {}
        void redo() override {
            if (!start_) peer_.value = state_->value;
        }
        void undo() override {
            if (start_) peer_.value = state_->value;
        }

      private:
        Peer& peer_;
        zo::Reference<Snapshot> state_;
        bool start_;
    };
    QString name_ = QStringLiteral("Move Control Point");
    std::unique_ptr<QUndoStack> stack_ = std::make_unique<QUndoStack>();
};
int Peer::heard = 0;

template <class Library>
void check(Library& library) {
    library.change();
    library.change();
    library.undo();
    if (library.value[0] != 1) std::abort();
    library.redo();
    if (library.value[0] != 2) std::abort();
    library.clear();
}

// Into a history that grows from nothing to kKept changes, again and again.
template <class Library>
void Record(benchmark::State& state) {
    Library library;
    check(library);
    int kept = 0;
    for (auto _ : state) {
        library.change();
        if (++kept == kKept) {
            kept = 0;
            state.PauseTiming();
            library.clear();
            state.ResumeTiming();
        }
    }
    state.SetItemsProcessed(state.iterations());
}

// Into a full history, where the oldest change goes.
template <class Library>
void RecordAtLimit(benchmark::State& state) {
    Library library;
    check(library);
    library.limit(kKept);
    for (int i = 0; i < kKept; ++i) library.change();
    for (auto _ : state) library.change();
    state.SetItemsProcessed(state.iterations());
}

template <class Library>
void undoRedo(benchmark::State& state, Library& library) {
    check(library);
    for (int i = 0; i < kKept; ++i) library.change();
    for (auto _ : state) {
        library.undo();
        library.redo();
    }
    if (library.value[0] != kKept + 2) std::abort();
    state.SetItemsProcessed(state.iterations());
}

template <class Library>
void UndoRedo(benchmark::State& state) {
    Library library;
    undoRedo(state, library);
}

// Without any listener at either side.
template <class Library>
void UndoRedoUnheard(benchmark::State& state) {
    Library library;
    library.hearNobody();
    undoRedo(state, library);
}

// With one listener for what menus show, called after each undo and each redo.
template <class Library>
void UndoRedoHeard(benchmark::State& state) {
    Library library;
    library.listen();
    const int before = Library::heard;
    undoRedo(state, library);
    if (Library::heard - before < 2 * state.iterations()) std::abort();
}

// Through a long history to its beginning and back, where nothing is in a cache.
template <class Library>
void UndoRedoLong(benchmark::State& state) {
    constexpr int kChanges = 100000;
    Library library;
    check(library);
    for (int i = 0; i < kChanges; ++i) library.change();
    for (auto _ : state) {
        for (int i = 0; i < kChanges; ++i) library.undo();
        for (int i = 0; i < kChanges; ++i) library.redo();
    }
    if (library.value[0] != kChanges + 2) std::abort();
    state.SetItemsProcessed(state.iterations() * kChanges);
}

std::size_t heapBytes() {
    const auto info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

// Not a time: bytes of the heap for each of 100,000 changes in the history, snapshots included.
template <class Library>
void Memory(benchmark::State& state) {
    constexpr int kChanges = 100000;
    double bytes = 0;
    for (auto _ : state) {
        Library library;
        const auto before = heapBytes();
        for (int i = 0; i < kChanges; ++i) library.change();
        bytes = static_cast<double>(heapBytes() - before);
    }
    state.counters["bytes_per_change"] = bytes / kChanges;
}

// Pages that the heap gives back and takes again would be charged to whoever has its blocks at the
// top.
[[maybe_unused]] const int g_keepPages = mallopt(M_TRIM_THRESHOLD, 1 << 30);

BENCHMARK(Record<Ours>);
BENCHMARK(Record<Peer>);
BENCHMARK(RecordAtLimit<Ours>);
BENCHMARK(RecordAtLimit<Peer>);
BENCHMARK(UndoRedo<Ours>);
BENCHMARK(UndoRedo<Peer>);
BENCHMARK(UndoRedoUnheard<Ours>);
BENCHMARK(UndoRedoUnheard<Peer>);
BENCHMARK(UndoRedoHeard<Ours>);
BENCHMARK(UndoRedoHeard<Peer>);
BENCHMARK(UndoRedoLong<Ours>);
BENCHMARK(UndoRedoLong<Peer>);
BENCHMARK(Memory<Ours>)->Iterations(1);
BENCHMARK(Memory<Peer>)->Iterations(1);

}  // namespace
