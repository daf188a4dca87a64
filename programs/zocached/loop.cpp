#include "programs/zocached/loop.h"

#include <cerrno>
#include <cstring>
#include <utility>

using zoUtil::Error;

namespace kelvo::zocached {
namespace {

constexpr std::size_t kMostEvents = 512;  // in one round: all there can be

Error failed() {
    const int error = errno;
    return Error(error, "cannot wait for clients: %s", std::strerror(error));
}

}  // namespace

Loop::Loop() : events_(kMostEvents) {
    ready_.reserve(kMostEvents);
}

Error Loop::open() {
    epoll_ = Descriptor(epoll_create1(EPOLL_CLOEXEC));
    return epoll_ ? Error() : failed();
}

bool Loop::control(int operation, Watched& watched, std::uint32_t events) {
    epoll_event event{};
    event.events = events;
    event.data.ptr = &watched;
    return epoll_ctl(epoll_.get(), operation, watched.descriptor(), &event) == 0;
}

Error Loop::watch(std::unique_ptr<Watched> watched) {
    if (!control(EPOLL_CTL_ADD, *watched, EPOLLIN)) return failed();
    watched_.push_back(std::move(watched));
    return Error();
}

bool Loop::await(Watched& watched, std::uint32_t events) {
    return control(EPOLL_CTL_MOD, watched, events);
}

bool Loop::pause(Watched& watched) {
    return control(EPOLL_CTL_DEL, watched, 0);
}

bool Loop::resume(Watched& watched, std::uint32_t events) {
    return control(EPOLL_CTL_ADD, watched, events);
}

std::span<Watched* const> Loop::wait(int milliseconds) {
    const int count =
        epoll_wait(epoll_.get(), events_.data(), static_cast<int>(events_.size()), milliseconds);
    ready_.clear();
    for (int i = 0; i < count; ++i)
        ready_.push_back(static_cast<Watched*>(events_[static_cast<std::size_t>(i)].data.ptr));
    return ready_;
}

void Loop::letGo() {
    std::erase_if(watched_,
                  [](const std::unique_ptr<Watched>& watched) { return watched->isOver(); });
}

}  // namespace kelvo::zocached
