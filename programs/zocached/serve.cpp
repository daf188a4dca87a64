#include "programs/zocached/serve.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include "Base/zo_tcp.h"
#include "programs/zocached/control.h"
#include "programs/zocached/server.h"

using zoUtil::Error;

namespace kelvo::zocached {
namespace {

using namespace std::chrono_literals;

constexpr auto kInitializeTime = 30s;
// Less than the five seconds that a client waits for its first reply.
constexpr auto kStartTime = 4500ms;
constexpr auto kShortestRest = 2ms, kLongestRest = 50ms;

// Answers initialize with an error, when there is no server to do it.
class Refusal : private zoKelvoBase::FileCacheProtocolServer {
  public:
    Refusal(zoTCP::Socket& channel, Error error) : error_(std::move(error)) { setSocket(channel); }
    void send() { readRequest(); }

  private:
    Error initialize(const zoString::CString&, int, int64) override { return error_; }
    bool acquire(const zoString::CString&, zoString::CString&, int64&) override { return false; }
    bool add(const zoString::CString&, const zoString::CString&) override { return false; }
    bool release(const zoString::CString&, bool) override { return false; }
    void setAccessed(const zoString::CString&) override {}

    Error error_;
};

bool waitForInput(int descriptor, Clock::time_point end) {
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
        pollfd wait = {descriptor, POLLIN, 0};
        const int ready = left > 0 ? poll(&wait, 1, static_cast<int>(left)) : 0;
        if (ready >= 0 || errno != EINTR) return ready > 0;
    }
}

// Takes bytes until a whole initialize is there.
bool awaitInitialize(Channel& channel) {
    const Clock::time_point end = Clock::now() + kInitializeTime;
    for (;;) {
        const Frame frame = channel.frame();
        if (frame.kind == Frame::kWhole) return frame.opcode == kInitialize;
        if (frame.kind != Frame::kPartial || !waitForInput(channel.wire(), end) ||
            !channel.receive())
            return false;
    }
}

// The first text of a whole request.
zoString::CString firstText(std::string_view request) {
    std::int32_t length;
    std::memcpy(&length, request.data() + sizeof(std::int32_t), sizeof length);
    return std::string(request.substr(2 * sizeof(std::int32_t), static_cast<std::size_t>(length)));
}

// Becomes the one who has the guard, or finds the one who has it. A server that is just beginning
// or ending answers neither way for a moment.
Error guardOrHandOver(const Directory& directory, const Channel& channel, Descriptor& guard) {
    const Clock::time_point end = Clock::now() + kStartTime;
    for (auto rest = std::chrono::milliseconds(kShortestRest); Clock::now() < end;
         rest = std::min<std::chrono::milliseconds>(2 * rest, kLongestRest)) {
        if (Error error = directory.tryGuard(guard)) return error;
        // Asked in any case: somebody may have deleted the guard of a running server.
        switch (handOver(directory, channel.wire(), channel.pending())) {
            case HandOver::kTaken:
                guard = Descriptor();
                return Error();
            case HandOver::kSilent:
                return Error(ETIMEDOUT, "the cache server of this directory does not answer");
            case HandOver::kNobody:
                if (guard) return Error();
        }
        std::this_thread::sleep_for(rest);
    }
    return Error(ETIMEDOUT, "the cache server of this directory does not begin");
}

// What is said to nobody must not end up in a socket or a file, and must not end the server; nor
// must a limit on the size of files, which is like a full disk.
void settleSurroundings() {
    umask(S_IRWXG | S_IRWXO);
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    int nowhere = -1;
    do nowhere = open("/dev/null", O_RDWR | O_CLOEXEC);
    while (nowhere >= 0 && nowhere <= STDERR_FILENO);  // kept in the place of a closed one
    close(nowhere);
}

int refuse(Channel& channel, const Error& error) {
    logLine(Level::kError, "%s", error.message().c_str());
    Refusal(channel, error).send();
    channel.send();
    return 1;
}

}  // namespace

int serve(const Options& options) {
    settleSurroundings();
    auto client = std::make_unique<zoTCP::ClientSocket>(
        zoTCP::Address(zoTCP::Address::localhost, options.port));
    if (Error error = client->connect()) {
        logLine(Level::kError, "%s", error.message().c_str());
        return 1;
    }
    Channel channel(std::move(client));
    if (!awaitInitialize(channel)) return 1;

    Directory directory;
    if (Error error = directory.open(firstText(channel.pending()))) return refuse(channel, error);
    const Descriptor logPlace(fcntl(directory.descriptor(), F_DUPFD_CLOEXEC, 0));
    openLog(logPlace.get(), options.level);
    Descriptor guard;
    if (Error error = guardOrHandOver(directory, channel, guard)) return refuse(channel, error);
    if (!guard) return 0;  // handed over

    Server server(std::move(directory), std::move(guard), options.idleSeconds);
    if (Error error = server.open()) return refuse(channel, error);
    const std::string received(channel.pending());
    server.adopt(channel.releaseWire(), true, received);
    server.run();
    return 0;
}

}  // namespace kelvo::zocached
