// What could break: counts of items and requests, an item's end that touches its successor, the
// removal that is forgotten or comes too early, items that outlive cache or connection, a lost
// server.
#include "KelvoBase/file_cache.h"

#include <sys/stat.h>

#include <atomic>
#include <chrono>
#include <ctime>
#include <mutex>
#include <random>
#include <thread>

#include "KelvoBase/file_cache_protocol.h"
#include "tests/support/temporary_directory.h"
#include "tests/support/test.h"

namespace {

using zo::Reference;
using zoKelvoBase::FileCache;
using zoKelvoBase::FileCacheItem;
using zoKelvoBase::FileCacheProtocol;
using zoString::CString;
using zoUtil::Error;

constexpr int64 kStoredTime = 1700000000;

// Speaks the server's side from a thread of its own; tests look at it between requests.
class FakeServer : public zoKelvoBase::FileCacheProtocolServer {
  public:
    explicit FakeServer(const std::string& directory) {
        listener_.setLoopbackOnly();
        EXPECT_FALSE(listener_.listen());
        const std::string path = directory + "/" + FileCacheProtocol::LockFileName;
        kelvo::test::writeFile(path, std::to_string(listener_.getPort()) + "\n");
        thread_ = std::thread([this] { serve(); });
    }
    ~FakeServer() override {
        ending_ = true;
        thread_.join();
    }

    // What it was asked since the last time, without the initializations.
    std::string told() {
        const std::scoped_lock lock(mutex_);
        const std::string text = log_.str();
        log_.str("");
        return text;
    }
    int connections() const { return connections_; }

    // Answers of the requests to come.
    std::atomic<bool> refuses = false;         // errors and false
    std::atomic<bool> hangsUp = false;         // before the answer
    std::map<std::string, std::string> index;  // key to path

  private:
    void serve() {
        while (!ending_) {
            zoTCP::Socket* socket = nullptr;
            EXPECT_FALSE(listener_.accept(&socket, zoUtil::Interval(0.05)));
            if (socket == nullptr) continue;
            ++connections_;
            const std::unique_ptr<zoTCP::Socket> owned(socket);
            setSocket(*socket);
            try {
                bool ready = false;
                while (!ending_) {
                    socket->waitForInput(zoUtil::Interval(0.05), ready);
                    if (ready) readRequest();
                }
            } catch (const Error&) {
            }
        }
    }
    void tell(const std::string& text) {
        if (hangsUp) throw Error(1, "hung up");
        const std::scoped_lock lock(mutex_);
        log_ << text << '\n';
    }

    Error initialize(const CString&, int arg1, int64 arg2) override {
        if (hangsUp) throw Error(1, "hung up");
        return refuses ? Error(int(arg2), "refused %d", arg1) : Error();
    }
    bool acquire(const CString& key, CString& path, int64& time) override {
        tell("acquire " + key.str());
        const auto found = index.find(key.str());
        if (refuses || found == index.end()) return false;
        path = found->second;
        time = kStoredTime;
        return true;
    }
    bool add(const CString& key, const CString& path) override {
        tell("add " + key.str() + " " + path.str());
        if (!refuses) index[key.str()] = path.str();
        return !refuses;
    }
    bool release(const CString& key, bool remove) override {
        tell("release " + key.str() + (remove ? " remove" : ""));
        if (remove) index.erase(key.str());
        return !refuses;
    }
    void setAccessed(const CString& key) override { tell("accessed " + key.str()); }

    zoTCP::Server listener_{-1, 8};
    std::thread thread_;
    std::mutex mutex_;
    std::ostringstream log_;
    std::atomic<bool> ending_ = false;
    std::atomic<int> connections_ = 0;
};

class Cache : public testing::Test {
  protected:
    Cache() { connect(); }
    void connect() {
        const Error error = cache->initialize(directory.path(), 10, 1000);
        EXPECT_FALSE(error) << error.message();
    }

