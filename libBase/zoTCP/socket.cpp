// Collected writes, read-ahead, framing and failures. The bytes are moved by zoTCP/system.h.
#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <new>
#include <utility>

#include "Base/zo_tcp.h"
#include "libBase/zoTCP/system.h"

namespace kelvo::zotcp {

// Stands for a socket that collects writes, for the thread that wrote them. Marks are used again and
// never freed: a thread may look at its mark at any time, and finds another id when the socket has
// been destroyed by another thread.
struct CollectingMark {
    std::mutex mutex;  // held while a thread sends for `socket`, which cannot go meanwhile
    zoTCP::Socket* socket = nullptr;  // borrowed; null: free
    std::uint64_t id = 0;             // of this use; no two are equal
    CollectingMark* next = nullptr;   // when free
};

}  // namespace kelvo::zotcp

using kelvo::zotcp::CollectingMark;
using kelvo::zotcp::Patience;
using zoString::CString;
using zoUtil::Error;

namespace zoTCP {
namespace {

constexpr std::size_t kCollectAtFirst = 512;
constexpr std::size_t kCollectAtMost = 64 << 10;
constexpr std::size_t kAheadCapacity = 8 << 10;
// A peer that announces a long text gets memory as its bytes come, doubled each time.
constexpr std::size_t kTextAtFirst = 64 << 10;

// The one socket of this thread that has collected writes. Whoever waits at another socket may wait
// for what these bytes bring about, so they leave first. Nothing when `id` is 0; the socket may have
// been destroyed by another thread, which the mark knows.
struct Collecting {
    std::uint64_t id;
    CollectingMark* mark;
};
thread_local Collecting t_collecting = {0, nullptr};

// Whether this thread has written to the socket with this mark last.
bool isCollecting(std::uint64_t markId) {
    return markId != 0 && t_collecting.id == markId;
}

// Marks that no socket has, and the id given last. Lives for the process.
struct Marks {
    std::mutex mutex;
    CollectingMark* free = nullptr;
    std::uint64_t lastId = 0;
};
constinit Marks g_marks;

// Throws std::bad_alloc.
CollectingMark* takeMark(Socket& socket) {
    const std::lock_guard<std::mutex> all(g_marks.mutex);
    CollectingMark* mark = g_marks.free ? g_marks.free : new CollectingMark;
    g_marks.free = mark->next;
    const std::lock_guard<std::mutex> one(mark->mutex);
    mark->socket = &socket;
    mark->id = ++g_marks.lastId;
    return mark;
}

// Waits while another thread sends for the socket.
void giveBack(CollectingMark& mark) noexcept {
    {
        const std::lock_guard<std::mutex> one(mark.mutex);
        mark.socket = nullptr;
        mark.id = 0;
    }
    const std::lock_guard<std::mutex> all(g_marks.mutex);
    mark.next = std::exchange(g_marks.free, &mark);
}

Error transferError(const char* what, int code) {
    return Error(code, "cannot %s: %s", what, std::strerror(code));
}

Error textTooLong(std::int64_t length, int limit) {
    return Error(EMSGSIZE, "a text of %lld bytes is not between 0 and %d",
                 static_cast<long long>(length), limit);
}

Error badTransfer(const void* buffer, int count, int flags) {
    if (count < 0 || flags != 0 || (buffer == nullptr && count > 0))
        return Error(EINVAL, "bad arguments for a transfer: %d bytes, flags %d", count, flags);
    return Error();
}

}  // namespace

Socket::Socket(int descriptor) noexcept {
    attach(descriptor);
}

Socket::~Socket() {
    attach(-1);
}

void Socket::attach(int descriptor) noexcept {
    if (mark_) giveBack(*std::exchange(mark_, nullptr));
    if (descriptor_ >= 0) {
        if (!failure_ && !collected_.empty())
            kelvo::zotcp::sendAtOnce(descriptor_, collected_.data(), collected_.size());
        kelvo::zotcp::closeDescriptor(descriptor_);
    }
    descriptor_ = descriptor;
    failure_ = Error();
    dropCollected();
    markId_ = 0;
    aheadNext_ = aheadEnd_ = 0;
    if (descriptor_ >= 0) kelvo::zotcp::sendSegmentsAtOnce(descriptor_);
}

Error Socket::answer(Error error) const {
    if (throws_ && error) throw error;
    return error;
}

Error Socket::fail(Error error) {
    failure_ = std::move(error);
    dropCollected();
    aheadNext_ = aheadEnd_ = 0;
    return failure_;
}

void Socket::dropCollected() noexcept {
    collected_.clear();
    if (isCollecting(markId_)) t_collecting.id = 0;
}

// Failures show when that socket is used next.
void Socket::sendForOthers(const Socket* self) {
    if (t_collecting.id == 0 || (self && isCollecting(self->markId_))) return;
    const Collecting other = std::exchange(t_collecting, {0, nullptr});
    const std::lock_guard<std::mutex> stays(other.mark->mutex);
    if (other.mark->id == other.id) static_cast<void>(other.mark->socket->sendCollected());
}

// A message that breaks off for want of memory would be continued by the next one.
Error Socket::collect(const char* bytes, std::size_t count) {
    try {
        if (collected_.capacity() < kCollectAtFirst) collected_.reserve(kCollectAtFirst);
        if (!mark_) mark_ = takeMark(*this), markId_ = mark_->id;
        sendForOthers(this);
        collected_.append(bytes, count);
        t_collecting = {markId_, mark_};
        return Error();
    } catch (const std::bad_alloc&) {
        return fail(transferError("send", ENOMEM));
    }
}

Error Socket::sendAll(const char* bytes, std::size_t count) {
    while (count > 0) {
        std::size_t sent = 0;
        const int error = hasDeadline_ ? kelvo::zotcp::sendSome(descriptor_, bytes, count, sent,
                                                                Patience(deadline_))
                                       : kelvo::zotcp::sendSome(descriptor_, bytes, count, sent);
        // Both say that the other side has gone, depending on who noticed first.
        if (error != 0) return fail(transferError("send", error == EPIPE ? ECONNRESET : error));
        bytes += sent;
        count -= sent;
    }
    return Error();
}

Error Socket::sendCollected() {
    if (failure_) return failure_;
    if (collected_.empty()) return Error();
    Error error = sendAll(collected_.data(), collected_.size());
    dropCollected();
    return error;
}

Error Socket::receive(char* bytes, std::size_t capacity, std::size_t& received) {
    sendForOthers(this);
    const int error =
        hasDeadline_
            ? kelvo::zotcp::receiveSome(descriptor_, bytes, capacity, received, Patience(deadline_))
            : kelvo::zotcp::receiveSome(descriptor_, bytes, capacity, received);
    if (error != 0) return fail(transferError("receive", error));
    if (received == 0) return fail(Error(ECONNRESET, "the other side has closed the connection"));
    return Error();
}

Error Socket::readExactly(char* bytes, std::size_t count) {
    while (count > 0) {
        if (!hasInput() && count >= kAheadCapacity) {
            std::size_t received = 0;
            if (Error error = receive(bytes, count, received)) return error;
            bytes += received;
            count -= received;
            continue;
        }
        if (!hasInput()) {
            if (!ahead_) ahead_ = std::make_unique<char[]>(kAheadCapacity);
            aheadNext_ = aheadEnd_ = 0;
            if (Error error = receive(ahead_.get(), kAheadCapacity, aheadEnd_)) return error;
        }
        const std::size_t part = std::min(count, aheadEnd_ - aheadNext_);
        std::memcpy(bytes, ahead_.get() + aheadNext_, part);
        aheadNext_ += part;
        bytes += part;
        count -= part;
    }
    return Error();
}

Error Socket::read(void* buffer, int count, int flags) {
    // Most reads find their bytes here, as most writes find room.
    if (count > 0 && flags == 0 && buffer != nullptr && collected_.empty() &&
        static_cast<std::size_t>(count) <= aheadEnd_ - aheadNext_) {
        std::memcpy(buffer, ahead_.get() + aheadNext_, static_cast<std::size_t>(count));
        aheadNext_ += static_cast<std::size_t>(count);
        return Error();
    }
    if (Error error = badTransfer(buffer, count, flags)) return answer(std::move(error));
    if (descriptor_ < 0) return answer(transferError("receive", ENOTCONN));
    if (Error error = sendCollected()) return answer(std::move(error));
    return answer(readExactly(static_cast<char*>(buffer), static_cast<std::size_t>(count)));
}

Error Socket::write(const void* buffer, int count, int flags) {
    if (count > 0 && flags == 0 && buffer != nullptr && isCollecting(markId_) &&
        static_cast<std::size_t>(count) <= collected_.capacity() - collected_.size() &&
        static_cast<std::size_t>(count) + collected_.size() <= kCollectAtMost) {
        collected_.append(static_cast<const char*>(buffer), static_cast<std::size_t>(count));
        return Error();
    }
    if (Error error = badTransfer(buffer, count, flags)) return answer(std::move(error));
    if (descriptor_ < 0) return answer(transferError("send", ENOTCONN));
    if (failure_) return answer(failure_);
    const char* bytes = static_cast<const char*>(buffer);
    const std::size_t size = static_cast<std::size_t>(count);
    if (collected_.size() + size <= kCollectAtMost) return answer(collect(bytes, size));
    Error error = sendCollected();
    if (!error) error = sendAll(bytes, size);
    return answer(std::move(error));
}

Error Socket::flush() {
    return answer(sendCollected());
}

Error Socket::read(CString& text) {
    std::int32_t length = 0;
    if (Error error = read(&length, sizeof length, 0)) return error;
    if (length < 0 || length > textLimit_) return answer(fail(textTooLong(length, textLimit_)));
    std::string bytes;
    const std::size_t size = static_cast<std::size_t>(length);
    while (bytes.size() < size) {
        const std::size_t before = bytes.size();
        try {
            bytes.resize(std::min(size, before + std::max(before, kTextAtFirst)));
        } catch (const std::bad_alloc&) {
            return answer(fail(transferError("receive", ENOMEM)));
        }
        const int part = static_cast<int>(bytes.size() - before);
        if (Error error = read(bytes.data() + before, part, 0)) return error;
    }
    text = CString(std::move(bytes));
    return Error();
}

Error Socket::write(const CString& text) {
    const std::string& bytes = text.str();
    if (bytes.size() > static_cast<std::size_t>(textLimit_))
        return answer(textTooLong(static_cast<std::int64_t>(bytes.size()), textLimit_));
    const std::int32_t length = static_cast<std::int32_t>(bytes.size());
    if (Error error = write(&length, sizeof length, 0)) return error;
    return write(bytes.data(), length, 0);
}

void Socket::setTextLimit(int bytes) noexcept {
    textLimit_ = std::clamp(bytes, 0, kLongestText);
}

void Socket::setDeadline(const zoUtil::Interval& fromNow) noexcept {
    hasDeadline_ = fromNow.seconds() != 0.0;
    deadline_ = Patience(fromNow).end();
}

Error Socket::setSilenceLimit(const zoUtil::Interval& limit) {
    if (descriptor_ < 0) return transferError("limit the wait", ENOTCONN);
    const int error = kelvo::zotcp::setSilenceLimit(descriptor_, limit.seconds());
    return error == 0 ? Error() : transferError("limit the wait", error);
}

Error Socket::waitForInput(const zoUtil::Interval& wait, bool& ready) {
    ready = false;
    if (descriptor_ < 0) return answer(transferError("receive", ENOTCONN));
    if (Error error = sendCollected()) return answer(std::move(error));
    ready = hasInput();
    if (ready) return Error();
    sendForOthers(this);
    const int error = kelvo::zotcp::waitForInput(descriptor_, Patience(wait));
    ready = error == 0;
    if (error == 0 || error == ETIMEDOUT) return Error();
    return answer(fail(transferError("receive", error)));
}

Error Socket::peerUser(unsigned& user) const {
    const int error = descriptor_ < 0 ? ENOTCONN : kelvo::zotcp::peerUser(descriptor_, user);
    return error == 0 ? Error() : transferError("find the owner of the other end", error);
}

bool Socket::isPeerOurs() const {
    unsigned user = 0;
    return !peerUser(user) && user == kelvo::zotcp::ownUser();
}

}  // namespace zoTCP
