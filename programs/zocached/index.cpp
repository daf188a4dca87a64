#include "programs/zocached/index.h"

#include <algorithm>
#include <ctime>
#include <functional>
#include <iterator>
#include <utility>

#include "programs/zocached/log.h"

using zoUtil::Error;

namespace kelvo::zocached {
namespace {

constexpr int kEvictionsAtOnce = 64;
constexpr std::int64_t kGreatestNumber = std::int64_t{1} << 62;  // of a sound row

bool isSound(const Row& row) {
    return row.id > 0 && row.id < kGreatestNumber && row.turn >= 0 && row.turn < kGreatestNumber &&
           row.file.bytes >= 0 && row.key.size() <= kLongestPath && isEntryName(row.name);
}

}  // namespace

std::size_t Index::KeyHash::operator()(const std::string& key) const {
    return std::hash<std::string>()(key);
}

std::size_t Index::NameHash::operator()(const Entry* entry) const {
    return (*this)(entry->row.name);
}

Index::~Index() {
    order_.clear();
    for (Entry* entry : byName_) delete entry;
}

Error Index::open() {
    if (Error error = store_.open(directory_, [this](Row&& row) { readRow(std::move(row)); }))
        return error;
    for (const Row& row : doomed_) {
        Entry probe;
        probe.row.name = row.name;
        if (byName_.find(&probe) == byName_.end()) directory_.remove(row.name, row.file);
        erased_.push_back(row.id);
    }
    doomed_.clear();
    if (!erased_.empty())
        logLine(Level::kInfo, "%zu rows of the index had no file or were to be deleted",
                erased_.size());
    flush();
    return Error();
}

void Index::readRow(Row&& row) {
    if (!isSound(row)) {
        erased_.push_back(row.id);
        return;
    }
    lastId_ = std::max(lastId_, row.id);
    lastTurn_ = std::max(lastTurn_, row.turn);
    if (row.doomed) {
        doomed_.push_back(std::move(row));
        return;
    }
    const std::optional<FileState> file = directory_.look(row.name);
    if (!file || find(row.key) != nullptr) {
        erased_.push_back(row.id);
        return;
    }
    auto entry = std::make_unique<Entry>();
    entry->row = std::move(row);
    Entry& entered = *entry;
    enter(std::move(entry));
    setFile(entered, *file);
}

void Index::setLimits(const Limits& limits) {
    limits_ = limits;
}

void Index::fileGone(const std::string& name) {
    Entry probe;
    probe.row.name = name;
    const auto [first, last] = byName_.equal_range(&probe);
    std::vector<Entry*> gone;
    std::copy_if(first, last, std::back_inserter(gone),
                 [](const Entry* entry) { return entry->isListed; });
    for (Entry* entry : gone)
        if (!refresh(*entry)) unlist(*entry);
}

Entry* Index::find(const std::string& key) const {
    const auto place = byKey_.find(key);
    return place == byKey_.end() ? nullptr : *place;
}

void Index::enter(std::unique_ptr<Entry> entry) {
    Entry& entered = *entry;
    byName_.insert(&entered);
    entry.release();
    byKey_.insert(&entered);
    order_.insert(order_.end(), entered);
    ++figures_.entries;
    figures_.bytes += entered.row.file.bytes;
}

// From now on the entry is not found; it ends at once or with its last holder.
void Index::unlist(Entry& entry) {
    byKey_.erase(&entry);
    if (entry.holders == 0) order_.erase(order_.iterator_to(entry));
    --figures_.entries;
    figures_.bytes -= entry.row.file.bytes;
    entry.isListed = false;
    entry.row.doomed = true;
    markDirty(entry);
    if (entry.holders == 0) drop(entry);
}

// The file goes first: a row without a file is recognised at the next start.
void Index::drop(Entry& entry) {
    const auto [first, last] = byName_.equal_range(&entry);
    const bool isShared = std::next(first) != last;
    byName_.erase(std::find(first, last, &entry));
    if (!isShared && !directory_.remove(entry.row.name, entry.row.file))
        logLine(Level::kWarning, "cannot delete \"%s\"", entry.row.name.c_str());
    markClean(entry);
    erased_.push_back(entry.row.id);
    delete &entry;
}

void Index::setFile(Entry& entry, const FileState& file) {
    if (entry.row.file.isSameFile(file) && entry.row.file.bytes == file.bytes) return;
    if (entry.isListed) figures_.bytes += file.bytes - entry.row.file.bytes;
    entry.row.file = file;
    markDirty(entry);
}

// Takes notice of what has become of the file. False when it has gone.
bool Index::refresh(Entry& entry) {
    const std::optional<FileState> file = directory_.look(entry.row.name);
    if (file) setFile(entry, *file);
    return file.has_value();
}

void Index::touch(Entry& entry, std::int64_t accessed, std::int64_t turn) {
    if (entry.holders == 0) order_.erase(order_.iterator_to(entry));
    entry.row.accessed = accessed;
    entry.row.turn = turn;
    if (entry.holders == 0) order_.insert(order_.end(), entry);
}

void Index::markDirty(Entry& entry) {
    if (entry.dirtyPlace >= 0) return;
    entry.dirtyPlace = static_cast<int>(dirty_.size());
    dirty_.push_back(&entry);
}

void Index::markClean(Entry& entry) {
    if (entry.dirtyPlace < 0) return;
    Entry* const last = dirty_.back();
    dirty_[static_cast<std::size_t>(entry.dirtyPlace)] = last;
    last->dirtyPlace = entry.dirtyPlace;
    entry.dirtyPlace = -1;
    dirty_.pop_back();
}

void Index::hold(Holder& holder, Entry& entry) {
    Holder::Held& held = holder.held_[entry.row.key];
    ++held.count;
    ++holder.count_;
    ++figures_.holds;
    if (std::find(held.entries.begin(), held.entries.end(), &entry) != held.entries.end()) return;
    held.entries.push_back(&entry);
    if (entry.holders++ == 0) order_.erase(order_.iterator_to(entry));
}

// Whether an entry has ended with that.
bool Index::letGo(const Holder::Held& held) {
    bool isAnyOver = false;
    for (Entry* entry : held.entries) {
        if (--entry->holders > 0) continue;
        if (entry->isListed) order_.insert(*entry);
        if (entry->isListed && refresh(*entry)) continue;
        isAnyOver = true;
        entry->isListed ? unlist(*entry) : drop(*entry);
    }
    return isAnyOver;
}

const Entry* Index::acquire(Holder& holder, const std::string& key) {
    Entry* const entry = find(key);
    if (entry == nullptr || (!isWatched_ && !refresh(*entry))) {
        if (entry != nullptr) unlist(*entry);
        ++figures_.misses;
        return nullptr;
    }
    hold(holder, *entry);
    ++figures_.hits;
    return entry;
}

// An end that has been answered must not be forgotten if the server is killed: others may write a new
// file of that name, which is nothing of this key's, or have the file that was removed.
bool Index::release(Holder& holder, const std::string& key, bool remove) {
    bool isAnyOver = false;
    const auto place = holder.held_.find(key);
    const bool isHeld = place != holder.held_.end();
    if (isHeld) {
        --holder.count_;
        --figures_.holds;
    }
    if (isHeld && --place->second.count == 0) {
        const Holder::Held held = std::move(place->second);
        holder.held_.erase(place);
        isAnyOver = letGo(held);
    }
    Entry* const entry = remove ? find(key) : nullptr;
    if (entry != nullptr) unlist(*entry);
    if (entry != nullptr || isAnyOver) flush();
    return isHeld || entry != nullptr;
}

void Index::setAccessed(const std::string& key) {
    Entry* const entry = find(key);
    if (entry == nullptr) return;
    touch(*entry, std::time(nullptr), ++lastTurn_);
    markDirty(*entry);
}

void Index::endHolder(Holder& holder) {
    bool isAnyOver = false;
    for (const auto& [key, held] : holder.held_) isAnyOver |= letGo(held);
    if (isAnyOver) flush();
    figures_.holds -= holder.count_;
    holder.held_.clear();
    holder.count_ = 0;
}

bool Index::isInDoubt(const std::string& key) const {
    return std::any_of(staged_.begin(), staged_.end(),
                       [&](const Staged& staged) { return staged.row.key == key; });
}

bool Index::add(Holder& holder, const std::string& key, const std::string& name) {
    std::optional<FileState> file;
    if (key.size() <= kLongestPath && isEntryName(name)) file = directory_.lookClosely(name);
    if (!file || !begin()) {
        ++figures_.refused;
        return false;
    }
    Staged staged;
    staged.holder = &holder;
    Entry* const present = find(key);
    if (present != nullptr && present->row.name == name) {
        staged.target = present;
        staged.row = present->row;
    } else {
        staged.replaced = present;
        staged.row.id = ++lastId_;
        staged.row.key = key;
        staged.row.name = name;
    }
    staged.row.file = *file;
    staged.row.accessed = std::time(nullptr);
    staged.row.turn = ++lastTurn_;
    return stage(std::move(staged));
}

bool Index::stage(Staged staged) {
    bool good = !hasFailed_;
    if (good) good = staged.target ? store_.update(staged.row) : store_.insert(staged.row);
    if (good && staged.replaced != nullptr) {
        Row doomed = staged.replaced->row;
        doomed.doomed = true;
        good = store_.update(doomed);
    }
    hasFailed_ = !good;
    staged_.push_back(std::move(staged));
    return good;
}

bool Index::commitAdds() {
    if (staged_.empty() && !inTransaction_) return true;
    std::vector<Staged> staged;
    staged.swap(staged_);
    if (!commit()) {
        figures_.refused += static_cast<std::int64_t>(staged.size());
        return false;
    }
    for (Staged& s : staged) apply(s);
    return true;
}

void Index::apply(Staged& staged) {
    ++figures_.adds;
    Entry* entry = staged.target;
    if (entry != nullptr) {
        figures_.bytes += staged.row.file.bytes - entry->row.file.bytes;
        entry->row.file = staged.row.file;
        touch(*entry, staged.row.accessed, staged.row.turn);
    } else {
        if (staged.replaced != nullptr) unlist(*staged.replaced);
        auto made = std::make_unique<Entry>();
        made->row = std::move(staged.row);
        entry = made.get();
        enter(std::move(made));
    }
    hold(*staged.holder, *entry);
}

// A transaction takes what else the store does not know yet with it.
bool Index::begin() {
    if (inTransaction_) return true;
    hasFailed_ = !store_.begin();
    inTransaction_ = !hasFailed_;
    for (std::size_t i = 0; i < dirty_.size() && !hasFailed_; ++i)
        hasFailed_ = !store_.update(dirty_[i]->row);
    for (std::size_t i = 0; i < erased_.size() && !hasFailed_; ++i)
        hasFailed_ = !store_.erase(erased_[i]);
    if (hasFailed_) giveUp();
    return inTransaction_;
}

bool Index::commit() {
    if (hasFailed_ || !store_.commit()) {
        giveUp();
        return false;
    }
    inTransaction_ = false;
    for (Entry* entry : dirty_) entry->dirtyPlace = -1;
    dirty_.clear();
    erased_.clear();
    if (isFailing_) logLine(Level::kWarning, "the index can be written again");
    isFailing_ = false;
    return true;
}

void Index::giveUp() {
    if (!isFailing_)
        logLine(Level::kWarning, "cannot write the index: %s", store_.failure().c_str());
    isFailing_ = true;
    const bool isDamaged = store_.isDamaged();
    store_.rollback();
    inTransaction_ = false;
    hasFailed_ = false;
    if (isDamaged) repairStore();
}

// What is in memory is right: the damaged file makes room for a new one.
void Index::repairStore() {
    if (Error error = store_.replace(directory_)) {
        logLine(Level::kError, "%s", error.message().c_str());
        return;
    }
    bool good = store_.begin();
    for (Entry* entry : byName_) good = good && store_.insert(entry->row);
    if (!good || !store_.commit()) {
        store_.rollback();
        return;
    }
    for (Entry* entry : dirty_) entry->dirtyPlace = -1;
    dirty_.clear();
    erased_.clear();
    logLine(Level::kWarning, "the index has been written anew");
}

void Index::keepFile() {
    if (!directory_.look(kIndexName)) repairStore();
}

bool Index::exceeds() const {
    return (limits_.entries > 0 && figures_.entries > limits_.entries) ||
           (limits_.bytes > 0 && figures_.bytes > limits_.bytes);
}

bool Index::evictSome() {
    for (int count = 0; exceeds() && !order_.empty(); ++count) {
        if (count == kEvictionsAtOnce) return true;
        unlist(*order_.begin());
        ++figures_.evictions;
    }
    return false;
}

bool Index::flush() {
    if (!needsFlush() || inTransaction_) return !needsFlush();
    return begin() && commit();
}

}  // namespace kelvo::zocached
