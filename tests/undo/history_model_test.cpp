// What could break: any interplay of groups, nested groups, undo, redo, failures, limits, dead
// objects and disabled stretches. Random sessions run beside a model: a line of commands with a
// cursor between what is done and what is undone, in which each command names its step.
#include <array>
#include <random>

#include "KelvoBase/undo_command.h"
#include "KelvoBase/vl_undo.h"
#include "tests/support/test.h"

namespace {

using zoKelvoBase::StatefulUndoCmd;
using zoKelvoBase::StatefulUndoState;

constexpr int kCells = 3, kObjects = 4, kCellBytes = 50, kStateBytes = 100;

struct Snapshot : StatefulUndoState {
    int value = 0;
    int sizeInBytes() const override { return kStateBytes; }
};

class Object : public StatefulUndoCmd {
  public:
    explicit Object(const std::string& name) : StatefulUndoCmd(name.c_str()) {}
    zo::Reference<StatefulUndoState> captureState() override {
        zo::Reference<Snapshot> state(new Snapshot);
        state->value = value;
        return state;
    }
    void applyState(zo::Reference<StatefulUndoState> state) override {
        value = static_cast<const Snapshot&>(*state).value;
    }
    int value = 0;
};

// The document, as it is and as the model has it. Values of objects that died are left alone.
struct Document {
    std::array<int, kCells> cells{};
    std::map<int, int> objects;  // by number
    bool operator==(const Document& o) const { return cells == o.cells && objects == o.objects; }
};

// What commands of the system under test leave behind.
struct Log {
    std::vector<int> committed;
    int failing = 0;  // the command that refuses to be played
    bool throws = false;
};

class SetCell : public zoKelvoBase::UndoCommand {
  public:
    SetCell(zoUndo::Group* group, const char* name, int id, int& cell, int value, Log& log)
        : UndoCommand(group, name), id_(id), cell_(cell), old_(cell), new_(value), log_(log) {}
    bool redo() override { return set(new_); }
    bool undo() override { return set(old_); }
    int getNumBytesUsed() const override { return kCellBytes; }
    void commit() override { log_.committed.push_back(id_); }

  private:
    bool set(int value) {
        if (log_.failing == id_ && log_.throws) throw std::runtime_error("refused");
        if (log_.failing == id_) return false;
        cell_ = value;
        return true;
    }
    int id_;
    int& cell_;
    int old_, new_;
    Log& log_;
};

enum class Kind { kCell, kStart, kEnd };

struct Recorded {
    int id, group, step;  // steps are named by the lowest group in them
    Kind kind;
    int where, before, after;  // cell or object number and its values
    std::string name;
    int bytes() const { return kind == Kind::kCell ? kCellBytes : kStateBytes + 28; }
};

class Session {
  public:
    Session(unsigned seed, bool gaps) : random_(seed), gaps_(gaps) {
        zoKelvoBase::undoInit();
        manager_.reset(zoUndo::getInstalledManager());
        for (int i = 0; i < kObjects; ++i) makeObject(i);
        keepState();
    }

    void run(int steps) {
        for (int i = 0; i < steps && !testing::Test::HasFailure(); ++i) {
            SCOPED_TRACE(testing::Message() << "action " << i);
            act();
            check();
        }
        while (!open_.empty()) pop();
        while (play(true)) check();
        check();
        manager_.reset();
        EXPECT_LT(300, plays_);
    }

  private:
    int pick(int n) { return static_cast<int>(random_() % static_cast<unsigned>(n)); }

    void act() {
        const int choice = pick(20);
        if (choice < 2)
            push();
        else if (choice < 5 && !open_.empty())
            pop();
        else if (choice < 9 && open_.empty())
            play(pick(5) < 3);
        else if (choice == 9 && pick(4) == 0 && open_.size() < 9)
            disable();
        else if (choice == 10 && pick(8) == 0)
            die(pick(kObjects));
        else if (choice == 11 && pick(4) == 0)
            mark();
        else if (choice == 12 && pick(8) == 0)
            limit();
        else if (pick(2))
            editCell();
        else
            editObject();
    }

    // ---- What is done to both

    void push() {
        if (open_.size() >= 9) return;
        ++lastGroup_;
        VL_undo_push_new_group(lastGroup_, -lastGroup_);
        open_.push_back(lastGroup_);
    }

    void disable() {
        VL_undo_creation_disable(true);
        open_.push_back(0);
        disabled_.insert(open_.size());
    }

