// What the server waits for beside its clients. Each calls back when something has come.
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>

#include "programs/zocached/directory.h"
#include "programs/zocached/loop.h"

struct inotify_event;

namespace kelvo::zocached {

/// A listening socket, borrowed.
class Listener : public Watched {
  public:
    Listener(int descriptor, std::function<void()> accept);
    int descriptor() const override { return descriptor_; }
    void onReady() override { accept_(); }

  private:
    int descriptor_;
    std::function<void()> accept_;
};

/// Another process of this program, which sends one order.
class ControlPeer : public Watched {
  public:
    ControlPeer(Descriptor peer, std::function<void(int)> obey);
    int descriptor() const override { return peer_.get(); }
    void onReady() override;
    void onTick(Clock::time_point now) override;

  private:
    Descriptor peer_;
    std::function<void(int)> obey_;
    Clock::time_point deadline_;
};

/// The signals that end the server; blocked from now on, in the threads made later as well.
class Signals : public Watched {
  public:
    explicit Signals(std::function<void(unsigned)> obey);
    int descriptor() const override { return signals_.get(); }
    void onReady() override;

  private:
    Descriptor signals_;
    std::function<void(unsigned)> obey_;
};

/// Files of the directory that others delete or move away. The news is there before a request that
/// was sent afterwards, so whoever serves one looks at it first.
class Deletions : public Watched {
  public:
    /// Its descriptor is -1 where the system does not tell. `isGone` takes the name of a file,
    /// `isBlind` hears that some news is lost.
    Deletions(const Directory& directory, std::function<void(const std::string&)> isGone,
              std::function<void()> isBlind);
    int descriptor() const override { return events_.get(); }
    void onReady() override;
    /// Sends the thread a SIGIO for all that comes from now on; 0: no more. False when it cannot.
    bool callThread(pid_t thread);

  private:
    void take(const inotify_event& event);

    Descriptor events_;
    std::function<void(const std::string&)> isGone_;
    std::function<void()> isBlind_;
};

}  // namespace kelvo::zocached
