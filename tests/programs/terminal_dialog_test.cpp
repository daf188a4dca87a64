// What could break: an end of velaWarning that looks like a button although none was chosen, keys
// that do something else than they say, text that drives the terminal, settings left behind.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "Base/app.h"
#include "KelvoBase/vl_warning.h"
#include "programs/velaWarning/plain_text.h"
#include "tests/support/child_process.h"
#include "tests/support/terminal_test.h"

namespace {

using Words = std::vector<std::string>;
using TerminalDialog = kelvo::test::TerminalTest;
constexpr int kDeadlineSeconds = 30;
const char* const kPrompt = "Esc: none): ";

// Becomes velaWarning.
int runProgram(const Words& options) {
    const std::string path = APP_getBinaryPath("velaWarning").str();
    std::vector<char*> words = {const_cast<char*>(path.c_str())};
    for (const std::string& option : options) words.push_back(const_cast<char*>(option.c_str()));
    words.push_back(nullptr);
    execv(words[0], words.data());
    return 99;
}

// Runs code in a child with a terminal of its own and without a display.
class Session {
  public:
    explicit Session(const std::function<int()>& body) {
        winsize size{};
        size.ws_col = 80;
        size.ws_row = 24;
        pid_ = forkpty(&master_, nullptr, nullptr, &size);
        if (pid_ != 0) return;
        unsetenv("DISPLAY");
        unsetenv("WAYLAND_DISPLAY");
        alarm(kDeadlineSeconds);
        _exit(body());
    }
    explicit Session(const Words& options) : Session([&options] { return runProgram(options); }) {}
    ~Session() { hangUp(); }

