// What could break under races, sudden ends and other users: two servers for a directory or none,
// a client that fails, an acknowledged entry lost, somebody else served.
// KELVO_SOAK sets the number of rounds; a few by default.
#include <fcntl.h>
#include <grp.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <random>

#include "Base/app.h"
#include "KelvoBase/file_cache.h"
#include "tests/programs/zocached_support.h"
#include "tests/support/test.h"

namespace {

using namespace kelvo::test;
using zoKelvoBase::FileCache;
namespace fs = std::filesystem;

constexpr uid_t kNobody = 65534;

int rounds(int usual) {
    const char* const text = std::getenv("KELVO_SOAK");
    return text != nullptr ? std::atoi(text) : usual;
}

// A pipe on which children report lines, and one whose end lets them go on.
class Children {
  public:
    Children() {
        EXPECT_EQ(pipe2(reports_, O_CLOEXEC), 0);
        EXPECT_EQ(pipe2(gate_, O_CLOEXEC), 0);
    }
    ~Children() {
        openGate();
        for (pid_t child : pids_) kill(child, SIGKILL);
        for (pid_t child : pids_) waitpid(child, nullptr, 0);
        for (int end : {reports_[0], reports_[1], gate_[0]})
            if (end >= 0) close(end);
    }
    void start(const std::function<void()>& body) {
        const pid_t pid = fork();
        if (pid != 0) return pids_.push_back(pid);
        close(gate_[1]);
        body();
        _exit(0);
    }
    // In a child: waits for the gate.
    void await() const {
        char byte;
        while (read(gate_[0], &byte, 1) < 0 && errno == EINTR) continue;
    }
    void report(const std::string& line) const {
        const std::string whole = line.substr(0, 500) + "\n";
        if (write(reports_[1], whole.data(), whole.size()) < 0) _exit(1);
    }
    void openGate() {
        if (gate_[1] >= 0) close(gate_[1]);
        gate_[1] = -1;
    }
    // The next line, "" after so many seconds.
    std::string next(double seconds) {
        fcntl(reports_[0], F_SETFL, O_NONBLOCK);
        std::size_t end = std::string::npos;
        within(seconds, [&] {
            char buffer[65536];
            const ssize_t n = read(reports_[0], buffer, sizeof buffer);
            if (n > 0) pending_.append(buffer, static_cast<std::size_t>(n));
            end = pending_.find('\n');
            return end != std::string::npos;
        });
        if (end == std::string::npos) return {};
        const std::string line = pending_.substr(0, end);
        pending_.erase(0, end + 1);
        return line;
    }

  private:
    int reports_[2] = {-1, -1}, gate_[2] = {-1, -1};
    std::vector<pid_t> pids_;
    std::string pending_;
};

class Storm : public testing::Test {
  protected:
    void SetUp() override {
        path_ = place_ / "cache";
        ASSERT_EQ(mkdir(path_.c_str(), 0700), 0);
        marked_ = std::make_unique<ScopedVariable>("KELVO_TEST_MARK", path_.c_str());
    }
    void TearDown() override {
        endServers(SIGTERM);
        EXPECT_TRUE(servers().empty());
        if (HasFailure()) std::fputs(contentOf(path_ + "/zocached.log").c_str(), stderr);
    }
    std::vector<pid_t> servers() const { return serversMarked(path_); }
    void endServers(int signal) {
        for (pid_t server : servers()) kill(server, signal);
        within(20, [&] {
            while (waitpid(-1, nullptr, WNOHANG) > 0) continue;
            return servers().empty();
        });
    }
    static bool put(FileCache& cache, const std::string& key) {
        const std::string path = cache.generatePath().str();
        writeFile(path, key);
        return static_cast<bool>(cache.add(key, path));
    }

