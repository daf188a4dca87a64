#include "programs/zocached/store.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <utility>
#include <vector>

#include "programs/zocached/log.h"

using zoUtil::Error;

namespace kelvo::zocached {
namespace {

constexpr int kSchema = 1;
constexpr int kPagesBetweenCheckpoints = 1000;
// A journal that grows faster than the thread empties it is emptied by the loop.
constexpr int kMostPages = 8000;
constexpr int kBusyMilliseconds = 5000;

const char* const kTable =
    "CREATE TABLE IF NOT EXISTS entry(id INTEGER PRIMARY KEY, key BLOB NOT NULL, "
    "name BLOB NOT NULL, inode INTEGER NOT NULL, born INTEGER NOT NULL, bytes INTEGER NOT NULL, "
    "accessed INTEGER NOT NULL, turn INTEGER NOT NULL, doomed INTEGER NOT NULL)";
const char* const kSelect =
    "SELECT id, key, name, inode, born, bytes, accessed, turn, doomed FROM entry";
const char* const kInsert = "INSERT INTO entry VALUES(?1, ?9, ?2, ?3, ?4, ?5, ?6, ?7, ?8)";
const char* const kUpdate =
    "UPDATE entry SET name=?2, inode=?3, born=?4, bytes=?5, accessed=?6, turn=?7, doomed=?8 "
    "WHERE id=?1";

bool isDamage(int code) {
    code &= 0xFF;
    return code == SQLITE_CORRUPT || code == SQLITE_NOTADB || code == SQLITE_FORMAT ||
           code == SQLITE_SCHEMA || code == SQLITE_ERROR || code == SQLITE_CONSTRAINT ||
           code == SQLITE_MISMATCH;
}

std::string bytesOf(sqlite3_stmt* row, int column) {
    const void* const bytes = sqlite3_column_blob(row, column);
    const int count = sqlite3_column_bytes(row, column);
    return bytes == nullptr
               ? std::string()
               : std::string(static_cast<const char*>(bytes), static_cast<std::size_t>(count));
}

Row rowOf(sqlite3_stmt* statement) {
    Row row;
    row.id = sqlite3_column_int64(statement, 0);
    row.key = bytesOf(statement, 1);
    row.name = bytesOf(statement, 2);
    row.file.inode = static_cast<std::uint64_t>(sqlite3_column_int64(statement, 3));
    row.file.born = sqlite3_column_int64(statement, 4);
    row.file.bytes = sqlite3_column_int64(statement, 5);
    row.accessed = sqlite3_column_int64(statement, 6);
    row.turn = sqlite3_column_int64(statement, 7);
    row.doomed = sqlite3_column_int(statement, 8) != 0;
    return row;
}

// Nothing but a file of ours is opened: no link, directory or pipe that has its name.
bool isUsableFile(const Directory& directory, const char* name) {
    struct stat status {};
    if (fstatat(directory.descriptor(), name, &status, AT_SYMLINK_NOFOLLOW) != 0)
        return errno == ENOENT;
    return S_ISREG(status.st_mode) && status.st_uid == geteuid() &&
           (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

// Whatever has the name; a directory only when it is empty.
void clear(int directory, const std::string& name) {
    if (unlinkat(directory, name.c_str(), 0) != 0 && errno == EISDIR)
        unlinkat(directory, name.c_str(), AT_REMOVEDIR);
}

// The text is borrowed until the statement has been stepped.
void bindText(sqlite3_stmt* statement, int place, const std::string& text) {
    sqlite3_bind_blob(statement, place, text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
}

void bindRow(sqlite3_stmt* statement, const Row& row) {
    sqlite3_bind_int64(statement, 1, row.id);
    bindText(statement, 2, row.name);
    sqlite3_bind_int64(statement, 3, static_cast<std::int64_t>(row.file.inode));
    sqlite3_bind_int64(statement, 4, row.file.born);
    sqlite3_bind_int64(statement, 5, row.file.bytes);
    sqlite3_bind_int64(statement, 6, row.accessed);
    sqlite3_bind_int64(statement, 7, row.turn);
    sqlite3_bind_int(statement, 8, row.doomed ? 1 : 0);
}

// Row by row; behind a bad page it goes on with the next rows that can be found.
std::vector<Row> readableRows(sqlite3* database) {
    constexpr std::int64_t kWidestGap = std::int64_t{1} << 40;
    std::vector<Row> rows;
    sqlite3_stmt* select = nullptr;
    // Lets a file that is shorter than it says be read.
    sqlite3_exec(database, "PRAGMA writable_schema=1", nullptr, nullptr, nullptr);
    const std::string text = std::string(kSelect) + " WHERE id > ?1 ORDER BY id";
    if (sqlite3_prepare_v2(database, text.c_str(), -1, &select, nullptr) != SQLITE_OK) return rows;
    std::int64_t last = 0;
    for (std::int64_t gap = 1; gap < kWidestGap; last += gap, gap *= 2) {
        sqlite3_bind_int64(select, 1, last);
        int code;
        while ((code = sqlite3_step(select)) == SQLITE_ROW) {
            Row row = rowOf(select);
            if (row.id <= last) break;  // pages that lead in a circle
            last = row.id;
            gap = 1;
            rows.push_back(std::move(row));
        }
        sqlite3_reset(select);
        if (code == SQLITE_DONE) break;
    }
    sqlite3_finalize(select);
    return rows;
}

}  // namespace

Store::~Store() {
    close();
}

Error Store::open(const Directory& directory, const Reader& reader) {
    const std::string path = directory.path() + "/" + kIndexName;
    Error error;
    if (isUsableFile(directory, kIndexName)) {
        error = openFile(path, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
        if (!error) error = prepare();
        if (!error) error = readRows(reader);
        if (!error) startCheckpoints(path);
        if (!error || !damaged_) return error;
    } else {
        error = Error(EIO, "not a file of ours");
    }

    logLine(Level::kWarning, "the index is damaged (%s); it is now \"%s\"", error.message().c_str(),
            kBadIndexName);
    if (Error again = replace(directory)) return again;
    // Opening a pipe would wait for somebody to write into it.
    if (isUsableFile(directory, kBadIndexName))
        salvage(directory.path() + "/" + kBadIndexName, reader);
    return Error();
}

Error Store::openToRead(const Directory& directory, const Reader& reader) {
    if (faccessat(directory.descriptor(), kIndexName, F_OK, AT_SYMLINK_NOFOLLOW) != 0)
        return Error(ENOENT, "there is no index");
    if (!isUsableFile(directory, kIndexName))
        return Error(EACCES, "the index is not a file of ours");
    Error error = openFile(directory.path() + "/" + kIndexName, SQLITE_OPEN_READONLY);
    return error ? error : readRows(reader);
}

Error Store::replace(const Directory& directory) {
    close();
    moveAside(directory);
    damaged_ = false;
    const std::string path = directory.path() + "/" + kIndexName;
    Error error = openFile(path, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
    if (!error) error = prepare();
    if (!error) startCheckpoints(path);
    return error;
}

Error Store::openFile(const std::string& path, int flags) {
    damaged_ = false;
    const int code = sqlite3_open_v2(path.c_str(), &database_,
                                     flags | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_NOFOLLOW, nullptr);
    if (code != SQLITE_OK) {
        damaged_ = isDamage(code);
        failure_ = sqlite3_errmsg(database_);
        return Error(EIO, "cannot open the index: %s", failure_.c_str());
    }
    sqlite3_busy_timeout(database_, kBusyMilliseconds);
    sqlite3_db_config(database_, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    // What is not ours in the file must not undo what is written.
    for (int option : {SQLITE_DBCONFIG_TRUSTED_SCHEMA, SQLITE_DBCONFIG_ENABLE_TRIGGER,
                       SQLITE_DBCONFIG_ENABLE_VIEW})
        sqlite3_db_config(database_, option, 0, nullptr);
    return Error();
}

Error Store::prepare() {
    if (!execute("PRAGMA journal_mode=WAL") || !execute("PRAGMA synchronous=NORMAL") ||
        !execute("PRAGMA cache_size=-1024") || !execute("PRAGMA wal_autocheckpoint=0") ||
        // After a reader that stood still for long it would stay as large as it had become.
        !execute("PRAGMA journal_size_limit=33554432"))
        return lastError("open");
    sqlite3_stmt* version = nullptr;
    const bool isKnown =
        sqlite3_prepare_v2(database_, "PRAGMA user_version", -1, &version, nullptr) == SQLITE_OK &&
        sqlite3_step(version) == SQLITE_ROW;
    const int schema = isKnown ? sqlite3_column_int(version, 0) : 0;
    sqlite3_finalize(version);
    if (!isKnown) return lastError("read");
    if (schema < 0 || schema > kSchema) {
        damaged_ = true;
        return Error(EIO, "the index was written by another version");
    }
    // A full disk does not keep a server from starting when the table is there.
    if (schema < kSchema && (!execute("BEGIN IMMEDIATE") || !execute(kTable) ||
                             !execute("PRAGMA user_version=1") || !execute("COMMIT"))) {
        Error error = lastError("make");
        rollback();
        return error;
    }
    const std::pair<const char*, sqlite3_stmt**> statements[] = {
        {kInsert, &insert_},
        {kUpdate, &update_},
        {"DELETE FROM entry WHERE id=?1", &erase_},
        {"BEGIN IMMEDIATE", &begin_},
        {"COMMIT", &commit_},
    };
    for (const auto& [text, statement] : statements)
        if (sqlite3_prepare_v3(database_, text, -1, SQLITE_PREPARE_PERSISTENT, statement,
                               nullptr) != SQLITE_OK)
            return lastError("use");
    return Error();
}

// Everything is read before anything of it is handed on, so that a damaged index hands on what
// salvage() makes of it and nothing twice.
Error Store::readRows(const Reader& reader) {
    sqlite3_stmt* rows = nullptr;
    std::string verdict;
    if (sqlite3_prepare_v2(database_, "PRAGMA quick_check(1)", -1, &rows, nullptr) == SQLITE_OK &&
        sqlite3_step(rows) == SQLITE_ROW)
        verdict = bytesOf(rows, 0);
    else
        lastError("check");
    sqlite3_finalize(rows);
    if (verdict != "ok") {
        damaged_ = damaged_ || !verdict.empty();
        return Error(EIO, "the index is damaged: %s",
                     verdict.empty() ? failure_.c_str() : verdict.c_str());
    }
    const std::string ordered = std::string(kSelect) + " ORDER BY turn";
    if (sqlite3_prepare_v2(database_, ordered.c_str(), -1, &rows, nullptr) != SQLITE_OK)
        return lastError("read");
    std::vector<Row> read;
    int code;
    while ((code = sqlite3_step(rows)) == SQLITE_ROW) read.push_back(rowOf(rows));
    Error error = code == SQLITE_DONE ? Error() : lastError("read");
    sqlite3_finalize(rows);
    if (!error)
        for (Row& row : read) reader(std::move(row));
    return error;
}

// Reads what a damaged file still shows. The caller checks each row against the files anyway.
void Store::salvage(const std::string& path, const Reader& reader) {
    std::vector<Row> saved;
    sqlite3* bad = nullptr;
    if (sqlite3_open_v2(path.c_str(), &bad,
                        SQLITE_OPEN_READONLY | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_NOFOLLOW,
                        nullptr) == SQLITE_OK)
        saved = readableRows(bad);
    sqlite3_close(bad);
    bool good = begin();
    for (std::size_t i = 0; i < saved.size() && good; ++i) good = insert(saved[i]);
    if (!good || !commit()) {
        rollback();
        saved.clear();
    }
    logLine(Level::kWarning, "%zu entries were saved from the damaged index", saved.size());
    for (Row& row : saved) reader(std::move(row));
}

void Store::moveAside(const Directory& directory) {
    const int place = directory.descriptor();
    const std::string name = kIndexName, bad = kBadIndexName;
    for (const char* end : {"", "-wal"}) {
        clear(place, bad + end);
        renameat(place, (name + end).c_str(), place, (bad + end).c_str());
    }
    clear(place, name + "-shm");
    clear(place, bad + "-shm");
}

void Store::close() {
    stopCheckpoints();
    for (sqlite3_stmt** statement : {&insert_, &update_, &erase_, &begin_, &commit_}) {
        sqlite3_finalize(*statement);
        *statement = nullptr;
    }
    sqlite3_close(database_);
    database_ = nullptr;
}

Error Store::lastError(const char* what) {
    damaged_ = isDamage(sqlite3_errcode(database_));
    failure_ = sqlite3_errmsg(database_);
    return Error(EIO, "cannot %s the index: %s", what, failure_.c_str());
}

bool Store::execute(const char* text) {
    if (sqlite3_exec(database_, text, nullptr, nullptr, nullptr) == SQLITE_OK) return true;
    lastError("change");
    return false;
}

bool Store::step(sqlite3_stmt* statement) {
    const int code = sqlite3_step(statement);
    if (code != SQLITE_DONE) lastError("change");
    sqlite3_reset(statement);
    return code == SQLITE_DONE;
}

bool Store::begin() {
    return step(begin_);
}

bool Store::insert(const Row& row) {
    bindRow(insert_, row);
    bindText(insert_, 9, row.key);
    return step(insert_);
}

bool Store::update(const Row& row) {
    bindRow(update_, row);
    return step(update_);
}

bool Store::erase(std::int64_t id) {
    sqlite3_bind_int64(erase_, 1, id);
    return step(erase_);
}

bool Store::commit() {
    return step(commit_);
}

void Store::rollback() {
    if (sqlite3_get_autocommit(database_) == 0)
        sqlite3_exec(database_, "ROLLBACK", nullptr, nullptr, nullptr);
}

int Store::onCommit(void* self, sqlite3* database, const char*, int pages) {
    if (pages < kPagesBetweenCheckpoints) return SQLITE_OK;
    if (pages > kMostPages)
        sqlite3_wal_checkpoint_v2(database, nullptr, SQLITE_CHECKPOINT_PASSIVE, nullptr, nullptr);
    Store& store = *static_cast<Store*>(self);
    {
        const std::lock_guard<std::mutex> lock(store.mutex_);
        store.due_ = true;
    }
    store.wake_.notify_one();
    return SQLITE_OK;
}

void Store::startCheckpoints(const std::string& path) {
    stop_ = false;
    checkpoints_ = std::thread([this, path] { runCheckpoints(path); });
    sqlite3_wal_hook(database_, onCommit, this);
}

void Store::stopCheckpoints() {
    if (!checkpoints_.joinable()) return;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        stop_ = true;
    }
    wake_.notify_one();
    checkpoints_.join();
}

void Store::runCheckpoints(const std::string& path) {
    sqlite3* own = nullptr;  // a connection is for one thread
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
        wake_.wait(lock, [this] { return due_ || stop_; });
        if (stop_) break;
        due_ = false;
        lock.unlock();
        if (own == nullptr &&
            sqlite3_open_v2(path.c_str(), &own,
                            SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_NOFOLLOW,
                            nullptr) == SQLITE_OK)
            sqlite3_exec(own, "PRAGMA synchronous=NORMAL", nullptr, nullptr, nullptr);
        // Passive: takes what nobody is using and never makes the loop wait. One that fails (a
        // full disk) is tried again with the next pages.
        if (own != nullptr)
            sqlite3_wal_checkpoint_v2(own, nullptr, SQLITE_CHECKPOINT_PASSIVE, nullptr, nullptr);
        lock.lock();
    }
    sqlite3_close(own);
}

}  // namespace kelvo::zocached
