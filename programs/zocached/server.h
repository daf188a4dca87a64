// The server of one directory: one loop over all connections. Nothing in it waits for a client.
// Requests that have arrived together are served together: first all that need no disk, then all
// adds in one transaction, whose replies leave when it has been committed.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "programs/zocached/connection.h"
#include "programs/zocached/control.h"

namespace kelvo::zocached {

class Server : private Service {
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
    class Listener;
    class Control;
    class Signals;
    class Deletions;

    Index& index() override { return index_; }
    const Directory& directory() const override { return directory_; }
    bool admit() override;
    void dismiss() override { --initialized_; }
    void awaitAdd(Connection& connection) override { adds_.push_back(&connection); }
    void commitAdds() override;
    void watchForOutput(Connection& connection, bool output) override;

    zoUtil::Error watch(std::unique_ptr<Watched> watched);
    void watchListeners(bool wanted);
    void acceptClients();
    void acceptControls();
    int acceptOn(int listener);
    void makeRoom();
    void obey(int control);
    void round();
    void serveAdds();
    void letGo();
    void tick();
    void checkFiles();
    bool isStillGuarded();
    zoUtil::Error listenForControls();
    void advertise();
    bool mayEnd();
    int waitMilliseconds() const;
    std::string figures() const;

    Directory directory_;
    Descriptor guard_;
    int idleSeconds_;
    Index index_;
    zoTCP::Server listener_;
    Descriptor control_;
    Descriptor epoll_;
    std::vector<std::unique_ptr<Watched>> watched_;
    Watched* deletions_ = nullptr;          // borrowed
    std::vector<Connection*> adds_;         // borrowed: to be served
    std::vector<Connection*> uncommitted_;  // borrowed: served, not yet answered
    int clients_ = 0;                       // connections
    int initialized_ = 0;
    Clock::time_point now_, lastClient_, nextTick_, nextCheck_;
    int unguarded_ = 0;    // checks in a row that found the guard gone
    bool isTold_ = false;  // to end
    bool isLost_ = false;  // the directory is no longer ours: nobody new is taken
    bool isFull_ = false;  // of descriptors: nobody new is taken until the next tick
    bool hasMoreToEvict_ = false;
};

}  // namespace kelvo::zocached
