// What could break: bytes lost, doubled or torn where buffers end, signals that cut a transfer
// short, requests that leave in pieces, waits without end, lengths that are believed, connections
// to strangers, descriptors that programs inherit.
#include "Base/zo_tcp.h"

#include <fcntl.h>
#include <linux/tcp.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <future>
#include <random>
#include <thread>

#include "libBase/zoTCP/posix/peer_user.h"
#include "tests/support/bare_end.h"
#include "tests/support/test.h"

namespace {

using namespace std::chrono_literals;
using kelvo::test::BareEnd;
using zoString::CString;
using zoTCP::Address;
using zoTCP::ClientSocket;
using zoTCP::Server;
using zoTCP::Socket;
using zoUtil::Error;
using zoUtil::Interval;
using Clock = std::chrono::steady_clock;

constexpr unsigned kNobody = 65534;

double secondsSince(Clock::time_point begin) {
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

// Two ends over TCP.
struct Connection {
    Connection() {
        server.setLoopbackOnly();
        EXPECT_FALSE(server.listen());
        client = std::make_unique<ClientSocket>(Address(Address::localhost, server.getPort()));
        auto connecting = std::async(std::launch::async, [&] { return client->connect(); });
        Socket* taken = nullptr;
        EXPECT_FALSE(server.accept(&taken, Interval(5.0)));
        accepted.reset(taken);
        const Error error = connecting.get();
        EXPECT_FALSE(error) << error.message();
    }

    Server server{-1, 1};
    std::unique_ptr<ClientSocket> client;
    std::unique_ptr<Socket> accepted;
};

// A child process that acts as another user; ended with the object.
class Stranger {
  public:
    template <class Act>
    explicit Stranger(Act act) : pid_(fork()) {
        if (pid_ != 0) return;
        alarm(20);
        if (setresuid(kNobody, kNobody, kNobody) == 0) act();
        pause();
        _exit(0);
    }
    ~Stranger() {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }

  private:
    pid_t pid_;
};

sockaddr_in loopback(int port) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<in_port_t>(port));
    return address;
}

int bareSocket() {
    return socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
}

// Binds to a free port and tells which.
int bindAnywhere(int descriptor) {
    sockaddr_in address = loopback(0);
    socklen_t size = sizeof address;
    EXPECT_EQ(bind(descriptor, reinterpret_cast<sockaddr*>(&address), size), 0);
    EXPECT_EQ(getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size), 0);
    return ntohs(address.sin_port);
}

std::string pattern(std::size_t size, unsigned seed) {
    std::mt19937 random(seed);
    std::string bytes(size, '\0');
    for (char& c : bytes) c = static_cast<char>(random());
    return bytes;
}

TEST(Transfer, EveryByteOnceWhateverTheSizesAndSignals) {
    // Timer signals interrupt the system's calls on both threads.
    struct sigaction before, ignore = {};
    ignore.sa_handler = [](int) {};
    sigaction(SIGALRM, &ignore, &before);
    const itimerval often = {{0, 500}, {0, 500}}, never = {};
    setitimer(ITIMER_REAL, &often, nullptr);

    Connection connection;
    const std::string sent = pattern(6 << 20, 1);
    const auto sizeFrom = [](std::mt19937& random, std::size_t left) {
        const std::size_t usual[] = {1, 4, 8, 100, 8191, 8192, 8193, 65535, 65536, 65537, 300000};
        return static_cast<int>(std::min(usual[random() % std::size(usual)], left));
    };
    std::thread sender([&] {
        std::mt19937 random(2);
        for (std::size_t at = 0; at < sent.size();) {
            const int size = sizeFrom(random, sent.size() - at);
            ASSERT_FALSE(connection.client->write(sent.data() + at, size, 0));
            const bool flush = random() % 4 == 0;
            EXPECT_FALSE(flush && connection.client->flush());
            at += static_cast<std::size_t>(size);
        }
        ASSERT_FALSE(connection.client->flush());
    });
    std::mt19937 random(3);
    std::string received(sent.size(), '\0');
    for (std::size_t at = 0; at < received.size();) {
        const int size = sizeFrom(random, received.size() - at);
        const Error error = connection.accepted->read(received.data() + at, size, 0);
        ASSERT_FALSE(error) << error.message() << " at " << at;
        at += static_cast<std::size_t>(size);
    }
    sender.join();
    setitimer(ITIMER_REAL, &never, nullptr);
    sigaction(SIGALRM, &before, nullptr);
    EXPECT_TRUE(received == sent);
}

