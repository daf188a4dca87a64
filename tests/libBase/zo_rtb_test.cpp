// What could break: a callback called after its owner, its emitter or itself has gone; one freed
// while it runs, twice or never; calls out of order; a nested emission that loses the outer one.
#include "Base/zo_rtb.h"

#include <random>

#include "tests/support/test.h"

namespace {

using zoRTB::FunctionBase;
using zoRTB::SignalBase;

// Runs any code; counts its instances.
class Callback : public FunctionBase {
  public:
    explicit Callback(std::function<void()> body) : body_(std::move(body)) { ++alive; }
    ~Callback() override { --alive; }
    void call(void*) override { body_(); }

    static int alive;

  private:
    std::function<void()> body_;
};
int Callback::alive = 0;

int g_sum = 0;
void addToSum(int value) {
    g_sum += value;
}
void addThousand() {
    g_sum += 1000;
}

struct Counter {
    int sum = 0;
    void add(int value) { sum += value; }
    void addHundred() { sum += 100; }
};

TEST(Signal, KindsOfCallbacksReceiveTheValue) {
    g_sum = 0;
    Counter counter;
    SignalBase signal;
    signal.addCallback(new zoRTB::FunctionArgGlobal<int>(addToSum));
    signal.addCallback(new zoRTB::FunctionGlobal(addThousand));
    signal.addCallback(new zoRTB::FunctionArgMember(&counter, &Counter::add));
    signal.addCallback(new zoRTB::FunctionMember(&counter, &Counter::addHundred));
    signal.addCallback(new zoRTB::FunctionObject([&] { g_sum += 5; }));
    signal.addCallback(nullptr);
    EXPECT_EQ(5, signal.numCallbacks());
    int value = 7;
    signal.emit(&value);
    EXPECT_EQ(1012, g_sum);
    EXPECT_EQ(107, counter.sum);
    signal.emit();  // no value: those that need one are left alone
    EXPECT_EQ(2017, g_sum);
    EXPECT_EQ(207, counter.sum);
}

std::unique_ptr<SignalBase> g_doomed;
void endDoomed() {
    g_sum += 1;
    g_doomed.reset();
    g_sum += 10;
}

// Their callbacks go while they run.
TEST(Signal, FunctionsEndTheirOwnConnection) {
    const struct {
        std::vector<void (*)()> functions;
        int sum;
    } kRows[] = {
        {{endDoomed}, 11}, {{endDoomed, addThousand}, 11}, {{addThousand, endDoomed}, 1011}};
    for (const auto& row : kRows) {
        g_sum = 0;
        g_doomed = std::make_unique<SignalBase>();
        for (const auto function : row.functions)
            g_doomed->addCallback(new zoRTB::FunctionGlobal(function), *g_doomed);
        g_doomed->emit();
        EXPECT_EQ(row.sum, g_sum);
        EXPECT_EQ(nullptr, g_doomed);
    }
}

TEST(Signal, ConnectionEndsWithEmitterOwnerOrCallback) {
    int calls = 0;
    {
        SignalBase emitter;
        auto owner = std::make_unique<SignalBase>();
        emitter.addCallback(new Callback([&] { calls += 1; }), *owner);
        auto* second = new Callback([&] { calls += 10; });
        emitter.addCallback(second, *owner);
        emitter.addCallback(new Callback([&] { calls += 100; }), emitter);
        const SignalBase copy(emitter);
        EXPECT_EQ(0, copy.numCallbacks());
        delete second;
        emitter.emit();
        EXPECT_EQ(101, calls);
        owner.reset();
        emitter.emit();
        EXPECT_EQ(201, calls);
        EXPECT_EQ(1, Callback::alive);
    }
    EXPECT_EQ(0, Callback::alive);
    SignalBase owner;
    auto emitter = std::make_unique<SignalBase>();
    emitter->addCallback(new Callback([] {}), owner);
    emitter.reset();
    EXPECT_EQ(0, Callback::alive);
}

// Four callbacks: a, x, b, c; those of x and b belong to `owner`. x ends something while it runs,
// and where it can it uses what it has captured afterwards.
TEST(Signal, ThingsGoDuringAnEmission) {
    std::unique_ptr<SignalBase> emitter, owner;
    std::string order;
    Callback* x = nullptr;
    const std::string late(40, 'x');  // too long to live inside a callback
    const struct {
        const char* label;
        std::function<void()> body;
        const char* order;  // of the calls of two emissions
    } kCases[] = {
        {"owner", [&, late] { owner.reset(), order += late[39]; }, "axc|ac"},
        {"emitter", [&, late] { emitter.reset(), order += late[39]; }, "ax|"},
        {"both", [&, late] { owner.reset(), emitter.reset(), order += late[39]; }, "ax|"},
        {"itself", [&] { order += 'x', delete x; }, "axbc|abc"},
        {"one more",
         [&] { order += 'x', emitter->addCallback(new Callback([&] { order += 'n'; })); },
         "axbc|axbcn"},
        {"moves to the end", [&] { order += 'x', emitter->addCallback(x); }, "axbc|abcx"},
        {"exception", [&] { order += 'x', throw 1; }, "axbc|axbc"},
        {"owner, exception", [&] { order += 'x', owner.reset(), throw 1; }, "axc|ac"},
        {"emitter, exception", [&] { order += 'x', emitter.reset(), throw 1; }, "ax|"},
        {"owner in nested emission",
         [&, late] {
             order += 'x';
             if (order.size() < 4) emitter->emit();
             owner.reset(), order += late[39];
         },
         "axaxxcxc|ac"},
        {"emitter in nested emission",
         [&, late] {
             order += 'x';
             if (order.size() < 4) emitter->emit();
             emitter.reset(), order += late[39];
         },
         "axaxxx|"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.label);
        order.clear();
        emitter = std::make_unique<SignalBase>();
        owner = std::make_unique<SignalBase>();
        emitter->addCallback(new Callback([&] { order += 'a'; }), *emitter);
        emitter->addCallback(x = new Callback(c.body), *owner);
        emitter->addCallback(new Callback([&] { order += 'b'; }), *owner);
        emitter->addCallback(new Callback([&] { order += 'c'; }));
        for (const char* between : {"|", ""}) {
            try {
                if (emitter) emitter->emit();
            } catch (int) {
            }
            order += between;
        }
        EXPECT_EQ(c.order, order);
        emitter.reset();
        owner.reset();
        EXPECT_EQ(0, Callback::alive);
    }
}

// Random emitters, owners and callbacks; what a callback does while it runs is random too. The
// model knows for every running emission which callbacks it still has to call, in which order.
class RandomSignals {
  public:
    explicit RandomSignals(unsigned seed) : random_(seed) {}

