// Which blocks of memory are ours.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace kelvo::ma {

// The addresses of the live tracked blocks: a bit for each granule, kept for each region of 64 KiB
// in which there was a block. Neighbouring blocks share a cache line here as well, which a table of
// the addresses themselves cannot offer. Not for several threads at once.
class BlockSet {
  public:
    std::size_t size() const { return size_; }

    /// False only when there is no memory. An address that is there already belonged to a block
    /// released by plain free; the new block takes its place.
    bool insert(const void* block) {
        Region* region = find(numberOf(block));
        if (region == nullptr) region = add(numberOf(block));
        if (region == nullptr) return false;
        const std::uint64_t bit = bitOf(block);
        std::uint64_t& word = wordOf(*region, block);
        const bool isNew = (word & bit) == 0;
        word |= bit;
        region->blocks += isNew;
        size_ += isNew;
        return true;
    }

    void erase(const void* block) {
        Region* region = find(numberOf(block));
        if (region == nullptr) return;
        const std::uint64_t bit = bitOf(block);
        std::uint64_t& word = wordOf(*region, block);
        const bool wasThere = (word & bit) != 0;
        word &= ~bit;
        region->blocks -= wasThere;
        size_ -= wasThere;
    }

  private:
    // Whatever the allocator, blocks start at multiples of this.
    static constexpr std::size_t kGranule = 8;
    static constexpr int kRegionShift = 16;  // log2 of the bytes in a region
    static constexpr std::size_t kWords = (std::size_t{1} << kRegionShift) / kGranule / 64;

    struct Region {
        std::uint64_t words[kWords];
        std::uint32_t blocks;  // bits set
    };
    struct Slot {
        std::uintptr_t number;  // address / 64 KiB
        Region* region;         // owned; null: empty slot
    };

    static std::uintptr_t numberOf(const void* block) {
        return reinterpret_cast<std::uintptr_t>(block) >> kRegionShift;
    }
    static std::size_t granuleOf(const void* block) {
        return reinterpret_cast<std::uintptr_t>(block) / kGranule;
    }
    static std::uint64_t bitOf(const void* block) {
        return std::uint64_t{1} << (granuleOf(block) % 64);
    }
    static std::uint64_t& wordOf(Region& region, const void* block) {
        return region.words[granuleOf(block) / 64 % kWords];
    }

    // The slot of the region, or the empty one where it belongs (linear probing).
    Slot& slotOf(std::uintptr_t number) const {
        // Multiplicative hashing: the top bits of the product.
        std::size_t i = (std::uint64_t{number} * 0x9E3779B97F4A7C15u) >> shift_;
        while (slots_[i].region != nullptr && slots_[i].number != number)
            i = (i + 1) & (capacity_ - 1);
        return slots_[i];
    }

    Region* find(std::uintptr_t number) {
        if (last_.number == number) return last_.region;
        if (capacity_ == 0) return nullptr;
        const Slot& slot = slotOf(number);
        if (slot.region != nullptr) last_ = slot;
        return slot.region;
    }

    Region* add(std::uintptr_t number) {
        if (2 * (used_ + 1) > capacity_ && !rebuild()) return nullptr;
        auto* region = static_cast<Region*>(std::calloc(1, sizeof(Region)));
        if (region == nullptr) return nullptr;
        ++used_;
        slotOf(number) = {number, region};
        return region;
    }

    // Makes room for as many regions again, without those that have become empty.
    bool rebuild() {
        const BlockSet old = *this;
        std::size_t live = 0;
        for (std::size_t i = 0; i < old.capacity_; ++i)
            live += old.slots_[i].region != nullptr && old.slots_[i].region->blocks != 0;
        std::size_t capacity = 64;
        int shift = 64 - 6;
        for (; capacity < 4 * (live + 1); capacity *= 2) --shift;
        auto* slots = static_cast<Slot*>(std::calloc(capacity, sizeof(Slot)));
        if (slots == nullptr) return false;
        *this = {};
        slots_ = slots;
        capacity_ = capacity;
        shift_ = shift;
        used_ = live;
        size_ = old.size_;
        for (std::size_t i = 0; i < old.capacity_; ++i) {
            const Slot& slot = old.slots_[i];
            if (slot.region != nullptr && slot.region->blocks != 0)
                slotOf(slot.number) = slot;
            else
                std::free(slot.region);
        }
        std::free(old.slots_);
        return true;
    }

    Slot* slots_ = nullptr;     // owned; capacity_ entries, at most half of them in use
    std::size_t capacity_ = 0;  // power of two
    std::size_t used_ = 0;      // regions
    std::size_t size_ = 0;      // blocks
    int shift_ = 0;             // 64 - log2(capacity_)
    Slot last_ = {0, nullptr};  // found last; no block lies in region 0
};

}  // namespace kelvo::ma