    kelvo::test::TemporaryDirectory directory;
    FakeServer server{directory.path()};
    std::unique_ptr<FileCache> cache = std::make_unique<FileCache>();
};

TEST_F(Cache, ItemsTellKeyPathAndTime) {
    server.index["k"] = "/c/1";
    const int64 before = std::time(nullptr);
    const Reference<FileCacheItem> found = cache->find("k");
    ASSERT_TRUE(found);
    EXPECT_EQ(found->key(), "k");
    EXPECT_EQ(found->accessTime(), kStoredTime);
    EXPECT_EQ(found->referenceCount(), 1);
    cache->setAccessed(found);
    EXPECT_GE(found->accessTime(), before);
    const Reference<FileCacheItem> newer = cache->add("k", "/c/2");
    EXPECT_GE(newer->accessTime(), before);
    EXPECT_LE(newer->accessTime(), std::time(nullptr));
    EXPECT_EQ(found->path().str() + newer->path().str(), "/c/1/c/2");
    server.refuses = true;
    EXPECT_EQ(cache->add("k", "/c/3"), nullptr);
    EXPECT_EQ(cache->find("k"), newer);
    EXPECT_EQ(server.told(), "acquire k\naccessed k\nadd k /c/2\nadd k /c/3\n");
}

TEST_F(Cache, NullAndForeignItems) {
    struct Foreign : FileCacheItem {
        const CString& key() const override { return text; }
        const CString& path() const override { return text; }
        int64 accessTime() const override { return 5; }
        CString text = "foreign";
    };
    const Reference<FileCacheItem> foreign(new Foreign);
    cache->setAccessed(nullptr);
    cache->remove(nullptr);
    cache->remove(foreign);
    EXPECT_EQ(server.told(), "");
    cache->setAccessed(foreign);
    EXPECT_EQ(server.told(), "accessed foreign\n");
    EXPECT_EQ(foreign->accessTime(), 5);
}

TEST_F(Cache, ItemsThatStayWhenTheCacheOrConnectionEnds) {
    server.index = {{"a", "/c/a"}, {"b", "/c/b"}};
    Reference<FileCacheItem> a = cache->find("a"), b = cache->find("b");
    // A second connection knows nothing of what was held through the first.
    connect();
    EXPECT_EQ(server.connections(), 2);
    server.told();
    Reference<FileCacheItem> again = cache->find("a");
    EXPECT_NE(again, a);
    cache->remove(std::move(a));
    EXPECT_EQ(server.told(), "acquire a\n");
    EXPECT_EQ(cache->find("a"), again);
    cache.reset();
    EXPECT_EQ(again->path(), "/c/a");
    again.reset();
    b.reset();
    EXPECT_EQ(server.told(), "");
}

TEST_F(Cache, LostConnection) {
    server.index = {{"k", "/c/f"}};
    Reference<FileCacheItem> item = cache->find("k");
    server.told();
    server.hangsUp = true;
    EXPECT_EQ(cache->find("other"), nullptr);
    server.hangsUp = false;
    const int64 before = std::time(nullptr);
    cache->setAccessed(item);  // locally
    EXPECT_GE(item->accessTime(), before);
    EXPECT_EQ(cache->find("k"), item);
    EXPECT_EQ(cache->add("other", "/c/o"), nullptr);
    item.reset();
    EXPECT_EQ(cache->find("k"), nullptr);
    EXPECT_EQ(server.told(), "");
    connect();
    EXPECT_TRUE(cache->find("k"));
}

TEST_F(Cache, ServersErrorComesBackAndLeavesTheCacheUnconnected) {
    server.index = {{"k", "/c/f"}};
    server.refuses = true;
    const Error error = cache->initialize(directory.path(), 12, 34);
    EXPECT_EQ(error.code(), 34);
    EXPECT_EQ(error.message(), "refused 12");
    server.refuses = false;
    EXPECT_EQ(cache->find("k"), nullptr);
    EXPECT_EQ(server.told(), "");
    EXPECT_EQ(directory.list(), "lockfile.lck");  // it named a server that answers
}

TEST_F(Cache, PathsAreUniqueAndInTheDirectory) {
    FileCache fresh;
    EXPECT_EQ(fresh.generatePath().length(), 36U);  // no directory yet
    std::set<std::string> seen;
    for (int i = 0; i < 100; ++i) {
        const std::string path = cache->generatePath().str();
        EXPECT_EQ(path.find(directory.path() + "/"), 0U);
        EXPECT_EQ(path.size(), directory.path().size() + 1 + 36);
        EXPECT_TRUE(seen.insert(path).second);
    }
    EXPECT_EQ(directory.list(), "lockfile.lck");
    EXPECT_EQ(fresh.find("k"), nullptr);
    EXPECT_EQ(fresh.add("k", "p"), nullptr);
}

// Random histories against a plain account of who holds what.
TEST_F(Cache, RandomHistories) {
    struct Held {
        Reference<FileCacheItem> item;
        int id;
    };
    std::mt19937 random(7);
    std::vector<Held> held;
    std::map<std::string, int> live;                    // key to the item that find returns
    std::map<int, std::pair<std::string, bool>> items;  // id to key and removal
    int nextId = 0;
    const auto drop = [&](std::size_t at, std::string& expected) {
        const int id = held[at].id;
        held[at].item.reset();
        held.erase(held.begin() + static_cast<std::ptrdiff_t>(at));
        for (const Held& other : held)
            if (other.id == id) return;
        const auto [key, removal] = items[id];
        if (live.count(key) && live[key] == id) live.erase(key);
        expected += "release " + key + (removal ? " remove" : "") + "\n";
    };
    for (int step = 0; step < 2000; ++step) {
        const std::string key(1, static_cast<char>('a' + random() % 5));
        std::string expected;
        const auto choice = random() % 10;
        if (choice < 4) {
            if (!live.count(key)) expected = "acquire " + key + "\n";
            const bool found = live.count(key) || server.index.count(key);
            const Reference<FileCacheItem> item = cache->find(key.c_str());
            ASSERT_EQ(item != nullptr, found);
            if (found && !live.count(key)) {
                live[key] = nextId;
                items[nextId++] = {key, false};
            }
            if (found) held.push_back({item, live[key]});
        } else if (choice < 6) {
            const std::string path = "/c/" + std::to_string(step);
            held.push_back({cache->add(key.c_str(), path.c_str()), nextId});
            ASSERT_TRUE(held.back().item);
            expected = "add " + key + " " + path + "\n";
            live[key] = nextId;
            items[nextId++] = {key, false};
        } else if (!held.empty()) {
            const std::size_t at = random() % held.size();
            if (choice == 9) {
                cache->remove(held[at].item);
                items[held[at].id].second = true;
            }
            drop(at, expected);
        }
        ASSERT_EQ(server.told(), expected) << step;
        for (const Held& one : held)
            for (const Held& other : held)
                ASSERT_EQ(one.item == other.item, one.id == other.id) << step;
    }
}

}  // namespace
