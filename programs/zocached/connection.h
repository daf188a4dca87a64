// A client of the server: its requests, its holds, its deadlines.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "KelvoBase/file_cache_protocol.h"
#include "programs/zocached/channel.h"
#include "programs/zocached/index.h"
#include "programs/zocached/loop.h"

namespace kelvo::zocached {

/// What connections need of their server.
class Service {
  public:
    virtual ~Service() = default;
    virtual Index& index() = 0;
    virtual const Directory& directory() const = 0;
    /// Whether one more client may be initialized; counts it then.
    virtual bool admit() = 0;
    virtual void dismiss() = 0;
    /// Has the connection's add served later in this round, with those of others.
    virtual void awaitAdd(Connection& connection) = 0;
    /// Commits the adds served so far.
    virtual void commitAdds() = 0;
    /// Waits for room to send instead of requests, or the other way round.
    virtual void watchForOutput(Connection& connection, bool output) = 0;
};

class Connection : public Watched, private zoKelvoBase::FileCacheProtocolServer {
  public:
    /// `isHere` says that the client is known to mean the server's directory.
    Connection(Service& service, std::unique_ptr<zoTCP::Socket> wire, bool isHere,
               std::string_view received);
    ~Connection() override;

    int descriptor() const override { return channel_.wire(); }
    void onReady() override;
    void onTick(Clock::time_point now) override;
    Connection* client() override { return this; }

    /// Waits until something has arrived or a signal comes; false when the stream has ended. For a
    /// connection that the loop does not wait for.
    bool awaitInput();
    /// Lets the loop look at it again, as soon as it waits for it.
    void comeBack() { watchesOutput_ = true; }

    // What to do when it is ready, in three steps: each is shorter when it is done for all clients
    // one after the other, than when it comes with the others in turn.
    /// Takes what has arrived, or sends what has been waiting.
    void takeIn();
    /// Serves up to the first request that has a reply, or is an add, or is one too many in a turn.
    void prepareReply();
    /// Sends the reply and serves the requests that have arrived, up to an add.
    void serve();
    /// Serves the add that has been waiting, and keeps the reply back.
    void serveAdd();
    /// Lets that reply leave, as a refusal unless the add `isStored`; then goes on.
    void endAdd(bool isStored);

    bool isInitialized() const { return isInitialized_; }
    /// Whether it is a client of which nothing is awaited but its next request.
    bool isQuiet() const;

  private:
    zoUtil::Error initialize(const zoString::CString& directory, int arg1, int64 arg2) override;
    bool acquire(const zoString::CString& key, zoString::CString& path, int64& accessTime) override;
    bool add(const zoString::CString& key, const zoString::CString& path) override;
    bool release(const zoString::CString& key, bool remove) override;
    void setAccessed(const zoString::CString& key) override;

    void serveOne();
    void endTurn();
    void reply();
    void setDeadline();

    Service& service_;
    Channel channel_;
    Holder holder_;
    zoString::CString directory_;  // in the client's words
    bool isHere_;
    bool isInitialized_ = false;
    bool isRefused_ = false;  // ends when its reply has left
    bool awaitsAdd_ = false;
    bool watchesOutput_ = false;  // for room to send, or for its next turn
    int inTurn_ = 0;              // requests served
    Clock::time_point deadline_;  // of what has begun; none when zero
};

}  // namespace kelvo::zocached
