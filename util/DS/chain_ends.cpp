#include "util/DS/chain_ends.h"

#include <bit>
#include <cstring>
#include <utility>

#include "Base/ma.h"

namespace kelvo::ds {
namespace {

constexpr std::size_t kFirstCapacity = 64;
constexpr int kUsesInARow = 8;
constexpr std::uintptr_t kIsFirst = 1;  // nodes are aligned, so the bit is free

std::uintptr_t address(const void* node) {
    return reinterpret_cast<std::uintptr_t>(node);
}

}  // namespace

constinit ChainEnds g_chainEnds;

// --- Pairs ---------------------------------------------------------------------------------------

void* ChainEnds::lookUpLast(const void* first) const {
    const Entry* entry = find(address(first));
    if (!entry || !(entry->partner & kIsFirst)) return nullptr;
    return reinterpret_cast<void*>(entry->partner & ~kIsFirst);
}

void ChainEnds::remember(void* first, void* last) {
    allocated(first);
    allocated(last);
    if (!hotFirst_) {
        hotFirst_ = first;
        hotLast_ = last;
    } else if (reservePair()) {
        insertPair(first, last);
    }
}

void ChainEnds::appendedInTable(void* first, void* node) {
    Entry* entry = find(address(first));
    const std::uintptr_t last = entry->partner & ~kIsFirst;
    entry->partner = address(node) | kIsFirst;
    erase(find(last));
    insert(address(node), address(first));
    used(first, node);
}

void ChainEnds::unlinkedInTable(void* node, void* before, void* after) {
    const Entry* entry = find(address(node));
    if (!entry) return;
    const bool isFirst = entry->partner & kIsFirst;
    void* const partner = reinterpret_cast<void*>(entry->partner & ~kIsFirst);
    void* const now = isFirst ? after : before;
    if (!now || now == partner) {
        drop(node);
        return;
    }
    replace(node, now);
    if (!isFirst) return;
    if (recent_ == node) recent_ = after;
    used(after, partner);
}

// Puts `now` into the place of `node` in its pair, if it has one.
void ChainEnds::replace(const void* node, void* now) {
    allocated(now);
    Entry* entry = entries_ ? find(address(node)) : nullptr;
    if (!entry) return;
    const std::uintptr_t partner = entry->partner;
    Entry* other = find(partner & ~kIsFirst);
    other->partner = address(now) | (other->partner & kIsFirst);
    erase(entry);
    insert(address(now), partner);
}

void ChainEnds::drop(const void* node) {
    Entry* entry = find(address(node));
    if (!entry) return;
    erasePair(entry);
    releaseIfEmpty();
}

// A pair of the table that is used again and again becomes the hot one.
void ChainEnds::used(void* first, void* last) {
    recentUses_ = recent_ == first ? recentUses_ + 1 : 0;
    recent_ = first;
    if (recentUses_ < kUsesInARow) return;
    recentUses_ = 0;
    erasePair(find(address(first)));
    std::swap(first, hotFirst_);
    std::swap(last, hotLast_);
    if (first) insertPair(first, last);
    releaseIfEmpty();
}

// --- Table ---------------------------------------------------------------------------------------

std::size_t ChainEnds::home(std::uintptr_t node) const {
    return static_cast<std::size_t>((std::uint64_t{node} * 0x9E3779B97F4A7C15u) >> shift_);
}

ChainEnds::Entry* ChainEnds::find(std::uintptr_t node) const {
    for (std::size_t at = home(node);; at = (at + 1) & (capacity_ - 1)) {
        if (entries_[at].node == node) return &entries_[at];
        if (entries_[at].node == 0) return nullptr;
    }
}

void ChainEnds::insertPair(void* first, void* last) {
    insert(address(first), address(last) | kIsFirst);
    insert(address(last), address(first));
}

void ChainEnds::erasePair(Entry* entry) {
    const std::uintptr_t partner = entry->partner & ~kIsFirst;
    erase(entry);
    erase(find(partner));
}

void ChainEnds::releaseIfEmpty() {
    if (used_ != 0) return;
    MA_release(entries_);
    entries_ = nullptr;
    capacity_ = 0;
}

void ChainEnds::insert(std::uintptr_t node, std::uintptr_t partner) {
    std::size_t at = home(node);
    while (entries_[at].node != 0) at = (at + 1) & (capacity_ - 1);
    entries_[at] = {node, partner};
    ++used_;
}

// Closes the gap, so that a search may stop at the first free entry.
void ChainEnds::erase(Entry* entry) {
    const std::size_t mask = capacity_ - 1;
    std::size_t gap = static_cast<std::size_t>(entry - entries_);
    for (std::size_t at = (gap + 1) & mask; entries_[at].node != 0; at = (at + 1) & mask) {
        const std::size_t distance = (at - home(entries_[at].node)) & mask;
        if (distance < ((at - gap) & mask)) continue;
        entries_[gap] = entries_[at];
        gap = at;
    }
    entries_[gap].node = 0;
    --used_;
}

// Makes room for one more pair; false without memory.
bool ChainEnds::reservePair() {
    if (used_ + 2 <= capacity_ / 2) return true;
    const std::size_t capacity = capacity_ != 0 ? 2 * capacity_ : kFirstCapacity;
    auto* entries = static_cast<Entry*>(MA_allocate(capacity * sizeof(Entry)));
    if (!entries) return false;
    std::memset(entries, 0, capacity * sizeof(Entry));
    Entry* const old = std::exchange(entries_, entries);
    const std::size_t count = std::exchange(capacity_, capacity);
    shift_ = 64 - std::countr_zero(capacity);
    used_ = 0;
    for (std::size_t i = 0; i < count; ++i)
        if (old[i].node != 0) insert(old[i].node, old[i].partner);
    MA_release(old);
    return true;
}

}  // namespace kelvo::ds
