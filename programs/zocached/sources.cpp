#include "programs/zocached/sources.h"

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <csignal>
#include <utility>

namespace kelvo::zocached {
namespace {

using namespace std::chrono_literals;

constexpr auto kControlTime = 30s;

}  // namespace

Listener::Listener(int descriptor, std::function<void()> accept)
    : descriptor_(descriptor), accept_(std::move(accept)) {}

ControlPeer::ControlPeer(Descriptor peer, std::function<void(int)> obey)
    : peer_(std::move(peer)), obey_(std::move(obey)), deadline_(Clock::now() + kControlTime) {}

void ControlPeer::onReady() {
    obey_(peer_.get());
    drop();
}

void ControlPeer::onTick(Clock::time_point now) {
    if (now > deadline_) drop();
}

Signals::Signals(std::function<void(unsigned)> obey) : obey_(std::move(obey)) {
    sigset_t wanted;
    sigemptyset(&wanted);
    for (int signal : {SIGTERM, SIGINT, SIGHUP, SIGQUIT}) sigaddset(&wanted, signal);
    pthread_sigmask(SIG_BLOCK, &wanted, nullptr);
    signals_ = Descriptor(signalfd(-1, &wanted, SFD_CLOEXEC | SFD_NONBLOCK));
}

void Signals::onReady() {
    signalfd_siginfo signal{};
    if (read(signals_.get(), &signal, sizeof signal) == sizeof signal) obey_(signal.ssi_signo);
}

Deletions::Deletions(const Directory& directory, std::function<void(const std::string&)> isGone,
                     std::function<void()> isBlind)
    : events_(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)),
      isGone_(std::move(isGone)),
      isBlind_(std::move(isBlind)) {
    const std::string place = "/proc/self/fd/" + std::to_string(directory.descriptor()) + "/.";
    if (inotify_add_watch(events_.get(), place.c_str(), IN_DELETE | IN_MOVED_FROM) < 0)
        events_ = Descriptor();
}

void Deletions::onReady() {
    alignas(inotify_event) char bytes[16 * 1024];
    for (ssize_t size; (size = read(events_.get(), bytes, sizeof bytes)) > 0;)
        for (ssize_t place = 0; place < size;) {
            const auto* const event = reinterpret_cast<const inotify_event*>(bytes + place);
            place += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
            take(*event);
        }
}

bool Deletions::callThread(pid_t thread) {
    const f_owner_ex owner = {F_OWNER_TID, thread};
    if (thread != 0 && fcntl(events_.get(), F_SETOWN_EX, &owner) != 0) return false;
    return fcntl(events_.get(), F_SETFL, O_NONBLOCK | (thread != 0 ? O_ASYNC : 0)) == 0;
}

void Deletions::take(const inotify_event& event) {
    if ((event.mask & (IN_Q_OVERFLOW | IN_IGNORED | IN_UNMOUNT)) != 0) isBlind_();
    if (event.len > 0) isGone_(event.name);
}

}  // namespace kelvo::zocached
