#include "programs/zocached/server.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "programs/zocached/control.h"
#include "programs/zocached/log.h"

using zoUtil::Error;

namespace kelvo::zocached {
namespace {

using namespace std::chrono_literals;

constexpr int kMostClients = 256;
constexpr int kMostStrangers = 64;  // connections that have not said initialize
constexpr int kMostAccepts = 16;    // in one round, so that those who are in get their turn
constexpr int kBacklog = 128;
constexpr int kRoundsAlone = 16;  // then the client gets the thread
constexpr auto kTick = 1s;
constexpr auto kIdleTick = 10s;
constexpr auto kCheckEvery = 10s;

Error failed(const char* what) {
    const int error = errno;
    return Error(error, "cannot %s: %s", what, std::strerror(error));
}

bool isOutOfResources(int error) {
    return error == EMFILE || error == ENFILE || error == ENOMEM || error == ENOBUFS;
}

}  // namespace

Server::Server(Directory directory, Descriptor guard, int idleSeconds)
    : directory_(std::move(directory)),
      presence_(directory_, std::move(guard)),
      idleSeconds_(idleSeconds),
      index_(directory_),
      listener_(-1, kBacklog),
      express_(mutex_, *this) {
    now_ = lastClient_ = Clock::now();
    nextTick_ = now_ + kTick;
    nextCheck_ = now_ + kCheckEvery;
}

Server::~Server() {
    express_.end();
    if (listener_.descriptor() >= 0) presence_.leave(listener_.getPort());
    loop_.clear();  // ends the holds
    if (!index_.flush()) logLine(Level::kError, "the order of accesses could not be kept");
}

Error Server::open() {
    if (Error error = loop_.open()) return error;
    // Before the index makes its thread, which inherits what is blocked.
    if (Error error = openSources()) return error;
    if (Error error = index_.open()) return error;
    listener_.setLoopbackOnly();
    if (Error error = listener_.listen()) return error;
    // One that was waiting may have gone when it is its turn.
    if (fcntl(listener_.descriptor(), F_SETFL, O_NONBLOCK) != 0) return failed("listen");
    if (Error error = listenForControls()) return error;
    if (Error error = loop_.watch(
            std::make_unique<Listener>(listener_.descriptor(), [this] { acceptClients(); })))
        return error;
    presence_.advertise(listener_.getPort());
    logLine(Level::kInfo, "serves on port %d, %lld entries, %lld bytes", listener_.getPort(),
            static_cast<long long>(index_.figures().entries),
            static_cast<long long>(index_.figures().bytes));
    return Error();
}

Error Server::openSources() {
    if (Error error = loop_.watch(std::make_unique<Signals>([this](unsigned signal) {
            logLine(Level::kInfo, "ends: signal %u", signal);
            isTold_ = true;
        })))
        return error;
    auto deletions = std::make_unique<Deletions>(
        directory_, [this](const std::string& file) { isGone(file); },
        [this] { index_.setWatched(false); });
    Deletions* const news = deletions.get();
    if (news->descriptor() < 0 || loop_.watch(std::move(deletions))) return Error();
    deletions_ = news;
    index_.setWatched(true);
    return Error();
}

// In place of the socket before, whose name has gone.
Error Server::listenForControls() {
    const int before = presence_.control();
    if (Error error = presence_.listen()) return error;
    for (const std::unique_ptr<Watched>& watched : loop_.watched())
        if (before >= 0 && watched->descriptor() == before) watched->drop();
    return loop_.watch(
        std::make_unique<Listener>(presence_.control(), [this] { acceptControls(); }));
}

void Server::watchForOutput(Connection& connection, bool output) {
    // One that has output waiting comes back from the thread.
    if (express_.has(connection)) return;
    if (!loop_.await(connection, output ? EPOLLOUT : EPOLLIN)) connection.drop();
}

void Server::watchListeners(bool wanted) {
    for (const std::unique_ptr<Watched>& watched : loop_.watched())
        if (dynamic_cast<Listener*>(watched.get()) != nullptr && !watched->isOver())
            loop_.await(*watched, wanted ? std::uint32_t{EPOLLIN} : 0);
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
    for (int i = 0; i < kMostAccepts && !presence_.isLost(); ++i) {
        const int accepted = acceptOn(listener_.descriptor());
        if (accepted < 0) return;
        const int yes = 1;
        setsockopt(accepted, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
        adopt(std::make_unique<zoTCP::Socket>(accepted), false, {});
    }
}

void Server::acceptControls() {
    for (int i = 0; i < kMostAccepts && !presence_.isLost(); ++i) {
        const int accepted = acceptOn(presence_.control());
        if (accepted < 0) return;
        loop_.watch(std::make_unique<ControlPeer>(Descriptor(accepted),
                                                  [this](int control) { obey(control); }));
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
    if (loop_.watch(std::move(connection))) return;
    ++clients_;
    client.serve();
}

// Those who only connect do not keep clients out: the first of them goes.
void Server::makeRoom() {
    if (clients_ - initialized_ < kMostStrangers) return;
    for (const std::unique_ptr<Watched>& watched : loop_.watched()) {
        Connection* const client = watched->client();
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
    for (const std::unique_ptr<Watched>& watched : loop_.watched()) {
        if (!watched->isOver() || watched->client() == nullptr) continue;
        --clients_;
        lastClient_ = now_;
    }
    loop_.letGo();
    alone_ = nullptr;
}

void Server::round(std::unique_lock<std::mutex>& lock) {
    const int patience = waitMilliseconds();
    lock.unlock();
    const std::span<Watched* const> ready = loop_.wait(patience);
    if (!lock.try_lock()) {
        express_.askBack();  // one who never pauses would keep the mutex
        lock.lock();
    }
    express_.letPass(lock);
    now_ = Clock::now();
    if (std::find(ready.begin(), ready.end(), deletions_) != ready.end()) deletions_->onReady();
    speakers_.clear();
    for (Watched* watched : ready) {
        if (watched->client() != nullptr)
            speakers_.push_back(watched->client());
        else if (!watched->isOver())
            watched->onReady();
    }
    for (Connection* client : speakers_) client->takeIn();
    for (Connection* client : speakers_) client->prepareReply();
    for (Connection* client : speakers_) client->serve();
    settle();
    chooseExpress();
    const auto isOver = [](const Watched* watched) { return watched->isOver(); };
    const bool isTickDue = now_ >= nextTick_;
    if (isTickDue) tick();
    if (isTickDue || std::any_of(ready.begin(), ready.end(), isOver)) letGo();
}

void Server::settle() {
    serveAdds();
    hasMoreToEvict_ = index_.evictSome();
}

// For a client that alone has spoken to the loop, for so many rounds.
void Server::chooseExpress() {
    if (speakers_.empty()) return;
    Connection* const alone = speakers_.size() == 1 ? speakers_.front() : nullptr;
    express_.askBack();
    roundsAlone_ = alone == alone_ ? roundsAlone_ + 1 : 0;
    alone_ = alone;
    if (alone == nullptr || roundsAlone_ < kRoundsAlone || !alone->isQuiet()) return;
    roundsAlone_ = 0;
    if (!express_.isFree()) return express_.recall();
    if (!loop_.pause(*alone)) return;
    if (!express_.take(*alone) && !loop_.resume(*alone, EPOLLIN)) alone->drop();
}

void Server::beginAlone(pid_t thread) {
    if (deletions_ != nullptr && !deletions_->callThread(thread)) index_.setWatched(false);
}

bool Server::serveAlone(Connection& connection, bool hasNews) {
    if (deletions_ != nullptr && hasNews) deletions_->onReady();
    connection.serve();
    settle();
    return connection.isQuiet() && !hasMoreToEvict_;
}

// There is room to send, so that the loop looks at the connection at once.
void Server::takeBack(Connection& connection) {
    if (deletions_ != nullptr) deletions_->callThread(0);
    connection.comeBack();
    if (!loop_.resume(connection, EPOLLOUT)) connection.drop();
}

void Server::tick() {
    nextTick_ = now_ + kTick;
    for (const std::unique_ptr<Watched>& watched : loop_.watched()) watched->onTick(now_);
    index_.flush();
    if (isFull_) {
        isFull_ = false;
        watchListeners(true);
    }
    if (now_ >= nextCheck_) checkFiles();
}

// Clients remove the lock file when they take it for a dead server's, and people tidy up.
void Server::checkFiles() {
    if (presence_.isLost()) return;
    presence_.keepAdvertised(listener_.getPort());
    if (now_ < nextCheck_) return;
    nextCheck_ = now_ + kCheckEvery;
    const Presence::State state = presence_.check();
    if (state == Presence::State::kLost) {
        // Those who are served stay.
        logLine(Level::kWarning, "the files of the server were deleted: takes no more clients");
        return watchListeners(false);
    }
    index_.keepFile();
    if (state == Presence::State::kSound) return;
    if (Error error = listenForControls()) logLine(Level::kWarning, "%s", error.message().c_str());
}

void Server::isGone(const std::string& file) {
    index_.fileGone(file);
    // Starters that find nobody there do not wait for long.
    if (file == kSocketName) nextTick_ = nextCheck_ = now_;
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
    if (!isIdle && !presence_.isLost()) return false;
    presence_.withdraw(listener_.getPort());
    acceptClients();
    if (clients_ == 0) {
        logLine(Level::kInfo, "ends: %s",
                presence_.isLost() ? "its directory has gone" : "nobody is there");
        return true;
    }
    presence_.advertise(listener_.getPort());
    return false;
}

void Server::run() {
    {
        std::unique_lock<std::mutex> lock(mutex_);
        while (!mayEnd()) round(lock);
    }
    express_.end();
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
