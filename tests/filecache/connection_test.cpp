// What could break: waits without end, lock files that lead astray, servers that are started twice
// or not at all, a lock file that stays although nobody answers, errors of the wrong step, talk
// with strangers.
#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <future>
#include <thread>

#include "Base/app.h"
#include "Base/zo_tcp.h"
#include "KelvoBase/file_cache.h"
#include "tests/support/child_process.h"
#include "tests/support/temporary_directory.h"
#include "tests/support/test.h"

namespace {

namespace fs = std::filesystem;
using kelvo::test::ScopedVariable;
using zoKelvoBase::FileCache;
using zoUtil::Error;
using Clock = std::chrono::steady_clock;

constexpr unsigned kNobody = 65534;
constexpr const char* kManualStart = "VELA_FILE_CACHE_MANUAL_START";

// Listens, and treats all who come in the same way.
class Listener {
  public:
    enum Manner { neverAccepts, silent, hangsUp, garbage };
    explicit Listener(Manner manner) {
        server_.setLoopbackOnly();
        EXPECT_FALSE(server_.listen());
        if (manner != neverAccepts) thread_ = std::thread([this, manner] { treat(manner); });
    }
    ~Listener() {
        ending_ = true;
        if (thread_.joinable()) thread_.join();
    }
    std::string port() const { return std::to_string(server_.getPort()); }

  private:
    void treat(Manner manner) {
        std::unique_ptr<zoTCP::Socket> kept;
        while (!ending_) {
            zoTCP::Socket* socket = nullptr;
            EXPECT_FALSE(server_.accept(&socket, zoUtil::Interval(0.02)));
            if (socket == nullptr) continue;
            kept.reset(socket);
            if (manner == hangsUp) kept.reset();
            if (manner == garbage) {
                socket->write("220 mail.example ready\r\n", 24, 0);
                socket->flush();
            }
        }
    }

    zoTCP::Server server_{-1, 8};
    std::atomic<bool> ending_ = false;
    std::thread thread_;
};

class Connection : public testing::Test {
  protected:
    Connection() { APP_setBinaryDirectory(FAKE_PROGRAMS); }
    ~Connection() override { APP_setBinaryDirectory(nullptr); }

    Error initialize(FileCache& cache, const char* mode) {
        return initialize(cache, mode, directory.path());
    }
    Error initialize(FileCache& cache, const char* mode, const std::string& path) {
        const ScopedVariable how("FAKE_ZOCACHED", mode);
        const ScopedVariable where("FAKE_ZOCACHED_LOG", log.c_str());
        const auto begin = Clock::now();
        const Error error = cache.initialize(path, 0, 0);
        seconds = std::chrono::duration<double>(Clock::now() - begin).count();
        return error;
    }
    // Lines that servers wrote at their start.
    int starts() const {
        const std::string text = kelvo::test::contentOf(log);
        return static_cast<int>(std::count(text.begin(), text.end(), '\n'));
    }

