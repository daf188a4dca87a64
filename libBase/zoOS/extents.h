// Which parts of a file are in use.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <utility>

namespace kelvo::zoos {

/// The room in a file that grows and shrinks at its end. Offsets and lengths are what the caller
/// uses as its unit (whole pages); nothing here touches a file.
class Extents {
  public:
    explicit Extents(std::uint64_t begin) : end_(begin) {}

    /// Where the last part in use ends.
    std::uint64_t end() const { return end_; }
    /// Sum of the gaps before the end.
    std::uint64_t free() const { return free_; }

    /// Takes `length` from the smallest gap that has it, else at the end. Returns the offset.
    std::uint64_t take(std::uint64_t length);
    /// Takes the `more` behind a part that ends at `offset`. False when they are in use.
    bool takeAt(std::uint64_t offset, std::uint64_t more);
    /// Gives a part back; gaps that touch become one, and one at the end becomes the end.
    void give(std::uint64_t offset, std::uint64_t length);

  private:
    using Gaps = std::map<std::uint64_t, std::uint64_t>;

    void insert(std::uint64_t offset, std::uint64_t length);
    void erase(Gaps::iterator gap);

    Gaps gaps_;                                                // length by offset
    std::set<std::pair<std::uint64_t, std::uint64_t>> sizes_;  // the same, by length and offset
    std::uint64_t end_;
    std::uint64_t free_ = 0;
};

}  // namespace kelvo::zoos
