// What could break: the crossed flags, the bounds of the stack, who is asked on a pop, the texts of
// the guards, and a group that dies while it is on the stack.
#include "KelvoBase/vl_undo.h"

#include "tests/support/child_process.h"
#include "tests/support/report_capture.h"
#include "tests/support/test.h"

namespace {

using namespace kelvo::test;
using zoKelvoBase::undoGetGroup;

TEST(UndoFlags, BothSettersSetTheUndoFlag) {
    for (auto* set : {VL_undo_set_in_undo, VL_undo_set_in_redo})
        for (const bool value : {true, false}) {
            set(value);
            EXPECT_EQ(value, VL_undo_in_undo());
            EXPECT_FALSE(VL_undo_in_redo());
            EXPECT_EQ(value ? 1 : 0, VL_undo_is_active());
        }
}

TEST(UndoStack, VirginStateHasNoManager) {
    EXPECT_TRUE(passesInChild([] {
        EXPECT_EQ(nullptr, zoUndo::getInstalledManager());
        EXPECT_EQ(nullptr, VL_undo_new_group(1, 2));
        EXPECT_EQ(0, VL_undo_get_num_groups());
        EXPECT_EQ(nullptr, VL_undo_get_group());
        EXPECT_EQ(nullptr, undoGetGroup());
        EXPECT_EQ(nullptr, VL_undo_push_new_group(1, 2));
        EXPECT_EQ(1, VL_undo_get_num_groups());
        VL_undo_pop_group(true);
        zoUndo::Group alone;
        VL_undo_push_group(&alone);
        EXPECT_EQ(&alone, undoGetGroup());
        VL_undo_pop_group(true);
        VL_undo_push_group(&alone);
        VL_undo_creation_disable(false);
        for (int i = 0; i < 3; ++i) {
            VL_undo_pop_group(true);
            VL_undo_creation_disable(false);
        }
        EXPECT_EQ(0, VL_undo_get_num_groups());
    }));
}

TEST(UndoStack, EntriesBeyondTheTenthAreCountedAndNull) {
    EXPECT_TRUE(passesInChild([] {
        std::vector<zoUndo::Group> groups(13);
        for (std::size_t i = 0; i < groups.size(); ++i) {
            VL_undo_push_group(&groups[i]);
            EXPECT_EQ(static_cast<int>(i) + 1, VL_undo_get_num_groups());
            EXPECT_EQ(i < 10 ? &groups[i] : nullptr, VL_undo_get_group());
        }
        for (std::size_t i = groups.size(); i-- > 0;) {
            EXPECT_EQ(i < 10 ? &groups[i] : nullptr, undoGetGroup());
            VL_undo_pop_group(false);
        }
        EXPECT_EQ(0, VL_undo_get_num_groups());
    }));
}

// Counts what the layer asks of it.
struct CountingManager : zoUndo::Manager {
    zoUndo::Group* getGroup(int index) override {
        asked.push_back(index);
        return Manager::getGroup(index);
    }
    void deleteLastGroup() override {
        ++deleted;
        Manager::deleteLastGroup();
    }
    std::vector<int> asked;
    int deleted = 0;
};

struct Nothing : zoUndo::Command {
    using Command::Command;
    bool redo() override { return true; }
    bool undo() override { return true; }
};

TEST(UndoStack, PopsAskForTheNewestGroupAndDiscardOnlyThat) {
    EXPECT_TRUE(passesInChild([] {
        CountingManager manager;
        zoUndo::installManager(&manager);
        const struct {
            const char* label;
            bool discard, record, inner, pushNull;
            int asked, deleted;
        } kCases[] = {
            {"empty, kept", false, false, false, false, 1, 0},
            {"empty, discarded", true, false, false, false, 1, 1},
            {"filled", true, true, false, false, 1, 0},
            {"not the newest", true, false, true, false, 1, 0},
            {"null", true, false, false, true, 0, 0},
        };
        for (const auto& c : kCases) {
            SCOPED_TRACE(c.label);
            zoUndo::Group* group = VL_undo_push_new_group(std::numeric_limits<zoUndo::Word>::min(),
                                                          reinterpret_cast<zoUndo::Word>(&c));
            EXPECT_EQ(std::numeric_limits<zoUndo::Word>::min(), group->firstWord());
            EXPECT_EQ(reinterpret_cast<zoUndo::Word>(&c), group->secondWord());
            if (c.record) (new Nothing(undoGetGroup(), "n"))->doIt();
            if (c.inner) VL_undo_new_group(0, 0);
            if (c.pushNull) VL_undo_push_group(nullptr);
            const int groups = manager.numGroups();
            manager.asked.clear();
            manager.deleted = 0;
            VL_undo_pop_group(c.discard);
            EXPECT_EQ(std::vector<int>(static_cast<std::size_t>(c.asked), -1), manager.asked);
            EXPECT_EQ(c.deleted, manager.deleted);
            EXPECT_EQ(groups - c.deleted, manager.numGroups());
        }
        // Enabling asks too when it finds a group, and does nothing with the answer.
        VL_undo_push_new_group(0, 0);
        manager.asked.clear();
        VL_undo_creation_disable(false);
        EXPECT_EQ(std::vector<int>{-1}, manager.asked);
        VL_undo_creation_disable(true);
        VL_undo_creation_disable(false);
        EXPECT_EQ(std::vector<int>{-1}, manager.asked);
    }));
}

TEST(UndoStack, InitConnectsTheManager) {
    EXPECT_TRUE(passesInChild([] {
        zoUndo::Manager before;
        zoUndo::installManager(&before);
        zoKelvoBase::undoInit();
        zoUndo::Manager* manager = zoUndo::getInstalledManager();
        ASSERT_TRUE(manager && manager != &before);

        zoUndo::Group* first = VL_undo_push_new_group(1, 0);
        zoUndo::Group* second = VL_undo_push_new_group(2, 0);
        VL_undo_push_group(first);
        VL_undo_pop_group(false);  // an entry above the depth: must not come back either
        manager->creationDisableSignal().emitValue(true);
        EXPECT_EQ(nullptr, undoGetGroup());
        manager->creationDisableSignal().emitValue(false);
        EXPECT_EQ(second, undoGetGroup());
        manager->groupDestroyedSignal().emitValue<zoUndo::Group*>(nullptr);
        VL_undo_push_group(first);
        manager->clear();
        EXPECT_EQ(3, VL_undo_get_num_groups());
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(nullptr, undoGetGroup());
            VL_undo_pop_group(true);
        }
        delete manager;
        EXPECT_EQ(nullptr, zoUndo::getInstalledManager());
    }));
}

