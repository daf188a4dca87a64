// Moving bytes.
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <ctime>

#include "libBase/zoOS/posix/system_error.h"
#include "libBase/zoTCP/system.h"

using kelvo::zoos::uninterrupted;

namespace kelvo::zotcp {
namespace {

constexpr std::size_t kAtOnce = 1U << 30;  // one call moves less than 2 GiB

// 0 when ready; ETIMEDOUT.
int waitFor(int descriptor, short events, const Patience& patience) {
    for (;;) {
        pollfd entry = {descriptor, events, 0};
        const int ready = poll(&entry, 1, patience.milliseconds());
        if (ready > 0) return (entry.revents & POLLNVAL) != 0 ? EBADF : 0;
        if (ready < 0 && errno != EINTR) return errno;
        if (patience.isOver()) return ETIMEDOUT;
    }
}

// Moves bytes by `call`, which gets further flags. In blocking mode the system says EAGAIN when the
// silence limit is over.
template <class Call>
int move(Call call, std::size_t& moved) {
    const ssize_t count = uninterrupted([&] { return call(0); });
    if (count < 0) return errno == EAGAIN || errno == EWOULDBLOCK ? ETIMEDOUT : errno;
    moved = static_cast<std::size_t>(count);
    return 0;
}

template <class Call>
int move(Call call, std::size_t& moved, int descriptor, short events, const Patience& patience) {
    for (;;) {
        // Bytes that trickle in must not stretch the time.
        if (patience.isOver()) return ETIMEDOUT;
        const ssize_t count = uninterrupted([&] { return call(MSG_DONTWAIT); });
        if (count >= 0) {
            moved = static_cast<std::size_t>(count);
            return 0;
        }
        if (errno != EAGAIN && errno != EWOULDBLOCK) return errno;
        if (const int error = waitFor(descriptor, events, patience)) return error;
    }
}

auto receiving(int descriptor, char* bytes, std::size_t capacity) {
    return [=](int flags) { return recv(descriptor, bytes, std::min(capacity, kAtOnce), flags); };
}

auto sending(int descriptor, const char* bytes, std::size_t count) {
    return [=](int flags) {
        return send(descriptor, bytes, std::min(count, kAtOnce), flags | MSG_NOSIGNAL);
    };
}

}  // namespace

int receiveSome(int descriptor, char* bytes, std::size_t capacity, std::size_t& received) {
    return move(receiving(descriptor, bytes, capacity), received);
}

int receiveSome(int descriptor, char* bytes, std::size_t capacity, std::size_t& received,
                const Patience& patience) {
    return move(receiving(descriptor, bytes, capacity), received, descriptor, POLLIN, patience);
}

int sendSome(int descriptor, const char* bytes, std::size_t count, std::size_t& sent) {
    return move(sending(descriptor, bytes, count), sent);
}

int sendSome(int descriptor, const char* bytes, std::size_t count, std::size_t& sent,
             const Patience& patience) {
    return move(sending(descriptor, bytes, count), sent, descriptor, POLLOUT, patience);
}

void sendAtOnce(int descriptor, const char* bytes, std::size_t count) {
    while (count > 0) {
        const ssize_t sent =
            uninterrupted([&] { return sending(descriptor, bytes, count)(MSG_DONTWAIT); });
        if (sent <= 0) return;
        bytes += sent;
        count -= static_cast<std::size_t>(sent);
    }
}

int waitForInput(int descriptor, const Patience& patience) {
    return waitFor(descriptor, POLLIN, patience);
}

bool isClosedByPeer(int descriptor) {
    pollfd entry = {descriptor, POLLRDHUP, 0};
    return poll(&entry, 1, 0) > 0;
}

int setSilenceLimit(int descriptor, double seconds) {
    // Less than a microsecond would be no limit at all.
    const double limit = seconds > 0.0 ? std::clamp(seconds, 1e-6, 1e9) : 0.0;
    timeval time;
    time.tv_sec = static_cast<time_t>(limit);
    time.tv_usec = static_cast<suseconds_t>((limit - std::floor(limit)) * 1e6);
    if (setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &time, sizeof time) != 0) return errno;
    if (setsockopt(descriptor, SOL_SOCKET, SO_SNDTIMEO, &time, sizeof time) != 0) return errno;
    return 0;
}

void sendSegmentsAtOnce(int descriptor) {
    const int on = 1;
    setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

void rest(std::chrono::microseconds time) {
    const timespec span = {0, static_cast<long>(std::chrono::nanoseconds(time).count())};
    nanosleep(&span, nullptr);
}

void closeDescriptor(int descriptor) {
    ::close(descriptor);
}

}  // namespace kelvo::zotcp