    void pop() {
        if (disabled_.erase(open_.size()))
            VL_undo_creation_disable(false);
        else
            VL_undo_pop_group(true);
        open_.pop_back();
    }

    int current() const { return open_.empty() ? 0 : open_.back(); }

    void editCell() {
        const int where = pick(kCells), value = pick(1000);
        if (!current() && !gaps_) return;
        const std::string name = "Cell " + std::to_string(pick(2));
        const int before = model_.cells[static_cast<std::size_t>(where)], id = ++lastCommand_;
        (new SetCell(zoKelvoBase::undoGetGroup(), name.c_str(), id,
                     real_.cells[static_cast<std::size_t>(where)], value, log_))
            ->doIt();
        model_.cells[static_cast<std::size_t>(where)] = value;
        if (current())
            record({id, current(), 0, Kind::kCell, where, before, value, name});
        else
            committed_.push_back(id);
    }

    void editObject() {
        const auto slot = static_cast<std::size_t>(pick(kObjects));
        const int number = numbers_[slot], before = model_.objects[number], value = pick(1000);
        if (!current() && !gaps_) return;
        const std::string name = "Object " + std::to_string(number);
        objects_[slot]->startChange();
        if (current())
            record({++lastCommand_, current(), 0, Kind::kStart, number, before, before, name});
        objects_[slot]->value = model_.objects[number] = value;
        objects_[slot]->endChange();
        if (current())
            record({++lastCommand_, current(), 0, Kind::kEnd, number, value, value, name});
    }

    void die(int slot) {
        model_.objects.erase(numbers_[static_cast<std::size_t>(slot)]);
        makeObject(slot);
    }

    void makeObject(int slot) {
        const auto i = static_cast<std::size_t>(slot);
        numbers_[i] = ++lastObject_;
        objects_[i] = std::make_unique<Object>("Object " + std::to_string(lastObject_));
        model_.objects[lastObject_] = 0;
    }

    void mark() {
        if (pick(4) == 0) {
            manager_->setModified();
            clean_ = -1;
        } else {
            manager_->setClean();
            clean_ = state();
        }
    }

    void limit() {
        byteLimit_ = pick(2) ? 0 : 500 + pick(4000);
        groupLimit_ = pick(2) ? 0 : 1 + pick(12);
        manager_->setByteLimit(byteLimit_);
        dropBeyond(byteLimit_, manager_->groupLimit());
        manager_->setGroupLimit(groupLimit_);
        dropBeyond(byteLimit_, groupLimit_);
    }

    bool play(bool undoing) {
        if (line_.empty()) return manager_->undo();
        // Some command of the step may refuse; it may also not be reached.
        if (pick(6) == 0) log_ = {log_.committed, line_[random_() % line_.size()].id, pick(2) == 0};
        bool whole = false;
        try {
            whole = undoing ? manager_->undo() : manager_->redo();
        } catch (const std::runtime_error&) {
            EXPECT_TRUE(log_.throws);
        }
        EXPECT_EQ(undoing ? modelUndo() : modelRedo(), whole);
        log_.failing = 0;
        if (whole) ++plays_;
        return whole;
    }

    // ---- The model

    void record(Recorded command) {
        line_.resize(cursor_);
        // Later groups that hold commands belong to the same operation, and all between.
        command.step = command.group;
        for (const Recorded& r : line_)
            if (r.group >= command.group) command.step = std::min(command.step, r.step);
        const bool later = std::any_of(line_.begin(), line_.end(),
                                       [&](const Recorded& r) { return r.group > command.group; });
        for (Recorded& r : line_)
            if (later && r.group > command.group) r.step = command.step;
        line_.push_back(command);
        ++cursor_;
        dropBeyond(byteLimit_, groupLimit_);
        keepState();
    }

    void dropBeyond(int bytes, int groups) {
        for (;;) {
            std::set<int> held;
            int sum = 0;
            for (const Recorded& r : line_) held.insert(r.group), sum += r.bytes();
            if (!(bytes > 0 && sum > bytes) &&
                !(groups > 0 && static_cast<int>(held.size()) > groups))
                return;
            std::size_t n = 0;
            while (n < cursor_ && line_[n].step == line_[0].step) ++n;
            if (n == cursor_) return;
            for (std::size_t i = 0; i < n; ++i) {
                if (line_[i].kind == Kind::kCell) committed_.push_back(line_[i].id);
                std::replace(open_.begin(), open_.end(), line_[i].group, 0);
            }
            base_ = line_[n - 1].id;
            line_.erase(line_.begin(), line_.begin() + static_cast<std::ptrdiff_t>(n));
            cursor_ -= n;
        }
    }

