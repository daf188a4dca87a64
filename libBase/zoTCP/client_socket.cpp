#include <algorithm>
#include <cerrno>
#include <cstring>

#include "Base/zo_tcp.h"
#include "libBase/zoTCP/system.h"

using kelvo::zotcp::Patience;
using zoUtil::Error;

namespace zoTCP {
namespace {

using namespace std::chrono_literals;

constexpr double kUsualWaitSeconds = 5.0;
constexpr int kLargestPort = 65535;

Error notConnected(int error, int port) {
    return Error(error, "cannot connect to port %d: %s", port, std::strerror(error));
}

// The other end has no owner before it is accepted; until then it belongs to the listener. Between
// the two, and while a listener ends, there may be nobody for a moment.
int awaitOwnPeer(int descriptor, const Patience& patience) {
    auto pause = 20us;
    for (;;) {
        unsigned user = 0;
        int error = kelvo::zotcp::peerUser(descriptor, user);
        if (error == ENOENT) error = kelvo::zotcp::listenerUser(descriptor, user);
        if (error == 0) return user == kelvo::zotcp::ownUser() ? 0 : EACCES;
        // A listener that has ended meanwhile leaves no end to be accepted.
        if (error == ENOTCONN || kelvo::zotcp::isClosedByPeer(descriptor)) return ECONNREFUSED;
        if (error != ENOENT) return error;
        if (patience.isOver()) return ETIMEDOUT;
        kelvo::zotcp::rest(pause);
        pause = std::min(2 * pause, std::chrono::microseconds(5ms));
    }
}

}  // namespace

Error ClientSocket::connect() {
    return connect(zoUtil::Interval(kUsualWaitSeconds));
}

Error ClientSocket::connect(const zoUtil::Interval& wait) {
    const int port = address_.port();
    if (descriptor() >= 0) return notConnected(EISCONN, port);
    if (port < 1 || port > kLargestPort) return notConnected(EINVAL, port);
    const Patience patience(wait);
    int connected = -1;
    int error = kelvo::zotcp::connectLoopback(port, patience, connected);
    if (error != 0) return notConnected(error, port);
    error = awaitOwnPeer(connected, patience);
    if (error != 0) {
        kelvo::zotcp::closeDescriptor(connected);
        return notConnected(error, port);
    }
    attach(connected);
    return Error();
}

}  // namespace zoTCP
