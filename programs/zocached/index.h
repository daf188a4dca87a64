// The index in memory: entries by key, who holds them, the order of accesses, the limits. The store
// follows: an add is in the store before it is answered, the order of accesses within a second.
//   1. An entry whose name or content a client may still use is never deleted. Replaced and removed
//      entries leave the index at once; their files go when the last client has let go of them.
//   2. Several entries may name the same file; it goes with the last of them.
//   3. One thread at a time.
#pragma once

#include <boost/intrusive/set.hpp>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "programs/zocached/directory.h"
#include "programs/zocached/store.h"

namespace kelvo::zocached {

struct Entry : boost::intrusive::set_base_hook<boost::intrusive::optimize_size<true>> {
    Row row;
    int holders = 0;       ///< connections
    bool isListed = true;  ///< found by its key; otherwise it waits for its holders to end
    int dirtyPlace = -1;   ///< in the list of what differs from the store, or -1
};

/// What one connection holds.
class Holder {
  public:
    std::int64_t count() const { return count_; }

  private:
    friend class Index;
    // A release names the key alone. As long as any item of a key is in use, all entries that
    // the connection got under it are.
    struct Held {
        std::int64_t count = 0;
        std::vector<Entry*> entries;
    };
    std::unordered_map<std::string, Held> held_;
    std::int64_t count_ = 0;
};

struct Limits {
    std::int64_t entries = 0;  ///< 0 or less: no limit
    std::int64_t bytes = 0;
};

struct Figures {
    std::int64_t entries = 0, bytes = 0, holds = 0, hits = 0, misses = 0, adds = 0, refused = 0,
                 evictions = 0;
};

class Index {
  public:
    explicit Index(const Directory& directory) : directory_(directory) {}
    ~Index();
    Index(const Index&) = delete;
    Index& operator=(const Index&) = delete;

    /// Reads the store and sets it right with the files: rows without a file go, files of doomed
    /// rows are deleted.
    zoUtil::Error open();
    void setLimits(const Limits& limits);

    /// Whether somebody calls fileGone() for files that are deleted or moved away; until then acquire
    /// looks itself, which takes longer than all else that it does.
    void setWatched(bool isWatched) { isWatched_ = isWatched; }
    /// The name has gone, or had gone for a moment.
    void fileGone(const std::string& name);

    /// The entry of `key`, now held by `holder`; null when there is none or its file has gone.
    const Entry* acquire(Holder& holder, const std::string& key);
    bool release(Holder& holder, const std::string& key, bool remove);
    void setAccessed(const std::string& key);
    void endHolder(Holder& holder);

    /// Whether an add of this key waits for commitAdds(); another one must wait until then.
    bool isInDoubt(const std::string& key) const;
    /// Enters a file of the directory, held by `holder`, which must live until commitAdds(). False
    /// when it is refused. What is accepted counts only if commitAdds() says so.
    bool add(Holder& holder, const std::string& key, const std::string& name);
    /// Ends the adds since the last call: all of them are in the store and the index, or none.
    bool commitAdds();

    /// Deletes some entries that exceed the limits, least recently accessed first, none that is
    /// held. True when there may be more to do.
    bool evictSome();
    /// Brings the store up to date. False when something is left for later.
    bool flush();
    /// Writes the store anew when somebody has deleted its file.
    void keepFile();
    bool needsFlush() const { return !dirty_.empty() || !erased_.empty(); }

    const Figures& figures() const { return figures_; }

  private:
    struct KeyHash {
        using is_transparent = void;
        std::size_t operator()(const std::string& key) const;
        std::size_t operator()(const Entry* entry) const { return (*this)(entry->row.key); }
    };
    struct NameHash : KeyHash {
        std::size_t operator()(const Entry* entry) const;
        using KeyHash::operator();
    };
    struct SameKey {
        using is_transparent = void;
        bool operator()(const Entry* a, const Entry* b) const { return a == b; }
        bool operator()(const Entry* a, const std::string& b) const { return a->row.key == b; }
        bool operator()(const std::string& a, const Entry* b) const { return b->row.key == a; }
    };
    struct SameName {
        using is_transparent = void;
        bool operator()(const Entry* a, const Entry* b) const { return a->row.name == b->row.name; }
    };
    struct TurnOf {
        using type = std::int64_t;
        type operator()(const Entry& entry) const { return entry.row.turn; }
    };
    struct Staged {
        Entry* target = nullptr;    // borrowed: the entry that keeps its file under its key
        Entry* replaced = nullptr;  // borrowed: the entry that makes room
        Row row;
        Holder* holder = nullptr;
    };

    void readRow(Row&& row);
    Entry* find(const std::string& key) const;
    void enter(std::unique_ptr<Entry> entry);
    void hold(Holder& holder, Entry& entry);
    bool letGo(const Holder::Held& held);
    void unlist(Entry& entry);
    void drop(Entry& entry);
    void setFile(Entry& entry, const FileState& file);
    bool refresh(Entry& entry);
    void touch(Entry& entry, std::int64_t accessed, std::int64_t turn);
    void markDirty(Entry& entry);
    void markClean(Entry& entry);
    bool stage(Staged staged);
    void apply(Staged& staged);
    bool begin();
    bool commit();
    void giveUp();
    void repairStore();
    bool exceeds() const;

    const Directory& directory_;
    Store store_;
    Limits limits_;
    Figures figures_;
    std::unordered_set<Entry*, KeyHash, SameKey> byKey_;          // owned: all that are listed
    std::unordered_multiset<Entry*, NameHash, SameName> byName_;  // borrowed: listed and doomed
    // Borrowed: listed and held by nobody, least recently accessed first. However many are held, the
    // one to be evicted is at hand.
    boost::intrusive::multiset<Entry, boost::intrusive::key_of_value<TurnOf>> order_;
    std::vector<Staged> staged_;
    std::vector<Entry*> dirty_;         // borrowed
    std::vector<std::int64_t> erased_;  // rows that the store still has
    std::int64_t lastId_ = 0;
    std::int64_t lastTurn_ = 0;
    std::vector<Row> doomed_;  // found in the store, their clients are gone
    bool isWatched_ = false;
    bool inTransaction_ = false;
    bool hasFailed_ = false;  // the transaction
    bool isFailing_ = false;  // the store, as far as the log knows
};

}  // namespace kelvo::zocached
