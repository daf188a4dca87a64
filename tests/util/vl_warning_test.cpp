// What could break: the command line of the warning program, the mapping of its end to a button, and
// the reading of tags and values. A script stands in for the program: it writes down its arguments
// and ends as told.
#include "KelvoBase/vl_warning.h"

#include <filesystem>
#include <fstream>

#include "Base/app.h"
#include "tests/support/temporary_directory.h"
#include "tests/support/test.h"

namespace {

namespace fs = std::filesystem;
using Words = std::vector<std::string>;
using zoKelvoBase::VelaWarningParams;

class Warning : public testing::Test {
  protected:
    Warning() {
        APP_setBinaryDirectory(directory_.path().c_str());
        endWith("exit 1");
    }
    ~Warning() override { APP_setBinaryDirectory(nullptr); }

    void endWith(const std::string& command) {
        const std::string script = directory_ / "velaWarning";
        kelvo::test::writeFile(
            script, "#!/bin/sh\nprintf '%s\\0' \"$@\" >\"${0%/*}/arguments\"\n" + command + "\n");
        fs::permissions(script, fs::perms::owner_all);
    }
    // The arguments of the last run; empty without one.
    Words arguments() const {
        std::ifstream file(directory_ / "arguments");
        Words words;
        for (std::string word; std::getline(file, word, '\0');) words.push_back(word);
        fs::remove(directory_ / "arguments");
        return words;
    }

    const kelvo::test::TemporaryDirectory directory_;
};

TEST_F(Warning, CommandLineInItsOrder) {
    VelaWarningParams params;
    params.buttons = {"Save", "", "Don't save"};
    params.detail = "de\ntail";
    params.lines = {"-t", "", "$HOME \"quoted\" \xC3\xA4"};
    params.title = "A title";
    EXPECT_EQ(VL_warning(params), 0);
    const Words expected = {
        "-t", "A title",  "-s", "-t",   "-s", "", "-s", "$HOME \"quoted\" \xC3\xA4",
        "-f", "de\ntail", "-b", "Save", "-b", "", "-b", "Don't save"};
    EXPECT_EQ(arguments(), expected);
}

TEST_F(Warning, EndOfTheProgramNamesTheButton) {
    const struct {
        const char* end;
        int pressed;
    } cases[] = {{"exit 1", 0},  {"exit 2", 1},    {"exit 3", 2},      {"exit 0", -1},
                 {"exit 4", -1}, {"exit 255", -1}, {"kill -9 $$", -1}, {"kill -1 $$", -1}};
    for (const auto& c : cases) {
        endWith(c.end);
        EXPECT_EQ(VL_warning(VL_WARN_LINE, "?", VL_WARN_BUTTON, "a", VL_WARN_BUTTON, "b",
                             VL_WARN_BUTTON, "c", VL_WARN_END),
                  c.pressed)
            << c.end;
        EXPECT_EQ(arguments().size(), 8U);
    }
    APP_setBinaryDirectory("/nonexistent");
    EXPECT_EQ(VL_warning_ok("x"), -1);
}

TEST_F(Warning, NothingToShowOrToPressRunsNothing) {
    const struct {
        Words lines;
        const char* detail;
        Words buttons, arguments;
    } cases[] = {
        {{}, "", {}, {}},
        {{"x"}, "y", {}, {}},
        {{}, "", {"OK"}, {}},
        {{""}, "", {"OK"}, {"-t", "title", "-s", "", "-b", "OK"}},
        {{}, "y", {"OK"}, {"-t", "title", "-f", "y", "-b", "OK"}},
    };
    for (const auto& c : cases) {
        VelaWarningParams params;
        params.title = "title";
        params.lines.assign(c.lines.begin(), c.lines.end());
        params.detail = c.detail;
        params.buttons.assign(c.buttons.begin(), c.buttons.end());
        EXPECT_EQ(VL_warning(params), c.arguments.empty() ? -1 : 0);
        EXPECT_EQ(arguments(), c.arguments);
    }
}

TEST_F(Warning, TagsAndValues) {
    const char* none = nullptr;
    VL_warning(VL_WARN_BUTTON, "b1", VL_WARN_TITLE, "t1", VL_WARN_LINE, "s1", 5, "five", -1,
               "minus", VL_WARN_DETAIL, "f1", 1000, none, VL_WARN_LINE, none, VL_WARN_TITLE, "t2",
               VL_WARN_DETAIL, "f2", VL_WARN_BUTTON, none, VL_WARN_END);
    const Words last = {"-t", "t2", "-s", "s1", "-s", "", "-f", "f2", "-b", "b1", "-b", ""};
    EXPECT_EQ(arguments(), last);
    // Null is an empty text for title and detail too: they are gone again.
    VL_warning(VL_WARN_TITLE, "t", VL_WARN_DETAIL, "f", VL_WARN_TITLE, none, VL_WARN_DETAIL, none,
               VL_WARN_LINE, "s", VL_WARN_BUTTON, "b", VL_WARN_END);
    EXPECT_EQ(arguments(), (Words{"-s", "s", "-b", "b"}));
    EXPECT_EQ(VL_warning(VL_WARN_END), -1);
    EXPECT_EQ(arguments(), Words());
}

TEST_F(Warning, ButtonsFromAnArrayAndTheOneButton) {
    const char* labels[] = {"one", nullptr};
    VL_warning_buttons(2, labels, VL_WARN_LINE, "s", VL_WARN_BUTTON, "three", VL_WARN_END);
    EXPECT_EQ(arguments(), (Words{"-s", "s", "-b", "one", "-b", "", "-b", "three"}));
    for (int count : {0, -1}) {
        VL_warning_buttons(count, labels, VL_WARN_LINE, "s", VL_WARN_BUTTON, "b", VL_WARN_END);
        EXPECT_EQ(arguments(), (Words{"-s", "s", "-b", "b"}));
    }
    EXPECT_EQ(VL_warning_buttons(2, nullptr, VL_WARN_LINE, "s", VL_WARN_END), -1);
    EXPECT_EQ(VL_warning_ok("x"), 0);
    EXPECT_EQ(arguments(), (Words{"-s", "x", "-b", "OK"}));
}

}  // namespace
