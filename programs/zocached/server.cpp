#include "programs/zocached/server.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/inotify.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <utility>

#include "programs/zocached/log.h"

using zoUtil::Error;

namespace kelvo::zocached {
namespace {

using namespace std::chrono_literals;

constexpr int kMostClients = 256;
constexpr int kMostStrangers = 64;  // connections that have not said initialize
constexpr int kMostAccepts = 16;    // in one round, so that those who are in get their turn
constexpr int kMostEvents = 512;    // in one round: all there can be
constexpr int kBacklog = 128;
constexpr auto kTick = 1s;
constexpr auto kIdleTick = 10s;
constexpr auto kCheckEvery = 10s;
constexpr auto kControlTime = 30s;
constexpr int kMostUnguarded = 3;  // checks

Error failed(const char* what) {
    const int error = errno;
    return Error(error, "cannot %s: %s", what, std::strerror(error));
}

bool isOutOfResources(int error) {
    return error == EMFILE || error == ENFILE || error == ENOMEM || error == ENOBUFS;
}

}  // namespace

// A listening socket, borrowed.
class Server::Listener : public Watched {
  public:
    Listener(Server& server, int descriptor, void (Server::*accept)())
        : server_(server), descriptor_(descriptor), accept_(accept) {}
    int descriptor() const override { return descriptor_; }
    void onReady() override { (server_.*accept_)(); }

  private:
    Server& server_;
    int descriptor_;
    void (Server::*accept_)();
};

// Another process of this program, which sends one order.
class Server::Control : public Watched {
  public:
    Control(Server& server, Descriptor peer)
        : server_(server), peer_(std::move(peer)), deadline_(Clock::now() + kControlTime) {}
    int descriptor() const override { return peer_.get(); }
    void onReady() override {
        server_.obey(peer_.get());
        drop();
    }
    void onTick(Clock::time_point now) override {
        if (now > deadline_) drop();
    }

  private:
    Server& server_;
    Descriptor peer_;
    Clock::time_point deadline_;
};

// The signals that end the server.
class Server::Signals : public Watched {
  public:
    explicit Signals(Server& server) : server_(server) {
        sigset_t wanted;
        sigemptyset(&wanted);
        for (int signal : {SIGTERM, SIGINT, SIGHUP, SIGQUIT}) sigaddset(&wanted, signal);
        pthread_sigmask(SIG_BLOCK, &wanted, nullptr);
        signals_ = Descriptor(signalfd(-1, &wanted, SFD_CLOEXEC | SFD_NONBLOCK));
    }
    int descriptor() const override { return signals_.get(); }
    void onReady() override {
        signalfd_siginfo signal{};
        if (read(signals_.get(), &signal, sizeof signal) != sizeof signal) return;
        logLine(Level::kInfo, "ends: signal %u", signal.ssi_signo);
        server_.isTold_ = true;
    }

  private:
    Server& server_;
    Descriptor signals_;
};

// Files of the directory that others delete or move away. The news is there before a request that
// was sent afterwards, so that the loop looks at it before all else.
class Server::Deletions : public Watched {
  public:
    explicit Deletions(Server& server)
        : server_(server), events_(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
        const std::string place =
            "/proc/self/fd/" + std::to_string(server.directory_.descriptor()) + "/.";
        if (inotify_add_watch(events_.get(), place.c_str(), IN_DELETE | IN_MOVED_FROM) < 0)
            events_ = Descriptor();
    }
    int descriptor() const override { return events_.get(); }
    void onReady() override {
        alignas(inotify_event) char bytes[16 * 1024];
        for (ssize_t size; (size = read(events_.get(), bytes, sizeof bytes)) > 0;)
            for (ssize_t place = 0; place < size;) {
                const auto* const event = reinterpret_cast<const inotify_event*>(bytes + place);
                place += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
                take(*event);
            }
    }

