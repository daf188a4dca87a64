// What could break: an end of velaWarning that looks like a button although none was chosen, keys
// that do something else than they say, text that drives the terminal, settings left behind.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <string>
#include <vector>

#include "Base/app.h"
#include "KelvoBase/vl_warning.h"
#include "programs/velaWarning/plain_text.h"
#include "tests/programs/pty_session.h"
#include "tests/support/child_process.h"

namespace {

using kelvo::test::PtySession;
using Words = std::vector<std::string>;

Words command(const Words& options) {
    Words words = {APP_getBinaryPath("velaWarning").str()};
    words.insert(words.end(), options.begin(), options.end());
    return words;
}

Words withButtons(int count, Words options = {"-s", "Question?"}) {
    for (int i = 1; i <= count; ++i) options.insert(options.end(), {"-b", "B" + std::to_string(i)});
    return command(options);
}

TEST(TerminalDialog, KeysChooseAButton) {
    const struct {
        const char* what;
        int buttons;
        const char* keys;
        int code;
    } cases[] = {
        {"second", 3, "2\r", 2},
        {"Enter alone takes the first", 3, "\r", 1},
        {"line feed as Enter", 3, "3\n", 3},
        {"two digits", 20, "17\r", 17},
        {"three digits", 125, "125\r", 125},
        {"leading zeros", 3, "002\r", 2},
        {"out of range, then right", 3, "4\r2\r", 2},
        {"zero is no button", 3, "0\r3\r", 3},
        {"erased", 3,
         "3\x7F"
         "2\r",
         2},
        {"erased beyond the start", 3, "3\b\b\b2\r", 2},
        {"letters and UTF-8 are nothing", 3, "x\xC3\xA4q2\r", 2},
        {"cursor keys are nothing", 3, "\x1B[A\x1BOB\x1B[1;5C2\r", 2},
        {"Alt with a key is nothing", 3, "\x1Bx2\r", 2},
        {"Escape", 3, "\x1B", 0},
        {"Escape behind a digit", 3, "2\x1B", 0},
        {"Escape twice", 3, "\x1B\x1B", 0},
        {"^C", 3, "\x03", 0},
        {"^D", 3, "2\x04", 0},
        {"^Z is nothing", 3,
         "\x1A"
         "2\r",
         2},
        {"d without details", 3, "d2\r", 2},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        PtySession session(withButtons(c.buttons));
        ASSERT_TRUE(session.await("Esc: none): ")) << session.shown();
        EXPECT_TRUE(session.readsKeys());
        session.type(c.keys);
        EXPECT_EQ(session.end(), c.code) << session.shown();
        EXPECT_FALSE(session.readsKeys());
    }
}

TEST(TerminalDialog, ShowsTitleLinesAndButtonsButFoldsTheDetails) {
    PtySession session(command({"-t", "Title", "-s",
                                "First gr\xC3\xB6\xC3\x9F"
                                "er",
                                "-s", "Second", "-f", "The detail", "-b", "Save", "-b", "Cancel"}));
    ASSERT_TRUE(
        session.await("== Title\r\nFirst gr\xC3\xB6\xC3\x9F"
                      "er\r\nSecond\r\n"));
    ASSERT_TRUE(session.await("  1  Save\r\n  2  Cancel\r\n"));
    ASSERT_TRUE(session.await("Button 1-2 (Enter: 1, d: details, Esc: none): "));
    EXPECT_EQ(session.shown().find("The detail"), std::string::npos);
    session.type("d");
    ASSERT_TRUE(session.await("The detail\r\n"));
    ASSERT_TRUE(session.await("Esc: none): "));
    session.type("2\r");
    EXPECT_EQ(session.end(), 2);
}

TEST(TerminalDialog, LongMessagesStopAtEachPage) {
    Words options;
    for (int i = 0; i < 100; ++i) options.insert(options.end(), {"-s", "line" + std::to_string(i)});
    const struct {
        const char* what;
        const char* keyAtPage;
        const char* last;  // shown then
        int code;
    } cases[] = {
        {"on", " ", "line99\r\n", 2}, {"skip", "q", "  1  B1", 2}, {"give up", "\x1B", "", 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        PtySession session(withButtons(2, options));
        for (int page = 0; page < 8; ++page) {
            if (!session.await(" more, q: to the buttons --")) break;
            EXPECT_TRUE(page > 0 || session.shown().find("line24") == std::string::npos);
            session.type(c.keyAtPage);
            if (*c.keyAtPage != ' ' || session.shown().find("-- 9 more") != std::string::npos)
                break;
        }
        if (c.code != 0) {
            ASSERT_TRUE(session.await(c.last)) << session.shown();
            ASSERT_TRUE(session.await("Esc: none): "));
            session.type("2\r");
        }
        EXPECT_EQ(session.end(), c.code);
    }
}

TEST(TerminalDialog, SignalsEndItAndBringTheTerminalBack) {
    for (int signal : {SIGTERM, SIGHUP, SIGINT, SIGQUIT}) {
        PtySession session(withButtons(3));
        ASSERT_TRUE(session.await("Esc: none): "));
        session.signal(signal);
        EXPECT_EQ(session.end(), -signal);
        EXPECT_FALSE(session.readsKeys());
    }
    PtySession session(withButtons(3));
    ASSERT_TRUE(session.await("Esc: none): "));
    session.hangUp();
    EXPECT_EQ(session.end(), -SIGHUP);
}

TEST(TerminalDialog, KeysTypedBeforeAreNotTaken) {
    PtySession session([] {
        usleep(200000);
        const Words words = withButtons(2);
        execl(words[0].c_str(), words[0].c_str(), "-s", "x", "-b", "a", "-b", "b", nullptr);
        return 99;
    });
    session.type("1\r\n");
    ASSERT_TRUE(session.await("Esc: none): "));
    session.type("2\r");
    EXPECT_EQ(session.end(), 2);
}

// In the background of a terminal the program would be stopped for ever.
TEST(TerminalDialog, WithoutAUserItSaysItsTextAndEnds) {
    const Words words = command({"-t", "T", "-s", "a\x1B[2Jb", "-f", "F", "-b", "OK"});
    const std::string text =
        "T:\na\xEF\xBF\xBD[2Jb\nF\n"
        "velaWarning: nobody to ask (no display, no terminal): OK\n";
    for (const char* display : {"", ":987", "localhost:987"}) {
        SCOPED_TRACE(display);
        const auto child = kelvo::test::runInChild([&] {
            setsid();  // no controlling terminal
            close(STDIN_FILENO);
            open("/dev/null", O_RDONLY);
            unsetenv("WAYLAND_DISPLAY");
            setenv("DISPLAY", display, 1);
            execl(words[0].c_str(), "velaWarning", "-t", "T", "-s", words[4].c_str(), "-f", "F",
                  "-b", "OK", nullptr);
        });
        EXPECT_EQ(child.exitCode, 0);
        EXPECT_EQ(child.errors, text);
    }
    PtySession background([] {
        if (fork() == 0) {
            setpgid(0, 0);
            const std::string path = APP_getBinaryPath("velaWarning").str();
            execl(path.c_str(), path.c_str(), "-s", "x", "-b", "a", nullptr);
        }
        int status = 0;
        wait(&status);
        return WIFEXITED(status) ? 50 + WEXITSTATUS(status) : 99;
    });
    EXPECT_EQ(background.end(), 50) << background.shown();
}

TEST(TerminalDialog, OptionsNeverLookLikeAButton) {
    const Words tooMany = withButtons(126), farTooMany = withButtons(300);
    const struct {
        Words words;
        int code;
        const char* said;
    } cases[] = {
        {command({"--help"}), 0, "usage: velaWarning"},
        {command({"--version"}), 0, "velaWarning 0."},
        {command({}), 255, "no button"},
        {command({"-s", "x"}), 255, "no button"},
        {command({"-b", "x"}), 255, "nothing to show"},
        {command({"-x", "-s", "x", "-b", "y"}), 255, "unknown option -x"},
        {command({"-s", "x", "-b"}), 255, "no value behind -b"},
        {command({"-s", "x", "-b", "y", "z"}), 255, "unexpected argument z"},
        {command({"-s", "x", "--no-such", "-b", "y"}), 255, "unknown option --no-such"},
        {tooMany, 255, "more than 125"},
        {farTooMany, 0, "more than 125"},
    };
    for (const auto& c : cases) {
        PtySession session(c.words);
        EXPECT_EQ(session.end(), c.code) << c.said;
        EXPECT_NE(session.shown().find(c.said), std::string::npos) << session.shown();
    }
}

TEST(TerminalDialog, AnswersVlWarningFromEndToEnd) {
    const struct {
        const char* keys;
        int pressed;
    } cases[] = {{"2\r", 1}, {"\r", 0}, {"3\r", 2}, {"\x1B", -1}, {"\x03", -1}};
    for (const auto& c : cases) {
        PtySession session([] {
            return 50 + VL_warning(VL_WARN_TITLE, "T", VL_WARN_LINE, "-b", VL_WARN_BUTTON, "a b",
                                   VL_WARN_BUTTON, "c", VL_WARN_BUTTON, "", VL_WARN_END);
        });
        ASSERT_TRUE(session.await("== T\r\n-b\r\n\r\n  1  a b\r\n  2  c\r\n  3  \r\n"))
            << session.shown();
        ASSERT_TRUE(session.await("Esc: none): "));
        session.type(c.keys);
        EXPECT_EQ(session.end(), 50 + c.pressed);
    }
}

TEST(PlainText, WrapsAndDisarms) {
    kelvo::velaWarning::useUnicode();
    const struct {
        const char* text;
        int columns;
        Words lines;
    } cases[] = {
        {"", 10, {""}},
        {"a\n\nb\n", 10, {"a", "", "b", ""}},
        {"one two three", 7, {"one two", "three"}},
        {"one two three", 8, {"one two", "three"}},
        {"one two three", 5, {"one", "two", "three"}},
        {"abcdefgh", 3, {"abc", "def", "gh"}},
        {"a abcdefgh", 3, {"a", "abc", "def", "gh"}},
        {"  indented text", 10, {"  indented", "text"}},
        {"a\tb", 20, {"a       b"}},
        {"\x1B[31m\x07\x7F", 20, {"\xEF\xBF\xBD[31m\xEF\xBF\xBD\xEF\xBF\xBD"}},
        {"\xC2\x9B"
         "1m \xFF \xE2\x80\xAE",
         20,
         {"\xEF\xBF\xBD"
          "1m \xEF\xBF\xBD \xEF\xBF\xBD"}},
        {"\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E", 4, {"\xE6\x97\xA5\xE6\x9C\xAC", "\xE8\xAA\x9E"}},
        {"e\xCC\x81"
         "e\xCC\x81"
         "e",
         2,
         {"e\xCC\x81"
          "e\xCC\x81",
          "e"}},
    };
    for (const auto& c : cases)
        EXPECT_EQ(kelvo::velaWarning::wrapText(c.text, c.columns), c.lines) << c.text;
}

}  // namespace