TEST(Transfer, FieldsLeaveTogether) {
    Connection connection;
    const auto segments = [](const Socket& socket) {
        tcp_info info = {};
        socklen_t size = sizeof info;
        getsockopt(socket.descriptor(), IPPROTO_TCP, TCP_INFO, &info, &size);
        return info.tcpi_data_segs_out;
    };
    for (Socket* from :
         {static_cast<Socket*>(connection.client.get()), connection.accepted.get()}) {
        Socket* to =
            from == connection.client.get() ? connection.accepted.get() : connection.client.get();
        for (int i = 0; i < 10; ++i) ASSERT_FALSE(from->write(CString("some field")));
        EXPECT_EQ(segments(*from), 0U);
        ASSERT_FALSE(from->flush());
        CString text;
        for (int i = 0; i < 10; ++i) ASSERT_FALSE(to->read(text));
        EXPECT_EQ(segments(*from), 1U);
        EXPECT_FALSE(to->hasInput());
        int on = 0;
        socklen_t size = sizeof on;
        getsockopt(from->descriptor(), IPPROTO_TCP, TCP_NODELAY, &on, &size);
        EXPECT_NE(on, 0);
    }
}

TEST(Transfer, CollectedBytesLeaveAtAReadAWaitAndTheEnd) {
    for (const char* what : {"read", "wait", "end"}) {
        SCOPED_TRACE(what);
        BareEnd end;
        ASSERT_FALSE(end.socket->write("abc", 3, 0));
        EXPECT_EQ(end.arrived(), "");
        char byte;
        bool ready;
        if (*what == 'r') {
            end.put("x");
            ASSERT_FALSE(end.socket->read(&byte, 1, 0));
        } else if (*what == 'w') {
            ASSERT_FALSE(end.socket->waitForInput(Interval(-1.0), ready));
            EXPECT_FALSE(ready);
        } else {
            end.socket.reset();
        }
        EXPECT_EQ(end.arrived(), "abc");
    }
}

// The thread that wrote goes on with others while another ends the socket, sooner or later.
TEST(Transfer, CollectedBytesOfASocketThatAnotherThreadEnds) {
    for (int round = 0; round < 200; ++round) {
        BareEnd end, others;
        std::atomic<bool> written = false;
        std::thread ending([&] {
            while (!written) std::this_thread::yield();
            end.socket.reset();
        });
        ASSERT_FALSE(end.socket->write("abc", 3, 0));
        written = true;
        if (round % 2) ending.join();
        ASSERT_FALSE(others.socket->write("def", 3, 0));
        ASSERT_FALSE(others.socket->flush());
        if (ending.joinable()) ending.join();
        EXPECT_EQ(end.arrived(), "abc");
        // Its place in memory and its mark serve the next one.
        BareEnd next;
        ASSERT_FALSE(next.socket->write("ghi", 3, 0));
        ASSERT_FALSE(others.socket->write("j", 1, 0));
        EXPECT_EQ(next.arrived(), "ghi");
        ASSERT_FALSE(others.socket->flush());
        EXPECT_EQ(others.arrived(), "defj");
    }
}

TEST(Text, BytesOnTheWire) {
    using namespace std::string_literals;
    const struct {
        std::string text, bytes;
    } cases[] = {{"", "\0\0\0\0"s},
                 {"abc", "\3\0\0\0abc"s},
                 {"a\0b"s, "\3\0\0\0a\0b"s},
                 {std::string(0x12345, 'x'), "\x45\x23\1\0"s + std::string(0x12345, 'x')}};
    for (const auto& c : cases) {
        BareEnd end;
        CString text("before");
        ASSERT_FALSE(end.socket->write(CString(c.text)));
        ASSERT_FALSE(end.socket->flush());
        EXPECT_TRUE(end.arrived() == c.bytes);
        end.put(c.bytes);
        ASSERT_FALSE(end.socket->read(text));
        EXPECT_TRUE(text.str() == c.text);
    }
}

