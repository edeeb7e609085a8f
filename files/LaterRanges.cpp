#include "files/LaterRanges.h"

#include <algorithm>

void LaterRanges::Ends::add(const Ends& other) {
    lowest = std::min(lowest, other.lowest);
    highest = std::max(highest, other.highest);
}

LaterRanges::LaterRanges(std::vector<std::uint32_t> addresses)
    : addresses_(std::move(addresses)), nodes_(2 * addresses_.size()) {
    std::sort(addresses_.begin(), addresses_.end());
}

// Ranges with equal addresses share a leaf: a query covers all of them or none.
void LaterRanges::add(std::uint32_t address, std::uint32_t end) {
    for (std::size_t node = firstFrom(address) + addresses_.size(); node > 0; node /= 2) {
        nodes_[node].add({end, end});
    }
}

bool LaterRanges::clashWith(std::uint32_t address, std::uint32_t end) const {
    const std::size_t same = firstFrom(address);
    const std::size_t above = firstAbove(address);
    return endsAmong(above, addresses_.size()).lowest < end   //
           || endsAmong(above, firstFrom(end)).highest > end  //
           || endsAmong(same, above).highest > address        //
           || endsAmong(same, above).lowest < end             //
           || endsAmong(0, same).highest > address            //
           || endsAmong(0, std::min(same, firstFrom(end))).highest > end;
}

std::size_t LaterRanges::firstFrom(std::uint32_t address) const {
    const auto place = std::lower_bound(addresses_.begin(), addresses_.end(), address);
    return static_cast<std::size_t>(place - addresses_.begin());
}

std::size_t LaterRanges::firstAbove(std::uint32_t address) const {
    const auto place = std::upper_bound(addresses_.begin(), addresses_.end(), address);
    return static_cast<std::size_t>(place - addresses_.begin());
}

// Returns the lowest and the highest end among the leaves from `first` to `last` - 1.
LaterRanges::Ends LaterRanges::endsAmong(std::size_t first, std::size_t last) const {
    Ends ends;
    first += addresses_.size();
    last += addresses_.size();
    for (; first < last; first /= 2, last /= 2) {
        if (first % 2 == 1) {
            ends.add(nodes_[first++]);
        }
        if (last % 2 == 1) {
            ends.add(nodes_[--last]);
        }
    }
    return ends;
}
