#include "programs/zocached/connection.h"

#include <cerrno>
#include <exception>
#include <utility>

#include "Base/zo_os_filename.h"
#include "programs/zocached/log.h"

using zoString::CString;
using zoUtil::Error;

namespace kelvo::zocached {
namespace {

// To finish a request, to take a reply, to say initialize.
constexpr auto kMostSeconds = std::chrono::seconds(30);
// So many requests that came together are served before others get their turn. Clients that wait for
// each reply have one.
constexpr int kMostInTurn = 16;

}  // namespace

Connection::Connection(Service& service, std::unique_ptr<zoTCP::Socket> wire, bool isHere,
                       std::string_view received)
    : service_(service), channel_(std::move(wire), received), isHere_(isHere) {
    setSocket(channel_);
    deadline_ = Clock::now() + kMostSeconds;
}

Connection::~Connection() {
    service_.index().endHolder(holder_);
    if (isInitialized_) service_.dismiss();
}

void Connection::onReady() {
    takeIn();
    serve();
}

bool Connection::awaitInput() {
    inTurn_ = 0;
    return channel_.receive(true);
}

void Connection::takeIn() {
    inTurn_ = 0;
    if (isOver()) return;
    if (watchesOutput_)
        reply();
    else if (channel_.receive())
        channel_.keepPending();
    else
        drop();
}

bool Connection::isQuiet() const {
    return isInitialized_ && !isOver() && !isRefused_ && !awaitsAdd_ && !watchesOutput_ &&
           channel_.pending().empty();
}

void Connection::onTick(Clock::time_point now) {
    if (deadline_ == Clock::time_point() || now < deadline_) return;
    logLine(Level::kInfo, "a client was too slow");
    drop();
}

void Connection::prepareReply() {
    while (!isOver() && !awaitsAdd_ && !watchesOutput_ && !channel_.hasOutput()) {
        const Frame frame = channel_.frame();
        if (frame.kind == Frame::kPartial) return;
        if (inTurn_ == kMostInTurn) return endTurn();
        if (frame.kind == Frame::kWhole) ++inTurn_;
        deadline_ = Clock::time_point();
        const bool isInTurn = isInitialized_ || frame.opcode == kInitialize;
        if (frame.kind == Frame::kMalformed || !isInTurn) {
            logLine(Level::kInfo, "a client was dropped: what it sent is no request");
            return drop();
        }
        if (frame.kind == Frame::kWhole && frame.opcode == kAdd) {
            awaitsAdd_ = true;
            return service_.awaitAdd(*this);
        }
        serveOne();
    }
}

void Connection::serve() {
    prepareReply();
    while (!isOver() && channel_.hasOutput() && !watchesOutput_) {
        reply();
        prepareReply();
    }
    channel_.keepPending();
    setDeadline();
}

// There is room to send, so that the loop comes back to it in its next round.
void Connection::endTurn() {
    watchesOutput_ = true;
    service_.watchForOutput(*this, true);
}

void Connection::serveOne() try { readRequest(); } catch (const Error& error) {
    logLine(Level::kError, "%s", error.message().c_str());
    drop();
} catch (const std::exception& error) {
    logLine(Level::kError, "%s", error.what());
    drop();
}

void Connection::serveAdd() {
    awaitsAdd_ = false;
    serveOne();
}

void Connection::endAdd(bool isStored) {
    if (!isStored) {
        channel_.discardOutput();
        sendBool(false);
    }
    reply();
    serve();
}

void Connection::reply() {
    if (!channel_.send()) return drop();
    if (channel_.hasOutput() != watchesOutput_) {
        watchesOutput_ = channel_.hasOutput();
        service_.watchForOutput(*this, watchesOutput_);
    }
    if (isRefused_ && !channel_.hasOutput()) drop();
}

// Runs from the first byte of a request, and is not put off by further ones.
void Connection::setDeadline() {
    if (awaitsAdd_ || !isInitialized_) return;
    const bool hasBegun = channel_.hasOutput() || !channel_.pending().empty();
    if (!hasBegun)
        deadline_ = Clock::time_point();
    else if (deadline_ == Clock::time_point())
        deadline_ = Clock::now() + kMostSeconds;
}

Error Connection::initialize(const CString& directory, int arg1, int64 arg2) {
    // No reply: the client takes an error for that of its own server, and would go on asking here
    // as long as its lock file names this port.
    if (!isHere_ && !service_.directory().isAt(directory))
        throw Error(EINVAL, "a client wants another directory: \"%s\"", directory.c_str());
    isRefused_ = true;
    if (!isInitialized_ && !service_.admit())
        return Error(EAGAIN, "the cache server has too many clients");
    isRefused_ = false;
    isHere_ = false;  // known of these words alone
    isInitialized_ = true;
    directory_ = directory;
    service_.index().setLimits({arg1, arg2});
    return Error();
}

bool Connection::acquire(const CString& key, CString& path, int64& accessTime) {
    const Entry* const entry = service_.index().acquire(holder_, key.str());
    if (entry == nullptr) return false;
    path = zoOS::Filename::join(directory_, entry->row.name);
    accessTime = entry->row.accessed;
    return true;
}

bool Connection::add(const CString& key, const CString& path) {
    const std::optional<std::string> name = service_.directory().nameOf(path, directory_);
    if (!name) {
        logLine(Level::kWarning, "refused to add \"%s\"", path.c_str());
        return false;
    }
    if (service_.index().isInDoubt(key.str())) service_.commitAdds();
    return service_.index().add(holder_, key.str(), *name);
}

bool Connection::release(const CString& key, bool remove) {
    return service_.index().release(holder_, key.str(), remove);
}

void Connection::setAccessed(const CString& key) {
    service_.index().setAccessed(key.str());
}

}  // namespace kelvo::zocached
