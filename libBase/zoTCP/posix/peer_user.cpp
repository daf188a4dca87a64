// Who owns the other end of a connection within this machine.
#include <linux/inet_diag.h>
#include <linux/netlink.h>
#include <linux/sock_diag.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <string>

#include "libBase/zoOS/posix/descriptor.h"
#include "libBase/zoOS/posix/system_error.h"
#include "libBase/zoTCP/posix/peer_user.h"
#include "libBase/zoTCP/system.h"

using kelvo::zoos::Descriptor;
using kelvo::zoos::uninterrupted;

namespace kelvo::zotcp {
namespace {

constexpr int kAnswerSeconds = 1;  // the system answers at once; nobody may hang on it

struct Request {
    nlmsghdr header;
    inet_diag_req_v2 body;
};

Request requestFor(const Ends& ends) {
    Request request = {};
    request.header.nlmsg_len = sizeof request;
    request.header.nlmsg_type = SOCK_DIAG_BY_FAMILY;
    request.header.nlmsg_flags = NLM_F_REQUEST;
    request.body.sdiag_family = AF_INET;
    request.body.sdiag_protocol = IPPROTO_TCP;
    request.body.idiag_states = ~0U;
    request.body.id.idiag_sport = ends.localPort;
    request.body.id.idiag_dport = ends.remotePort;
    request.body.id.idiag_src[0] = ends.localHost;
    request.body.id.idiag_dst[0] = ends.remoteHost;
    request.body.id.idiag_cookie[0] = request.body.id.idiag_cookie[1] = INET_DIAG_NOCOOKIE;
    return request;
}

bool areThose(const Ends& found, const Ends& wanted) {
    const bool everyHost = wanted.listens && found.localHost == INADDR_ANY;
    return found.listens == wanted.listens && found.localPort == wanted.localPort &&
           found.remotePort == wanted.remotePort && found.remoteHost == wanted.remoteHost &&
           (everyHost || found.localHost == wanted.localHost);
}

bool isInState(unsigned state, const Ends& ends) {
    return state == (ends.listens ? TCP_LISTEN : TCP_ESTABLISHED);
}

// The kernel falls back to a listener on the same port, so everything is compared again.
bool describes(const inet_diag_msg& found, const Ends& ends) {
    const Ends has = {found.id.idiag_src[0], found.id.idiag_dst[0], found.id.idiag_sport,
                      found.id.idiag_dport, ends.listens};
    return found.idiag_family == AF_INET && found.idiag_inode != 0 &&
           isInState(found.idiag_state, ends) && areThose(has, ends);
}

// The ends of a connection as the other side sees them.
int endsOfPeer(int descriptor, Ends& ends, sa_family_t& family) {
    sockaddr_in own = {}, peer = {};
    socklen_t ownSize = sizeof own, peerSize = sizeof peer;
    if (getsockname(descriptor, reinterpret_cast<sockaddr*>(&own), &ownSize) != 0 ||
        getpeername(descriptor, reinterpret_cast<sockaddr*>(&peer), &peerSize) != 0)
        return errno;
    family = own.sin_family;
    ends = {peer.sin_addr.s_addr, own.sin_addr.s_addr, peer.sin_port, own.sin_port};
    return 0;
}

int ownerOf(const Ends& ends, unsigned& user) {
    const int error = askKernel(ends, user);
    if (error == 0 || error == ENOENT) return error;
    std::ifstream table("/proc/net/tcp");
    return table ? searchTable(table, ends, user) : ENOENT;
}

int userOfLocalPeer(int descriptor, unsigned& user) {
    ucred peer = {};
    socklen_t size = sizeof peer;
    if (getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) return errno;
    user = peer.uid;
    return 0;
}

}  // namespace

int askKernel(const Ends& ends, unsigned& user) {
    const Descriptor channel(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_SOCK_DIAG));
    if (!channel) return errno;
    const timeval limit = {kAnswerSeconds, 0};
    setsockopt(channel.get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    sockaddr_nl kernel = {};
    kernel.nl_family = AF_NETLINK;
    const Request request = requestFor(ends);
    if (uninterrupted([&] {
            return sendto(channel.get(), &request, sizeof request, 0,
                          reinterpret_cast<const sockaddr*>(&kernel), sizeof kernel);
        }) < 0)
        return errno;
    alignas(nlmsghdr) char answer[4096];
    sockaddr_nl sender = {};
    socklen_t senderSize = sizeof sender;
    const ssize_t size = uninterrupted([&] {
        return recvfrom(channel.get(), answer, sizeof answer, 0,
                        reinterpret_cast<sockaddr*>(&sender), &senderSize);
    });
    if (size < 0) return errno;
    nlmsghdr header;
    inet_diag_msg found;
    if (sender.nl_pid != kernel.nl_pid || static_cast<std::size_t>(size) < sizeof header)
        return EPROTO;
    std::memcpy(&header, answer, sizeof header);
    // An error here says "no such socket" also when the kernel lacks the part that would know.
    if (static_cast<std::size_t>(size) < NLMSG_HDRLEN + sizeof found ||
        header.nlmsg_type != SOCK_DIAG_BY_FAMILY)
        return EPROTO;
    std::memcpy(&found, answer + NLMSG_HDRLEN, sizeof found);
    if (!describes(found, ends)) return ENOENT;
    user = found.idiag_uid;
    return 0;
}

int searchTable(std::istream& table, const Ends& ends, unsigned& user) {
    std::string line;
    while (std::getline(table, line)) {
        unsigned localHost, localPort, remoteHost, remotePort, state, owner;
        unsigned long inode;
        // slot, two ends, state, two queues, timer and its time, repeats, user, probes, inode
        const int fields = std::sscanf(
            line.c_str(), " %*u: %8x:%4x %8x:%4x %2x %*8x:%*8x %*2x:%*8x %*x %u %*u %lu",
            &localHost, &localPort, &remoteHost, &remotePort, &state, &owner, &inode);
        if (fields != 7 || !isInState(state, ends) || inode == 0) continue;
        const Ends found = {localHost, remoteHost, htons(static_cast<in_port_t>(localPort)),
                            htons(static_cast<in_port_t>(remotePort)), ends.listens};
        if (!areThose(found, ends)) continue;
        user = owner;
        return 0;
    }
    return ENOENT;
}

int peerUser(int descriptor, unsigned& user) {
    Ends ends = {};
    sa_family_t family = AF_UNSPEC;
    if (const int error = endsOfPeer(descriptor, ends, family)) return error;
    if (family == AF_UNIX) return userOfLocalPeer(descriptor, user);
    return family == AF_INET ? ownerOf(ends, user) : EAFNOSUPPORT;
}

int listenerUser(int descriptor, unsigned& user) {
    Ends ends = {};
    sa_family_t family = AF_UNSPEC;
    if (const int error = endsOfPeer(descriptor, ends, family)) return error;
    return ownerOf({ends.localHost, 0, ends.localPort, 0, true}, user);
}

unsigned ownUser() {
    return geteuid();
}

}  // namespace kelvo::zotcp
