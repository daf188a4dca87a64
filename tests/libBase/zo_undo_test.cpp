// What could break: who owns a command, what a failing one leaves behind, groups that are recorded
// into late, when commit comes, which signals are sent. Random histories are in tests/undo.
#include "Base/zo_undo.h"

#include "tests/support/test.h"

namespace {

using zoUndo::Command;
using zoUndo::Group;
using zoUndo::Manager;

// Writes down what is done with it: "+a" redo, "-a" undo, "!a" commit, "~a" its end.
class Letter : public Command {
  public:
    Letter(Group* group, char letter, std::string& log)
        : Command(group, std::string(1, letter).c_str()), log_(log) {}
    ~Letter() override { write('~'); }
    bool redo() override { return play('+'); }
    bool undo() override { return play('-'); }
    int getNumBytesUsed() const override { return 10; }
    void commit() override {
        write('!');
        if (failing == *name()) throw 2;
    }

    static char failing;  // the letter that refuses; upper case: it throws

  private:
    void write(char what) { log_ += what, log_ += *name(); }
    bool play(char what) {
        if (failing == *name()) return false;
        if (failing - 'A' + 'a' == *name()) throw std::runtime_error("refused");
        write(what);
        return true;
    }
    std::string& log_;
};
char Letter::failing = 0;

class History : public testing::Test {
  protected:
    ~History() override { Letter::failing = 0; }

    Group* group(const char* letters = "") {
        Group* made = manager_->newGroup(0, 0);
        record(made, letters);
        return made;
    }
    void record(Group* into, const char* letters) {
        for (; *letters; ++letters) (new Letter(into, *letters, log_))->doIt();
        log_.clear();
    }
    std::string logged() { return std::exchange(log_, {}); }
    std::string undone() { return manager_->undo(), logged(); }
    std::string redone() { return manager_->redo(), logged(); }

