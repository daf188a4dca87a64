// Real servers and their clients.
#pragma once

#include <sys/types.h>

#include <memory>
#include <string>
#include <vector>

#include "KelvoBase/file_cache_protocol.h"
#include "tests/support/temporary_directory.h"

namespace kelvo::test {

/// A client that is a test's own: it starts servers with options, and shows its connection.
class CacheClient : public zoKelvoBase::FileCacheProtocolClient {
  public:
    /// Starts a server that connects back.
    void start(const std::vector<std::string>& options = {});
    /// Connects to the server that the directory's lock file names.
    zoUtil::Error join(const std::string& directory);
    /// start() or join(), then initialize.
    zoUtil::Error open(const std::string& directory, int entries = 0, int64 bytes = 0,
                       const std::vector<std::string>& options = {});

    /// Whether the key is there; it is held then.
    bool has(const std::string& key);
    std::string pathOf(const std::string& key);
    /// Writes a file of so many bytes, named like the key, and adds it.
    bool put(const std::string& directory, const std::string& key, std::size_t bytes = 1);

    zoTCP::Socket& socket() { return *socket_; }
    void disconnect() { socket_.reset(); }
    /// The process that start() made.
    pid_t server() const { return server_; }
    /// Sends it a signal and returns what waitpid says, -1 after `seconds`.
    int end(int signal, int seconds = 20);
    int awaitEnd(int seconds);

  private:
    std::unique_ptr<zoTCP::Socket> socket_;
    pid_t server_ = 0;
};

/// The bytes of numbers and texts on the wire.
std::string number(std::int32_t value);
std::string number64(std::int64_t value);
std::string text(const std::string& value);

/// Tries again until it is true, or for so many seconds.
template <class Condition>
bool within(double seconds, Condition condition);

/// A figure of the directory's server, -1 without one.
long long figure(const std::string& directory, const std::string& name);
/// Output and exit code of zocached with these arguments.
int runTool(const std::vector<std::string>& arguments, std::string& output);
/// The cache servers that were started under this mark, a value of the variable KELVO_TEST_MARK.
std::vector<pid_t> serversMarked(const std::string& mark);

void rest(double seconds);
double secondsNow();

template <class Condition>
bool within(double seconds, Condition condition) {
    for (const double end = secondsNow() + seconds; secondsNow() < end; rest(0.005))
        if (condition()) return true;
    return condition();
}

}  // namespace kelvo::test
