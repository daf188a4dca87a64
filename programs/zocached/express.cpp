#include "programs/zocached/express.h"

#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <system_error>
#include <utility>

#include "programs/zocached/log.h"

namespace kelvo::zocached {
namespace {

// Interrupts the thread's receive. A signal that was sent before a request arrived is handled before
// the receive returns.
constexpr int kCall = SIGIO;
std::atomic<bool> g_isCalled{false};  // since it was last looked at
static_assert(std::atomic<bool>::is_always_lock_free);

void onCall(int) {
    g_isCalled.store(true, std::memory_order_relaxed);
}

bool isCalled() {
    return g_isCalled.load(std::memory_order_relaxed) && g_isCalled.exchange(false);
}

void blockCalls(int how) {
    sigset_t calls;
    sigemptyset(&calls);
    sigaddset(&calls, kCall);
    pthread_sigmask(how, &calls, nullptr);
}

}  // namespace

Express::Express(std::mutex& mutex, ExpressHost& host) : mutex_(mutex), host_(host) {
    struct sigaction action {};
    action.sa_handler = onCall;  // and no SA_RESTART
    sigaction(kCall, &action, nullptr);
    blockCalls(SIG_BLOCK);
}

bool Express::take(Connection& connection) {
    if (!thread_.joinable() && !begin()) return false;
    connection_ = &connection;
    isAsked_ = false;
    isWaiting_ = true;
    wake_.notify_one();
    return true;
}

bool Express::begin() {
    try {
        thread_ = std::thread([this] { run(); });
        return true;
    } catch (const std::system_error& error) {
        logLine(Level::kWarning, "cannot make a thread: %s", error.what());
        isOver_ = true;
        return false;
    }
}

void Express::recall() {
    isAsked_ = true;
    if (connection_ != nullptr) pthread_kill(thread_.native_handle(), kCall);
}

// Without this the mutex would go to a busy loop again, which is there sooner than the thread wakes up.
void Express::letPass(std::unique_lock<std::mutex>& lock) {
    if (!isWaiting_) return;
    askBack();
    passed_.wait(lock, [this] { return !isWaiting_; });
}

void Express::enter(std::unique_lock<std::mutex>& lock) {
    isWaiting_ = true;
    lock.lock();
    pass();
}

void Express::pass() {
    isWaiting_ = false;
    passed_.notify_one();
}

void Express::end() {
    if (!thread_.joinable()) return;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        isOver_ = true;
        if (connection_ != nullptr) shutdown(connection_->descriptor(), SHUT_RD);
    }
    wake_.notify_one();
    thread_.join();
}

void Express::run() {
    blockCalls(SIG_UNBLOCK);
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
        wake_.wait(lock, [this] { return connection_ != nullptr || isOver_; });
        pass();
        if (isOver_) return;
        serve(lock);
    }
}

void Express::serve(std::unique_lock<std::mutex>& lock) {
    Connection& connection = *connection_;
    host_.beginAlone(gettid());
    g_isCalled = true;  // for what has come before
    try {
        for (bool stays = true; stays && !isOver_;) {
            lock.unlock();
            const bool isOpen = connection.awaitInput();
            enter(lock);
            if (!isOpen) connection.drop();
            stays = host_.serveAlone(connection, isCalled()) && !isAsked_;
        }
    } catch (...) {
        if (!lock.owns_lock()) enter(lock);
        logLine(Level::kError, "a client was dropped: no memory");
        connection.drop();
    }
    connection_ = nullptr;
    if (!isOver_) host_.takeBack(connection);
}

}  // namespace kelvo::zocached
