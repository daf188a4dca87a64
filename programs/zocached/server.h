// The server of one directory: one loop over all connections, and a thread for a client that is the
// only one to say something. Nothing is done for anybody without the mutex, and nothing waits for a
// client with it. Requests that have arrived together are served together: first all that need no
// disk, then all adds in one transaction, whose replies leave when it has been committed.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "programs/zocached/connection.h"
#include "programs/zocached/express.h"
#include "programs/zocached/loop.h"
#include "programs/zocached/presence.h"
#include "programs/zocached/sources.h"

namespace kelvo::zocached {

class Server : private Service, private ExpressHost {
  public:
    /// `guard` is the right to be the server of `directory`; it ends with the server, last of all.
    Server(Directory directory, Descriptor guard, int idleSeconds);
    ~Server() override;
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    /// Reads the index, listens and says so in the lock file.
    zoUtil::Error open();
    /// Takes a client over that has sent `received`.
    void adopt(std::unique_ptr<zoTCP::Socket> wire, bool isHere, std::string_view received);
    /// Serves until it has been idle for long enough or is told to end by a signal.
    void run();

  private:
    Index& index() override { return index_; }
    const Directory& directory() const override { return directory_; }
    bool admit() override;
    void dismiss() override { --initialized_; }
    void awaitAdd(Connection& connection) override { adds_.push_back(&connection); }
    void commitAdds() override;
    void watchForOutput(Connection& connection, bool output) override;
    void beginAlone(pid_t thread) override;
    bool serveAlone(Connection& connection, bool hasNews) override;
    void takeBack(Connection& connection) override;

    zoUtil::Error openSources();
    zoUtil::Error listenForControls();
    void watchListeners(bool wanted);
    void acceptClients();
    void acceptControls();
    int acceptOn(int listener);
    void makeRoom();
    void obey(int control);
    void round(std::unique_lock<std::mutex>& lock);
    void settle();
    void serveAdds();
    void chooseExpress();
    void letGo();
    void tick();
    void checkFiles();
    void isGone(const std::string& file);
    bool mayEnd();
    int waitMilliseconds() const;
    std::string figures() const;

    Directory directory_;
    Presence presence_;
    int idleSeconds_;
    Index index_;
    zoTCP::Server listener_;
    Loop loop_;
    Deletions* deletions_ = nullptr;        // borrowed
    std::vector<Connection*> speakers_;     // borrowed: have something to say in this round
    std::vector<Connection*> adds_;         // borrowed: to be served
    std::vector<Connection*> uncommitted_;  // borrowed: served, not yet answered
    int clients_ = 0;                       // connections
    int initialized_ = 0;
    Clock::time_point now_, lastClient_, nextTick_, nextCheck_;
    bool isTold_ = false;  // to end
    bool isFull_ = false;  // of descriptors: nobody new is taken until the next tick
    bool hasMoreToEvict_ = false;
    const Connection* alone_ = nullptr;  // may be gone: to compare with
    int roundsAlone_ = 0;
    std::mutex mutex_;  // of all that is above
    Express express_;
};

}  // namespace kelvo::zocached
