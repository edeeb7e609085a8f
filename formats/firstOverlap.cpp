#include "formats/firstOverlap.h"

#include "files/LaterRanges.h"
#include "files/segments.h"

std::optional<std::pair<std::size_t, std::size_t>> firstOverlap(const std::vector<AddressRange>& ranges) {
    std::vector<std::uint32_t> addresses;
    addresses.reserve(ranges.size());
    for (const AddressRange& range : ranges) {
        addresses.push_back(range.address);
    }
    LaterRanges later(std::move(addresses));
    std::size_t first = ranges.size();
    for (std::size_t i = ranges.size(); i-- > 0;) {
        if (later.clashWith(ranges[i].address, ranges[i].end)) {
            first = i;
        }
        later.add(ranges[i].address, ranges[i].end);
    }
    // Only this range is compared with each of its successors.
    for (std::size_t j = first + 1; j < ranges.size(); ++j) {
        if (rangesOverlap(ranges[first].address, ranges[first].end, ranges[j].address, ranges[j].end)) {
            return std::pair(first, j);
        }
    }
    return std::nullopt;
}