TEST(Text, LengthsOutsideTheLimitAreRefused) {
    const struct {
        std::int32_t length;
        int limit;  // -1: none set
        bool refused;
    } cases[] = {{-1, -1, true},
                 {std::numeric_limits<std::int32_t>::min(), -1, true},
                 {std::numeric_limits<std::int32_t>::max(), -1, true},
                 {(64 << 20) + 1, -1, true},
                 {5, 4, true},
                 {4, 4, false},
                 {0, 0, false},
                 {1, 0, true}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.length);
        BareEnd end;
        if (c.limit >= 0) end.socket->setTextLimit(c.limit);
        end.put(std::string(reinterpret_cast<const char*>(&c.length), 4) + "xxxxx");
        CString text("before");
        const Error error = end.socket->read(text);
        EXPECT_EQ(error.code(), c.refused ? EMSGSIZE : 0);
        EXPECT_EQ(text.str(), c.refused ? "before" : std::string(std::size_t(c.length), 'x'));
        // The rest is no message: nothing more may be made of it.
        char byte;
        EXPECT_EQ(end.socket->read(&byte, 1, 0).code(), c.refused ? EMSGSIZE : 0);
    }
    // The longest text passes; a longer one is not sent and does no harm.
    Connection connection;
    const CString longest(std::string(Socket::kLongestText, 'y'));
    EXPECT_EQ(connection.client->write(longest + "z").code(), EMSGSIZE);
    std::thread sender([&] { EXPECT_FALSE(connection.client->write(longest)); });
    CString text;
    EXPECT_FALSE(connection.accepted->read(text));
    sender.join();
    EXPECT_TRUE(text == longest);
}

TEST(Failure, CodesAndWhatStaysAfterwards) {
    char buffer[8] = {};
    // The end of the stream, before and within a value.
    for (const char* bytes : {"", "abc"}) {
        BareEnd end;
        end.put(bytes);
        end.hangUp();
        EXPECT_EQ(end.socket->read(buffer, 4, 0).code(), ECONNRESET);
        EXPECT_EQ(end.socket->failure().code(), ECONNRESET);
        EXPECT_EQ(end.socket->write(buffer, 4, 0).code(), ECONNRESET);
        EXPECT_EQ(end.socket->flush().code(), ECONNRESET);
    }
    // Writing to nobody: an error, no signal.
    for (const int size : {8, 1 << 20}) {
        BareEnd end;
        end.hangUp();
        const std::string bytes(static_cast<std::size_t>(size), 'x');
        Error error = end.socket->write(bytes.data(), size, 0);
        if (!error) error = end.socket->flush();
        EXPECT_EQ(error.code(), ECONNRESET);
    }
    // Without a connection.
    Socket none;
    bool ready = true;
    EXPECT_EQ(none.read(buffer, 1, 0).code(), ENOTCONN);
    EXPECT_EQ(none.write(buffer, 1, 0).code(), ENOTCONN);
    EXPECT_EQ(none.waitForInput(Interval(1.0), ready).code(), ENOTCONN);
    EXPECT_FALSE(ready);
    EXPECT_FALSE(none.isPeerOurs());
    // Bad arguments do no harm.
    BareEnd end;
    for (Socket* socket : {end.socket.get(), &none}) {
        EXPECT_EQ(socket->read(buffer, -1, 0).code(), EINVAL);
        EXPECT_EQ(socket->read(nullptr, 1, 0).code(), EINVAL);
        EXPECT_EQ(socket->read(buffer, 1, MSG_PEEK).code(), EINVAL);
        EXPECT_EQ(socket->write(buffer, std::numeric_limits<int>::min(), 0).code(), EINVAL);
        EXPECT_EQ(socket->write(nullptr, 1, 0).code(), EINVAL);
        EXPECT_EQ(socket->write(buffer, 1, MSG_OOB).code(), EINVAL);
    }
    EXPECT_FALSE(end.socket->write(nullptr, 0, 0));
    EXPECT_FALSE(end.socket->read(nullptr, 0, 0));
    end.put("ok");
    EXPECT_FALSE(end.socket->read(buffer, 2, 0));
}