    bool modelUndo() {
        if (cursor_ == 0) return false;
        for (const int step = line_[cursor_ - 1].step; cursor_ > 0; --cursor_) {
            const Recorded& r = line_[cursor_ - 1];
            if (r.step != step) break;
            if (r.id == log_.failing && r.kind == Kind::kCell) return false;
            if (r.kind != Kind::kEnd) set(r, r.before);
        }
        expectKeptState();
        return true;
    }

    bool modelRedo() {
        if (cursor_ == line_.size()) return false;
        for (const int step = line_[cursor_].step; cursor_ < line_.size(); ++cursor_) {
            const Recorded& r = line_[cursor_];
            if (r.step != step) break;
            if (r.id == log_.failing && r.kind == Kind::kCell) return false;
            if (r.kind != Kind::kStart) set(r, r.after);
        }
        expectKeptState();
        return true;
    }

    void set(const Recorded& r, int value) {
        if (r.kind == Kind::kCell)
            model_.cells[static_cast<std::size_t>(r.where)] = value;
        else if (const auto o = model_.objects.find(r.where); o != model_.objects.end())
            o->second = value;
    }

    int state() const { return cursor_ > 0 ? line_[cursor_ - 1].id : base_; }

    // Between whole steps the document is what it was then, whatever happened since; objects that
    // have died meanwhile or been born are not compared.
    void keepState() { kept_[state()] = model_; }
    void expectKeptState() {
        if (gaps_) return;
        const Document& then = kept_.at(state());
        EXPECT_EQ(then.cells, model_.cells);
        for (const auto& [number, value] : then.objects) {
            const auto now = model_.objects.find(number);
            EXPECT_TRUE(now == model_.objects.end() || now->second == value) << number;
        }
    }

    std::string menuName(std::size_t at) const {
        const Recorded* oldest = nullptr;
        for (const Recorded& r : line_)
            if (r.step == line_[at].step && (!oldest || r.group < oldest->group)) oldest = &r;
        return oldest->name;
    }

    void check() {
        real_.objects.clear();
        for (std::size_t i = 0; i < kObjects; ++i) real_.objects[numbers_[i]] = objects_[i]->value;
        EXPECT_TRUE(model_ == real_);
        EXPECT_EQ(committed_, log_.committed);
        EXPECT_EQ(clean_ == state(), manager_->isClean());
        EXPECT_EQ(cursor_ > 0, manager_->canUndo());
        EXPECT_EQ(cursor_ < line_.size(), manager_->canRedo());
        EXPECT_EQ(cursor_ > 0 ? menuName(cursor_ - 1) : "", manager_->undoName());
        EXPECT_EQ(cursor_ < line_.size() ? menuName(cursor_) : "", manager_->redoName());
        std::int64_t bytes = 0;
        for (const Recorded& r : line_) bytes += r.bytes();
        EXPECT_EQ(bytes, manager_->numBytesUsed());
        EXPECT_EQ(static_cast<int>(open_.size()), VL_undo_get_num_groups());
        zoUndo::Group* top = zoKelvoBase::undoGetGroup();
        ASSERT_EQ(current() != 0, top != nullptr);
        EXPECT_EQ(current(), top ? top->firstWord() : 0);
    }

    std::mt19937 random_;
    bool gaps_;  // edits go on while nothing is recorded
    std::unique_ptr<zoUndo::Manager> manager_;
    Document real_, model_;
    Log log_;
    std::array<std::unique_ptr<Object>, kObjects> objects_;
    std::array<int, kObjects> numbers_{};
    std::vector<int> open_;           // groups on the stack, 0: null
    std::set<std::size_t> disabled_;  // heights of the stack at which recording was disabled
    std::vector<Recorded> line_;
    std::size_t cursor_ = 0;
    std::vector<int> committed_;
    std::map<int, Document> kept_;
    int lastGroup_ = 0, lastCommand_ = 0, lastObject_ = 0, base_ = 0, clean_ = 0;
    int byteLimit_ = 0, groupLimit_ = 0, plays_ = 0;
};

TEST(UndoHistory, RandomSessionsFollowTheModel) {
    for (unsigned seed = 1; seed <= 12 && !HasFailure(); ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        Session(seed, seed % 3 == 0).run(20000);
    }
}

}  // namespace
