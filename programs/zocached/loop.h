// What the server waits for, all of it at once. wait() is for one thread; others may resume() while
// it waits.
#pragma once

#include <sys/epoll.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "programs/zocached/directory.h"

namespace kelvo::zocached {

using Clock = std::chrono::steady_clock;  // deadlines do not follow the clock on the wall

class Connection;

/// Something that the loop waits for.
class Watched {
  public:
    virtual ~Watched() = default;
    virtual int descriptor() const = 0;
    virtual void onReady() = 0;
    /// Called about once a second.
    virtual void onTick(Clock::time_point) {}
    /// Itself when it is a client, otherwise null.
    virtual Connection* client() { return nullptr; }

    /// The loop lets go of it at the end of its round.
    void drop() { isOver_ = true; }
    bool isOver() const { return isOver_; }

  private:
    bool isOver_ = false;
};

class Loop {
  public:
    Loop();

    zoUtil::Error open();
    /// Waits for input of `watched`, which is the loop's from now on.
    zoUtil::Error watch(std::unique_ptr<Watched> watched);
    /// Waits for other events of it, as epoll names them; 0 for none but its end.
    bool await(Watched& watched, std::uint32_t events);
    /// Does not wait for it any more, and does again. It stays the loop's.
    bool pause(Watched& watched);
    bool resume(Watched& watched, std::uint32_t events);

    /// Waits until something is ready, or for so long. The result is good until the next call.
    std::span<Watched* const> wait(int milliseconds);
    /// Ends all that is over.
    void letGo();
    void clear() { watched_.clear(); }

    /// All that it waits for; borrowed.
    const std::vector<std::unique_ptr<Watched>>& watched() const { return watched_; }

  private:
    bool control(int operation, Watched& watched, std::uint32_t events);

    Descriptor epoll_;
    std::vector<epoll_event> events_;
    std::vector<Watched*> ready_;
    std::vector<std::unique_ptr<Watched>> watched_;
};

}  // namespace kelvo::zocached
