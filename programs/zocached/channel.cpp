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

// Most requests arrive whole and are read where they have arrived.
thread_local char t_arrived[kMostAtOnce];

}  // namespace

Channel::Channel(std::unique_ptr<zoTCP::Socket> wire, std::string_view received)
    : wire_(std::move(wire)), kept_(received), pending_(kept_) {
    if (wire_) descriptor_ = wire_->descriptor();
}

bool Channel::receive(bool waits) {
    keepPending();
    const ssize_t count = recv(descriptor_, t_arrived, sizeof t_arrived, waits ? 0 : MSG_DONTWAIT);
    if (count <= 0) return count < 0 && (errno == EAGAIN || errno == EINTR);
    const std::string_view arrived(t_arrived, static_cast<std::size_t>(count));
    pending_ = kept_.empty() ? arrived : std::string_view(kept_.append(arrived));
    return true;
}

void Channel::keepPending() {
    if (kept_.empty()) {
        kept_ = pending_;
    } else {
        kept_.erase(0, kept_.size() - pending_.size());
        if (kept_.empty() && kept_.capacity() > kUsualRequest) kept_.shrink_to_fit();
    }
    if (!kept_.empty()) pending_ = kept_;
}

bool Channel::send() {
    while (hasOutput()) {
        const ssize_t count = ::send(descriptor_, output_.data() + sent_, output_.size() - sent_,
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
    // The frame was whole, so that only a mistake of the protocol's comes here.
    if (count < 0 || pending_.size() < static_cast<std::size_t>(count))
        throw Error(EBADMSG, "a request is shorter than its frame");
    std::memcpy(buffer, pending_.data(), static_cast<std::size_t>(count));
    pending_.remove_prefix(static_cast<std::size_t>(count));
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
