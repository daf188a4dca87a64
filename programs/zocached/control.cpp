#include "programs/zocached/control.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "programs/zocached/request.h"

using zoUtil::Error;

namespace kelvo::zocached {
namespace {

constexpr int kBacklog = 128;
// Together with the start of a server less than the five seconds that a client waits for its first
// reply, so that it gets an error that says why.
constexpr int kPatienceSeconds = 3;
// First byte of an order; the digits change with the meaning of what follows.
constexpr char kAdoptOrder[] = "adopt 1\n";
constexpr char kTellOrder[] = "tell 1\n";
constexpr char kTaken[] = "taken";
constexpr std::size_t kLongestMessage = 160 * 1024;

// The directory's path may be longer than such an address; its descriptor is not.
sockaddr_un addressIn(const Directory& directory) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "/proc/self/fd/%d/%s",
                  directory.descriptor(), kSocketName);
    return address;
}

const sockaddr* raw(const sockaddr_un& address) {
    return reinterpret_cast<const sockaddr*>(&address);
}

bool isPeerOurs(int control) {
    ucred peer{};
    socklen_t size = sizeof peer;
    return getsockopt(control, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && peer.uid == geteuid();
}

Descriptor newSocket() {
    return Descriptor(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
}

void setPatience(int control) {
    timeval limit{};
    limit.tv_sec = kPatienceSeconds;
    setsockopt(control, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    setsockopt(control, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
}

Descriptor callServer(const Directory& directory) {
    Descriptor control = newSocket();
    const sockaddr_un address = addressIn(directory);
    if (!control) return control;
    setPatience(control.get());
    if (connect(control.get(), raw(address), sizeof address) != 0 || !isPeerOurs(control.get()))
        return Descriptor();
    return control;
}

bool sendOrder(int control, std::string_view order, std::string_view rest, const int* files,
               std::size_t count) {
    iovec parts[2] = {{const_cast<char*>(order.data()), order.size()},
                      {const_cast<char*>(rest.data()), rest.size()}};
    alignas(cmsghdr) char space[CMSG_SPACE(2 * sizeof(int))] = {};
    msghdr message{};
    message.msg_iov = parts;
    message.msg_iovlen = 2;
    if (count > 0) {
        message.msg_control = space;
        message.msg_controllen = CMSG_SPACE(count * sizeof(int));
        cmsghdr* const header = CMSG_FIRSTHDR(&message);
        header->cmsg_level = SOL_SOCKET;
        header->cmsg_type = SCM_RIGHTS;
        header->cmsg_len = CMSG_LEN(count * sizeof(int));
        std::memcpy(CMSG_DATA(header), files, count * sizeof(int));
    }
    return sendmsg(control, &message, MSG_NOSIGNAL) >= 0;
}

// The descriptors that came with a message; all of them are ours to close.
void takeDescriptors(msghdr& message, Order& order) {
    int place = 0;
    for (cmsghdr* header = CMSG_FIRSTHDR(&message); header != nullptr;
         header = CMSG_NXTHDR(&message, header)) {
        if (header->cmsg_level != SOL_SOCKET || header->cmsg_type != SCM_RIGHTS) continue;
        const std::size_t count = (header->cmsg_len - CMSG_LEN(0)) / sizeof(int);
        for (std::size_t i = 0; i < count; ++i, ++place) {
            int number;
            std::memcpy(&number, CMSG_DATA(header) + i * sizeof number, sizeof number);
            Descriptor file(number);
            if (place == 0) order.client = std::move(file);
            if (place == 1) order.directory = std::move(file);
        }
    }
}

}  // namespace

Error openControl(const Directory& directory, Descriptor& listener) {
    unlinkat(directory.descriptor(), kSocketName, 0);
    Descriptor made(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const sockaddr_un address = addressIn(directory);
    // The mode of the descriptor becomes that of the name: it is never open to others.
    if (!made || fchmod(made.get(), 0600) != 0 ||
        bind(made.get(), raw(address), sizeof address) != 0 || listen(made.get(), kBacklog) != 0) {
        const int error = errno;
        return Error(error, "cannot listen on \"%s\" in the cache directory: %s", kSocketName,
                     std::strerror(error));
    }
    listener = std::move(made);
    return Error();
}

bool isControlThere(const Directory& directory) {
    struct stat status {};
    return fstatat(directory.descriptor(), kSocketName, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
           S_ISSOCK(status.st_mode);
}

Order receiveOrder(int control) {
    Order order;
    std::string text(kLongestMessage, '\0');
    iovec part = {text.data(), text.size()};
    alignas(cmsghdr) char space[CMSG_SPACE(2 * sizeof(int))] = {};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = space;
    message.msg_controllen = sizeof space;
    const ssize_t size = recvmsg(control, &message, MSG_DONTWAIT | MSG_CMSG_CLOEXEC);
    if (size <= 0) return order;
    takeDescriptors(message, order);
    if ((message.msg_flags & (MSG_TRUNC | MSG_CTRUNC)) != 0 || !isPeerOurs(control)) return order;
    text.resize(static_cast<std::size_t>(size));
    if (text == kTellOrder) order.kind = Order::kTell;
    if (text.rfind(kAdoptOrder, 0) != 0 || !order.client || !order.directory) return order;
    order.kind = Order::kAdopt;
    order.received = text.substr(sizeof kAdoptOrder - 1);
    return order;
}

bool answerOrder(int control, std::string_view text) {
    return send(control, text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL) >= 0;
}

bool answerTaken(int control) {
    return answerOrder(control, kTaken);
}

HandOver handOver(const Directory& directory, int client, std::string_view received) {
    const Descriptor control = callServer(directory);
    const int files[] = {client, directory.descriptor()};
    if (!control || !sendOrder(control.get(), kAdoptOrder, received, files, std::size(files)))
        return errno == EAGAIN ? HandOver::kSilent : HandOver::kNobody;
    char answer[sizeof kTaken];
    ssize_t size = recv(control.get(), answer, sizeof answer, 0);
    const bool isSilent = size < 0 && errno == EAGAIN;
    if (isSilent) {
        // From here on the other side cannot answer any more, and drops what it has not answered:
        // either it has the client or we have.
        shutdown(control.get(), SHUT_RD);
        size = recv(control.get(), answer, sizeof answer, MSG_DONTWAIT);
    }
    if (size == sizeof kTaken - 1) return HandOver::kTaken;
    return isSilent ? HandOver::kSilent : HandOver::kNobody;
}

std::string askForFigures(const Directory& directory) {
    const Descriptor control = callServer(directory);
    if (!control || !sendOrder(control.get(), kTellOrder, {}, nullptr, 0)) return {};
    std::string text(4096, '\0');
    const ssize_t size = recv(control.get(), text.data(), text.size(), 0);
    text.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
    return text;
}

}  // namespace kelvo::zocached