TEST(Failure, ThrownInThrowingMode) {
    BareEnd end;
    end.socket->setThrowMode(true);
    end.put("\xff\xff\xff\xff");
    CString text;
    char byte;
    bool ready;
    const struct {
        const char* what;
        std::function<Error()> act;
        int code;
    } cases[] = {
        {"arguments", [&] { return end.socket->read(&byte, -1, 0); }, EINVAL},
        {"length", [&] { return end.socket->read(text); }, EMSGSIZE},
        {"read", [&] { return end.socket->read(&byte, 1, 0); }, EMSGSIZE},
        {"write", [&] { return end.socket->write(text); }, EMSGSIZE},
        {"flush", [&] { return end.socket->flush(); }, EMSGSIZE},
        {"wait", [&] { return end.socket->waitForInput(Interval(1.0), ready); }, EMSGSIZE}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        try {
            c.act();
            ADD_FAILURE() << "nothing thrown";
        } catch (const Error& error) {
            EXPECT_EQ(error.code(), c.code);
        }
    }
    end.socket->setThrowMode(false);
    EXPECT_EQ(end.socket->read(text).code(), EMSGSIZE);
}

TEST(Waiting, DeadlineCountsForAllTransfersTogether) {
    BareEnd end;
    std::atomic<bool> over = false;
    // A byte every 20 ms: no single wait is long.
    std::thread trickle([&] {
        while (!over && ::send(end.descriptor(), "x", 1, MSG_NOSIGNAL) == 1)
            std::this_thread::sleep_for(20ms);
    });
    const auto begin = Clock::now();
    end.socket->setDeadline(Interval(0.3));
    char buffer[1000];
    Error error;
    while (!error) error = end.socket->read(buffer, 7, 0);
    EXPECT_EQ(error.code(), ETIMEDOUT);
    EXPECT_GE(secondsSince(begin), 0.3);
    EXPECT_LE(secondsSince(begin), 2.0);
    over = true;
    trickle.join();
}

TEST(Waiting, LimitsOfEachKind) {
    const std::string much(8 << 20, 'x');  // more than the system takes
    char byte;
    const struct {
        const char* what;
        std::function<Error(Socket&)> act;
    } transfers[] = {{"read", [&](Socket& s) { return s.read(&byte, 1, 0); }},
                     {"write", [&](Socket& s) {
                          return s.write(much.data(), static_cast<int>(much.size()), 0);
                      }}};
    for (const auto& transfer : transfers)
        for (const bool deadline : {true, false}) {
            SCOPED_TRACE(testing::Message() << transfer.what << " deadline " << deadline);
            BareEnd end;
            if (deadline)
                end.socket->setDeadline(Interval(0.2));
            else
                ASSERT_FALSE(end.socket->setSilenceLimit(Interval(0.2)));
            const auto begin = Clock::now();
            EXPECT_EQ(transfer.act(*end.socket).code(), ETIMEDOUT);
            EXPECT_GE(secondsSince(begin), 0.15);
            EXPECT_LE(secondsSince(begin), 2.0);
        }
    // Taken away again, and the time over before the transfer.
    BareEnd end;
    end.socket->setDeadline(Interval(-1.0));
    end.socket->setDeadline(Interval(0.0));
    end.put("ab");
    EXPECT_FALSE(end.socket->read(&byte, 1, 0));
    BareEnd late;
    late.put("ab");
    late.socket->setDeadline(Interval(-1.0));
    EXPECT_EQ(late.socket->read(&byte, 1, 0).code(), ETIMEDOUT);
}

