#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>

#include "Base/zo_tcp.h"
#include "libBase/zoTCP/system.h"

using kelvo::zotcp::Patience;
using zoUtil::Error;

namespace zoTCP {
namespace {

constexpr int kLargestPort = 65535;

Error serverError(const char* what, int code, int port) {
    return Error(code, "cannot %s on port %d: %s", what, port, std::strerror(code));
}

}  // namespace

Server::~Server() {
    if (descriptor_ >= 0) kelvo::zotcp::closeDescriptor(descriptor_);
}

Error Server::listen() {
    if (descriptor_ >= 0) return Error();
    int port = port_ == -1 ? 0 : port_;
    if (port < 0 || port > kLargestPort) return serverError("listen", EINVAL, port_);
    const int error =
        kelvo::zotcp::listenOn(port, std::max(backlog_, 1), loopbackOnly_, descriptor_);
    if (error != 0) return serverError("listen", error, port_);
    port_ = port;
    return Error();
}

Error Server::accept(Socket** socket, const zoUtil::Interval& wait) {
    if (socket == nullptr) return serverError("accept", EINVAL, port_);
    *socket = nullptr;
    if (descriptor_ < 0) return serverError("accept", ENOTCONN, port_);
    Socket::sendForOthers(nullptr);
    const Patience patience(wait);
    for (;;) {
        int error = kelvo::zotcp::waitForInput(descriptor_, patience);
        if (error == ETIMEDOUT) return Error();
        int connected = -1;
        if (error == 0) error = kelvo::zotcp::acceptWaiting(descriptor_, connected);
        // The one that was waiting may have gone again.
        if (error != 0 && error != EAGAIN) return serverError("accept", error, port_);
        if (error == 0) {
            auto candidate = std::make_unique<Socket>(connected);
            if (!loopbackOnly_ || candidate->isPeerOurs()) {
                *socket = candidate.release();
                return Error();
            }
        }
        if (patience.isOver()) return Error();
    }
}

}  // namespace zoTCP
