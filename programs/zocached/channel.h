// The server's end of a connection: moves bytes between the system and two buffers without ever
// waiting. The protocol reads and writes the buffers as if they were the socket.
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

    int wire() const { return wire_->descriptor(); }
    /// Gives the connection away; the channel is of no use any more.
    std::unique_ptr<zoTCP::Socket> releaseWire() { return std::move(wire_); }

    /// Takes what has arrived. False when the stream has ended.
    bool receive();
    /// The request that stands at the front of the bytes received.
    Frame frame() const { return frameOf(pending()); }
    std::string_view pending() const;

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
    std::string input_;
    std::size_t taken_ = 0;
    std::string output_;
    std::size_t sent_ = 0;
};

}  // namespace kelvo::zocached
