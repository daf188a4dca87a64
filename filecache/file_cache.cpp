#include "KelvoBase/file_cache.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <memory>
#include <utility>

#include "Base/zo_os_file.h"
#include "Base/zo_os_filename.h"
#include "Base/zo_os_uuid.h"
#include "Base/zo_rtb.h"
#include "Base/zo_tcp.h"
#include "KelvoBase/file_cache_protocol.h"
#include "filecache/connection.h"

namespace filecache = kelvo::filecache;
using zoString::CString;
using zoUtil::Error;
using zoUtil::Interval;

namespace zoKelvoBase {
namespace {

// A server that has connected answers its first request in this time, and later ones in the other.
constexpr double kFirstReplySeconds = 5.0;
constexpr double kSilenceSeconds = 30.0;

// Counts down from its making.
class Remaining {
  public:
    explicit Remaining(double seconds) : seconds_(seconds) {}
    // Never 0, which would stand for no limit.
    double seconds() const {
        const std::chrono::duration<double> spent = std::chrono::steady_clock::now() - begin_;
        return std::max(seconds_ - spent.count(), 0.001);
    }

  private:
    std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
    double seconds_;
};

int64 now() {
    return std::time(nullptr);
}

// What find and add hand out.
class Item : public FileCacheItem {
  public:
    Item(const CString& key, const CString& path, int64 accessTime)
        : key_(key), path_(path), accessTime_(accessTime) {}
    ~Item() override { destroyed_.emitValue(this); }

    const CString& key() const override { return key_; }
    const CString& path() const override { return path_; }
    int64 accessTime() const override { return accessTime_; }

    zoRTB::SignalBase& destroyedSignal() { return destroyed_; }
    void setAccessTime(int64 time) { accessTime_ = time; }
    bool isToBeRemoved() const { return remove_; }
    void setToBeRemoved() { remove_ = true; }

  private:
    zoRTB::SignalBase destroyed_;  // emits the item
    CString key_;
    CString path_;
    int64 accessTime_;
    bool remove_ = false;
};

// One connection and what is held through it. Each initialize() makes a new one, so that items of
// an earlier connection, whose holds have ended, have nothing to do with the next.
class Session {
  public:
    Error connect(const CString& directory, int arg1, int64 arg2);

    const CString& directory() const { return directory_; }
    FileCacheProtocolClient& protocol() { return protocol_; }

    Item* itemOf(const CString& key) const {
        const auto found = items_.find(key);
        return found != items_.end() ? found->second : nullptr;
    }
    zo::Reference<FileCacheItem> makeItem(const CString& key, const CString& path, int64 time);

  private:
    Error askKnownServer(const CString& lockPath, int arg1, int64 arg2, bool& answered);
    Error firstRequest(double seconds, int arg1, int64 arg2);
    void disconnect();
    void itemEnds(Item* item);

    zoRTB::SignalBase connections_;          // owner of what items call at their end
    std::unique_ptr<zoTCP::Socket> socket_;  // null until connected
    FileCacheProtocolClient protocol_;
    CString directory_;
    zo::Map<CString, Item*> items_;  // not counted: an item is here exactly while it lives
};

void Session::disconnect() {
    protocol_ = FileCacheProtocolClient();
    socket_.reset();
}

// Sends initialize on a fresh connection.
Error Session::firstRequest(double seconds, int arg1, int64 arg2) {
    protocol_.setSocket(*socket_);
    socket_->setDeadline(Interval(seconds));
    Error error = protocol_.initialize(directory_, arg1, arg2);
    socket_->setDeadline(Interval(0.0));
    if (!error) error = socket_->setSilenceLimit(Interval(kSilenceSeconds));
    return error;
}

// Asks the server that the lock file names. `answered` is false when there is none: nobody at that
// port, or something that does not speak this language.
Error Session::askKnownServer(const CString& lockPath, int arg1, int64 arg2, bool& answered) {
    answered = false;
    const Remaining time(filecache::kKnownServerSeconds);
    if (Error error = filecache::connectToKnownServer(lockPath, time.seconds(), socket_))
        return error;
    Error error = firstRequest(time.seconds(), arg1, arg2);
    answered = !socket_->failure();
    if (error) disconnect();
    return error;
}

Error Session::connect(const CString& directory, int arg1, int64 arg2) {
    directory_ = directory;
    const Remaining time(filecache::kStartSeconds);
    const CString lockPath = filecache::lockPathIn(directory);
    zoOS::FileStatus status;
    if (Error error = zoOS::File(lockPath).query(status, false)) return error;
    if (status.exists()) {
        bool answered = false;
        Error error = askKnownServer(lockPath, arg1, arg2, answered);
        if (answered) return error;
        filecache::removeLockFile(lockPath);
    }
    if (Error error = filecache::startServer(time.seconds(), socket_)) return error;
    Error error = firstRequest(kFirstReplySeconds, arg1, arg2);
    if (error) disconnect();
    return error;
}

zo::Reference<FileCacheItem> Session::makeItem(const CString& key, const CString& path,
                                               int64 time) {
    zo::Reference<Item> item(new Item(key, path, time));
    item->destroyedSignal().addCallback(
        new zoRTB::FunctionArgMember<Session, Item*>(this, &Session::itemEnds), connections_);
    items_[key] = item.get();
    return item;
}

void Session::itemEnds(Item* item) {
    // An item of the same key that was added later has taken the place.
    const auto found = items_.find(item->key());
    if (found != items_.end() && found->second == item) items_.erase(found);
    protocol_.release(item->key(), item->isToBeRemoved());
}

}  // namespace

class FileCache::Implementation : public Session {};

FileCacheItem::~FileCacheItem() = default;

FileCache::FileCache() : implementation_(new Implementation) {}

FileCache::~FileCache() {
    if (ownsImplementation_) delete implementation_;
}

Error FileCache::initialize(const CString& directory, int arg1, int64 arg2) {
    const CString kept = directory;  // it may be a text of the implementation
    Implementation* fresh = new Implementation;
    delete std::exchange(implementation_, fresh);
    return implementation_->connect(kept, arg1, arg2);
}

CString FileCache::generatePath() {
    return zoOS::Filename::join(implementation_->directory(), zoOS::Uuid::generate().asString());
}

zo::Reference<FileCacheItem> FileCache::find(const CString& key) {
    if (Item* held = implementation_->itemOf(key)) return zo::Reference<FileCacheItem>(held);
    CString path;
    int64 time = 0;
    if (!implementation_->protocol().acquire(key, path, time)) return nullptr;
    return implementation_->makeItem(key, path, time);
}

zo::Reference<FileCacheItem> FileCache::add(const CString& key, const CString& path) {
    if (!implementation_->protocol().add(key, path)) return nullptr;
    return implementation_->makeItem(key, path, now());
}

// Items of other classes than ours keep their own time and removal.
void FileCache::setAccessed(zo::Reference<FileCacheItem> item) {
    if (!item) return;
    if (auto* ours = dynamic_cast<Item*>(item.get())) ours->setAccessTime(now());
    implementation_->protocol().setAccessed(item->key());
}

void FileCache::remove(zo::Reference<FileCacheItem> item) {
    if (auto* ours = dynamic_cast<Item*>(item.get())) ours->setToBeRemoved();
}

}  // namespace zoKelvoBase
