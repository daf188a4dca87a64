// What could break: bytes that differ from the protocol's, files deleted that are not the cache's
// to delete, clients that suffer from others, servers that stay or end when they should not.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <ctime>
#include <filesystem>
#include <list>
#include <string_view>

#include "tests/programs/zocached_support.h"

namespace {

using namespace kelvo::test;
namespace fs = std::filesystem;

// A directory whose server ends with the test.
class Zocached : public testing::Test {
  protected:
    void SetUp() override {
        mark_ = place_.path();
        marked_ = std::make_unique<ScopedVariable>("KELVO_TEST_MARK", mark_.c_str());
    }
    void TearDown() override {
        for (pid_t server : serversMarked(mark_)) kill(server, SIGTERM);
        for (pid_t server : serversMarked(mark_)) waitpid(server, nullptr, 0);
        EXPECT_TRUE(within(20, [&] { return serversMarked(mark_).empty(); }));
    }
    std::string operator/(const std::string& name) const { return place_ / name; }
    const std::string& path() const { return place_.path(); }

    TemporaryDirectory place_;
    std::string mark_;
    std::unique_ptr<ScopedVariable> marked_;
};

// The connection below the protocol.
bool sendBytes(CacheClient& client, const std::string& bytes) {
    return send(client.socket().descriptor(), bytes.data(), bytes.size(), MSG_NOSIGNAL) ==
           static_cast<ssize_t>(bytes.size());
}

std::string receive(CacheClient& client, std::size_t count, int seconds = 10) {
    const timeval limit = {seconds, 0};
    setsockopt(client.socket().descriptor(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    std::string bytes(count, '\0');
    const ssize_t n = recv(client.socket().descriptor(), bytes.data(), count, MSG_WAITALL);
    if (n < 0 && errno == EAGAIN) return "nothing came";
    bytes.resize(n > 0 ? static_cast<std::size_t>(n) : 0);
    return bytes;
}

bool isClosed(CacheClient& client, int seconds = 10) {
    return receive(client, 1, seconds).empty();
}

std::string receiveAfter(CacheClient& client, const std::string& request, std::size_t count) {
    return sendBytes(client, request) ? receive(client, count) : std::string();
}

// As much as the connection takes at once.
std::size_t sendSome(CacheClient& client, std::string_view bytes) {
    const ssize_t n =
        send(client.socket().descriptor(), bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    return n > 0 ? static_cast<std::size_t>(n) : 0;
}

TEST_F(Zocached, SpeaksTheProtocolByteByByte) {
    writeFile(*this / "file", "12345");
    CacheClient client;
    client.start();
    const std::string path = *this / "file";
    const struct {
        const char* what;
        std::string request, reply;
    } exchange[] = {
        {"initialize", number(0) + text(this->path()) + number(0) + number64(0),
         number(0) + text("")},
        {"unknown key", number(1) + text("key"), text("") + number64(0) + number(0)},
        {"add", number(2) + text("key") + text(path), number(1)},
        {"no such file", number(2) + text("other") + text(path + "x"), number(0)},
        {"unknown opcodes are silent", number(5) + number(-1) + number(4) + text("key"), number(0)},
        {"held twice", number(3) + text("key") + number(0), number(1)},
        {"not held", number(3) + text("key") + number(0), number(0)},
        {"a key with a zero", number(2) + text(std::string("k\0", 2)) + text(path), number(1)},
        {"two requests at once", number(4) + text("a") + number(4) + text("b"),
         number(0) + number(0)},
        {"removal by another bool than 1", number(3) + text("key") + number(2), number(1)},
        {"removed", number(1) + text("key"), text("") + number64(0) + number(0)},
        {"initialize again", number(0) + text(this->path()) + number(9) + number64(9),
         number(0) + text("")},
    };
    for (const auto& e : exchange) {
        SCOPED_TRACE(e.what);
        ASSERT_TRUE(sendBytes(client, e.request));
        EXPECT_EQ(receive(client, e.reply.size()), e.reply);
    }
    const std::time_t now = std::time(nullptr);
    ASSERT_TRUE(sendBytes(client, number(1) + text(std::string("k\0", 2))));
    EXPECT_EQ(receive(client, 4 + path.size()), text(path));
    std::int64_t accessed = 0;
    ASSERT_EQ(receive(client, 8).copy(reinterpret_cast<char*>(&accessed), 8), 8u);
    EXPECT_NEAR(static_cast<double>(accessed), static_cast<double>(now), 60);
    EXPECT_EQ(receive(client, 4), number(1));
    // Byte by byte it is the same.
    for (char c : number(4) + text("key")) {
        ASSERT_TRUE(sendBytes(client, std::string(1, c)));
        rest(0.002);
    }
    EXPECT_EQ(receive(client, 4), number(0));
}

TEST_F(Zocached, AddTakesNothingButFilesOfTheDirectory) {
    TemporaryDirectory outside;
    writeFile(outside / "file", "precious");
    writeFile(*this / "good", "x");
    writeFile(*this / (std::string(255, 'n')), "x");
    fs::create_directory(*this / "below");
    writeFile(*this / "below/file", "x");
    fs::create_symlink(outside / "file", *this / "link");
    fs::create_directory_symlink(outside.path(), *this / "way");
    fs::create_directory_symlink(path(), outside / "back");
    ASSERT_EQ(mkfifo((*this / "pipe").c_str(), 0600), 0);
    CacheClient client;
    ASSERT_FALSE(client.open(path()));
    const std::string refused[] = {
        "",
        "/",
        "good",
        "/etc/passwd",
        outside / "file",
        *this / "link",
        *this / "way/file",
        *this / "below",
        *this / "below/file",
        *this / "below/../../" + fs::path(outside.path()).filename().string() + "/file",
        *this / "pipe",
        *this / "none",
        *this / ".",
        *this / "..",
        *this / "",
        *this / "lockfile.lck",
        *this / "zocached.index",
        *this / "zocached.guard",
        *this / "zocached.log",
        path() + std::string("/good\0", 6),
        path() + std::string("/go\0od", 6),
        *this / std::string(4096, 'n'),
        "/proc/self/fd/0",
    };
    for (const std::string& name : refused) EXPECT_FALSE(client.add("key", name)) << name;
    EXPECT_FALSE(client.add(std::string(4097, 'k'), *this / "good"));
    EXPECT_FALSE(client.add(std::string(60000, 'k'), *this / "good"));
    EXPECT_EQ(figure(path(), "entries"), 0);

    EXPECT_TRUE(client.add("plain", *this / "good"));
    EXPECT_TRUE(client.add("by another way", outside / "back/good"));
    EXPECT_TRUE(client.add("twice /", path() + "//good"));
    EXPECT_TRUE(client.add(std::string(4096, 'k'), *this / std::string(255, 'n')));
    EXPECT_EQ(client.pathOf("by another way"), *this / "good");
    for (const char* key : {"plain", "by another way"}) EXPECT_TRUE(client.release(key, true));
    EXPECT_TRUE(fs::exists(*this / "good"));  // the third still names it
    client.disconnect();
    CacheClient last;
    ASSERT_FALSE(last.open(path()));
    EXPECT_TRUE(last.release("twice /", true));
    EXPECT_FALSE(fs::exists(*this / "good"));
    EXPECT_EQ(contentOf(outside / "file"), "precious");
}

TEST_F(Zocached, LeastRecentlyAccessedGoFirstAndHeldOnesNever) {
    CacheClient client, other;
    ASSERT_FALSE(client.open(path()));
    for (const char* key : {"a", "b", "c", "d", "e"}) ASSERT_TRUE(client.put(path(), key));
    for (const char* key : {"a", "b", "c", "d"}) ASSERT_TRUE(client.release(key, false));
    client.setAccessed("a");
    ASSERT_FALSE(other.open(path(), 4));
    ASSERT_TRUE(other.put(path(), "f"));
    EXPECT_TRUE(within(5, [&] { return figure(path(), "evictions") == 2; }));
    EXPECT_FALSE(fs::exists(*this / "b") || fs::exists(*this / "c"));
    EXPECT_TRUE(other.has("a") && other.has("d") && other.has("e"));
    ASSERT_FALSE(other.initialize(path(), 1, 0));
    rest(0.1);
    EXPECT_EQ(figure(path(), "entries"), 4);  // all held
    client.disconnect();
    other.disconnect();  // holds end with the connection
    EXPECT_TRUE(within(5, [&] { return figure(path(), "entries") == 1; }));
    EXPECT_TRUE(fs::exists(*this / "f"));
}

TEST_F(Zocached, RemovedKeysDoNotComeBackWithTheirNamesAfterAKill) {
    for (int round = 0; round < 3; ++round) {
        CacheClient client, other, next;
        ASSERT_FALSE(client.open(path()));
        ASSERT_FALSE(other.open(path()));
        for (const char* key : {"alone", "held", "kept"}) ASSERT_TRUE(client.put(path(), key));
        ASSERT_TRUE(other.has("held"));
        for (const char* key : {"alone", "held"}) ASSERT_TRUE(client.release(key, true));
        ASSERT_TRUE(other.release("held", false));
        for (const char* name : {"alone", "held"}) writeFile(*this / name, "not added");
        EXPECT_EQ(client.end(SIGKILL), SIGKILL);
        ASSERT_FALSE(next.open(path()));
        EXPECT_TRUE(next.has("kept"));
        for (const char* key : {"alone", "held"}) {
            EXPECT_FALSE(next.has(key)) << key;
            EXPECT_EQ(contentOf(*this / key), "not added");
        }
        EXPECT_EQ(next.end(SIGTERM), 0);
    }
}

TEST_F(Zocached, FilesThatOthersDeleteAreNotFound) {
    CacheClient client;
    ASSERT_FALSE(client.open(path()));
    for (int i = 0; i < 300; ++i) {
        const std::string key = "key" + std::to_string(i);
        ASSERT_TRUE(client.put(path(), key));
        ASSERT_TRUE(client.has(key));
        if (i % 2 == 0)
            fs::remove(*this / key);
        else
            fs::rename(*this / key, *this / "moved");
        ASSERT_FALSE(client.has(key)) << key;
    }
    ASSERT_TRUE(client.put(path(), "key"));
    writeFile(*this / "new", "again");
    fs::rename(*this / "new", *this / "key");  // renewed, not gone
    EXPECT_TRUE(client.has("key"));
    for (int hold = 0; hold < 2; ++hold) EXPECT_TRUE(client.release("key", false));
    EXPECT_EQ(figure(path(), "bytes"), 5);
}

TEST_F(Zocached, FirstRequestMustBeForThisDirectory) {
    TemporaryDirectory elsewhere;
    CacheClient first;
    ASSERT_FALSE(first.open(path()));
    const struct {
        const char* what;
        std::string bytes;
    } cases[] = {
        {"a browser", "POST / HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n"},
        {"another request", number(1) + text("key")},
        {"unknown opcode", number(77)},
        {"negative length", number(0) + number(-5)},
        {"endless length", number(0) + number(0x7FFFFFFF)},
        {"long length", number(0) + number(65537)},
        {"another directory", number(0) + text(elsewhere.path()) + number(0) + number64(0)},
        {"no directory", number(0) + text("") + number(0) + number64(0)},
        {"a zero in it", number(0) + text(path() + '\0') + number(0) + number64(0)},
        {"too long", number(0) + text(path() + std::string(5000, '/')) + number(0) + number64(0)},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        CacheClient client;
        ASSERT_FALSE(client.join(path()));
        ASSERT_TRUE(sendBytes(client, c.bytes));
        EXPECT_TRUE(isClosed(client));
    }
    fs::create_directory_symlink(path(), elsewhere / "link");
    CacheClient byLink;
    ASSERT_FALSE(byLink.join(path()));
    EXPECT_FALSE(byLink.initialize(elsewhere / "link", 0, 0));
    ASSERT_TRUE(byLink.put(path(), "key"));
    EXPECT_EQ(byLink.pathOf("key"), elsewhere / "link/key");  // in the client's words
    EXPECT_EQ(first.pathOf("key"), *this / "key");
}

TEST_F(Zocached, SlowAndManyClientsDoNotStallOthers) {
    CacheClient quick;
    ASSERT_FALSE(quick.open(path()));
    ASSERT_TRUE(quick.put(path(), "key"));
    std::list<CacheClient> others(300);
    int served = 0;
    for (CacheClient& client : others) {
        ASSERT_FALSE(client.join(path()));
        const zoUtil::Error error = client.initialize(path(), 0, 0);
        served += error ? 0 : 1;
        EXPECT_TRUE(!error || isClosed(client));
    }
    EXPECT_EQ(served, 255);  // with the first one 256
    // Half a request each, and one that never takes its replies.
    for (CacheClient& client : others) sendBytes(client, number(1) + number(300) + "begin");
    CacheClient& greedy = others.front();
    greedy.disconnect();
    ASSERT_TRUE(within(5, [&] {
        greedy.disconnect();
        return !greedy.join(path()) && !greedy.initialize(path(), 0, 0);
    }));
    std::string many;
    for (int i = 0; i < 100000; ++i) many += number(1) + text("key");
    const double begin = secondsNow();
    for (std::size_t sent = 0; sent < many.size();) {
        const ssize_t n = send(greedy.socket().descriptor(), many.data() + sent, many.size() - sent,
                               MSG_DONTWAIT | MSG_NOSIGNAL);
        if (n <= 0 && secondsNow() - begin > 1) break;
        if (n > 0) sent += static_cast<std::size_t>(n);
        if (n < 0) rest(0.01);
    }
    const double from = secondsNow();
    for (int i = 0; i < 200; ++i) ASSERT_TRUE(quick.has("key"));
    EXPECT_LT(secondsNow() - from, 2.0);
    others.clear();
    CacheClient again;
    ASSERT_FALSE(again.open(path()));
    EXPECT_EQ(figure(path(), "clients"), 2);
}

// A client that alone has something to say for a while is served in a way of its own.
class Alone : public Zocached {
  protected:
    static constexpr int kAWhile = 60;  // requests

    // So that it is served that way, whoever was before; it needs some requests for each.
    void speakAlone(CacheClient& client, const std::string& key = "key") {
        for (int i = 0; i < kAWhile; ++i) ASSERT_TRUE(client.has(key)) << i;
        EXPECT_GE(tasks(), 3);  // the loop, the index's and this one's
    }
    long tasks() const {
        const std::string process = std::to_string(figure(path(), "process"));
        return std::distance(fs::directory_iterator("/proc/" + process + "/task"), {});
    }
};

TEST_F(Alone, EachInTurnAndAllTogether) {
    CacheClient clients[3];
    for (CacheClient& client : clients) ASSERT_FALSE(client.open(path()));
    ASSERT_TRUE(clients[0].put(path(), "key"));
    for (int round = 0; round < 5; ++round) {
        for (CacheClient& client : clients) speakAlone(client);
        for (int i = 0; i < kAWhile; ++i)
            for (CacheClient& client : clients) ASSERT_TRUE(client.has("key"));
    }
    EXPECT_EQ(figure(path(), "holds"), 1 + 5 * 3 * 2 * kAWhile);
    EXPECT_EQ(figure(path(), "hits"), 5 * 3 * 2 * kAWhile);
}

TEST_F(Alone, EndsAndPausesAreTheSame) {
    CacheClient other, client;
    ASSERT_FALSE(other.open(path()));
    ASSERT_FALSE(client.open(path()));
    ASSERT_TRUE(client.put(path(), "key"));
    const std::string reply = text(*this / "key");

    speakAlone(client);  // half a request, then nothing for a while
    ASSERT_TRUE(sendBytes(client, number(1) + number(3) + "k"));
    speakAlone(other);
    ASSERT_TRUE(sendBytes(client, "ey"));
    EXPECT_EQ(receive(client, reply.size() + 12).substr(0, reply.size()), reply);

    speakAlone(client);                                    // more replies than the connection takes
    const std::string ask = number(1) + text("a key 8b");  // whole ones fill the server's buffer
    ASSERT_TRUE(client.put(path(), "a key 8b"));
    const std::string whole = receiveAfter(client, ask, reply.size() + 5 + 12);
    std::string many, got;
    for (int i = 0; i < 150000; ++i) many += ask;
    std::size_t sent = sendSome(client, many);
    rest(0.2);  // until its replies stand still
    for (int i = 0; i < kAWhile; ++i) ASSERT_TRUE(other.has("key"));
    const std::size_t wanted = 150000 * whole.size();
    ASSERT_TRUE(within(30, [&] {
        std::string part(1 << 20, '\0');
        for (ssize_t n;
             (n = recv(client.socket().descriptor(), part.data(), part.size(), MSG_DONTWAIT)) > 0;)
            got.append(part, 0, static_cast<std::size_t>(n));
        sent += sendSome(client, std::string_view(many).substr(sent));
        return got.size() >= wanted;
    })) << got.size();
    for (std::size_t i = 0; i < wanted; i += whole.size())
        ASSERT_EQ(got.compare(i, whole.size(), whole), 0) << i;

    speakAlone(client);
    client.disconnect();  // its holds end at once
    EXPECT_TRUE(within(0.5, [&] { return figure(path(), "holds") == 2 * kAWhile; }));

    for (int round = 0; round < 4; ++round) {
        ASSERT_FALSE(client.open(path()));
        speakAlone(client);
        const double begin = secondsNow();
        ASSERT_TRUE(sendBytes(client, number(3) + number(-1)));  // nonsense
        EXPECT_TRUE(isClosed(client));
        EXPECT_LT(secondsNow() - begin, 0.5);  // not with the next look at deadlines
    }
    ASSERT_TRUE(other.has("key"));
}

TEST_F(Alone, ItsAddsEvictAndTheServerEndsUnderIt) {
    CacheClient client;
    ASSERT_FALSE(client.open(path()));
    for (int i = 0; i < 300; ++i) {
        ASSERT_TRUE(client.put(path(), "key" + std::to_string(i)));
        ASSERT_TRUE(client.release("key" + std::to_string(i), false));
    }
    speakAlone(client, "key299");
    ASSERT_FALSE(client.initialize(path(), 5, 0));
    EXPECT_TRUE(within(0.5, [&] { return figure(path(), "entries") == 5; }));
    EXPECT_FALSE(fs::exists(*this / "key0"));
    EXPECT_TRUE(client.put(path(), "last"));
    speakAlone(client, "last");
    EXPECT_EQ(client.end(SIGTERM), 0);
    EXPECT_TRUE(isClosed(client));
    ASSERT_FALSE(client.open(path()));
    EXPECT_TRUE(client.has("last"));
}

TEST_F(Zocached, ServesWhileOthersSayNothing) {
    CacheClient first;
    ASSERT_FALSE(first.open(path()));
    std::list<CacheClient> silent(150);
    for (CacheClient& client : silent) ASSERT_FALSE(client.join(path()));
    CacheClient client;
    ASSERT_FALSE(client.open(path()));
    EXPECT_TRUE(isClosed(silent.front()));  // made room
    EXPECT_TRUE(client.put(path(), "key"));
}

TEST_F(Zocached, EndsWhenIdleAndWhenTold) {
    CacheClient client;
    ASSERT_FALSE(client.open(path(), 0, 0, {"--idle-exit", "1s"}));
    ASSERT_TRUE(client.put(path(), "key"));
    rest(1.5);
    EXPECT_TRUE(client.has("key"));  // somebody is there
    client.disconnect();
    EXPECT_EQ(client.awaitEnd(10), 0);
    EXPECT_EQ(place_.list(), "key zocached.guard zocached.index zocached.log");

    ASSERT_FALSE(client.open(path()));
    EXPECT_TRUE(client.has("key"));
    EXPECT_EQ(client.end(SIGTERM), 0);
    EXPECT_TRUE(isClosed(client));
    EXPECT_EQ(place_.list(), "key zocached.guard zocached.index zocached.log");

    CacheClient nobody;
    nobody.start();
    nobody.disconnect();  // before initialize
    EXPECT_EQ(WEXITSTATUS(nobody.awaitEnd(10)), 1);
}

TEST_F(Zocached, SecondServerHandsOverAndTheLockFileComesBack) {
    CacheClient first;
    ASSERT_FALSE(first.open(path()));
    ASSERT_TRUE(first.put(path(), "key"));
    const std::string advertised = contentOf(*this / "lockfile.lck");
    const struct {
        const char* what;
        std::function<void()> disturb;
    } cases[] = {
        {"untouched", [] {}},
        {"gone", [&] { fs::remove(*this / "lockfile.lck"); }},
        {"somebody else's", [&] { writeFile(*this / "lockfile.lck", "1\n"); }},
        {"socket deleted", [&] { fs::remove(*this / "zocached.socket"); }},
        {"guard deleted", [&] { fs::remove(*this / "zocached.guard"); }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        c.disturb();
        CacheClient next;
        next.start();
        ASSERT_FALSE(next.initialize(path(), 0, 0));
        EXPECT_EQ(next.awaitEnd(10), 0);
        EXPECT_TRUE(next.has("key"));
        EXPECT_TRUE(next.put(path(), "more"));
        EXPECT_EQ(contentOf(*this / "lockfile.lck"), advertised);
        EXPECT_EQ(serversMarked(mark_), std::vector<pid_t>{first.server()});
    }
}

TEST_F(Zocached, ClientOfAHangingServerGetsAnErrorAndIsNotTakenLater) {
    CacheClient first, second;
    ASSERT_FALSE(first.open(path()));
    ASSERT_EQ(kill(first.server(), SIGSTOP), 0);
    second.start();
    const double begin = secondsNow();
    const zoUtil::Error error = second.initialize(path(), 0, 0);
    EXPECT_NE(error.message().str().find("does not answer"), std::string::npos) << error.message();
    EXPECT_LT(secondsNow() - begin, 5.0);
    EXPECT_EQ(WEXITSTATUS(second.awaitEnd(10)), 1);
    ASSERT_EQ(kill(first.server(), SIGCONT), 0);
    EXPECT_TRUE(isClosed(second));
    EXPECT_TRUE(first.put(path(), "key"));
    EXPECT_EQ(figure(path(), "clients"), 1);
}

TEST_F(Zocached, RefusesDirectoriesThatOthersCanWrite) {
    const struct {
        const char* what;
        mode_t mode;
        uid_t owner;
        bool isGood;
    } cases[] = {{"group", 0770, getuid(), false},
                 {"others", 0707, getuid(), false},
                 {"others may read", 0755, getuid(), true},
                 {"another user's", 0755, 12345, false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        ASSERT_EQ(chmod(path().c_str(), c.mode), 0);
        if (c.owner != getuid() && chown(path().c_str(), c.owner, c.owner) != 0) continue;
        CacheClient client;
        const zoUtil::Error error = client.open(path());
        EXPECT_EQ(!error, c.isGood) << error.message();
        EXPECT_EQ(client.end(c.isGood ? SIGTERM : 0) == 0, c.isGood);
    }
    CacheClient client;
    ASSERT_FALSE(client.open(*this / "made/when missing"));
    struct stat made {};
    ASSERT_EQ(stat((*this / "made/when missing").c_str(), &made), 0);
    EXPECT_EQ(made.st_mode & 0777, 0700u);
}

TEST_F(Zocached, FullDiskRefusesAddsAndLosesNothing) {
    const SmallDisk disk(path(), 2 << 20);
    if (!disk.mounted()) GTEST_SKIP() << "only root can make a small disk";
    ASSERT_EQ(chmod(path().c_str(), 0700), 0);
    CacheClient client;
    ASSERT_FALSE(client.open(path()));
    for (int i = 0; i < 10; ++i) ASSERT_TRUE(client.put(path(), "key" + std::to_string(i)));
    writeFile(*this / "filler", std::string(4 << 20, 'f'));
    int accepted = 10;
    while (accepted < 3000 && client.add("more" + std::to_string(accepted), *this / "key0"))
        ++accepted;
    ASSERT_LT(accepted, 3000);
    EXPECT_FALSE(client.add("refused", *this / "key1"));
    EXPECT_FALSE(client.has("refused"));
    EXPECT_TRUE(client.has("key9"));
    client.setAccessed("key9");
    EXPECT_EQ(figure(path(), "entries"), accepted);
    EXPECT_EQ(client.end(SIGKILL), SIGKILL);

    CacheClient next;
    ASSERT_FALSE(next.open(path()));  // with the disk still full
    EXPECT_EQ(figure(path(), "entries"), accepted);
    fs::remove(*this / "filler");
    EXPECT_TRUE(within(10, [&] { return next.add("room again", *this / "key2"); }));
    EXPECT_EQ(next.end(SIGTERM), 0);
}

TEST_F(Zocached, ReportsAndOptions) {
    std::string output;
    EXPECT_EQ(runTool({"--status", path()}, output), 1);
    EXPECT_EQ(output, "no server is running\n");
    EXPECT_EQ(runTool({"--check", path()}, output), 0);
    CacheClient client;
    ASSERT_FALSE(client.open(path(), 0, 0, {"--log-level", "off"}));
    ASSERT_TRUE(client.put(path(), "key", 7) && client.put(path(), "other", 5));
    writeFile(*this / "stranger", "x");
    EXPECT_EQ(figure(path(), "entries"), 2);
    EXPECT_EQ(figure(path(), "bytes"), 12);
    EXPECT_EQ(figure(path(), "holds"), 2);
    EXPECT_EQ(figure(path(), "adds"), 2);
    EXPECT_EQ(figure(path(), "process"), client.server());
    EXPECT_EQ(runTool({"--check", path()}, output), 0);
    EXPECT_EQ(output,
              "entries: 2\nbytes: 12\nwaiting for deletion: 0\nfiles missing: 0\n"
              "files not in the index: 1\n");
    EXPECT_EQ(client.end(SIGKILL), SIGKILL);
    fs::remove(*this / "key");
    EXPECT_EQ(runTool({"--check", path()}, output), 1);
    EXPECT_NE(output.find("missing: key\n"), std::string::npos);
    EXPECT_FALSE(fs::exists(*this / "zocached.log"));

    const struct {
        std::vector<std::string> words;
        int code;
        const char* said;
    } cases[] = {
        {{"--help"}, 0, "usage: zocached"},
        {{"--version"}, 0, "zocached 0."},
        {{}, 2, "nothing to do"},
        {{"--port"}, 2, "no value behind --port"},
        {{"--port", "0"}, 2, "unusable value \"0\""},
        {{"--port", "65536"}, 2, "unusable value"},
        {{"--port", "12x"}, 2, "unusable value"},
        {{"--port", "1", "--idle-exit", "-1"}, 2, "unusable value"},
        {{"--port", "1", "--idle-exit", "99999999999h"}, 2, "unusable value"},
        {{"--port", "1", "--log-level", "loud"}, 2, "unusable value"},
        {{"--port", "1", "more"}, 2, "unexpected argument more"},
        {{"--such"}, 2, "unknown option --such"},
        {{"--status", *this / "none"}, 1, "No such file"},
        {{"--check", "/dev/null"}, 1, "Not a directory"},
        {{"--port", "1"}, 1, "cannot connect to port 1"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(runTool(c.words, output), c.code) << c.said;
        EXPECT_NE(output.find(c.said), std::string::npos) << output;
    }
}

TEST_F(Zocached, LogsToItsFile) {
    const ScopedVariable options("ZOCACHED_OPTIONS", "--log-level warning --idle-exit 2");
    CacheClient client;
    ASSERT_FALSE(client.open(path()));
    EXPECT_FALSE(client.add("key", "/etc/pass\nwd"));
    client.disconnect();
    EXPECT_EQ(client.awaitEnd(10), 0);
    const std::string log = contentOf(*this / "zocached.log");
    EXPECT_NE(log.find(" warning: refused to add \"/etc/pass?wd\"\n"), std::string::npos) << log;
    EXPECT_EQ(log.find("info"), std::string::npos);
}

}  // namespace