TEST(Waiting, ForInput) {
    BareEnd end;
    bool ready = true;
    const auto begin = Clock::now();
    EXPECT_FALSE(end.socket->waitForInput(Interval(0.1), ready));
    EXPECT_FALSE(ready);
    EXPECT_GE(secondsSince(begin), 0.09);
    end.put("abc");
    char byte;
    EXPECT_FALSE(end.socket->read(&byte, 1, 0));
    EXPECT_TRUE(end.socket->hasInput());  // the system has none any more
    EXPECT_FALSE(end.socket->waitForInput(Interval(-1.0), ready));
    EXPECT_TRUE(ready);
    EXPECT_FALSE(end.socket->read(&byte, 1, 0));
    EXPECT_FALSE(end.socket->read(&byte, 1, 0));
    end.hangUp();
    EXPECT_FALSE(end.socket->waitForInput(Interval(0.0), ready));
    EXPECT_TRUE(ready);  // the end of the stream
}

TEST(Listening, PortsTimesAndErrors) {
    Socket* socket = reinterpret_cast<Socket*>(1);
    Server unused(-1, 1);
    EXPECT_EQ(unused.getPort(), -1);
    EXPECT_EQ(unused.accept(&socket, Interval(0.1)).code(), ENOTCONN);
    EXPECT_EQ(socket, nullptr);
    EXPECT_EQ(unused.accept(nullptr, Interval(0.1)).code(), EINVAL);
    for (int port : {-2, 65536, std::numeric_limits<int>::max()})
        EXPECT_EQ(Server(port, 1).listen().code(), EINVAL) << port;
    Server server(-1, 1);
    server.setLoopbackOnly();
    ASSERT_FALSE(server.listen());
    ASSERT_FALSE(server.listen());
    EXPECT_GT(server.getPort(), 0);
    Server second(server.getPort(), 1);
    second.setLoopbackOnly();
    EXPECT_EQ(second.listen().code(), EADDRINUSE);
    for (const double wait : {0.2, -1.0, -0.0001, std::numeric_limits<double>::quiet_NaN()}) {
        const auto begin = Clock::now();
        socket = reinterpret_cast<Socket*>(1);
        EXPECT_FALSE(server.accept(&socket, Interval(wait)));
        EXPECT_EQ(socket, nullptr);
        EXPECT_GE(secondsSince(begin), wait > 0 ? wait - 0.01 : 0.0);
        EXPECT_LE(secondsSince(begin), 2.0);
    }
    EXPECT_NE(fcntl(server.descriptor(), F_GETFD) & FD_CLOEXEC, 0);
    sockaddr_in bound = {};
    socklen_t size = sizeof bound;
    getsockname(server.descriptor(), reinterpret_cast<sockaddr*>(&bound), &size);
    EXPECT_EQ(bound.sin_addr.s_addr, htonl(INADDR_LOOPBACK));
}

TEST(Listening, ZeroWaitsUntilSomebodyComes) {
    Server server(-1, 1);
    server.setLoopbackOnly();
    ASSERT_FALSE(server.listen());
    ClientSocket client(Address(Address::localhost, server.getPort()));
    std::thread late([&] {
        std::this_thread::sleep_for(300ms);
        EXPECT_FALSE(client.connect());
    });
    Socket* socket = nullptr;
    EXPECT_FALSE(server.accept(&socket, Interval(0.0)));
    late.join();
    const std::unique_ptr<Socket> accepted(socket);
    ASSERT_NE(socket, nullptr);
    EXPECT_EQ(client.connect().code(), EISCONN);
    for (const Socket* end :
         {static_cast<const Socket*>(&client), static_cast<const Socket*>(socket)}) {
        EXPECT_TRUE(end->isPeerOurs());
        EXPECT_NE(fcntl(end->descriptor(), F_GETFD) & FD_CLOEXEC, 0);
        EXPECT_EQ(fcntl(end->descriptor(), F_GETFL) & O_NONBLOCK, 0);
    }
}

