#include "libBase/zoOS/extents.h"

#include <iterator>

namespace kelvo::zoos {

void Extents::insert(std::uint64_t offset, std::uint64_t length) {
    if (length == 0) return;
    gaps_.emplace(offset, length);
    sizes_.emplace(length, offset);
    free_ += length;
}

void Extents::erase(Gaps::iterator gap) {
    free_ -= gap->second;
    sizes_.erase({gap->second, gap->first});
    gaps_.erase(gap);
}

std::uint64_t Extents::take(std::uint64_t length) {
    const auto smallest = sizes_.lower_bound({length, 0});
    if (smallest == sizes_.end()) {
        end_ += length;
        return end_ - length;
    }
    const auto [size, offset] = *smallest;
    erase(gaps_.find(offset));
    insert(offset + length, size - length);
    return offset;
}

bool Extents::takeAt(std::uint64_t offset, std::uint64_t more) {
    if (offset == end_) {
        end_ += more;
        return true;
    }
    const auto gap = gaps_.find(offset);
    if (gap == gaps_.end() || gap->second < more) return false;
    const std::uint64_t size = gap->second;
    erase(gap);
    insert(offset + more, size - more);
    return true;
}

void Extents::give(std::uint64_t offset, std::uint64_t length) {
    auto next = gaps_.lower_bound(offset);
    if (next != gaps_.begin()) {
        const auto previous = std::prev(next);
        if (previous->first + previous->second == offset) {
            offset = previous->first;
            length += previous->second;
            erase(previous);
        }
    }
    if (next != gaps_.end() && offset + length == next->first) {
        length += next->second;
        erase(next);
    }
    if (offset + length == end_)
        end_ = offset;
    else
        insert(offset, length);
}

}  // namespace kelvo::zoos
