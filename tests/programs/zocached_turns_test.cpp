// What could break: the client that has a thread of its own, or those whom the loop serves, get no turn
// as long as the others go on. Progress is compared, not time: nobody may get far ahead before all
// have got somewhere.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/wait.h>

#include <atomic>
#include <csignal>
#include <filesystem>
#include <list>
#include <thread>

#include "tests/programs/zocached_support.h"

namespace {

using namespace kelvo::test;

constexpr int kOthers = 6;
constexpr int kSomewhere = 300, kFarAhead = 50 * kSomewhere;  // turns
constexpr int kAWhile = 60;  // requests of one client alone, which then has the thread

// What the clients of a race share.
struct Race {
    std::string ask;
    std::size_t replyBytes;
    std::atomic<bool> isOpen{false};
    std::atomic<int> behind{0};  // have not got somewhere
    std::atomic<bool> isUnfair{false};
    std::atomic<bool> isSilent{false};  // somebody gets no reply
};

// Asks so many times at once, turn for turn, until all have got somewhere. The number of turns.
int run(CacheClient& client, int atOnce, Race& race) {
    const timeval limit = {30, 0};
    const int place = client.socket().descriptor();
    setsockopt(place, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    std::string asks, replies(race.replyBytes * static_cast<std::size_t>(atOnce), '\0');
    for (int i = 0; i < atOnce; ++i) asks += race.ask;
    race.isOpen.wait(false);
    int done = 0;
    for (bool isBehind = true; race.behind > 0 && !race.isUnfair && !race.isSilent;) {
        if (send(place, asks.data(), asks.size(), MSG_NOSIGNAL) < 0 ||
            recv(place, replies.data(), replies.size(), MSG_WAITALL) !=
                static_cast<ssize_t>(replies.size()))
            race.isSilent = true;
        ++done;
        if (isBehind && done >= kSomewhere) isBehind = false, --race.behind;
        if (race.behind > 0 && done >= kFarAhead) race.isUnfair = true;
    }
    return done;
}

TEST(Turns, NobodyGetsFarAheadOfOthers) {
    const struct {
        const char* label;
        int alone, others;  // requests at once
    } kRows[] = {{"all ask", 1, 1},
                 {"the lone one hammers", 64, 1},
                 {"the others hammer", 1, 64},
                 {"all hammer", 64, 64}};
    const TemporaryDirectory place;
    CacheClient alone;
    ASSERT_FALSE(alone.open(place.path()));
    ASSERT_TRUE(alone.put(place.path(), "key"));
    std::list<CacheClient> others(kOthers);
    for (CacheClient& other : others) ASSERT_FALSE(other.open(place.path()));
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.label);
        for (int i = 0; i < kAWhile; ++i) ASSERT_TRUE(alone.has("key"));
        Race race{number(1) + text("key"), 4 + (place / "key").size() + 8 + 4};
        race.behind = 1 + kOthers;
        std::vector<int> done(1 + kOthers);
        std::list<std::thread> threads;
        threads.emplace_back([&] { done[0] = run(alone, row.alone, race); });
        std::size_t i = 0;
        for (CacheClient& other : others)
            threads.emplace_back([&, i = ++i] { done[i] = run(other, row.others, race); });
        race.isOpen = true;
        race.isOpen.notify_all();
        for (std::thread& thread : threads) thread.join();
        EXPECT_FALSE(race.isUnfair || race.isSilent) << testing::PrintToString(done);
        if (std::getenv("SHOW"))
            std::printf("%s %s\n", row.label, testing::PrintToString(done).c_str());
    }
    EXPECT_EQ(alone.end(SIGTERM), 0);
}

}  // namespace