    TemporaryDirectory place_;
    std::string path_;
    std::unique_ptr<ScopedVariable> marked_;
};

// Starts so many clients at once; each must be served, all by one server.
void race(const std::string& path, int clients, int round, const std::vector<pid_t>& before) {
    Children children;
    for (int i = 0; i < clients; ++i)
        children.start([&, i] {
            children.await();
            FileCache cache;
            const std::string key = std::to_string(round) + "." + std::to_string(i);
            if (const zoUtil::Error error = cache.initialize(path, 0, 0))
                return children.report("initialize: " + error.message().str());
            const std::string file = cache.generatePath().str();
            writeFile(file, key);
            const auto item = cache.add(key, file);
            children.report(item ? "served" : "add failed");
            pause();  // until killed: the connection stays
        });
    children.openGate();
    for (int i = 0; i < clients; ++i) ASSERT_EQ(children.next(60), "served");
    std::vector<pid_t> running;
    ASSERT_TRUE(within(20, [&] { return (running = serversMarked(path)).size() == 1; }))
        << running.size() << " servers";
    EXPECT_EQ(figure(path, "clients"), clients);
    EXPECT_TRUE(before.empty() || running == before);
}

TEST_F(Storm, ClientsThatStartTogetherShareOneServer) {
    std::mt19937 random(8);
    std::vector<pid_t> before;
    const int count = rounds(12);
    for (int round = 0; round < count && !HasFailure(); ++round) {
        SCOPED_TRACE(round);
        race(path_, 2 + static_cast<int>(random() % 31), round, before);
        before.clear();
        switch (round % 6) {
            case 0:
                endServers(SIGTERM);
                break;
            case 1:
                endServers(SIGKILL);  // leaves its lock file
                break;
            case 2:
                before = servers();
                fs::remove(path_ + "/lockfile.lck");
                break;
            case 3:
                before = servers();
                writeFile(path_ + "/lockfile.lck", "");
                break;
            case 4:
                endServers(SIGKILL);
                fs::remove(path_ + "/zocached.guard");
                break;
            default:
                endServers(SIGKILL);
                fs::remove(path_ + "/lockfile.lck");
        }
    }
    FileCache cache;
    ASSERT_FALSE(cache.initialize(path_, 0, 0));
    std::mt19937 again(8);
    for (int round = 0; round < count && !HasFailure(); ++round)
        for (int i = 2 + static_cast<int>(again() % 31); i-- > 0;)
            EXPECT_TRUE(cache.find(std::to_string(round) + "." + std::to_string(i)));
}

TEST_F(Storm, ClientsThatComeWhenTheServerLeavesAreServed) {
    const ScopedVariable options("ZOCACHED_OPTIONS", "--idle-exit 1");
    std::mt19937 random(9);
    for (int round = 0; round < (rounds(4) + 3) / 4 && !HasFailure(); ++round) {
        SCOPED_TRACE(round);
        race(path_, 1 + static_cast<int>(random() % 6), round, {});
        // The clients have gone: the server leaves after a second, just when the next ones come.
        rest(0.985 + static_cast<double>(random() % 30) / 1000);
    }
}

// A port passes on: what the lock file names may be the server of another directory.
TEST_F(Storm, LockFileOfAnotherDirectorysServerLeadsNowhere) {
    const TemporaryDirectory other;
    FileCache theirs, ours;
    ASSERT_FALSE(theirs.initialize(other.path(), 0, 0));
    fs::copy_file(other / "lockfile.lck", path_ + "/lockfile.lck");
    ASSERT_FALSE(ours.initialize(path_, 0, 0));
    EXPECT_TRUE(put(ours, "key"));
    EXPECT_FALSE(theirs.find("key"));
}

// Adds, finds and removes until it is killed, and reports each add that was acknowledged.
void work(const Children& children, const std::string& path, int worker) {
    for (int serial = 0;;) {
        FileCache cache;
        if (cache.initialize(path, 0, 0)) continue;
        for (bool good = true; good; ++serial) {
            const std::string key = std::to_string(worker) + "." + std::to_string(serial);
            const std::string file = cache.generatePath().str();
            writeFile(file, key);
            auto item = cache.add(key, file);
            good = static_cast<bool>(item);
            if (good && serial % 3 == 0)
                cache.remove(item);
            else if (good)
                children.report(key);
            if (serial % 5 == 0 && item) cache.setAccessed(item);
            rest(0.0005);
        }
    }
}

TEST_F(Storm, KilledServersLoseNothing) {
    writeFile(place_ / "outside", "precious");
    writeFile(path_ + "/unlisted", "precious too");
    fs::create_symlink(place_ / "outside", path_ + "/link");
    std::mt19937 random(10);
    Children children;
    for (int worker = 0; worker < 3; ++worker)
        children.start([&, worker] { work(children, path_, worker); });
    int kills = 0, kept = 0;
    const int count = rounds(25);
    while (kills < count && !HasFailure()) {
        SCOPED_TRACE(kills);
        // Every other time in the middle of work, otherwise whenever it is: at the start, too.
        std::string key = kills % 2 == 0 ? children.next(30) : "";
        ASSERT_TRUE(kills % 2 == 1 || !key.empty()) << "nobody is served";
        rest(static_cast<double>(1 + random() % 60) / 1000);
        for (pid_t server : servers()) kills += kill(server, SIGKILL) == 0 ? 1 : 0;
        FileCache cache;
        const zoUtil::Error error = cache.initialize(path_, 0, 0);
        ASSERT_FALSE(error) << error.message();
        for (; !key.empty() || !(key = children.next(0)).empty(); key.clear(), ++kept) {
            auto item = cache.find(key);
            ASSERT_TRUE(item) << key;
            EXPECT_EQ(contentOf(item->path().str()), key);
            cache.remove(item);
        }
    }
    EXPECT_GE(kept, kills / 2);
    EXPECT_EQ(contentOf(place_ / "outside"), "precious");
    EXPECT_EQ(contentOf(path_ + "/unlisted"), "precious too");
    EXPECT_TRUE(fs::is_symlink(path_ + "/link"));
    std::printf("%d kills, %d acknowledged adds, none lost\n", kills, kept);
}

// A child that is another user. What it reports is a fault.
bool beNobody() {
    return setgroups(0, nullptr) == 0 && setgid(kNobody) == 0 && setuid(kNobody) == 0;
}

int connectTo(int port) {
    const int client = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    connect(client, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    const timeval limit = {10, 0};
    setsockopt(client, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    return client;
}

// Whether the server talks to us.
bool isAnswered(int port, const std::string& request) {
    const int client = connectTo(port);
    send(client, request.data(), request.size(), MSG_NOSIGNAL);
    char byte;
    const ssize_t n = recv(client, &byte, 1, 0);
    const bool hangs = n < 0 && errno == EAGAIN;
    close(client);
    return n > 0 || hangs;
}

std::string attack(const std::string& path, int port) {
    const std::string request = number(0) + text(path) + number(1) + number64(1);
    if (isAnswered(port, request)) return "was served over TCP";
    for (const char* name : {"lockfile.lck", "zocached.guard", "zocached.index", "zocached.log"})
        for (int mode : {O_RDONLY, O_WRONLY})
            if (open((path + "/" + name).c_str(), mode) >= 0) return std::string("opened ") + name;
    if (open((path + "/new").c_str(), O_CREAT | O_WRONLY, 0600) >= 0) return "made a file";
    if (unlink((path + "/lockfile.lck").c_str()) == 0) return "deleted the lock file";
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "%s/zocached.socket", path.c_str());
    const int control = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    const bool reached =
        connect(control, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    close(control);
    if (reached) return "reached the local socket";
    CacheClient own;  // a server of the other user's, told to take this directory
    own.start();
    if (!own.initialize(path, 0, 0)) return "started a server here";
    if (own.awaitEnd(10) == 0) return "its server did not fail";
    std::string output;
    if (runTool({"--status", path}, output) == 0) return "asked for figures";
    return {};
}

class OtherUser : public Storm {
  protected:
    void SetUp() override {
        Storm::SetUp();
        if (geteuid() != 0) GTEST_SKIP() << "only root can act as a second user";
        if (runAsNobody([] { return access(APP_getBinaryPath("zocached").c_str(), X_OK) == 0; }))
            GTEST_SKIP() << "the second user cannot run programs of this build";
        // All may look; that is for the server to bear.
        ASSERT_EQ(chmod(place_.path().c_str(), 0755) | chmod(path_.c_str(), 0755), 0);
    }
    // 0 when the body answers true there.
    static int runAsNobody(const std::function<bool()>& body) {
        const pid_t pid = fork();
        if (pid == 0) _exit(beNobody() && body() ? 0 : 1);
        int status = 0;
        waitpid(pid, &status, 0);
        return status;
    }
};

TEST_F(OtherUser, IsRefusedEverywhere) {
    FileCache cache;
    ASSERT_FALSE(cache.initialize(path_, 0, 0));
    ASSERT_TRUE(put(cache, "key"));
    const int port = std::atoi(contentOf(path_ + "/lockfile.lck").c_str());
    int attacks = 0;
    for (int round = 0; round < (rounds(20) + 9) / 10 && !HasFailure(); ++round) {
        Children children;
        for (int i = 0; i < 10; ++i)
            children.start([&] {
                children.report(beNobody() ? "result: " + attack(path_, port) : "is still root");
            });
        for (int i = 0; i < 10; ++i, ++attacks) EXPECT_EQ(children.next(60), "result: ");
        EXPECT_TRUE(cache.find("key"));
    }
    EXPECT_EQ(figure(path_, "entries"), 1);
    std::printf("%d rounds of attacks, all refused\n", attacks);
}

TEST_F(OtherUser, IsNotTakenForTheServer) {
    // Listens where the lock file points, as if it had got the port of a server that was killed.
    Children children;
    children.start([&] {
        if (!beNobody()) return;
        zoTCP::Server listener(-1, 5);
        if (listener.listen()) return;
        children.report(std::to_string(listener.getPort()));
        for (;;) {
            zoTCP::Socket* socket = nullptr;
            if (listener.accept(&socket, zoUtil::Interval(0)) || socket == nullptr) return;
            char byte;
            if (!socket->read(&byte, 1, 0)) children.report("got a byte");
            delete socket;
        }
    });
    const std::string port = children.next(20);
    ASSERT_FALSE(port.empty());
    writeFile(path_ + "/lockfile.lck", port + "\n");
    std::string output;
    EXPECT_EQ(runTool({"--port", port}, output), 1);
    FileCache cache;
    ASSERT_FALSE(cache.initialize(path_, 0, 0));
    EXPECT_TRUE(put(cache, "key"));
    EXPECT_NE(contentOf(path_ + "/lockfile.lck"), port + "\n");
    EXPECT_EQ(children.next(0.2), "");
}

TEST_F(OtherUser, CannotCrowdClientsOut) {
    FileCache cache;
    ASSERT_FALSE(cache.initialize(path_, 0, 0));
    const int port = std::atoi(contentOf(path_ + "/lockfile.lck").c_str());
    Children children;
    for (int i = 0; i < 4; ++i)
        children.start([&] {
            if (!beNobody()) return;
            children.report("begins");
            for (;;) close(connectTo(port));
        });
    for (int i = 0; i < 4; ++i) ASSERT_EQ(children.next(20), "begins");
    const double begin = secondsNow();
    for (int i = 0; i < 20; ++i) {
        FileCache other;
        ASSERT_FALSE(other.initialize(path_, 0, 0));
        ASSERT_TRUE(put(other, "key" + std::to_string(i)));
    }
    EXPECT_LT(secondsNow() - begin, 20.0);
}

}  // namespace