TEST(UndoGuards, ReportWordForWord) {
    EXPECT_TRUE(passesInChild([] {
        ReportCapture capture;
        const auto reported = [&] {
            const std::string text = capture.text(rptKind::kUndo);
            EXPECT_EQ(text, capture.text());
            capture.clear();
            return text;
        };
        VL_undo_call_supported("move");
        EXPECT_EQ("UNSAFE call move\n", reported());
        zoUndo::Group group;
        VL_undo_push_group(&group);
        VL_undo_call_supported("move");
        EXPECT_EQ("", reported());
        VL_undo_creation_disable(true);
        VL_undo_call_supported("100%d");
        EXPECT_EQ("UNSAFE call 100%d\n", reported());
        VL_undo_call_supported(nullptr);
        EXPECT_EQ("UNSAFE call (null)\n", reported());

        const struct {
            const char *name, *file;
            int line;
            const char* text;
        } kCases[] = {
            {"op", "dir\\sub\\file.c", 42, "UNSUPPORTED op from file.c line 42\n"},
            {"op", "dir/file.c", -1, "UNSUPPORTED op from dir/file.c line -1\n"},
            {"op", "a\\b/c", 0, "UNSUPPORTED op from b/c line 0\n"},
            {"", "dir\\", 7, "UNSUPPORTED  from  line 7\n"},
            {nullptr, nullptr, 1, "UNSUPPORTED (null) from (null) line 1\n"},
        };
        for (const auto& c : kCases) {
            VL_undo_call_unsupported(c.name, true, c.file, c.line);
            EXPECT_EQ(c.text, reported());
            VL_undo_call_unsupported(c.name, false, c.file, c.line);
            EXPECT_EQ("", reported());
        }
    }));
}

}  // namespace