    int run(int steps) {
        for (int i = 0; i < steps && !testing::Test::HasFailure(); ++i) act();
        emitters_.clear();
        EXPECT_EQ(0, Callback::alive);
        return calls_;
    }

  private:
    struct Connection {
        Callback* callback;
        int emitter, owner;  // owner -1: none
    };
    struct Running {
        int emitter;
        std::vector<int> due;
        std::size_t next;
    };

    int pick(int n) { return static_cast<int>(random_() % static_cast<unsigned>(n)); }

    template <class Signals>
    int anyOf(const Signals& signals) {
        if (signals.empty()) return -1;
        return std::next(signals.begin(), pick(static_cast<int>(signals.size())))->first;
    }

    void act() {
        switch (pick(12)) {
            case 0:
                emitters_.emplace(++lastId_, std::make_unique<SignalBase>());
                return;
            case 1:
                return kill(anyOf(emitters_));
            case 2:
                if (const int id = anyOf(connections_); id > 0) {
                    const Callback* gone = connections_.at(id).callback;
                    connections_.erase(id);
                    delete gone;
                }
                return;
            case 3:
            case 4:
                return emit(anyOf(emitters_));
            default:
                return connect(anyOf(emitters_), pick(2) ? anyOf(emitters_) : -1);
        }
    }

    void kill(int signal) {
        if (signal < 0) return;
        for (auto c = connections_.begin(); c != connections_.end();)
            c = c->second.emitter == signal || c->second.owner == signal ? connections_.erase(c)
                                                                         : std::next(c);
        emitters_.erase(signal);
    }

    void connect(int emitter, int owner) {
        if (emitter < 0) return;
        const int id = ++lastId_;
        auto* callback = new Callback([this, id] { called(id); });
        connections_[id] = {callback, emitter, owner};
        if (owner < 0)
            emitters_.at(emitter)->addCallback(callback);
        else
            emitters_.at(emitter)->addCallback(callback, *emitters_.at(owner));
    }

    void emit(int emitter) {
        if (emitter < 0 || running_.size() > 4) return;
        Running now = {emitter, {}, 0};
        for (const auto& [id, c] : connections_)  // ids ascend in the order of connecting
            if (c.emitter == emitter) now.due.push_back(id);
        running_.push_back(now);
        emitters_.at(emitter)->emit();
        skipEnded();
        EXPECT_EQ(running_.back().due.size(), running_.back().next);
        running_.pop_back();
    }

    void skipEnded() {
        Running& now = running_.back();
        while (now.next < now.due.size() && !connections_.count(now.due[now.next])) ++now.next;
    }

    void called(int id) {
        skipEnded();
        Running& now = running_.back();
        ASSERT_LT(now.next, now.due.size());
        EXPECT_EQ(now.due[now.next++], id);
        ++calls_;
        for (int i = pick(3); i > 0; --i) act();
    }

    std::mt19937 random_;
    int lastId_ = 0, calls_ = 0;
    std::map<int, std::unique_ptr<SignalBase>> emitters_;  // owners too
    std::map<int, Connection> connections_;
    std::vector<Running> running_;
};

TEST(Signal, RandomEmissionsFollowTheModel) {
    int calls = 0;
    for (unsigned seed = 1; seed <= 40 && !HasFailure(); ++seed) {
        SCOPED_TRACE(seed);
        calls += RandomSignals(seed).run(400);
    }
    EXPECT_LT(5000, calls);
}

}  // namespace
