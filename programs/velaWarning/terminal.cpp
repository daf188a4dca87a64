#include "programs/velaWarning/terminal.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

namespace kelvo::velaWarning {
namespace {

constexpr int kUsualColumns = 80, kUsualRows = 24;
constexpr int kFewestColumns = 20;
// The bytes of one key arrive together; over a slow line they may be this far apart.
constexpr int kKeyGapMilliseconds = 50;
constexpr int kForever = -1;
constexpr int kEndSignals[] = {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGPIPE};

// What a signal has to bring back. Set while a Terminal is active.
struct Saved {
    int fd = -1;
    termios settings{};
};
Saved g_saved;

void restore() {
    // Without waiting for output: a stopped terminal must not keep the process alive.
    if (g_saved.fd >= 0) tcsetattr(g_saved.fd, TCSANOW, &g_saved.settings);
}

extern "C" void restoreAndEnd(int signal) {
    restore();
    std::signal(signal, SIG_DFL);
    raise(signal);
}

// A process in the background is stopped when it touches its terminal.
bool mayUse(int fd) {
    const pid_t foreground = tcgetpgrp(fd);
    return isatty(fd) && (foreground < 0 || foreground == getpgrp());
}

int sizeOf(int fd, unsigned short winsize::*field, int usual) {
    winsize size{};
    return ioctl(fd, TIOCGWINSZ, &size) == 0 && size.*field > 0 ? size.*field : usual;
}

}  // namespace

Terminal::Terminal() {
    const int fd = open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY);
    ownsFile_ = fd >= 0;
    input_ = ownsFile_ ? fd : STDIN_FILENO;
    output_ = ownsFile_ ? fd : STDOUT_FILENO;
    if (!mayUse(input_) || !mayUse(output_) || tcgetattr(input_, &g_saved.settings) != 0) return;
    g_saved.fd = input_;
    for (int signal : kEndSignals) std::signal(signal, restoreAndEnd);
    termios keys = g_saved.settings;
    keys.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO | ECHONL | ISIG | IEXTEN);
    keys.c_iflag &= ~static_cast<tcflag_t>(IXON);
    keys.c_cc[VMIN] = 1;
    keys.c_cc[VTIME] = 0;
    active_ = tcsetattr(input_, TCSAFLUSH, &keys) == 0;
}

Terminal::~Terminal() {
    if (active_) restore();
    g_saved.fd = -1;
    if (ownsFile_) close(input_);
}

int Terminal::columns() const {
    const int columns = sizeOf(output_, &winsize::ws_col, kUsualColumns);
    return columns < kFewestColumns ? kFewestColumns : columns;
}

int Terminal::rows() const {
    return sizeOf(output_, &winsize::ws_row, kUsualRows);
}

bool Terminal::write(const std::string& text) const {
    for (std::size_t done = 0; done < text.size();) {
        const ssize_t n = ::write(output_, text.data() + done, text.size() - done);
        if (n < 0 && errno != EINTR) return false;
        if (n > 0) done += static_cast<std::size_t>(n);
    }
    return true;
}

int Terminal::nextByte(int milliseconds) const {
    pollfd wait = {input_, POLLIN, 0};
    unsigned char byte = 0;
    ssize_t n = 0;
    do {
        if (milliseconds != kForever && poll(&wait, 1, milliseconds) <= 0) return kKeyOther;
        n = read(input_, &byte, 1);
    } while (n < 0 && errno == EINTR);
    return n == 1 ? byte : static_cast<int>(kKeyEnd);
}

// Escape itself stands alone or before a control key; otherwise it begins a longer key, which is
// read to its last byte.
int Terminal::keyAfterEscape() const {
    int byte = nextByte(kKeyGapMilliseconds);
    if (byte < ' ') return kKeyGiveUp;
    if (byte == '[' || byte == 'O') {
        do byte = nextByte(kKeyGapMilliseconds);
        while (byte >= ' ' && byte < '@');
    }
    return kKeyOther;
}

int Terminal::key() const {
    const int byte = nextByte(kForever);
    switch (byte) {
        case '\x03':
        case '\x04':
            return kKeyGiveUp;
        case '\x1B':
            return keyAfterEscape();
        case '\r':
        case '\n':
            return kKeyEnter;
        case '\b':
        case '\x7F':
            return kKeyErase;
        default:
            return byte < 0 || (byte >= ' ' && byte < 0x7F) ? byte : static_cast<int>(kKeyOther);
    }
}

}  // namespace kelvo::velaWarning