TEST(Connecting, FailsWithinTheTimeGiven) {
    for (int port : {0, -1, 65536, std::numeric_limits<int>::min()})
        EXPECT_EQ(ClientSocket(Address(Address::localhost, port)).connect().code(), EINVAL) << port;

    const int holder = bareSocket();
    const int port = bindAnywhere(holder);
    ClientSocket client(Address(Address::localhost, port));
    EXPECT_EQ(client.connect().code(), ECONNREFUSED);  // bound, but nobody listens
    // A listener that never accepts, with room in its queue for two and then without.
    ASSERT_EQ(listen(holder, 1), 0);
    std::vector<std::unique_ptr<ClientSocket>> waiting;
    for (int i = 0; i < 4; ++i) {
        waiting.push_back(std::make_unique<ClientSocket>(Address(Address::localhost, port)));
        const auto begin = Clock::now();
        EXPECT_EQ(waiting.back()->connect(Interval(0.2)).code(), i < 2 ? 0 : ETIMEDOUT);
        EXPECT_GE(secondsSince(begin), i < 2 ? 0.0 : 0.19);
        EXPECT_LE(secondsSince(begin), 2.0);
    }
    // One that ends instead of accepting.
    const int ending = bareSocket();
    ClientSocket left(Address(Address::localhost, bindAnywhere(ending)));
    ASSERT_EQ(listen(ending, 1), 0);
    EXPECT_FALSE(left.connect());
    close(ending);
    char byte;
    EXPECT_EQ(left.read(&byte, 1, 0).code(), ECONNRESET);
    // The same socket may try again.
    close(holder);
    Server server(port, 1);
    server.setLoopbackOnly();
    ASSERT_FALSE(server.listen());
    std::thread accepting([&] {
        Socket* socket = nullptr;
        EXPECT_FALSE(server.accept(&socket, Interval(5.0)));
        std::this_thread::sleep_for(100ms);
        delete socket;
    });
    EXPECT_FALSE(client.connect());
    accepting.join();
}

// Nobody but this thread could make these bytes leave, or accept.
TEST(Connecting, BothEndsInOneThread) {
    for (const bool everywhere : {false, true}) {
        Server server(-1, 2);
        if (!everywhere) server.setLoopbackOnly();
        ASSERT_FALSE(server.listen());
        const Address address(Address::localhost, server.getPort());
        ClientSocket first(address), second(address);
        Socket* taken = nullptr;
        std::unique_ptr<Socket> ends[2];
        for (ClientSocket* client : {&first, &second}) {
            ASSERT_FALSE(client->connect(Interval(1.0)));
            ASSERT_FALSE(server.accept(&taken, Interval(1.0)));
            ends[client == &second].reset(taken);
        }
        ASSERT_FALSE(first.write("one", 3, 0));
        ASSERT_FALSE(second.write("two", 3, 0));
        char text[4] = {};
        for (const int i : {1, 0}) {
            ends[i]->setDeadline(Interval(2.0));
            EXPECT_FALSE(ends[i]->read(text, 3, 0));
            EXPECT_STREQ(text, i == 0 ? "one" : "two");
        }
    }
}

// The system may give a socket the very port that it connects to.
TEST(Connecting, NeverToItself) {
    // Attempts walk through the even ports, so that many of them nearly always meet this one.
    const int probe = bareSocket();
    const int port = bindAnywhere(probe) & ~1;
    close(probe);
    ClientSocket client(Address(Address::localhost, port));
    for (int i = 0; i < 50000; ++i)
        ASSERT_EQ(client.connect(Interval(0.5)).code(), ECONNREFUSED) << i;
}

