// What could break: the client that has a thread of its own, or those whom the loop serves, get no turn
// as long as the others go on. Progress is compared, not time: nobody may get far ahead before all
// have got somewhere. A busy machine can do that to anybody once, but hardly in two of three races.
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <list>
#include <thread>

#include "tests/programs/zocached_support.h"

namespace {

using namespace kelvo::test;

constexpr int kOthers = 6;
constexpr int kSomewhere = 500, kFarAhead = 5 * kSomewhere;  // turns
constexpr int kRaces = 3;
constexpr int kAWhile = 60;              // requests of one client alone, which then has the thread
constexpr std::size_t kInTurn = 16;      // requests, of one who has sent more
constexpr std::size_t kOnTheWay = 2000;  // of one who hammers

// What the clients of a race share.
struct Race {
    std::string asks;  // the same request many times
    std::size_t askBytes = 0, replyBytes = 0;
    std::atomic<bool> isOpen{false};
    std::atomic<int> behind{0};  // have not got somewhere
    std::atomic<bool> isUnfair{false};
    std::atomic<bool> isSilent{false};  // somebody gets no reply
    bool isOver() const { return behind == 0 || isUnfair || isSilent; }
};

// One who takes each reply before it asks again, or asks as fast as the connection takes it.
class Runner {
  public:
    Runner(CacheClient& client, bool hammers, Race& race)
        : place_(client.socket().descriptor()), hammers_(hammers), race_(race) {}
    void run() {
        race_.isOpen.wait(false);
        bool isBehind = true;
        while (!race_.isOver()) {
            if (!askSome() || !takeSome()) race_.isSilent = true;
            if (isBehind && turns() >= kSomewhere) isBehind = false, --race_.behind;
            if (turns() >= kFarAhead && race_.behind > 0) race_.isUnfair = true;
        }
    }
    long turns() const {
        return static_cast<long>(taken_ / race_.replyBytes / (hammers_ ? kInTurn : 1));
    }

  private:
    bool askSome() {
        const std::size_t wanted = race_.askBytes * (hammers_ ? kOnTheWay : 1);
        if (asked_ >= wanted) return true;
        const ssize_t n = send(place_, race_.asks.data() + asked_ % race_.askBytes, wanted - asked_,
                               MSG_NOSIGNAL | MSG_DONTWAIT);
        if (n > 0) asked_ += static_cast<std::size_t>(n);
        return n > 0 || errno == EAGAIN;
    }
    bool takeSome() {
        char replies[1 << 16];
        const ssize_t n = recv(place_, replies, sizeof replies, 0);
        if (n <= 0) return false;
        const std::size_t before = taken_ / race_.replyBytes;
        taken_ += static_cast<std::size_t>(n);
        asked_ -= (taken_ / race_.replyBytes - before) * race_.askBytes;
        return true;
    }

    int place_;
    bool hammers_;
    Race& race_;
    std::size_t asked_ = 0;  // bytes that are on their way or being served
    std::size_t taken_ = 0;  // bytes in all
};

class Turns : public testing::Test {
  protected:
    void TearDown() override { EXPECT_EQ(first_.end(SIGKILL), SIGKILL); }
    // Who gets no reply at all for so long gives up.
    void join(CacheClient& client) const {
        ASSERT_FALSE(client.open(place_.path()));
        const timeval limit = {30, 0};
        setsockopt(client.socket().descriptor(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    }

    // The turns of all, the one that was alone before first, when somebody was treated unfairly.
    std::vector<long> unfairRace(bool aloneHammers, bool othersHammer) const {
        Race race;
        const std::string ask = number(1) + text("key");
        race.askBytes = ask.size();
        for (std::size_t i = 0; i <= kOnTheWay; ++i) race.asks += ask;
        race.replyBytes = text(place_ / "key").size() + 8 + 4;
        race.behind = 1 + kOthers;
        std::list<CacheClient> clients(1 + kOthers);
        for (CacheClient& client : clients) join(client);
        for (int i = 0; i < kAWhile; ++i) EXPECT_TRUE(clients.front().has("key"));
        std::list<Runner> runners;
        std::list<std::thread> threads;
        for (CacheClient& client : clients) {
            const bool isAlone = &client == &clients.front();
            Runner& runner =
                runners.emplace_back(client, isAlone ? aloneHammers : othersHammer, race);
            threads.emplace_back([&runner] { runner.run(); });
        }
        race.isOpen = true;
        race.isOpen.notify_all();
        for (std::thread& thread : threads) thread.join();
        std::vector<long> turns;
        for (const Runner& runner : runners)
            if (race.isUnfair || race.isSilent) turns.push_back(runner.turns());
        return turns;
    }

    TemporaryDirectory place_;
    CacheClient first_;
};

TEST_F(Turns, NobodyGetsFarAheadOfOthers) {
    const struct {
        const char* label;
        bool aloneHammers, othersHammer;
    } kRows[] = {{"all ask", false, false},
                 {"the lone one hammers", true, false},
                 {"the others hammer", false, true},
                 {"all hammer", true, true}};
    join(first_);
    ASSERT_TRUE(first_.put(place_.path(), "key"));
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.label);
        std::vector<std::vector<long>> unfair;
        for (int race = 0; race < kRaces; ++race) {
            std::vector<long> turns = unfairRace(row.aloneHammers, row.othersHammer);
            if (!turns.empty()) unfair.push_back(turns);
        }
        EXPECT_LE(unfair.size(), 1U) << testing::PrintToString(unfair);
    }
}

}  // namespace
