#include "tests/programs/pty_session.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <cstdlib>

namespace kelvo::test {
namespace {

constexpr int kDeadlineMilliseconds = 30000;

}  // namespace

PtySession::PtySession(const std::vector<std::string>& arguments, unsigned short columns,
                       unsigned short rows) {
    const auto run = [&arguments] {
        std::vector<char*> words;
        for (const std::string& word : arguments) words.push_back(const_cast<char*>(word.c_str()));
        words.push_back(nullptr);
        execv(words[0], words.data());
        return 99;
    };
    start(run, columns, rows);
}

PtySession::PtySession(const std::function<int()>& body) {
    start(body, 80, 24);
}

void PtySession::start(const std::function<int()>& body, unsigned short columns,
                       unsigned short rows) {
    winsize size{};
    size.ws_col = columns;
    size.ws_row = rows;
    pid_ = forkpty(&master_, nullptr, nullptr, &size);
    if (pid_ != 0) {
        fcntl(master_, F_SETFD, FD_CLOEXEC);
        return;
    }
    unsetenv("DISPLAY");
    unsetenv("WAYLAND_DISPLAY");
    _exit(body());
}

PtySession::~PtySession() {
    hangUp();
    if (pid_ > 0) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
}

bool PtySession::readSome() {
    char buffer[4096];
    pollfd wait = {master_, POLLIN, 0};
    if (poll(&wait, 1, kDeadlineMilliseconds) <= 0) return false;
    const ssize_t n = read(master_, buffer, sizeof buffer);
    if (n > 0) shown_.append(buffer, static_cast<std::size_t>(n));
    return n > 0;
}

bool PtySession::await(const std::string& text) {
    std::size_t place;
    while ((place = shown_.find(text, seen_)) == std::string::npos)
        if (!readSome()) return false;
    seen_ = place + text.size();
    return true;
}

void PtySession::type(const std::string& keys) {
    EXPECT_EQ(write(master_, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
}

void PtySession::hangUp() {
    if (master_ >= 0) close(master_);
    master_ = -1;
}

void PtySession::signal(int number) {
    kill(pid_, number);
}

bool PtySession::readsKeys() const {
    termios settings{};
    return tcgetattr(master_, &settings) == 0 && (settings.c_lflag & (ICANON | ECHO)) == 0;
}

int PtySession::end() {
    int status = 0;
    while (master_ >= 0 && readSome()) continue;
    for (int waited = 0; waitpid(pid_, &status, WNOHANG) == 0; waited += 10) {
        if (waited > kDeadlineMilliseconds) kill(pid_, SIGKILL);
        usleep(10000);
    }
    pid_ = -1;
    return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
}

}  // namespace kelvo::test
