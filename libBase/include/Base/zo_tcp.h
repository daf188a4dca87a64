// Stream connections between processes of one machine.
//   1. read and write move exactly the bytes asked for, whatever signals arrive. An end of the
//      stream before that is an error like any other. No write raises SIGPIPE.
//   2. Errors carry the system's error number: ECONNRESET when the other side has gone, ETIMEDOUT
//      when time is up, EMSGSIZE for a text beyond the limit, EINVAL for bad arguments.
//   3. After a failed transfer the place in the stream is unknown, so the connection stays failed:
//      every later transfer ends with the same error. Bad arguments do no harm to it.
//   4. Small writes are collected and leave together: with flush(), before the thread reads from,
//      waits at or writes to any other socket, or when 64 KiB have gathered. One request written in
//      many fields is thus one segment; there is no delay for more to come (TCP_NODELAY).
//   5. On the loopback interface the system knows who owns the other end. connect() and accept()
//      let nobody in but processes of the same user.
//   6. Descriptors are closed in programs that are started.
// A socket is used by one thread at a time; before another uses it, flush(). Another may destroy it
// without.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "Base/base_api.h"
#include "Base/zo_string.h"
#include "Base/zo_util.h"

namespace kelvo::zotcp {
struct CollectingMark;
}  // namespace kelvo::zotcp

namespace zoTCP {

/// Where to connect to. A value.
class BASE_API Address {
  public:
    /// `localhost` is the IPv4 loopback address, 127.0.0.1.
    enum Host { localhost };

    /// Any number is taken; one outside 1 to 65535 makes connecting fail.
    Address(Host host, int port) noexcept : host_(host), port_(port) {}

    Host host() const noexcept { return host_; }
    int port() const noexcept { return port_; }

  private:
    Host host_;
    int port_;
};

/// One end of a connection. Derived classes that replace read, write and flush carry the bytes in
/// their own way; texts go through these too.
class BASE_API Socket {
  public:
    /// Longest text that is sent or taken when nothing else is set: 64 MiB.
    static constexpr int kLongestText = 64 << 20;

    /// Without a connection: every transfer fails with ENOTCONN.
    Socket() noexcept = default;
    /// Takes over a connected stream descriptor, which is closed with the socket; it may be of a
    /// local socket too, and must be in blocking mode. Whose it is at the other end is not looked
    /// at: see isPeerOurs().
    explicit Socket(int descriptor) noexcept;
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;
    /// Closes the connection. Collected writes are sent as far as the system takes them at once.
    virtual ~Socket();

    /// Sends what has been collected, then waits until `count` bytes are there. `flags` is 0;
    /// anything else is refused. After an error the buffer's content means nothing.
    virtual zoUtil::Error read(void* buffer, int count, int flags);
    /// Takes `count` bytes for sending. `flags` is 0; anything else is refused. A connection that
    /// is lost may show itself only at the next flush or read.
    virtual zoUtil::Error write(const void* buffer, int count, int flags);
    /// Sends what has been collected, and waits until the system has taken it.
    virtual zoUtil::Error flush();

    /// Reads a text: its length as a signed 32-bit number in this machine's order, then so many
    /// bytes, which may be any. A length that is negative or beyond the limit is refused before any
    /// memory is taken. After an error `text` is what it was.
    zoUtil::Error read(zoString::CString& text);
    /// Writes a text the same way. One beyond the limit is refused and nothing of it is sent.
    zoUtil::Error write(const zoString::CString& text);
    /// Sets the longest text to send or take, in bytes: 0 to kLongestText, others are clamped.
    void setTextLimit(int bytes) noexcept;
    int textLimit() const noexcept { return textLimit_; }

    /// In throwing mode every error of read, write, flush and waitForInput is thrown, as a
    /// zoUtil::Error by value, instead of being returned. Off at first.
    void setThrowMode(bool throws) noexcept { throws_ = throws; }

    /// From now on transfers end with ETIMEDOUT once so many seconds have passed, however many of
    /// them there are and however slowly the bytes come. 0.0 takes the deadline away.
    void setDeadline(const zoUtil::Interval& fromNow) noexcept;
    /// Ends transfers with ETIMEDOUT when no byte moves for so long. 0.0: no limit, as at first.
    /// Costs nothing per transfer, where a deadline costs a further system call. While there is a
    /// deadline it alone counts.
    zoUtil::Error setSilenceLimit(const zoUtil::Interval& limit);

