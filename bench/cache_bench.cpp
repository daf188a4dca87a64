// Round trips and rates of the cache server beside redis, memcached and a bare exchange of four
// bytes (the floor), all in one run and all on one core: across cores the time to wake the other
// one up hides everything else. Blocks of all candidates alternate, so that they see the same
// machine.
// usage: bench_cache [BLOCKS]
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sched.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Base/app.h"
#include "Base/zo_tcp.h"
#include "KelvoBase/file_cache_protocol.h"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr int kTripsInBlock = 200;
constexpr auto kRateBlock = std::chrono::milliseconds(60);
constexpr int kRateKeys = 64;
constexpr int kManyEntries = 100000;

void must(bool condition, const char* what) {
    if (!condition) throw std::runtime_error(std::string(what) + ": " + std::strerror(errno));
}

// A process that ends with the scope.
class Process {
  public:
    Process() = default;
    explicit Process(const std::function<void()>& body) : pid_(fork()) {
        if (pid_ != 0) return;
        body();
        _exit(99);
    }
    explicit Process(const std::vector<std::string>& command)
        : Process([&command] {
              std::vector<char*> words;
              for (const std::string& word : command)
                  words.push_back(const_cast<char*>(word.c_str()));
              words.push_back(nullptr);
              must(freopen("/dev/null", "w", stdout) && freopen("/dev/null", "w", stderr), "mute");
              execvp(words[0], words.data());
          }) {}
    Process(Process&& other) noexcept : pid_(std::exchange(other.pid_, 0)) {}
    Process& operator=(Process&& other) noexcept {
        std::swap(pid_, other.pid_);
        return *this;
    }
    ~Process() {
        if (pid_ <= 0) return;
        kill(pid_, SIGTERM);
        waitpid(pid_, nullptr, 0);
    }
    bool isRunning() const { return waitpid(pid_, nullptr, WNOHANG) == 0; }
    pid_t pid() const { return pid_; }

  private:
    pid_t pid_ = 0;
};

