// A cache of files that all processes of a user share. Entries are found by key; each names a file
// in the cache directory.
//   1. The index is kept by a server program, zocached, which initialize() finds through a lock
//      file in the directory or starts. This side knows only what it holds.
//   2. An entry is held while a handle to its item lives: the server neither evicts it nor deletes
//      its file. There is one item for each key, however often it is found.
//   3. To enter a file: generatePath(), write the file there, add().
//   4. Whenever the connection is lost, requests fail and the items stay usable as they are. A
//      request fails at the latest when the server has been silent for 30 seconds.
//   5. Items that outlive their cache, or the connection under which they were made, are harmless:
//      their end tells the server nothing, whose holds ended with the connection.
// One thread.
#pragma once

#include "Base/zo.h"
#include "Base/zo_string.h"
#include "Base/zo_util.h"
#include "KelvoBase/kelvo_api.h"

namespace zoKelvoBase {

/// An entry that this process holds. Its end releases the entry.
class KELVO_API FileCacheItem : public zo::ReferenceCount {
  public:
    ~FileCacheItem() override;

    virtual const zoString::CString& key() const = 0;
    /// Full path of the cached file.
    virtual const zoString::CString& path() const = 0;
    /// When the entry was last used, in seconds since 1970-01-01 UTC.
    virtual int64 accessTime() const = 0;
};

/// The cache. Before a successful initialize() requests fail: null handles, nothing sent.
class KELVO_API FileCache {
  public:
    FileCache();
    /// Ends the connection, and with it the server's holds.
    ~FileCache();
    FileCache(const FileCache&) = delete;
    FileCache& operator=(const FileCache&) = delete;

    /// Connects to the server of `directory`, or starts it, and tells it the limits of the index:
    /// `arg1` is the most entries, `arg2` the most bytes, 0 or less for no limit. Returns what the
    /// server answers. Other errors: code 1 "could not connect to cache server" when none connects
    /// within five seconds, and those of the system for the lock file's path, listening and
    /// starting. With an error the cache is unconnected. A connection before is ended first.
    /// `directory` goes to the server as it is: only a full path means the same to one that was
    /// started elsewhere.
    ///
    /// When the environment variable VELA_FILE_CACHE_MANUAL_START is set, a server is not started:
    /// the command for it is printed on stdout, and initialize() waits until somebody has run it.
    zoUtil::Error initialize(const zoString::CString& directory, int arg1, int64 arg2);

    /// A path in the cache directory that nobody else uses; before initialize() a name without any
    /// directory. The file is not made.
    zoString::CString generatePath();

    /// The item of `key`, which is asked of the server unless it is held already. Null when there
    /// is none, or the connection fails.
    zo::Reference<FileCacheItem> find(const zoString::CString& key);
    /// Enters the file `path` under `key`. Null, and nothing changed here, when the server refuses
    /// or the connection fails. An item held under the same key stays as it is for its holders; the
    /// next find() returns the new one.
    zo::Reference<FileCacheItem> add(const zoString::CString& key, const zoString::CString& path);

    /// Sets the item's access time to now and tells the server. Null does nothing.
    void setAccessed(zo::Reference<FileCacheItem> item);
    /// Has the entry removed when the last handle to it is dropped; until then it stays valid for
    /// those who hold it. Null does nothing.
    void remove(zo::Reference<FileCacheItem> item);

  private:
    class Implementation;

    Implementation* implementation_;  // owned
    bool ownsImplementation_ = true;
};

}  // namespace zoKelvoBase