    /// Sends what has been collected, then waits for the next byte or the end of the stream.
    /// `ready` tells whether there is something to read; false when time was up, which is no error.
    /// 0.0 waits without limit, a negative interval not at all.
    zoUtil::Error waitForInput(const zoUtil::Interval& wait, bool& ready);
    /// Whether bytes have been received that nobody has read: the system reports nothing about
    /// them, so whoever waits for descriptor() asks here first.
    bool hasInput() const noexcept { return aheadNext_ < aheadEnd_; }

    /// The user who owns the other end of an established connection within this machine. Errors:
    /// ENOENT when the system knows no such end, or not yet: a connection that the listener has not
    /// accepted has no owner.
    zoUtil::Error peerUser(unsigned& user) const;
    /// Whether the other end belongs to the user of this process.
    bool isPeerOurs() const;

    /// What ended the connection; no error while it is usable.
    const zoUtil::Error& failure() const noexcept { return failure_; }
    /// The system's descriptor, for waiting on several at once; -1 without a connection.
    int descriptor() const noexcept { return descriptor_; }

  protected:
    /// Returns an error, or throws it in throwing mode: the last step of every transfer.
    zoUtil::Error answer(zoUtil::Error error) const;
    /// Takes over a connected descriptor in place of the one before, whose state is forgotten.
    void attach(int descriptor) noexcept;

  private:
    friend class Server;
    using Clock = std::chrono::steady_clock;

    zoUtil::Error fail(zoUtil::Error error);
    zoUtil::Error collect(const char* bytes, std::size_t count);
    zoUtil::Error sendAll(const char* bytes, std::size_t count);
    zoUtil::Error sendCollected();
    void dropCollected() noexcept;
    static void sendForOthers(const Socket* self);
    zoUtil::Error receive(char* bytes, std::size_t capacity, std::size_t& received);
    zoUtil::Error readExactly(char* bytes, std::size_t count);

    int descriptor_ = -1;  // owned
    int textLimit_ = kLongestText;
    bool throws_ = false;
    bool hasDeadline_ = false;
    Clock::time_point deadline_;
    zoUtil::Error failure_;
    std::string collected_;                         // written and not sent
    kelvo::zotcp::CollectingMark* mark_ = nullptr;  // owned; null before any write
    std::uint64_t markId_ = 0;                      // of the mark; 0 before any write
    std::unique_ptr<char[]> ahead_;  // received and not read: [aheadNext_, aheadEnd_)
    std::size_t aheadNext_ = 0;
    std::size_t aheadEnd_ = 0;
};

/// The end that connects.
class BASE_API ClientSocket : public Socket {
  public:
    /// Does not connect yet.
    explicit ClientSocket(const Address& address) noexcept : address_(address) {}

    /// Connects, for at most five seconds or as long as is said (0.0: without limit); the listener
    /// need not have accepted yet. Errors: ECONNREFUSED when nobody listens, EACCES when the
    /// listener belongs to another user, ETIMEDOUT when it has no room for more connections, EINVAL
    /// for a port outside 1 to 65535, EISCONN when connected already. After an error the socket may
    /// be connected again. Errors are returned in throwing mode too.
    zoUtil::Error connect();
    zoUtil::Error connect(const zoUtil::Interval& wait);

  private:
    Address address_;
};

/// Waits for connections.
class BASE_API Server {
  public:
    /// Port -1 (or 0): the system chooses a free one. `backlog` is the number of connections that
    /// may wait for accept(); less than 1 counts as 1.
    Server(int port, int backlog) noexcept : port_(port), backlog_(backlog) {}
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;
    /// Stops listening. Accepted connections live on.
    ~Server();

    /// Listens on the loopback interface alone, and accepts nobody but processes of this user.
    /// Without it the server listens on all interfaces and takes whoever comes. Before listen().
    void setLoopbackOnly() noexcept { loopbackOnly_ = true; }

    /// Starts to listen; does nothing when it has started. Errors: EADDRINUSE when the port is
    /// taken, EINVAL for a port beyond 65535, EMFILE without a free descriptor.
    zoUtil::Error listen();

    /// The port listened on; before listen() what the constructor got.
    int getPort() const noexcept { return port_; }

    /// Waits for a connection. `*socket` is a new one for the caller to delete, or null when
    /// `wait` has passed (no error then) or with an error. Connections of other users are closed
    /// and waiting goes on. 0.0 waits without limit, a negative interval not at all.
    zoUtil::Error accept(Socket** socket, const zoUtil::Interval& wait);

    /// The system's descriptor, for waiting on several at once; -1 before listen().
    int descriptor() const noexcept { return descriptor_; }

  private:
    int port_;
    int backlog_;
    int descriptor_ = -1;  // owned
    bool loopbackOnly_ = false;
};

}  // namespace zoTCP
