#pragma once

#include <cstdint>
#include <vector>

/// Answers whether an address range clashes with any of a growing set of ranges, in log n steps.
///
/// The rule, rangesOverlap(), compares two ranges by the order of their start addresses and by their ends. To compare
/// one range with many, it is enough to know the lowest and the highest end of the ranges that start between two
/// addresses, for a few pairs of addresses. A segment tree over the start addresses gives these ends.
class LaterRanges {
  public:
    /// `addresses`: the start of every range that will be added; any order, repeats allowed.
    explicit LaterRanges(std::vector<std::uint32_t> addresses);

    void add(std::uint32_t address, std::uint32_t end);

    /// Whether rangesOverlap(address, end, ...) holds for any range added so far.
    [[nodiscard]] bool clashWith(std::uint32_t address, std::uint32_t end) const;

  private:
    /// The lowest and the highest of a set of ends. The values of an empty set make every comparison in clashWith()
    /// false.
    struct Ends {
        std::uint32_t lowest = UINT32_MAX;
        std::uint32_t highest = 0;

        void add(const Ends& other);
    };

    [[nodiscard]] std::size_t firstFrom(std::uint32_t address) const;
    [[nodiscard]] std::size_t firstAbove(std::uint32_t address) const;
    [[nodiscard]] Ends endsAmong(std::size_t first, std::size_t last) const;

    std::vector<std::uint32_t> addresses_;  ///< ascending
    std::vector<Ends> nodes_;               ///< leaves from addresses_.size() on; the parent of node n is node n / 2
};
