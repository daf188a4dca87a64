#include "programs/zocached/channel.h"

#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <utility>

using zoUtil::Error;

namespace kelvo::zocached {
namespace {

constexpr std::size_t kMostAtOnce = 64 * 1024;
// A buffer that a long request has made large is given back afterwards.
constexpr std::size_t kUsualRequest = 4 * 1024;

}  // namespace

Channel::Channel(std::unique_ptr<zoTCP::Socket> wire, std::string_view received)
    : wire_(std::move(wire)), input_(received) {}

bool Channel::receive() {
    char bytes[kMostAtOnce];
    const ssize_t count = recv(wire(), bytes, sizeof bytes, MSG_DONTWAIT);
    if (count > 0) input_.append(bytes, static_cast<std::size_t>(count));
    return count > 0 || (count < 0 && (errno == EAGAIN || errno == EINTR));
}

std::string_view Channel::pending() const {
    return std::string_view(input_).substr(taken_);
}

bool Channel::send() {
    while (hasOutput()) {
        const ssize_t count = ::send(wire(), output_.data() + sent_, output_.size() - sent_,
                                     MSG_DONTWAIT | MSG_NOSIGNAL);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return errno == EAGAIN;
        sent_ += static_cast<std::size_t>(count);
    }
    discardOutput();
    return true;
}

void Channel::discardOutput() {
    output_.clear();
    sent_ = 0;
}

Error Channel::read(void* buffer, int count, int) {
    const std::string_view rest = pending();
    // The frame was whole, so that only a mistake of the protocol's comes here.
    if (count < 0 || rest.size() < static_cast<std::size_t>(count))
        throw Error(EBADMSG, "a request is shorter than its frame");
    std::memcpy(buffer, rest.data(), static_cast<std::size_t>(count));
    taken_ += static_cast<std::size_t>(count);
    if (taken_ < input_.size()) return Error();
    taken_ = 0;
    input_.clear();
    if (input_.capacity() > kUsualRequest) input_.shrink_to_fit();
    return Error();
}

Error Channel::write(const void* buffer, int count, int) {
    if (count > 0)
        output_.append(static_cast<const char*>(buffer), static_cast<std::size_t>(count));
    return Error();
}

Error Channel::flush() {
    return Error();
}

}  // namespace kelvo::zocached