    std::string log_;
    std::unique_ptr<Manager> manager_{zoUndo::newManager()};
};

TEST_F(History, DoItGivesTheCommandAway) {
    (new Letter(nullptr, 'a', log_))->doIt();
    EXPECT_EQ("+a!a~a", logged());
    Group* open = group();
    auto* late = new Letter(open, 'b', log_);
    EXPECT_EQ(open, late->group());
    manager_->deleteLastGroup();
    EXPECT_EQ(nullptr, late->group());
    late->doIt();
    EXPECT_EQ("+b!b~b", logged());

    open = group();
    Letter::failing = 'c';
    (new Letter(open, 'c', log_))->doIt();
    EXPECT_EQ("~c", logged());
    Letter::failing = 'C';
    EXPECT_THROW((new Letter(open, 'c', log_))->doIt(), std::runtime_error);
    EXPECT_EQ("~c", logged());
    Letter::failing = 0;
    EXPECT_EQ(0, open->numCommands());

    auto* twice = new Letter(open, 'd', log_);
    twice->doIt();
    twice->doIt();
    open->add(twice);
    open->add(nullptr);
    EXPECT_EQ(1, open->numCommands());
    EXPECT_EQ("+d+d", logged());
    Group other;
    other.add(new Letter(open, 'e', log_));  // has been performed already, and changes its group
    EXPECT_EQ("", logged());
    EXPECT_EQ(1, other.numCommands());
    delete twice;
    EXPECT_EQ(0, open->numCommands());
    EXPECT_EQ(0, manager_->numBytesUsed());
    EXPECT_FALSE(manager_->canUndo());
}

// A refusal in the middle, then what the next calls play.
TEST_F(History, FailureLeavesTheStepDividedAtTheCommand) {
    for (const bool throws : {false, true}) {
        const char b = throws ? 'B' : 'b';
        const auto play = [&](bool undoing) {
            try {
                EXPECT_FALSE(undoing ? manager_->undo() : manager_->redo());
                EXPECT_FALSE(throws);
            } catch (const std::runtime_error&) {
                EXPECT_TRUE(throws);
            }
            return logged();
        };
        group("x");
        group("abc")->setName("Fillet");
        manager_->setClean();
        Letter::failing = b;
        EXPECT_EQ("-c", play(true));
        EXPECT_EQ("", play(true));
        EXPECT_EQ("Undo Fillet", manager_->undoText());
        EXPECT_EQ("Redo Fillet", manager_->redoText());
        EXPECT_FALSE(manager_->isClean() || manager_->isPlaying());
        EXPECT_EQ("+c", redone());
        EXPECT_TRUE(manager_->isClean());
        EXPECT_EQ("-c", play(true));
        Letter::failing = 0;
        EXPECT_EQ("-b-a", undone());
        Letter::failing = b;
        EXPECT_EQ("+a", play(false));
        EXPECT_EQ("", play(false));
        EXPECT_EQ("-a", undone());
        EXPECT_EQ("+a", play(false));
        Letter::failing = 0;
        group("d");  // gives up what was not redone, and only that
        EXPECT_FALSE(manager_->canRedo());
        EXPECT_EQ("-d", undone());
        EXPECT_EQ("-a", undone());
        EXPECT_EQ("-x", undone());
        manager_->clear();
        EXPECT_EQ("~x~a~d", logged());
    }
}

TEST_F(History, RecordingIntoAnUndoneGroupStartsItAgain) {
    Group* open = group("ab");
    Group* later = group("c");
    undone();
    undone();
    (new Letter(open, 'd', log_))->doIt();
    EXPECT_EQ("+d~c~a~b", logged());
    EXPECT_EQ(open, manager_->getGroup(-1));
    EXPECT_NE(later, manager_->getGroup(0));
    EXPECT_EQ(1, manager_->numGroups());
    EXPECT_EQ(10, manager_->numBytesUsed());
    EXPECT_EQ("-d", undone());
}

TEST_F(History, EmptyGroupsAreNoStepsAndKeepTheRedo) {
    Group* first = group("a");
    group();
    EXPECT_EQ("-a", undone());
    Group* open = group();
    EXPECT_EQ(open, manager_->getGroup(-1));
    EXPECT_EQ(first, manager_->getGroup(1));
    EXPECT_EQ(nullptr, manager_->getGroup(3));
    EXPECT_EQ(nullptr, manager_->getGroup(-2));
    EXPECT_FALSE(manager_->undo());
    manager_->deleteLastGroup();
    EXPECT_EQ("+a", redone());
    EXPECT_FALSE(manager_->redo());
    EXPECT_EQ("-a", undone());
    manager_->deleteLastGroup();  // nothing is left to delete there
    EXPECT_TRUE(manager_->canRedo());
    EXPECT_EQ("Undo", manager_->undoText());
}

TEST_F(History, NewestStepStaysAndCommitMayThrow) {
    Group* outer = group("a");
    group("b");
    record(outer, "c");  // one step with "b"
    manager_->setByteLimit(5);
    EXPECT_EQ("", logged());
    Letter::failing = 'b';
    group("d");
    EXPECT_EQ(10, manager_->numBytesUsed());
    EXPECT_EQ(1, manager_->numGroups());
    manager_->setByteLimit(0);
    group("e");
    undone();
    manager_.reset();
    EXPECT_EQ("!d~d~e", logged());
}

TEST_F(History, SavedMarkGoesWithTheWayBack) {
    group("a");
    manager_->deleteLastGroup();  // its change stays
    EXPECT_FALSE(manager_->isClean());
    manager_->setClean();
    manager_->clear();
    EXPECT_TRUE(manager_->isClean());
}

TEST_F(History, Signals) {
    const auto add = [&](zoRTB::SignalBase& signal, std::function<void()> body) {
        signal.addCallback(new zoRTB::FunctionObject(std::move(body)));
    };
    add(manager_->creationDisableSignal(), [&] { log_ += '|'; });
    add(manager_->groupDestroyedSignal(), [&] { log_ += 'D'; });
    add(manager_->changedSignal(), [&] { log_ += '.'; });
    const auto after = [&](const std::function<void()>& act) { return act(), logged(); };
    Group* g = nullptr;
    EXPECT_EQ("", after([&] { g = manager_->newGroup(0, 0); }));
    EXPECT_EQ("+a.", after([&] { (new Letter(g, 'a', log_))->doIt(); }));
    EXPECT_EQ("|-a|.", after([&] { manager_->undo(); }));
    EXPECT_EQ("", after([&] { manager_->undo(); }));
    Letter::failing = 'a';
    EXPECT_EQ("||", after([&] { manager_->redo(); }));
    Letter::failing = 'A';
    EXPECT_EQ("||", after([&] { EXPECT_THROW(manager_->redo(), std::runtime_error); }));
    Letter::failing = 0;
    EXPECT_EQ("|+a|.", after([&] { manager_->redo(); }));
    EXPECT_EQ(".", after([&] { manager_->setClean(); }));
    EXPECT_EQ("D!a~a.", after([&] { manager_->deleteLastGroup(); }));
    g = manager_->newGroup(0, 0);
    logged();
    EXPECT_EQ("D.", after([&] { delete g; }));
    EXPECT_EQ(0, manager_->numGroups());
}

TEST_F(History, WhatHasLeftEndsAlthoughAListenerThrows) {
    group("a");
    group("b");
    EXPECT_EQ("-b", undone());
    manager_->groupDestroyedSignal().addCallback(new zoRTB::FunctionObject([&] {
        log_ += 'D';
        throw 3;
    }));
    Group* const g = manager_->newGroup(0, 0);
    EXPECT_THROW((new Letter(g, 'c', log_))->doIt(), int);
    EXPECT_EQ("+cD~b", logged());
    EXPECT_THROW(manager_->clear(), int);
    EXPECT_EQ("DD!a~a!c~c", logged());
    delete group("d");
    EXPECT_EQ("D~d", logged());
    group("e");
    Group* late = nullptr;
    manager_->changedSignal().addCallback(new zoRTB::FunctionObject([&, manager = manager_.get()] {
        if (!late) (late = manager->newGroup(0, 0))->add(new Letter(nullptr, 'f', log_));
    }));
    manager_.reset();
    EXPECT_EQ("D!e~e~f", logged());
}

// One of three listeners throws when recording stops (1), when it goes on (2), or both times (3).
TEST_F(History, PlaybacksEndWellAlthoughAListenerThrows) {
    const struct {
        const char* label;
        int throws;
        char failing;
        const char* undone;
        const char* next;  // what can be undone then
    } kRows[] = {{"whole", 2, 0, "</-c-b-a</.", "</-x</."},
                 {"before", 1, 0, "</</", "</-c-b-a</."},
                 {"before and after", 3, 0, "</</", "</-c-b-a</."},
                 {"command refuses", 2, 'b', "</-c</.", "</-b-a</."},
                 {"command throws", 2, 'B', "</-c</.", "</-b-a</."}};
    for (const auto& row : kRows)
        for (const bool joined : {false, true}) {
            SCOPED_TRACE(testing::Message() << row.label << (joined ? ", two groups" : ""));
            manager_.reset(zoUndo::newManager());
            group("x");
            Group* const outer = group(joined ? "a" : "abc");
            if (joined) group("b"), record(outer, "c");
            logged();
            int calls = 0;
            const auto add = [&](zoRTB::SignalBase& signal, std::function<void()> body) {
                signal.addCallback(new zoRTB::FunctionObject(std::move(body)));
            };
            add(manager_->creationDisableSignal(), [&] { log_ += '<'; });
            add(manager_->creationDisableSignal(), [&] {
                if (++calls <= 2 && (calls & row.throws) != 0) throw 4;
            });
            add(manager_->creationDisableSignal(), [&] { log_ += '/'; });
            add(manager_->changedSignal(), [&] { log_ += '.'; });
            Letter::failing = row.failing;
            if (row.failing == 'B')
                EXPECT_THROW(manager_->undo(), std::runtime_error);
            else
                EXPECT_THROW(manager_->undo(), int);
            EXPECT_EQ(row.undone, logged());
            Letter::failing = 0;
            EXPECT_FALSE(manager_->isPlaying());
            EXPECT_EQ(row.next, undone());
        }
}

// Calls everything that changes the history while it is played.
struct Meddler : Command {
    Meddler(Group* group, Manager& manager, std::string& log)
        : Command(group, "m"), manager(manager), log(log) {}
    bool redo() override { return true; }
    bool undo() override {
        EXPECT_TRUE(manager.isPlaying());
        EXPECT_FALSE(manager.canUndo() || manager.canRedo());
        EXPECT_FALSE(manager.undo() || manager.redo());
        EXPECT_EQ(nullptr, manager.newGroup(0, 0));
        (new Letter(group(), 'x', log))->doIt();
        manager.deleteLastGroup();
        manager.clear();
        manager.setGroupLimit(1);
        return true;
    }
    Manager& manager;
    std::string& log;
};

TEST_F(History, NothingChangesTheHistoryWhileItIsPlayed) {
    group("a");
    (new Meddler(group(), *manager_, log_))->doIt();
    EXPECT_TRUE(manager_->undo());
    EXPECT_EQ("+x!x~x", logged());
    EXPECT_EQ(2, manager_->numGroups());
    EXPECT_EQ("-a", undone());
    EXPECT_TRUE(manager_->redo() && manager_->redo());
}

}  // namespace