TEST(Owner, StrangersAreLeftOut) {
    if (geteuid() != 0) GTEST_SKIP() << "only root can act as a second user";
    // A stranger who listens.
    for (const bool accepts : {true, false}) {
        const int listener = bareSocket();
        const int port = bindAnywhere(listener);
        close(listener);
        Stranger stranger([&] {
            const int own = bareSocket();
            const sockaddr_in address = loopback(port);
            const int on = 1;
            setsockopt(own, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
            if (bind(own, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
                listen(own, 1) != 0)
                _exit(1);
            if (accepts) accept(own, nullptr, nullptr);
        });
        Error error;
        const auto begin = Clock::now();
        do error = ClientSocket(Address(Address::localhost, port)).connect(Interval(0.5));
        while (error.code() == ECONNREFUSED && secondsSince(begin) < 5);
        EXPECT_EQ(error.code(), EACCES) << error.message();
    }
    // Strangers who connect: nobody comes through, and one of us after them does.
    Server server(-1, 1);
    server.setLoopbackOnly();
    ASSERT_FALSE(server.listen());
    Stranger stranger([&] {
        const sockaddr_in address = loopback(server.getPort());
        for (int i = 0; i < 5; ++i)
            if (connect(bareSocket(), reinterpret_cast<const sockaddr*>(&address),
                        sizeof address) != 0)
                _exit(1);
    });
    Socket* socket = nullptr;
    EXPECT_FALSE(server.accept(&socket, Interval(0.5)));
    EXPECT_EQ(socket, nullptr);
    ClientSocket client(Address(Address::localhost, server.getPort()));
    std::thread friendly([&] { EXPECT_FALSE(client.connect()); });
    EXPECT_FALSE(server.accept(&socket, Interval(5.0)));
    friendly.join();
    EXPECT_NE(socket, nullptr);
    delete socket;
}

TEST(Owner, BothSourcesAgree) {
    Connection connection;
    unsigned user = ~0U;
    for (const Socket* end : {static_cast<const Socket*>(connection.client.get()),
                              static_cast<const Socket*>(connection.accepted.get())}) {
        sockaddr_in own = {}, peer = {};
        socklen_t size = sizeof own;
        getsockname(end->descriptor(), reinterpret_cast<sockaddr*>(&own), &size);
        getpeername(end->descriptor(), reinterpret_cast<sockaddr*>(&peer), &size);
        const kelvo::zotcp::Ends ends = {peer.sin_addr.s_addr, own.sin_addr.s_addr, peer.sin_port,
                                         own.sin_port};
        EXPECT_EQ(kelvo::zotcp::askKernel(ends, user), 0);
        EXPECT_EQ(user, geteuid());
        std::ifstream table("/proc/net/tcp");
        user = ~0U;
        EXPECT_EQ(kelvo::zotcp::searchTable(table, ends, user), 0);
        EXPECT_EQ(user, geteuid());
        // The listener's own port, and ends that do not exist.
        kelvo::zotcp::Ends wrong = ends;
        wrong.remotePort = static_cast<std::uint16_t>(wrong.remotePort + 256);
        EXPECT_NE(kelvo::zotcp::askKernel(wrong, user), 0);
    }
    BareEnd local;
    EXPECT_TRUE(local.socket->isPeerOurs());
}

TEST(Owner, RowsOfTheTable) {
    const kelvo::zotcp::Ends ends = {htonl(0x7F000001), htonl(0x7F000001), htons(0xA1B2),
                                     htons(0x0050)};
    // Its ends and state, and what follows the user's number.
    const auto row = [](const std::string& ends, const std::string& inode) {
        return "   1: " + ends + " 00000000:00000000 00:00000000 00000000  1234        0 " + inode;
    };
    const struct {
        std::string row;
        bool found;
    } cases[] = {
        {row("0100007F:A1B2 0100007F:0050 01", "5555 1 0000000000000000 20 4 30 10 -1"), true},
        {row("0100007F:A1B2 0100007F:0050 0A", "5555 1"), false},  // listens
        {row("0100007F:A1B2 0100007F:0050 01", "0 1"), false},     // nobody has it open
        {row("0100007F:A1B2 0100007F:0051 01", "5555 1"), false},
        {row("0100007F:0050 0100007F:A1B2 01", "5555 1"), false},  // the near end
        {"  sl  local_address rem_address   st tx_queue rx_queue tr tm->when retrnsmt   uid",
         false},
        {"   1: 0100007F:A1B2 0100007F:0050 01", false},
        {"", false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.row);
        std::istringstream table("heading\n" + c.row + "\n");
        unsigned user = 7;
        EXPECT_EQ(kelvo::zotcp::searchTable(table, ends, user), c.found ? 0 : ENOENT);
        EXPECT_EQ(user, c.found ? 1234U : 7U);
    }
}

}  // namespace