  private:
    void take(const inotify_event& event) {
        if ((event.mask & (IN_Q_OVERFLOW | IN_IGNORED | IN_UNMOUNT)) != 0)
            server_.index_.setWatched(false);  // some news is lost: trust none
        if (event.len == 0) return;
        server_.index_.fileGone(event.name);
        // Starters that find nobody there do not wait for long.
        if (std::strcmp(event.name, kSocketName) == 0)
            server_.nextTick_ = server_.nextCheck_ = server_.now_;
    }

    Server& server_;
    Descriptor events_;
};

Server::Server(Directory directory, Descriptor guard, int idleSeconds)
    : directory_(std::move(directory)),
      guard_(std::move(guard)),
      idleSeconds_(idleSeconds),
      index_(directory_),
      listener_(-1, kBacklog) {
    now_ = lastClient_ = Clock::now();
    nextTick_ = now_ + kTick;
    nextCheck_ = now_ + kCheckEvery;
}

Server::~Server() {
    if (listener_.descriptor() >= 0) directory_.withdraw(listener_.getPort());
    if (control_ && !isLost_) unlinkat(directory_.descriptor(), kSocketName, 0);
    watched_.clear();  // ends the holds
    if (!index_.flush()) logLine(Level::kError, "the order of accesses could not be kept");
}

Error Server::open() {
    epoll_ = Descriptor(epoll_create1(EPOLL_CLOEXEC));
    if (!epoll_) return failed("wait for clients");
    // Before the index makes its thread, which inherits what is blocked.
    if (Error error = watch(std::make_unique<Signals>(*this))) return error;
    auto deletions = std::make_unique<Deletions>(*this);
    Watched* const news = deletions.get();
    if (news->descriptor() >= 0 && !watch(std::move(deletions))) {
        deletions_ = news;
        index_.setWatched(true);
    }
    if (Error error = index_.open()) return error;
    listener_.setLoopbackOnly();
    if (Error error = listener_.listen()) return error;
    // One that was waiting may have gone when it is its turn.
    if (fcntl(listener_.descriptor(), F_SETFL, O_NONBLOCK) != 0) return failed("listen");
    if (Error error = listenForControls()) return error;
    if (Error error = watch(
            std::make_unique<Listener>(*this, listener_.descriptor(), &Server::acceptClients)))
        return error;
    advertise();
    logLine(Level::kInfo, "serves on port %d, %lld entries, %lld bytes", listener_.getPort(),
            static_cast<long long>(index_.figures().entries),
            static_cast<long long>(index_.figures().bytes));
    return Error();
}

// In place of the socket before, whose name has gone.
Error Server::listenForControls() {
    Descriptor fresh;
    if (Error error = openControl(directory_, fresh)) return error;
    for (const std::unique_ptr<Watched>& watched : watched_)
        if (control_ && watched->descriptor() == control_.get()) watched->drop();
    control_ = std::move(fresh);
    return watch(std::make_unique<Listener>(*this, control_.get(), &Server::acceptControls));
}

// Without a lock file clients start servers, which hand them over.
void Server::advertise() {
    if (Error error = directory_.advertise(listener_.getPort()))
        logLine(Level::kWarning, "%s", error.message().c_str());
}

Error Server::watch(std::unique_ptr<Watched> watched) {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.ptr = watched.get();
    if (epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, watched->descriptor(), &event) != 0)
        return failed("wait for clients");
    watched_.push_back(std::move(watched));
    return Error();
}

void Server::watchForOutput(Connection& connection, bool output) {
    epoll_event event{};
    event.events = output ? EPOLLOUT : EPOLLIN;
    event.data.ptr = static_cast<Watched*>(&connection);
    if (epoll_ctl(epoll_.get(), EPOLL_CTL_MOD, connection.descriptor(), &event) != 0)
        connection.drop();
}

void Server::watchListeners(bool wanted) {
    for (const std::unique_ptr<Watched>& watched : watched_) {
        if (dynamic_cast<Listener*>(watched.get()) == nullptr || watched->isOver()) continue;
        epoll_event event{};
        if (wanted) event.events = EPOLLIN;
        event.data.ptr = watched.get();
        epoll_ctl(epoll_.get(), EPOLL_CTL_MOD, watched->descriptor(), &event);
    }
}

