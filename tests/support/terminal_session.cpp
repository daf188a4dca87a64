#include "tests/support/terminal_session.h"

#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>

namespace kelvo::test {

void TerminalTest::SetUp() {
    int master = -1, terminal = -1;
    if (openpty(&master, &terminal, nullptr, nullptr, nullptr) != 0)
        GTEST_SKIP() << "this system gives no pseudo-terminals";
    close(terminal);
    close(master);
}

TerminalSession::TerminalSession(const std::function<int()>& body, unsigned short columns) {
    winsize size{};
    size.ws_col = columns;
    size.ws_row = 24;
    std::fflush(nullptr);
    pid_ = forkpty(&master_, nullptr, nullptr, &size);
    if (pid_ != 0) return;
    alarm(30);
    _exit(body());
}

bool TerminalSession::await(const std::string& text) {
    std::size_t place;
    while ((place = shown.find(text, seen_)) == std::string::npos)
        if (!readSome()) return false;
    seen_ = place + text.size();
    return true;
}

void TerminalSession::type(const std::string& keys) {
    EXPECT_EQ(write(master_, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
}

void TerminalSession::signal(int number) {
    kill(pid_, number);
}

void TerminalSession::hangUp() {
    if (master_ >= 0) close(master_);
    master_ = -1;
}

bool TerminalSession::readsKeys() const {
    termios settings{};
    return tcgetattr(master_, &settings) == 0 && (settings.c_lflag & (ICANON | ECHO)) == 0;
}

int TerminalSession::end() {
    int status = 0;
    while (master_ >= 0 && readSome()) continue;
    waitpid(pid_, &status, 0);
    return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
}

bool TerminalSession::readSome() {
    char buffer[4096];
    const ssize_t n = read(master_, buffer, sizeof buffer);
    if (n > 0) shown.append(buffer, static_cast<std::size_t>(n));
    return n > 0;
}

}  // namespace kelvo::test
