// What could break: an answer, an answer that forgets to ask isViewer() virtually, the order of the
// virtual table, who destroys which instance, and a plain function wired to a neighbour.
#include "KelvoBase/behaviour.h"

#include "tests/support/test.h"

namespace {

std::string text(bool answer) {
    return answer ? "yes" : "no";
}
std::string text(const char* answer) {
    return answer ? answer : "(null)";
}
std::string text(double answer) {
    return std::to_string(answer);
}
std::string text(const zoString::CString& answer) {
    return answer.c_str();
}
std::string text(const zoString::IString& answer) {
    return answer.toMultibyte().c_str();
}

// Place of a virtual function in the table of the Itanium C++ ABI, where the destructor takes two.
template <class Function>
std::ptrdiff_t slotOf(Function function) {
    std::ptrdiff_t words[2];
    static_assert(sizeof words == sizeof function);
    std::memcpy(words, &function, sizeof words);
#if defined(__aarch64__)
    return words[0] / static_cast<std::ptrdiff_t>(sizeof(void*)) - 1;
#else
    return (words[0] - 1) / static_cast<std::ptrdiff_t>(sizeof(void*)) - 1;
#endif
}

struct Viewer : VelaBehaviour {
    bool isViewer() const override { return true; }
};

struct Operation {
    const char* what;
    std::ptrdiff_t slot;
    std::function<std::string(VelaBehaviour&)> answer;
    std::string full, viewer;
};

#define OPERATION(name) \
#name, slotOf(&VelaBehaviour::name), [](VelaBehaviour & b) { return text(b.name()); }

const Operation kOperations[] = {
    {OPERATION(isViewer), "no", "yes"},
    {OPERATION(wantSinglePerspWindow), "no", "yes"},
    {OPERATION(isMultipleKelvoSessionsAllowed), "no", "yes"},
    {OPERATION(getProductPrefix), "Vela", "Vela"},
    {OPERATION(getProductIconName), "Vela", "Vela"},
    {OPERATION(userInformationEnabled), "yes", "no"},
    {OPERATION(supportSingleStage), "yes", "no"},
    {OPERATION(documentSettingsOverrideSessionSettings), "no", "no"},
    {OPERATION(largeModelingWindowSize), "no", "no"},
    {OPERATION(paintEnabled), "no", "no"},
    {OPERATION(enablePaintUI), "no", "no"},
    {OPERATION(paintOnOverlaysOnly), "no", "no"},
    {OPERATION(paintAddBookmarkToOverlays), "no", "no"},
    {OPERATION(autoKelvoWindows), "no", "no"},
    {OPERATION(getUserPrefsFileName), "UserPrefs", "UserPrefs"},
    {OPERATION(getUserOptionsFileName), "user_options", "KelvoViewer_user_options"},
    {OPERATION(getBrowserPrefsFileName), ".VelaBrowserPrefs", "KelvoViewerBrowserPrefs"},
    {OPERATION(getHelpFileName), "Help.hta", "KelvoViewer.chm"},
    {OPERATION(getVelaPrefsFilename), "VelaPrefs.scm", "VelaPrefs.scm"},
    {OPERATION(modelingWindowScale), "1.000000", "1.000000"},
    {OPERATION(splashAtStartup), "no", "no"},
    {OPERATION(enableNukeAllOnRetrieve), "no", "yes"},
    {OPERATION(saveOnExit), "yes", "no"},
    {OPERATION(hardwareReflectionsEnabled), "yes", "yes"},
};
#undef OPERATION

class Behaviour : public testing::Test {
  protected:
    void TearDown() override { VelaBehaviour::set(nullptr); }
};

TEST_F(Behaviour, AnswersByKindOfApplication) {
    for (const Operation& operation : kOperations) {
        SCOPED_TRACE(operation.what);
        VelaBehaviour::set(nullptr);
        EXPECT_EQ(operation.full, operation.answer(*VelaBehaviour::get()));
        VelaBehaviour::set(new Viewer);
        EXPECT_EQ(operation.viewer, operation.answer(*VelaBehaviour::get()));
    }
}

TEST_F(Behaviour, TableKeepsItsOrder) {
    std::ptrdiff_t slot = 0;  // the destructor
    for (const Operation& operation : kOperations)
        EXPECT_EQ(++slot, operation.slot) << operation.what;
    EXPECT_EQ(sizeof(void*), sizeof(VelaBehaviour));
}

TEST_F(Behaviour, PlainFunctionsAskTheCurrentInstance) {
    struct Contrary : VelaBehaviour {
        zoString::IString getProductIconName() override { return L"\u00efcon"; }
        const char* getUserPrefsFileName() const override { return "prefs"; }
        const char* getBrowserPrefsFileName() override { return "browser"; }
        double modelingWindowScale() override { return 0.5; }
    };
    EXPECT_STREQ("UserPrefs", VelaBehaviour_getUserPrefsFileName());
    VelaBehaviour::set(new Contrary);
    EXPECT_STREQ("prefs", VelaBehaviour_getUserPrefsFileName());
    EXPECT_STREQ("browser", VelaBehaviour_getBrowserPrefsFileName());
    EXPECT_EQ(0.5, VelaBehaviour_modelingWindowScale());
    char* icon = VelaBehaviour_getProductIconName();
    EXPECT_STREQ("\u00efcon", icon);
    std::free(icon);
}

TEST_F(Behaviour, PlainFlagsAreNotMixedUp) {
    struct OneFlag : VelaBehaviour {
        int flag = 0;
        bool documentSettingsOverrideSessionSettings() override { return flag == 0; }
        bool largeModelingWindowSize() override { return flag == 1; }
        bool paintEnabled() const override { return flag == 2; }
        bool enablePaintUI() const override { return flag == 3; }
        bool autoKelvoWindows() override { return flag == 4; }
        bool wantSinglePerspWindow() override { return flag == 5; }
        bool isViewer() const override { return flag == 6; }
        bool enableNukeAllOnRetrieve() const override { return flag == 7; }
        bool saveOnExit() const override { return flag == 8; }
    };
    bool (*const kFlags[])() = {VelaBehaviour_documentSettingsOverrideSessionSettings,
                                VelaBehaviour_largeModelingWindowSize,
                                VelaBehaviour_paintEnabled,
                                VelaBehaviour_enablePaintUI,
                                VelaBehaviour_autoKelvoWindows,
                                VelaBehaviour_wantSinglePerspWindow,
                                VelaBehaviour_isViewer,
                                VelaBehaviour_enableNukeAllOnRetrieve,
                                VelaBehaviour_saveOnExit};
    auto* behaviour = new OneFlag;
    VelaBehaviour::set(behaviour);
    for (int raised = 0; raised < 9; ++raised) {
        behaviour->flag = raised;
        for (int asked = 0; asked < 9; ++asked)
            EXPECT_EQ(asked == raised, kFlags[asked]()) << asked << ' ' << raised;
    }
}

struct Mortal : VelaBehaviour {
    explicit Mortal(std::string* log, std::string name) : log_(log), name_(std::move(name)) {}
    ~Mortal() override { *log_ += name_; }
    std::string* log_;
    std::string name_;
};

TEST_F(Behaviour, CurrentInstanceIsOwned) {
    std::string dead;
    auto* first = new Mortal(&dead, "1");
    auto* second = new Mortal(&dead, "2");
    VelaBehaviour::set(first);
    EXPECT_EQ(first, VelaBehaviour::get());
    VelaBehaviour::set(first);  // already there
    EXPECT_EQ("", dead);
    VelaBehaviour::set(second);
    EXPECT_EQ("1", dead);
    EXPECT_EQ(second, VelaBehaviour::get());
    VelaBehaviour::set(nullptr);
    EXPECT_EQ("12", dead);
    EXPECT_FALSE(VelaBehaviour_isViewer());
    EXPECT_NE(nullptr, VelaBehaviour::get());
}

TEST_F(Behaviour, DestructorMayAskForAndSetTheCurrentInstance) {
    struct Nosy : VelaBehaviour {
        explicit Nosy(std::string* log) : log_(log) {}
        ~Nosy() override {
            EXPECT_NE(this, VelaBehaviour::get());
            VelaBehaviour::set(new Mortal(log_, "brief "));
        }
        std::string* log_;
    };
    std::string dead;
    auto* next = new Mortal(&dead, "next");
    VelaBehaviour::set(new Nosy(&dead));
    VelaBehaviour::set(next);
    EXPECT_EQ("brief ", dead);
    EXPECT_EQ(next, VelaBehaviour::get());

    delete next;  // by its maker: none is left, and nothing dangles
    EXPECT_EQ("brief next", dead);
    EXPECT_FALSE(VelaBehaviour::get()->isViewer());
}

}  // namespace
