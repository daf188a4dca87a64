// The index on disk: a table in an SQLite 3 file in the cache directory. What has been committed
// survives the end of the process at any moment.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include "Base/zo_util.h"
#include "programs/zocached/directory.h"

struct sqlite3;
struct sqlite3_stmt;

namespace kelvo::zocached {

struct Row {
    std::int64_t id = 0;  ///< greater for later adds
    std::string key;
    std::string name;
    FileState file;
    std::int64_t accessed = 0;  ///< seconds since 1970-01-01 UTC, for clients
    std::int64_t turn = 0;      ///< order of accesses, whatever the clock does
    bool doomed = false;        ///< to be deleted with its file
};

class Store {
  public:
    using Reader = std::function<void(Row&&)>;

    Store() = default;
    ~Store();
    Store(const Store&) = delete;
    Store& operator=(const Store&) = delete;

    /// Opens or makes the index and hands all rows to `reader`, least recently accessed first. A
    /// damaged index is moved aside; what can still be read of it is taken over.
    zoUtil::Error open(const Directory& directory, const Reader& reader);
    /// Opens the index of a server that may be running, to read it alone. ENOENT without one.
    zoUtil::Error openToRead(const Directory& directory, const Reader& reader);
    /// Moves a file that has turned out to be damaged aside and makes a new one, empty.
    zoUtil::Error replace(const Directory& directory);

    // One transaction at a time. Each answers false when the disk is full or fails; then nothing of
    // the transaction holds.
    bool begin();
    bool insert(const Row& row);
    bool update(const Row& row);  ///< all but the key, found by id
    bool erase(std::int64_t id);
    bool commit();
    void rollback();

    /// Whether the last failure says that the file is damaged.
    bool isDamaged() const { return damaged_; }
    const std::string& failure() const { return failure_; }

  private:
    zoUtil::Error openFile(const std::string& path, int flags);
    zoUtil::Error prepare();
    zoUtil::Error readRows(const Reader& reader);
    void salvage(const std::string& path, const Reader& reader);
    void moveAside(const Directory& directory);
    void close();
    bool step(sqlite3_stmt* statement);
    bool execute(const char* text);
    zoUtil::Error lastError(const char* what);
    void startCheckpoints(const std::string& path);
    void stopCheckpoints();
    void runCheckpoints(const std::string& path);
    static int onCommit(void* self, sqlite3*, const char*, int pages);

    sqlite3* database_ = nullptr;     // owned
    sqlite3_stmt* insert_ = nullptr;  // owned, as the following
    sqlite3_stmt* update_ = nullptr;
    sqlite3_stmt* erase_ = nullptr;
    sqlite3_stmt* begin_ = nullptr;
    sqlite3_stmt* commit_ = nullptr;
    bool damaged_ = false;
    std::string failure_;

    // Moves the journal into the table file. It waits for the disk, so the server's loop does not
    // do it itself.
    std::thread checkpoints_;
    std::mutex mutex_;
    std::condition_variable wake_;
    bool due_ = false;
    bool stop_ = false;
};

}  // namespace kelvo::zocached