sockaddr_in loopback(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

const sockaddr* raw(const sockaddr_in& address) {
    return reinterpret_cast<const sockaddr*>(&address);
}

int connectTo(int port) {
    const sockaddr_in address = loopback(port);
    for (int attempt = 0; attempt < 500; ++attempt) {
        const int client = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (connect(client, raw(address), sizeof address) == 0) {
            const int yes = 1;
            setsockopt(client, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
            return client;
        }
        close(client);
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    throw std::runtime_error("nobody listens");
}

int freePort() {
    zoTCP::Server probe(-1, 1);
    probe.setLoopbackOnly();
    must(!probe.listen(), "listen");
    return probe.getPort();
}

// A request and how long its reply is; replies have a length that does not change.
struct Exchange {
    std::string request;
    std::string reply;  // what the first one brought
};

void sendAll(int socket, const std::string& bytes) {
    must(send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL) ==
             static_cast<ssize_t>(bytes.size()),
         "send");
}

void receiveAll(int socket, char* buffer, std::size_t count) {
    for (std::size_t got = 0; got < count;) {
        const ssize_t n = recv(socket, buffer + got, count - got, 0);
        must(n > 0, "receive");
        got += static_cast<std::size_t>(n);
    }
}

// Learns the reply: all that comes within a while.
Exchange learn(int socket, const std::string& request) {
    Exchange exchange{request, {}};
    sendAll(socket, request);
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    char buffer[4096];
    const ssize_t n = recv(socket, buffer, sizeof buffer, 0);
    must(n > 0, "no reply");
    exchange.reply.assign(buffer, static_cast<std::size_t>(n));
    return exchange;
}

// One that answers requests, its connections, and its two requests.
struct Candidate {
    std::string name;
    Process process;
    std::vector<int> sockets;
    std::vector<Exchange> reads, writes;  // of different keys
};

void connectAll(Candidate& candidate, int port, int count) {
    for (int i = 0; i < count; ++i) candidate.sockets.push_back(connectTo(port));
}

std::string number(std::int32_t value) {
    return std::string(reinterpret_cast<const char*>(&value), sizeof value);
}
std::string number64(std::int64_t value) {
    return std::string(reinterpret_cast<const char*>(&value), sizeof value);
}
std::string text(const std::string& value) {
    return number(static_cast<std::int32_t>(value.size())) + value;
}

std::string keyOf(int i) {
    return "key" + std::to_string(1000000 + i);
}

// --- the floor

Candidate makeFloor() {
    Candidate floor;
    floor.name = "floor";
    zoTCP::Server server(-1, 8);
    server.setLoopbackOnly();
    must(!server.listen(), "listen");
    const int listener = server.descriptor();
    fcntl(listener, F_SETFL, 0);  // waits for the connection
    floor.process = Process([listener] {
        const int peer = accept(listener, nullptr, nullptr);
        const int yes = 1;
        setsockopt(peer, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
        for (char bytes[4]; recv(peer, bytes, 4, 0) == 4;) send(peer, bytes, 4, MSG_NOSIGNAL);
        _exit(0);
    });
    connectAll(floor, server.getPort(), 1);
    floor.reads = {learn(floor.sockets[0], "ping")};
    return floor;
}

// --- the file cache

const std::string g_directory =
    fs::temp_directory_path() / ("bench_cache." + std::to_string(getpid()));

std::string fileOf(int i) {
    return g_directory + "/00000000-0000-4000-8000-" + std::to_string(100000000000 + i);
}

Candidate makeCache(int connections) {
    Candidate cache;
    cache.name = "zocached";
    fs::create_directory(g_directory);
    fs::permissions(g_directory, fs::perms::owner_all);
    zoTCP::Server listener(-1, 1);
    listener.setLoopbackOnly();
    must(!listener.listen(), "listen");
    cache.process = Process(std::vector<std::string>{APP_getBinaryPath("zocached").str(), "--port",
                                                     std::to_string(listener.getPort())});
    zoTCP::Socket* first = nullptr;
    must(!listener.accept(&first, zoUtil::Interval(10)) && first != nullptr, "no zocached");
    const std::string initialize = number(0) + text(g_directory) + number(0) + number64(0);
    cache.sockets.push_back(dup(first->descriptor()));
    delete first;
    learn(cache.sockets[0], initialize);
    int port = 0;
    must(static_cast<bool>(std::ifstream(g_directory + "/lockfile.lck") >> port), "lock file");
    connectAll(cache, port, connections - 1);
    for (std::size_t i = 1; i < cache.sockets.size(); ++i) learn(cache.sockets[i], initialize);
    for (int i = 0; i < kRateKeys; ++i) {
        std::ofstream(fileOf(i)) << i;
        cache.writes.push_back(
            learn(cache.sockets[0], number(2) + text(keyOf(i)) + text(fileOf(i))));
        cache.reads.push_back(learn(cache.sockets[0], number(1) + text(keyOf(i))));
        must(cache.writes.back().reply == number(1), "an add was refused");
        must(cache.reads.back().reply.substr(0, 4) != number(0), "not found");
    }
    return cache;
}

// --- the peers

Candidate makePeer(const std::string& name, int connections, std::vector<std::string> command,
                   const std::function<std::string(int)>& set,
                   const std::function<std::string(int)>& get) {
    Candidate peer;
    peer.name = name;
    const int port = freePort();
    for (std::string& word : command)
        if (word == "PORT") word = std::to_string(port);
    peer.process = Process(command);
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    if (!peer.process.isRunning()) {
        std::printf("%s is not installed: left out\n", name.c_str());
        return peer;
    }
    connectAll(peer, port, connections);
    for (int i = 0; i < kRateKeys; ++i) {
        peer.writes.push_back(learn(peer.sockets[0], set(i)));
        peer.reads.push_back(learn(peer.sockets[0], get(i)));
        must(peer.reads.back().reply.find(fileOf(i)) != std::string::npos, "not stored");
    }
    return peer;
}

std::string bulk(const std::string& word) {
    return "$" + std::to_string(word.size()) + "\r\n" + word + "\r\n";
}

Candidate makeRedis(int connections) {
    return makePeer(
        "redis", connections,
        {"redis-server", "--port", "PORT", "--bind", "127.0.0.1", "--save", "", "--appendonly",
         "no"},
        [](int i) { return "*3\r\n" + bulk("SET") + bulk(keyOf(i)) + bulk(fileOf(i)); },
        [](int i) { return "*2\r\n" + bulk("GET") + bulk(keyOf(i)); });
}

Candidate makeMemcached(int connections) {
    return makePeer(
        "memcached", connections,
        {"memcached", "-l", "127.0.0.1", "-p", "PORT", "-U", "0", "-t", "1", "-u", "nobody"},
        [](int i) {
            return "set " + keyOf(i) + " 0 0 " + std::to_string(fileOf(i).size()) + "\r\n" +
                   fileOf(i) + "\r\n";
        },
        [](int i) { return "get " + keyOf(i) + "\r\n"; });
}

// --- measuring

double microseconds(Clock::duration time) {
    return std::chrono::duration<double, std::micro>(time).count();
}

double trip(int socket, const Exchange& exchange) {
    char buffer[512];
    const auto begin = Clock::now();
    sendAll(socket, exchange.request);
    receiveAll(socket, buffer, exchange.reply.size());
    return microseconds(Clock::now() - begin);
}

struct Series {
    std::string name;
    std::function<double()> trip;
    std::vector<double> times;

    double at(double part) {
        const auto place = static_cast<std::size_t>(part * static_cast<double>(times.size() - 1));
        std::nth_element(times.begin(), times.begin() + static_cast<std::ptrdiff_t>(place),
                         times.end());
        return times[place];
    }
};

// Requests a second, with one request on the way on each of so many connections.
double rateOf(const Candidate& candidate, const std::vector<Exchange>& exchanges, int connections) {
    const int epoll = epoll_create1(EPOLL_CLOEXEC);
    for (int i = 0; i < connections; ++i) {
        epoll_event event{};
        event.events = EPOLLIN;
        event.data.u32 = static_cast<std::uint32_t>(i);
        epoll_ctl(epoll, EPOLL_CTL_ADD, candidate.sockets[static_cast<std::size_t>(i)], &event);
        sendAll(candidate.sockets[static_cast<std::size_t>(i)],
                exchanges[static_cast<std::size_t>(i) % exchanges.size()].request);
    }
    const auto begin = Clock::now();
    std::int64_t count = 0;
    int waiting = connections;
    Clock::time_point end;
    while (waiting > 0) {
        epoll_event events[64];
        const int ready = epoll_wait(epoll, events, 64, -1);
        const bool isOver = Clock::now() - begin > kRateBlock;
        for (int i = 0; i < ready; ++i) {
            const std::size_t place = events[i].data.u32;
            const Exchange& exchange = exchanges[place % exchanges.size()];
            char buffer[512];
            receiveAll(candidate.sockets[place], buffer, exchange.reply.size());
            ++count;
            if (isOver)
                --waiting;
            else
                sendAll(candidate.sockets[place], exchange.request);
        }
    }
    end = Clock::now();
    close(epoll);
    return static_cast<double>(count) / (microseconds(end - begin) * 1e-6);
}

double median(std::vector<double> values) {
    std::nth_element(values.begin(),
                     values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2), values.end());
    return values[values.size() / 2];
}

using Candidates = std::vector<Candidate*>;

void measureTrips(Candidate& floor, Candidate& cache, const Candidates& peers, int blocks) {
    const int socket = cache.sockets[0];
    const Exchange release = {number(3) + text(keyOf(0)) + number(0), number(1)};
    const Exchange access = {number(4) + text(keyOf(0)), number(0)};
    std::vector<Series> all;
    all.push_back({"floor: 4 bytes", [&] { return trip(floor.sockets[0], floor.reads[0]); }, {}});
    all.push_back({"acquire, unheld",
                   [&, release] {
                       const double time = trip(socket, cache.reads[1]);
                       trip(socket, {number(3) + text(keyOf(1)) + number(0), number(1)});
                       return time;
                   },
                   {}});
    all.push_back({"acquire, held", [&] { return trip(socket, cache.reads[0]); }, {}});
    all.push_back({"setAccessed", [&, access] { return trip(socket, access); }, {}});
    all.push_back({"add, held", [&] { return trip(socket, cache.writes[0]); }, {}});
    all.push_back({"add, unheld",
                   [&] {
                       const double time = trip(socket, cache.writes[2]);
                       trip(socket, {number(3) + text(keyOf(2)) + number(0), number(1)});
                       return time;
                   },
                   {}});
    for (Candidate* peer : peers) {
        all.push_back(
            {peer->name + " get", [peer] { return trip(peer->sockets[0], peer->reads[0]); }, {}});
        all.push_back(
            {peer->name + " set", [peer] { return trip(peer->sockets[0], peer->writes[0]); }, {}});
    }
    // Keys 1 and 2 have been held twice by the preparation: now nobody holds them.
    for (int key : {1, 2})
        for (int i = 0; i < 2; ++i)
            trip(socket, {number(3) + text(keyOf(key)) + number(0), number(1)});
    for (int block = 0; block < blocks; ++block)
        for (Series& series : all)
            for (int i = 0; i < kTripsInBlock; ++i) {
                const double time = series.trip();
                if (i >= kTripsInBlock / 10) series.times.push_back(time);
            }
    const double base = all[0].at(0.5);
    std::printf("%-20s %10s %10s %10s\n", "round trip, us", "median", "p99", "/ floor");
    for (Series& series : all)
        std::printf("%-20s %10.2f %10.2f %10.3f\n", series.name.c_str(), series.at(0.5),
                    series.at(0.99), series.at(0.5) / base);
}

void measureRates(Candidate& cache, const Candidates& peers, int blocks) {
    std::printf("\n%-26s %12s", "rate, 1/s (ratio to it)", "zocached");
    for (const Candidate* peer : peers) std::printf(" %20s", peer->name.c_str());
    std::printf("\n");
    for (const auto& [name, kind] : {std::pair("acquire / get", &Candidate::reads),
                                     std::pair("add / set", &Candidate::writes)})
        for (int connections : {1, 8, 64}) {
            std::vector<double> own;
            std::vector<std::vector<double>> others(peers.size()), ratios(peers.size());
            for (int block = 0; block < blocks; ++block) {
                own.push_back(rateOf(cache, cache.*kind, connections));
                for (std::size_t i = 0; i < peers.size(); ++i) {
                    others[i].push_back(rateOf(*peers[i], peers[i]->*kind, connections));
                    ratios[i].push_back(own.back() / others[i].back());
                }
            }
            std::printf("%-14s %3d clients %11.0f", name, connections, median(own));
            for (std::size_t i = 0; i < peers.size(); ++i)
                std::printf(" %12.0f (%5.3f)", median(others[i]), median(ratios[i]));
            std::printf("\n");
        }
}

long residentKib(pid_t pid) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    for (std::string line; std::getline(status, line);)
        if (line.rfind("VmRSS:", 0) == 0) return std::atol(line.c_str() + 6);
    return 0;
}

void measureMemory(Candidate& cache) {
    const long before = residentKib(cache.process.pid());
    const auto begin = Clock::now();
    for (int i = kRateKeys; i < kManyEntries; ++i) {
        std::ofstream(fileOf(i)) << i;
        trip(cache.sockets[0], {number(2) + text(keyOf(i)) + text(fileOf(i)), number(1)});
        trip(cache.sockets[0], {number(3) + text(keyOf(i)) + number(0), number(1)});
    }
    std::printf("\n%d entries: %ld KiB resident, %ld KiB without (filled in %.1f s)\n",
                kManyEntries, residentKib(cache.process.pid()), before,
                microseconds(Clock::now() - begin) * 1e-6);
}

void run(int blocks) {
    cpu_set_t core;
    CPU_ZERO(&core);
    CPU_SET(static_cast<unsigned>(sched_getcpu()), &core);
    must(sched_setaffinity(0, sizeof core, &core) == 0, "one core");
    Candidate floor = makeFloor();
    Candidate cache = makeCache(64);
    Candidate redis = makeRedis(64), memcached = makeMemcached(64);
    Candidates peers;
    for (Candidate* peer : {&redis, &memcached})
        if (!peer->sockets.empty()) peers.push_back(peer);
    measureTrips(floor, cache, peers, blocks);
    measureRates(cache, peers, std::max(blocks / 2, 3));
    measureMemory(cache);
}

}  // namespace

int main(int argc, char** argv) {
    int code = 0;
    try {
        run(argc > 1 ? std::atoi(argv[1]) : 100);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench_cache: %s\n", error.what());
        code = 1;
    }
    std::error_code ignored;
    fs::remove_all(g_directory, ignored);
    return code;
}