    // Reads until the text has been shown behind the one awaited before.
    bool await(const std::string& text) {
        std::size_t place;
        while ((place = shown.find(text, seen_)) == std::string::npos)
            if (!readSome()) return false;
        seen_ = place + text.size();
        return true;
    }
    void type(const std::string& keys) {
        EXPECT_EQ(write(master_, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
    }
    void signal(int number) { kill(pid_, number); }
    void hangUp() {
        if (master_ >= 0) close(master_);
        master_ = -1;
    }
    bool readsKeys() const {
        termios settings{};
        return tcgetattr(master_, &settings) == 0 && (settings.c_lflag & (ICANON | ECHO)) == 0;
    }
    // The exit code, or -signal.
    int end() {
        int status = 0;
        while (master_ >= 0 && readSome()) continue;
        waitpid(pid_, &status, 0);
        return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
    }

    std::string shown;

  private:
    bool readSome() {
        char buffer[4096];
        const ssize_t n = read(master_, buffer, sizeof buffer);
        if (n > 0) shown.append(buffer, static_cast<std::size_t>(n));
        return n > 0;
    }

    pid_t pid_;
    int master_ = -1;
    std::size_t seen_ = 0;
};

Words withButtons(int count, Words options = {"-s", "Question?"}) {
    for (int i = 1; i <= count; ++i) options.insert(options.end(), {"-b", "B" + std::to_string(i)});
    return options;
}

TEST_F(TerminalDialog, KeysChooseAButton) {
    const struct {
        const char* what;
        int buttons;
        const char* keys;
        int code;
    } cases[] = {
        {"second", 3, "2\r", 2},
        {"Enter alone takes the first", 3, "\r", 1},
        {"line feed as Enter", 3, "3\n", 3},
        {"three digits", 125, "125\r", 125},
        {"out of range, then right", 3, "4\r2\r", 2},
        {"zero is no button", 3, "0\r3\r", 3},
        {"erased, beyond the start too", 3, "3\x7F\b\b2\r", 2},
        {"letters and UTF-8 are nothing", 3, "dx\xC3\xA4q2\r", 2},
        {"^S does not stop the terminal", 3, "\x13\x32\r", 2},
        {"cursor keys, Alt and ^Z are nothing", 3, "\x1B[A\x1BOB\x1B[1;5C\x1Bx\x1A\x32\r", 2},
        {"Escape", 3, "\x1B", 0},
        {"Escape behind a digit", 3, "2\x1B", 0},
        {"Escape twice", 3, "\x1B\x1B", 0},
        {"^C", 3, "\x03", 0},
        {"^D", 3, "2\x04", 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        Session session(withButtons(c.buttons));
        ASSERT_TRUE(session.await(kPrompt)) << session.shown;
        EXPECT_TRUE(session.readsKeys());
        session.type(c.keys);
        EXPECT_EQ(session.end(), c.code) << session.shown;
        EXPECT_FALSE(session.readsKeys());
    }
}

TEST_F(TerminalDialog, KeysTypedBeforeTheQuestionAreNotTaken) {
    Session session([] {
        pollfd typed = {STDIN_FILENO, POLLIN, 0};
        poll(&typed, 1, -1);
        return runProgram(withButtons(3));
    });
    session.type("3\r");
    ASSERT_TRUE(session.await(kPrompt));
    session.type("2\r");
    EXPECT_EQ(session.end(), 2);
}

TEST_F(TerminalDialog, FoldsTheDetailsAndStopsAtEachPage) {
    Words options = {"-t", "Title", "-f", "The detail"};
    for (int i = 0; i < 40; ++i) options.insert(options.end(), {"-s", "line" + std::to_string(i)});
    for (const char* key : {" ", "q", "\x1B"}) {
        Session session(withButtons(2, options));
        ASSERT_TRUE(session.await("== Title\r\nline0\r\nline1\r\n"));
        ASSERT_TRUE(session.await("-- 19 more, q: to the buttons --"));
        EXPECT_EQ(session.shown.find("line21"), std::string::npos);
        session.type(key);
        if (*key == '\x1B') {
            EXPECT_EQ(session.end(), 0);
            continue;
        }
        ASSERT_TRUE(session.await("  1  B1\r\n  2  B2\r\n"));
        ASSERT_TRUE(session.await(kPrompt));
        EXPECT_EQ(session.shown.find("line39") != std::string::npos, *key == ' ');
        EXPECT_EQ(session.shown.find("The detail"), std::string::npos);
        session.type("d");
        ASSERT_TRUE(session.await("The detail\r\n"));
        ASSERT_TRUE(session.await(kPrompt));
        session.type("2\r");
        EXPECT_EQ(session.end(), 2);
    }
}

TEST_F(TerminalDialog, SignalsEndItAndBringTheTerminalBack) {
    for (int signal : {SIGTERM, SIGINT, SIGHUP}) {
        Session session(withButtons(3));
        ASSERT_TRUE(session.await(kPrompt));
        session.signal(signal);
        EXPECT_EQ(session.end(), -signal);
        EXPECT_FALSE(session.readsKeys());
    }
    Session session(withButtons(3));
    ASSERT_TRUE(session.await(kPrompt));
    session.hangUp();
    EXPECT_EQ(session.end(), -SIGHUP);
}

TEST_F(TerminalDialog, WithoutAUserItSaysItsTextAndEnds) {
    for (const char* display : {"", ":987", "localhost:987"}) {
        const auto child = kelvo::test::runInChild([&] {
            setsid();  // no controlling terminal
            dup2(open("/dev/null", O_RDONLY), STDIN_FILENO);
            unsetenv("WAYLAND_DISPLAY");
            setenv("DISPLAY", display, 1);
            runProgram({"-t", "T", "-s", "a\x1B[2Jb", "-f", "F", "-b", "OK"});
        });
        EXPECT_EQ(child.exitCode, 0);
        EXPECT_EQ(child.errors,
                  "T:\na\xEF\xBF\xBD[2Jb\nF\n"
                  "velaWarning: nobody to ask (no display, no terminal): OK\n");
    }
    // In the background of a terminal the program would be stopped for ever.
    Session background([] {
        if (fork() == 0) {
            setpgid(0, 0);
            runProgram(withButtons(2));
        }
        int status = 0;
        wait(&status);
        return 50 + WEXITSTATUS(status);
    });
    EXPECT_EQ(background.end(), 50) << background.shown;
}

TEST_F(TerminalDialog, OptionsNeverLookLikeAButton) {
    const struct {
        Words options;
        int code;
        const char* said;
    } cases[] = {
        {{"--help"}, 0, "usage: velaWarning"},
        {{"--version"}, 0, "velaWarning 0."},
        {{"-s", "x"}, 255, "no button"},
        {{"-b", "x"}, 255, "nothing to show"},
        {{"-x", "-s", "x", "-b", "y"}, 255, "unknown option -x"},
        {{"-s", "x", "-b"}, 255, "no value behind -b"},
        {{"-s", "x", "-b", "y", "z"}, 255, "unexpected argument z"},
        {{"-s", "x", "--no-such", "-b", "y"}, 255, "unknown option --no-such"},
        {withButtons(126), 255, "more than 125"},
        {withButtons(300), 0, "more than 125"},
    };
    for (const auto& c : cases) {
        Session session(c.options);
        EXPECT_EQ(session.end(), c.code) << c.said;
        EXPECT_NE(session.shown.find(c.said), std::string::npos) << session.shown;
    }
}

TEST_F(TerminalDialog, AnswersVlWarningFromEndToEnd) {
    const struct {
        const char* keys;
        int pressed;
    } cases[] = {{"2\r", 1}, {"\r", 0}, {"3\r", 2}, {"\x1B", -1}, {"\x03", -1}};
    for (const auto& c : cases) {
        Session session([] {
            return 50 + VL_warning(VL_WARN_TITLE, "T", VL_WARN_LINE, "-b", VL_WARN_BUTTON, "a b",
                                   VL_WARN_BUTTON, "c", VL_WARN_BUTTON, "", VL_WARN_END);
        });
        ASSERT_TRUE(session.await("== T\r\n-b\r\n\r\n  1  a b\r\n  2  c\r\n  3  \r\n"));
        ASSERT_TRUE(session.await(kPrompt));
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
        {"one two three", 5, {"one", "two", "three"}},
        {"a abcdefgh", 3, {"a", "abc", "def", "gh"}},
        {"  indented text", 10, {"  indented", "text"}},
        {"a\tb", 20, {"a       b"}},
        {"\x1B[31m\x07\x7F", 20, {"\uFFFD[31m\uFFFD\uFFFD"}},
        {"\u009B\u202E\xFF", 20, {"\uFFFD\uFFFD\uFFFD"}},
        {"\u65E5\u672C\u8A9E", 4, {"\u65E5\u672C", "\u8A9E"}},
        {"e\u0301e\u0301e", 2, {"e\u0301e\u0301", "e"}},
    };
    for (const auto& c : cases)
        EXPECT_EQ(kelvo::velaWarning::wrapText(c.text, c.columns), c.lines) << c.text;
}

}  // namespace