    kelvo::test::TemporaryDirectory directory, elsewhere;
    const std::string lock = directory / "lockfile.lck";
    const std::string log = elsewhere / "log";
    double seconds = 0;
};

TEST_F(Connection, ServerStartedWhenThereIsNone) {
    FileCache cache;
    EXPECT_FALSE(initialize(cache, "serve"));
    EXPECT_TRUE(cache.add("k", "/c/f"));
    EXPECT_EQ(cache.find("k") ? "/c/f" : "", cache.find("k")->path().str());
    const std::string started = kelvo::test::contentOf(log);
    EXPECT_EQ(started.find("--port "), 0U);
    EXPECT_EQ(starts(), 1);
    EXPECT_EQ(directory.list(), "");
}

// Whatever the lock file is or says, a server answers in the end, and in time.
TEST_F(Connection, LockFilesThatLeadNowhere) {
    const Listener neverAccepts(Listener::neverAccepts), silent(Listener::silent),
        hangsUp(Listener::hangsUp), garbage(Listener::garbage);
    const auto says = [this](const std::string& text) {
        return [this, text] { kelvo::test::writeFile(lock, text); };
    };
    const struct {
        const char* what;
        std::function<void()> make;
        const char* left;  // in the directory
    } cases[] = {
        {"empty", says(""), ""},
        {"no number", says("port"), ""},
        {"port 0", says("0"), ""},
        {"negative", says("-1"), ""},
        {"too large", says("65536"), ""},
        {"much too large", says("99999999999999999999999"), ""},
        {"zero bytes", says(std::string(200, '\0')), ""},
        {"huge", says(std::string(5 << 20, '1')), ""},
        {"dead port", says("1"), ""},
        {"never accepted", says(neverAccepts.port()), ""},
        {"silent", says(silent.port()), ""},
        {"closed at once", says(hangsUp.port()), ""},
        {"another language", says(garbage.port()), ""},
        {"link", [&] { fs::create_symlink("/proc/self/status", lock); }, ""},
        {"link to nowhere", [&] { fs::create_symlink("/nonexistent", lock); }, "lockfile.lck"},
        {"pipe", [&] { mkfifo(lock.c_str(), 0600); }, ""},
        {"directory", [&] { fs::create_directory(lock); }, ""},
        {"full directory", [&] { fs::create_directories(lock + "/a"); }, "lockfile.lck"},
        {"writable by others",
         [&] {
             kelvo::test::writeFile(lock, silent.port());
             fs::permissions(lock, fs::perms::others_write, fs::perm_options::add);
         },
         ""}};
    int before = 0;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        c.make();
        FileCache cache;
        const Error error = initialize(cache, "serve");
        EXPECT_FALSE(error) << error.message();
        EXPECT_LT(seconds, 4.0);
        EXPECT_EQ(starts(), ++before);
        EXPECT_EQ(directory.list(), c.left);
        EXPECT_TRUE(cache.add("k", "/c/f"));
        fs::remove_all(lock);
    }
}

TEST_F(Connection, LockFileOfAnotherUser) {
    if (geteuid() != 0) GTEST_SKIP() << "only root can act as a second user";
    const Listener silent(Listener::silent);
    kelvo::test::writeFile(lock, silent.port());
    ASSERT_EQ(chown(lock.c_str(), kNobody, kNobody), 0);
    FileCache cache;
    EXPECT_FALSE(initialize(cache, "serve"));
    EXPECT_LT(seconds, 1.0);
    EXPECT_EQ(directory.list(), "");
}

// All at the same time, since most of them wait for five seconds.
TEST_F(Connection, ServersThatDoNotCome) {
    const Listener listener(Listener::silent);
    const struct {
        const char* mode;
        int code;
        const char* message;
        double least, most;  // seconds
        bool knownServer;    // one that never reacts, whose share of the time counts too
    } cases[] = {{"sleep", 1, "could not connect to cache server", 4.5, 6, false},
                 {"sleep", 1, "could not connect to cache server", 4.5, 6, true},
                 {"exit", 1, "could not connect to cache server", 4.5, 6, false},
                 {"stranger", 1, "could not connect to cache server", 4.5, 6, false},
                 {"silent", ETIMEDOUT, nullptr, 4.5, 6, false},
                 {"hang up", ECONNRESET, nullptr, 0, 2, false},
                 {"garbage", EMSGSIZE, nullptr, 0, 2, false}};
    std::vector<std::future<kelvo::test::ChildResult>> children;
    for (const auto& c : cases) {
        if (std::string(c.mode) == "stranger" && geteuid() != 0) continue;
        const auto body = [&] {
            SCOPED_TRACE(c.mode);
            const kelvo::test::TemporaryDirectory own;
            if (c.knownServer) kelvo::test::writeFile(own / "lockfile.lck", listener.port());
            FileCache cache;
            const Error error = initialize(cache, c.mode, own.path());
            EXPECT_EQ(error.code(), c.code) << error.message();
            EXPECT_EQ(c.message ? error.message() : "", c.message ? c.message : "");
            EXPECT_GE(seconds, c.least);
            EXPECT_LE(seconds, c.most);
            EXPECT_EQ(cache.find("k"), nullptr);
            EXPECT_EQ(cache.add("k", "/c/f"), nullptr);
        };
        children.push_back(std::async(std::launch::async, kelvo::test::runInChild, body, 20));
    }
    for (auto& child : children) {
        const kelvo::test::ChildResult result = child.get();
        EXPECT_EQ(result.exitCode + result.signal, 0) << result.errors;
    }
}