// -1 when nobody is waiting, or for whom there is no descriptor left.
int Server::acceptOn(int listener) {
    for (;;) {
        const int accepted = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (accepted >= 0) return accepted;
        if (errno == EINTR || errno == ECONNABORTED) continue;
        if (isOutOfResources(errno) && !isFull_) {
            logLine(Level::kWarning, "cannot accept: %s", std::strerror(errno));
            isFull_ = true;
            watchListeners(false);
        }
        return -1;
    }
}

void Server::acceptClients() {
    for (int i = 0; i < kMostAccepts && !isLost_; ++i) {
        const int accepted = acceptOn(listener_.descriptor());
        if (accepted < 0) return;
        const int yes = 1;
        setsockopt(accepted, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
        adopt(std::make_unique<zoTCP::Socket>(accepted), false, {});
    }
}

void Server::acceptControls() {
    for (int i = 0; i < kMostAccepts && !isLost_; ++i) {
        const int accepted = acceptOn(control_.get());
        if (accepted < 0) return;
        watch(std::make_unique<Control>(*this, Descriptor(accepted)));
    }
}

void Server::adopt(std::unique_ptr<zoTCP::Socket> wire, bool isHere, std::string_view received) {
    if (!wire->isPeerOurs()) {
        logLine(Level::kWarning, "refused a connection that is not this user's");
        return;
    }
    makeRoom();
    Service& service = *this;
    auto connection = std::make_unique<Connection>(service, std::move(wire), isHere, received);
    Connection& client = *connection;
    if (watch(std::move(connection))) return;
    ++clients_;
    client.serve();
}

// Those who only connect do not keep clients out: the first of them goes.
void Server::makeRoom() {
    if (clients_ - initialized_ < kMostStrangers) return;
    for (const std::unique_ptr<Watched>& watched : watched_) {
        auto* const client = dynamic_cast<Connection*>(watched.get());
        if (client == nullptr || client->isInitialized() || client->isOver()) continue;
        return client->drop();
    }
}

bool Server::admit() {
    if (initialized_ >= kMostClients) return false;
    ++initialized_;
    return true;
}

void Server::obey(int control) {
    Order order = receiveOrder(control);
    if (order.kind == Order::kTell) {
        index_.flush();  // whoever asks may look into the index next
        answerOrder(control, figures());
    }
    if (order.kind != Order::kAdopt) return;
    auto wire = std::make_unique<zoTCP::Socket>(order.client.release());
    const bool isHere = directory_.isSame(order.directory.get());
    if (!answerTaken(control)) return;
    logLine(Level::kInfo, "took a client over from a server that started later");
    adopt(std::move(wire), isHere, order.received);
    checkFiles();  // the client has found no lock file
}

void Server::serveAdds() {
    while (!adds_.empty()) {
        std::vector<Connection*> adds;
        adds.swap(adds_);
        for (Connection* connection : adds) {
            if (connection->isOver()) continue;
            connection->serveAdd();
            uncommitted_.push_back(connection);
        }
        commitAdds();
    }
}

void Server::commitAdds() {
    std::vector<Connection*> served;
    served.swap(uncommitted_);
    const bool isStored = index_.commitAdds();
    for (Connection* connection : served)
        if (!connection->isOver()) connection->endAdd(isStored);
}

void Server::letGo() {
    const auto isOver = [this](const std::unique_ptr<Watched>& watched) {
        if (!watched->isOver()) return false;
        if (dynamic_cast<Connection*>(watched.get()) == nullptr) return true;
        --clients_;
        lastClient_ = now_;
        return true;
    };
    watched_.erase(std::remove_if(watched_.begin(), watched_.end(), isOver), watched_.end());
}

void Server::round() {
    epoll_event events[kMostEvents];
    const int count = epoll_wait(epoll_.get(), events, kMostEvents, waitMilliseconds());
    now_ = Clock::now();
    bool someAreOver = false;
    for (int i = 0; i < count && deletions_ != nullptr; ++i)
        if (events[i].data.ptr == deletions_) deletions_->onReady();
    for (int i = 0; i < count; ++i) {
        auto* const watched = static_cast<Watched*>(events[i].data.ptr);
        if (!watched->isOver()) watched->onReady();
        someAreOver = someAreOver || watched->isOver();
    }
    serveAdds();
    hasMoreToEvict_ = index_.evictSome();
    const bool isTickDue = now_ >= nextTick_;
    if (isTickDue) tick();
    if (someAreOver || isTickDue) letGo();
}

void Server::tick() {
    nextTick_ = now_ + kTick;
    for (const std::unique_ptr<Watched>& watched : watched_) watched->onTick(now_);
    index_.flush();
    if (isFull_) {
        isFull_ = false;
        watchListeners(true);
    }
    if (now_ >= nextCheck_) checkFiles();
}

// Clients remove the lock file when they take it for a dead server's, and people tidy up.
void Server::checkFiles() {
    if (isLost_) return;
    if (!directory_.isAdvertised(listener_.getPort())) advertise();
    if (now_ < nextCheck_) return;
    nextCheck_ = now_ + kCheckEvery;
    const bool isThere = !directory_.path().empty();
    if (isThere && isStillGuarded()) {
        index_.keepFile();
        if (!directory_.isGuardedBy(guard_) || isControlThere(directory_)) return;
        if (Error error = listenForControls())
            logLine(Level::kWarning, "%s", error.message().c_str());
        return;
    }
    // Another server may be there. Those who are served stay.
    logLine(Level::kWarning, "the files of the server were deleted: takes no more clients");
    isLost_ = true;
    watchListeners(false);
}

// A guard that was deleted is replaced. Somebody else may have a new one: a starter, who ends soon,
// or a server.
bool Server::isStillGuarded() {
    if (directory_.isGuardedBy(guard_)) {
        unguarded_ = 0;
        return true;
    }
    Descriptor fresh;
    const bool isAnswered = !directory_.tryGuard(fresh);
    if (isAnswered && fresh) guard_ = std::move(fresh);
    return ++unguarded_ < kMostUnguarded;
}

int Server::waitMilliseconds() const {
    if (hasMoreToEvict_) return 0;
    auto wait = Clock::duration(kTick);
    if (clients_ == 0 && !index_.needsFlush() && !isFull_) {
        wait = kIdleTick;
        if (idleSeconds_ > 0)
            wait = std::min<Clock::duration>(
                wait, lastClient_ + std::chrono::seconds(idleSeconds_) - now_);
    }
    const auto milliseconds = std::chrono::ceil<std::chrono::milliseconds>(wait).count();
    return static_cast<int>(std::max<std::int64_t>(milliseconds, 0));
}

// Whoever is waiting to be accepted is taken before that. Later ones find no listener and start a
// server.
bool Server::mayEnd() {
    if (isTold_) return true;
    if (clients_ > 0) return false;
    const bool isIdle =
        idleSeconds_ > 0 && now_ - lastClient_ >= std::chrono::seconds(idleSeconds_);
    if (!isIdle && !isLost_) return false;
    directory_.withdraw(listener_.getPort());
    acceptClients();
    if (clients_ == 0) {
        logLine(Level::kInfo, "ends: %s", isLost_ ? "its directory has gone" : "nobody is there");
        return true;
    }
    advertise();
    return false;
}

void Server::run() {
    while (!mayEnd()) round();
}

std::string Server::figures() const {
    const Figures& f = index_.figures();
    const struct {
        const char* name;
        std::int64_t value;
    } lines[] = {
        {"entries", f.entries},      {"bytes", f.bytes},
        {"holds", f.holds},          {"hits", f.hits},
        {"misses", f.misses},        {"adds", f.adds},
        {"refused adds", f.refused}, {"evictions", f.evictions},
        {"clients", initialized_},   {"port", listener_.getPort()},
        {"process", getpid()},
    };
    std::string text;
    for (const auto& line : lines)
        text += std::string(line.name) + ": " + std::to_string(line.value) + "\n";
    return text;
}

}  // namespace kelvo::zocached
