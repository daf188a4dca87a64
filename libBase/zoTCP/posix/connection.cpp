// Listening, accepting and connecting, over IPv4.
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <cerrno>

#include "libBase/zoOS/posix/descriptor.h"
#include "libBase/zoOS/posix/system_error.h"
#include "libBase/zoTCP/system.h"

using kelvo::zoos::Descriptor;
using kelvo::zoos::uninterrupted;

namespace kelvo::zotcp {
namespace {

sockaddr_in addressOf(in_addr_t host, int port) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(host);
    address.sin_port = htons(static_cast<in_port_t>(port));
    return address;
}

Descriptor makeSocket() {
    return Descriptor(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
}

// Waits until the attempt has ended either way.
int finishConnecting(int descriptor, const Patience& patience) {
    pollfd entry = {descriptor, POLLOUT, 0};
    while (poll(&entry, 1, patience.milliseconds()) <= 0)
        if (patience.isOver()) return ETIMEDOUT;
    int error = 0;
    socklen_t size = sizeof error;
    if (getsockopt(descriptor, SOL_SOCKET, SO_ERROR, &error, &size) != 0) return errno;
    return error;
}

// A port on which nobody listens may be the very one that the system gives to this end; then the
// connection leads from the socket to itself.
bool leadsToItself(int descriptor) {
    sockaddr_in own = {}, peer = {};
    socklen_t ownSize = sizeof own, peerSize = sizeof peer;
    return getsockname(descriptor, reinterpret_cast<sockaddr*>(&own), &ownSize) == 0 &&
           getpeername(descriptor, reinterpret_cast<sockaddr*>(&peer), &peerSize) == 0 &&
           own.sin_port == peer.sin_port && own.sin_addr.s_addr == peer.sin_addr.s_addr;
}

int setBlocking(int descriptor) {
    const int flags = fcntl(descriptor, F_GETFL);
    return flags >= 0 && fcntl(descriptor, F_SETFL, flags & ~O_NONBLOCK) == 0 ? 0 : errno;
}

}  // namespace

int connectLoopback(int port, const Patience& patience, int& descriptor) {
    Descriptor made = makeSocket();
    if (!made) return errno;
    const sockaddr_in address = addressOf(INADDR_LOOPBACK, port);
    if (::connect(made.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        // An interrupted attempt goes on by itself.
        if (errno != EINPROGRESS && errno != EINTR) return errno;
        if (const int error = finishConnecting(made.get(), patience)) return error;
    }
    if (leadsToItself(made.get())) return ECONNREFUSED;
    if (const int error = setBlocking(made.get())) return error;
    descriptor = made.release();
    return 0;
}

int listenOn(int& port, int backlog, bool loopbackOnly, int& descriptor) {
    Descriptor made = makeSocket();
    if (!made) return errno;
    const int on = 1;
    if (port != 0 && setsockopt(made.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0)
        return errno;
    sockaddr_in address = addressOf(loopbackOnly ? INADDR_LOOPBACK : INADDR_ANY, port);
    socklen_t size = sizeof address;
    sockaddr* plain = reinterpret_cast<sockaddr*>(&address);
    if (bind(made.get(), plain, size) != 0 || ::listen(made.get(), backlog) != 0 ||
        getsockname(made.get(), plain, &size) != 0)
        return errno;
    port = ntohs(address.sin_port);
    descriptor = made.release();
    return 0;
}

int acceptWaiting(int listener, int& descriptor) {
    // The flags of the listener are not handed on: accepted connections are in blocking mode.
    const int made =
        uninterrupted([&] { return accept4(listener, nullptr, nullptr, SOCK_CLOEXEC); });
    if (made < 0) return errno == ECONNABORTED || errno == EWOULDBLOCK ? EAGAIN : errno;
    descriptor = made;
    return 0;
}

}  // namespace kelvo::zotcp