TEST_F(Connection, ErrorsOfTheSystem) {
    FileCache cache;
    EXPECT_EQ(cache.initialize(std::string(5000, 'x'), 0, 0).code(), ENAMETOOLONG);
    APP_setBinaryDirectory("/nonexistent");
    const Error missing = initialize(cache, "serve");
    EXPECT_EQ(missing.code(), ENOENT);
    EXPECT_LT(seconds, 1.0);
    const auto withoutDescriptors = [&] {
        rlimit limit;
        getrlimit(RLIMIT_NOFILE, &limit);
        limit.rlim_cur = 3;
        setrlimit(RLIMIT_NOFILE, &limit);
        FileCache poor;
        EXPECT_EQ(poor.initialize(directory.path(), 0, 0).code(), EMFILE);
    };
    EXPECT_TRUE(kelvo::test::passesInChild(withoutDescriptors));
}

TEST_F(Connection, StartedByHand) {
    for (const char* value : {"", "1"}) {
        int output[2];
        ASSERT_EQ(pipe(output), 0);
        const pid_t application = fork();
        if (application == 0) {
            alarm(20);
            dup2(output[1], STDOUT_FILENO);
            const ScopedVariable manual(kManualStart, value);
            FileCache cache;
            const bool worked = !initialize(cache, "serve") && cache.add("k", "/c/f");
            _exit(worked ? 0 : 1);
        }
        close(output[1]);
        std::string line;
        for (char c; line.find('\n') == std::string::npos && read(output[0], &c, 1) == 1;)
            line += c;
        EXPECT_EQ(line.find("Run: zocached --port "), 0U) << line;
        const std::string port = line.substr(21, line.size() - 22);
        EXPECT_EQ(port.find_first_not_of("0123456789"), std::string::npos) << line;
        EXPECT_EQ(starts(), 0);
        // Waits for longer than for a server that is started.
        usleep(*value ? 5600000 : 100000);
        EXPECT_EQ(waitpid(application, nullptr, WNOHANG), 0);
        const std::string command = "FAKE_ZOCACHED=serve FAKE_ZOCACHED_LOG=" + log + " " +
                                    FAKE_PROGRAMS "/zocached --port " + port + " &";
        EXPECT_EQ(std::system(command.c_str()), 0);
        int status = 0;
        EXPECT_EQ(waitpid(application, &status, 0), application);
        EXPECT_EQ(status, 0);
        EXPECT_EQ(kelvo::test::contentOf(log), "--port " + port + "\n");
        char rest;
        EXPECT_EQ(read(output[0], &rest, 1), 0) << "more was printed";
        close(output[0]);
        fs::remove(log);
    }
}

// Programs that the application starts later must not keep the connection open.
TEST_F(Connection, LeavesNoDescriptors) {
    const auto descriptors = [] {
        return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
    };
    const auto before = descriptors();
    {
        FileCache cache;
        EXPECT_FALSE(initialize(cache, "serve"));
        EXPECT_FALSE(initialize(cache, "serve"));
        EXPECT_EQ(descriptors(), before + 1);
        for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
            const int number = std::stoi(entry.path().filename());
            std::error_code gone;
            const std::string target = fs::read_symlink(entry.path(), gone).string();
            if (target.find("socket:") != 0) continue;
            EXPECT_NE(fcntl(number, F_GETFD) & FD_CLOEXEC, 0) << number;
        }
    }
    EXPECT_EQ(descriptors(), before);
}

}  // namespace
