// Where long chains of nodes end: makes an append constant time although handles and nodes have no
// room for it.
#pragma once

#include <cstddef>
#include <cstdint>

#include "Base/ma.h"

namespace kelvo::ds {

/// Pairs of the first and the last node of chains. What is known belongs to the first node, not to
/// a handle, so callers may copy, swap and discard handles.
///
/// Invariants: both nodes of a pair are live and different, the last is reached from the first by
/// `next` (more nodes may follow it), and no node is in two pairs. So the lists tell of every node
/// that they free, and of every node that they allocate: callers may have freed the one that had
/// its address before.
///
/// The pair in use is kept apart, so that work on one list never touches the table; the others are
/// in an open-addressing table under both of their nodes.
class ChainEnds {
  public:
    /// Pairs are kept for chains of at least this many nodes: shorter ones are walked as fast.
    static constexpr int kWorthRemembering = 16;

    /// The last node known for the chain that begins with `first`, or null.
    void* lastOf(const void* first) const {
        if (first == hotFirst_) return hotLast_;
        return entries_ ? lookUpLast(first) : nullptr;
    }

    /// The same, when the pair is the one in use.
    void* hotLastOf(const void* first) const { return first == hotFirst_ ? hotLast_ : nullptr; }

    /// Remembers a pair, if memory allows.
    void remember(void* first, void* last);

    /// `node` now ends the chain of a pair that lastOf(first) has just found.
    void appended(void* first, void* node) {
        if (first == hotFirst_)
            hotLast_ = node;
        else
            appendedInTable(first, node);
    }

    /// The same after hotLastOf.
    void hotAppended(void* node) { hotLast_ = node; }

    /// `node` was linked in before `first`.
    void prepended(void* first, void* node) {
        ++changes_;
        if (first == hotFirst_)
            hotFirst_ = node;
        else if (entries_)
            replace(first, node);
    }

    /// A node was linked in between two others.
    void inserted() { ++changes_; }

    /// `node`, between `before` and `after` (null: none), is about to be freed.
    [[gnu::noinline]] void unlinked(void* node, void* before, void* after) {
        if (node == hotFirst_) {
            hotFirst_ = after;
            if (!after || after == hotLast_)
                dropHot();
            else if (entries_)
                drop(after);
        } else if (node == hotLast_) {
            hotLast_ = before;
            if (!before || before == hotFirst_)
                dropHot();
            else if (entries_)
                drop(before);
        } else if (entries_) {
            unlinkedInTable(node, before, after);
        }
    }

    /// The same for the first node of a chain when another follows and it takes next to nothing;
    /// otherwise false, and unlinked() is to be told.
    bool headUnlinked(const void* node, void* after) {
        if (entries_ || !after) [[unlikely]]
            return false;
        if (node == hotFirst_) [[likely]] {
            if (after == hotLast_) [[unlikely]]
                return false;
            hotFirst_ = after;
            return true;
        }
        return node != hotLast_;
    }

    /// `node` has just been allocated, so nothing known of its address is true any more.
    void allocated(const void* node) {
        if (node == hotFirst_ || node == hotLast_)
            dropHot();
        else if (entries_)
            drop(node);
    }

    /// Changes when a node was freed or linked in anywhere but at the end of its chain.
    std::uint64_t changes() const {
        return changes_ + static_cast<std::uint64_t>(MA_direct.released);
    }

  private:
    struct Entry {
        std::uintptr_t node;     // 0: free
        std::uintptr_t partner;  // the other node of the pair; lowest bit set: `node` is the first
    };

    void dropHot() { hotFirst_ = hotLast_ = nullptr; }
    void* lookUpLast(const void* first) const;
    void appendedInTable(void* first, void* node);
    void unlinkedInTable(void* node, void* before, void* after);
    void replace(const void* node, void* now);
    void drop(const void* node);
    void used(void* first, void* last);
    void insertPair(void* first, void* last);
    void erasePair(Entry* entry);
    void releaseIfEmpty();
    bool reservePair();
    Entry* find(std::uintptr_t node) const;
    void insert(std::uintptr_t node, std::uintptr_t partner);
    void erase(Entry* entry);
    std::size_t home(std::uintptr_t node) const;

    void* hotFirst_ = nullptr;  // borrowed, as all nodes here
    void* hotLast_ = nullptr;
    std::uint64_t changes_ = 0;  // frees are counted where they happen
    Entry* entries_ =
        nullptr;  // owned (MA_allocate); null while there are no pairs but the hot one
    std::size_t capacity_ = 0;  // a power of two, at most half of it used
    std::size_t used_ = 0;
    int shift_ = 0;                 // 64 - log2(capacity_)
    const void* recent_ = nullptr;  // first node of the pair last used in the table; never read
    int recentUses_ = 0;            // how often in a row
};

/// The ends of all chains of the process. For one thread, as the lists.
extern ChainEnds g_chainEnds;

}  // namespace kelvo::ds
