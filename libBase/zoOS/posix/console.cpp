#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>

#include "libBase/port.h"

namespace kelvo::port {
namespace {

constexpr int kDefaultColumns = 80;
constexpr int kEscape = 0x1B;
// The bytes of one key arrive together; over a slow line they may be this far apart.
constexpr int kKeyGapMilliseconds = 25;
// Read in one poll: what a terminal holds. A program that types without end must not hold us.
constexpr int kMostKeys = 4096;

// Makes single keys readable, unseen, while it lives. All signals wait meanwhile, so that neither
// an interrupt nor a stop leaves the terminal in this state.
class SingleKeys {
  public:
    explicit SingleKeys(int fd) : fd_(fd) {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &signals_);
        if (tcgetattr(fd_, &settings_) != 0) return;
        termios keys = settings_;
        keys.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO | ECHONL);
        keys.c_cc[VMIN] = 0;
        keys.c_cc[VTIME] = 0;
        active_ = tcsetattr(fd_, TCSANOW, &keys) == 0;
    }
    ~SingleKeys() {
        if (active_) tcsetattr(fd_, TCSANOW, &settings_);
        pthread_sigmask(SIG_SETMASK, &signals_, nullptr);
    }
    SingleKeys(const SingleKeys&) = delete;
    SingleKeys& operator=(const SingleKeys&) = delete;

    /// The next byte typed, or -1 when none comes within the time.
    int next(int milliseconds) const {
        pollfd wait = {fd_, POLLIN, 0};
        unsigned char key;
        if (!active_ || poll(&wait, 1, milliseconds) <= 0) return -1;
        return read(fd_, &key, 1) == 1 ? key : -1;
    }

  private:
    int fd_;
    termios settings_{};
    sigset_t signals_{};
    bool active_ = false;
};

// True when the Escape byte just read was the key itself: nothing follows, or a control key, as of
// someone who presses Escape or Return again. Any other character at once behind it makes it the
// start of a cursor or function key, or of a key with Alt; the rest of that reads as plain keys.
bool wasEscapeKey(const SingleKeys& keys) {
    return keys.next(kKeyGapMilliseconds) < ' ';
}

}  // namespace

int statusLineColumns() {
    const int error = errno;
    const char* kind = std::getenv("TERM");
    int columns = 0;
    if (kind != nullptr && *kind != '\0' && std::strcmp(kind, "dumb") != 0 &&
        isatty(STDERR_FILENO)) {
        winsize size{};
        const bool known = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
        columns = known ? size.ws_col : kDefaultColumns;
    }
    errno = error;
    return columns;
}

bool escapePressed() {
    const int error = errno;
    bool pressed = false;
    // Fails for anything but the controlling terminal; in the background the answer is another
    // group, and touching the terminal would stop the process.
    if (tcgetpgrp(STDIN_FILENO) == getpgrp()) {
        const SingleKeys keys(STDIN_FILENO);
        for (int n = 0, key = 0; n < kMostKeys && key >= 0 && !pressed; ++n) {
            key = keys.next(0);
            pressed = key == kEscape && wasEscapeKey(keys);
        }
    }
    errno = error;
    return pressed;
}

}  // namespace kelvo::port
