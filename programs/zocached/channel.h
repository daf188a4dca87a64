// The server's end of a connection: moves bytes between the system and two buffers without
// waiting, unless it is told to. The protocol reads and writes the buffers as if they were the socket.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "Base/zo_tcp.h"
#include "programs/zocached/request.h"

namespace kelvo::zocached {

class Channel : public zoTCP::Socket {
  public:
    /// `received` are bytes that somebody has read from the wire already.
    explicit Channel(std::unique_ptr<zoTCP::Socket> wire, std::string_view received = {});

    int wire() const { return descriptor_; }
    /// Gives the connection away; the channel is of no use any more.
    std::unique_ptr<zoTCP::Socket> releaseWire() { return std::move(wire_); }

    /// Takes what has arrived; with `waits` it waits for that, or for a signal. False when the stream
    /// has ended.
    bool receive(bool waits = false);
    /// The request that stands at the front of the bytes received.
    Frame frame() const { return frameOf(pending()); }
    /// What has been received and not read: good until the thread receives for another channel.
    std::string_view pending() const { return pending_; }
    /// Makes it last.
    void keepPending();

    /// Sends what has been written, as far as the system takes it. False when the stream is lost.
    bool send();
    bool hasOutput() const { return sent_ < output_.size(); }
    /// Takes the last reply back, as long as nothing has been sent.
    void discardOutput();

    zoUtil::Error read(void* buffer, int count, int flags) override;
    zoUtil::Error write(const void* buffer, int count, int flags) override;
    zoUtil::Error flush() override;

  private:
    std::unique_ptr<zoTCP::Socket> wire_;
    int descriptor_ = -1;       // the wire's
    std::string kept_;          // ends with pending_ when there is something in it
    std::string_view pending_;  // otherwise in the buffer of a thread
    std::string output_;
    std::size_t sent_ = 0;
};

}  // namespace kelvo::zocached
