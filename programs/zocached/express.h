// A second thread for one connection at a time: the one that alone has had something to say for a
// while. It waits in a receive of that very connection, so that a request takes two system calls;
// to wait for all connections together takes a third, and a longer way to wake up. When others
// begin to speak, or something is to be waited for, the connection goes back to the loop.
//
// All state of the server belongs to whoever has its mutex, which is free only while the loop and
// this thread wait. Of the connection that it has, this thread alone receives.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "programs/zocached/connection.h"

namespace kelvo::zocached {

/// What the thread needs of its server. Called with the mutex.
class ExpressHost {
  public:
    virtual ~ExpressHost() = default;
    /// The thread begins with a connection; a SIGIO tells it that the directory has news.
    virtual void beginAlone(pid_t thread) = 0;
    /// Serves what the connection has received, after the news. False when it must go back.
    virtual bool serveAlone(Connection& connection, bool hasNews) = 0;
    virtual void takeBack(Connection& connection) = 0;
};

class Express {
  public:
    /// Before the process makes any thread.
    Express(std::mutex& mutex, ExpressHost& host);
    ~Express() { end(); }

    // With the mutex.
    bool isFree() const { return connection_ == nullptr && !isOver_; }
    bool has(const Connection& connection) const { return connection_ == &connection; }
    /// Serves the connection, which the loop does not wait for any more, until it gives it back.
    /// False when there can be no thread.
    bool take(Connection& connection);
    /// The connection goes back now, though nothing is heard of it. May come to nothing: to be
    /// repeated.
    void recall();
    /// Lets the thread have the mutex first if it waits for it. Its connection then goes back.
    void letPass(std::unique_lock<std::mutex>& lock);

    /// The connection goes back when its next request has been served. With or without the mutex.
    void askBack() { isAsked_ = true; }
    /// Without the mutex: ends the thread. What it serves stays where it is, and is lost.
    void end();

  private:
    bool begin();
    void run();
    void serve(std::unique_lock<std::mutex>& lock);
    void enter(std::unique_lock<std::mutex>& lock);
    void pass();

    std::mutex& mutex_;
    ExpressHost& host_;
    std::thread thread_;  // made when it is first needed
    std::condition_variable wake_, passed_;
    Connection* connection_ = nullptr;  // borrowed
    std::atomic<bool> isAsked_{false};
    std::atomic<bool> isWaiting_{false};  // for the mutex
    bool isOver_ = false;
};

}  // namespace kelvo::zocached
