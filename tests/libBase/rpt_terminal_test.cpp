// What could break: the status line and the Escape key on a real terminal. Every case runs in a
// child whose stdin and stderr are a pseudo-terminal of its own.
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>

#include "Base/rpt.h"
#include "tests/libBase/play_reports.h"
#include "tests/support/terminal_test.h"

namespace {

using Body = std::function<void()>;
using Status = kelvo::test::TerminalTest;
using CheckAbort = kelvo::test::TerminalTest;

struct Shown {
    int exitCode = -1;
    std::string text;
};

// Runs `body` on a terminal of this width on which `keys` have been typed already. The body ends
// the child by its exit code.
Shown runOnTerminal(const Body& body, const std::string& keys = "", unsigned short columns = 80,
                    const char* kind = "xterm") {
    winsize size{};
    size.ws_col = columns;
    int master = -1, ready[2];
    if (pipe(ready) != 0) return {};
    std::fflush(nullptr);
    const pid_t pid = forkpty(&master, nullptr, nullptr, &size);
    if (pid == 0) {
        setenv("TERM", kind, 1);
        termios plain;  // output as written, input not shown
        tcgetattr(STDIN_FILENO, &plain);
        plain.c_oflag &= ~static_cast<tcflag_t>(OPOST);
        plain.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        tcsetattr(STDIN_FILENO, TCSANOW, &plain);
        alarm(30);
        if (write(ready[1], "!", 1) == 1) body();
        _exit(0);
    }
    close(ready[1]);
    char buffer[4096];
    Shown shown;
    const auto typed = static_cast<ssize_t>(keys.size());
    EXPECT_EQ(1, read(ready[0], buffer, 1));
    EXPECT_EQ(typed, write(master, keys.data(), keys.size()));
    close(ready[0]);
    for (ssize_t n; (n = read(master, buffer, sizeof buffer)) > 0;)
        shown.text.append(buffer, static_cast<std::size_t>(n));
    int status = 0;
    waitpid(pid, &status, 0);
    if (WIFEXITED(status)) shown.exitCode = WEXITSTATUS(status);
    close(master);
    return shown;
}

// Polls for a while, as keys take their time through the terminal; true once the user aborts.
bool abortComes() {
    for (int i = 0; i < 30; ++i) {
        if (rptCheckAbort() != 0) return true;
        rptSleep(10);
    }
    return false;
}

TEST_F(Status, KeepsOneLineOfTheTerminal) {
    const struct {
        const char* what;
        const char* reports;
        const char* shown;
    } cases[] = {
        {"replaced in place", "sfirst|s2nd", "\rfirst\033[K\r2nd\033[K"},
        {"cleared before an error", "sa|eb\n", "\ra\033[K\r\033[Kb\n"},
        {"cleared before a message", "sa|ub", "\ra\033[K\r\033[Kb\n"},
        {"cleared before debug texts", "sa|db\n", "\ra\033[K\r\033[Kb\n"},
        {"not glued to an open line", "ehalf|sa", "half\n\ra\033[K"},
        {"no control characters", "sa\tb\033[2Jc\xC2\x9B\n", "\ra b [2Jc \033[K"},
        {"fits", "s123456789", "\r123456789\033[K"},
        {"cut", "s1234567890", "\r123456789\033[K"},
        {"letters of two bytes", "s12345678\xC3\xA4\xC3\xB6", "\r12345678\xC3\xA4\033[K"},
        {"wide letter fits", "s1234567\xE6\xBC\xA2!", "\r1234567\xE6\xBC\xA2\033[K"},
        {"wide letter does not fit", "s12345678\xE6\xBC\xA2", "\r12345678\033[K"},
        {"accent takes no column", "s12345678o\xCC\x88!", "\r12345678o\xCC\x88\033[K"},
        {"no UTF-8", "s1234567\xFF\xC3", "\r1234567??\033[K"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(c.shown, runOnTerminal([&c] { play(c.reports); }, "", 10).text);
    }
}

TEST_F(Status, IsALineOnSimpleTerminals) {
    const auto body = [] { play("sa|sb"); };
    for (const char* kind : {"dumb", ""})
        EXPECT_EQ("a\nb\n", runOnTerminal(body, "", 80, kind).text);
}

TEST_F(Status, StaysReadableAtExit) {
    const Shown shown = runOnTerminal([] {
        rptStatus("100%%");
        std::exit(0);
    });
    EXPECT_EQ("\r100%\033[K\n", shown.text);
}

TEST_F(CheckAbort, KnowsEscapeFromOtherKeys) {
    const struct {
        const char *what, *keys;
        bool aborts;
    } cases[] = {
        {"nothing", "", false},
        {"Escape", "\033", true},
        {"Escape after other keys", "abc\n\033", true},
        {"Escape twice", "\033\033", true},
        {"Escape and Return", "\033\r", true},
        {"letters", "q\n", false},
        {"arrow", "\033[A", false},
        {"arrow, application mode", "\033OA", false},
        {"F5", "\033[15~", false},
        {"Shift-Ctrl-arrow", "\033[1;6C", false},
        {"Alt-x", "\033x", false},
        {"arrows, then Escape", "\033[A\033OB\033", true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(c.aborts ? 1 : 0, runOnTerminal([] { _exit(abortComes()); }, c.keys).exitCode);
    }
}

TEST_F(CheckAbort, TakesOneEscapeAndLeavesLaterKeysAndTheTerminal) {
    const Shown shown = runOnTerminal(
        [] {
            termios before, after;
            tcgetattr(STDIN_FILENO, &before);
            if (!abortComes()) _exit(10);
            tcgetattr(STDIN_FILENO, &after);
            if (before.c_lflag != after.c_lflag ||
                std::memcmp(before.c_cc, after.c_cc, sizeof before.c_cc) != 0)
                _exit(11);
            char line[16];
            const ssize_t n = read(STDIN_FILENO, line, sizeof line);
            _exit(n == 5 && std::memcmp(line, "rest\n", 5) == 0 ? 0 : 12);
        },
        "\033\033rest\n");
    EXPECT_EQ(0, shown.exitCode);
}

TEST_F(CheckAbort, LeavesTheTerminalAloneInTheBackground) {
    const Shown shown = runOnTerminal(
        [] {
            const pid_t pid = fork();
            if (pid == 0) {
                setpgid(0, 0);
                _exit(abortComes() ? 10 : 0);
            }
            int status = 0;
            waitpid(pid, &status, WUNTRACED);
            if (WIFSTOPPED(status)) kill(pid, SIGKILL);
            // Any change of the terminal's mode would end the line that is being typed.
            pollfd line = {STDIN_FILENO, POLLIN, 0};
            if (poll(&line, 1, 0) != 0) _exit(12);
            _exit(WIFEXITED(status) ? WEXITSTATUS(status) : 11);
        },
        "\033");
    EXPECT_EQ(0, shown.exitCode);
}

}  // namespace
