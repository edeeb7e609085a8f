#pragma once

#include <cstdint>
#include <vector>

/// A growing set of address ranges. Finds in log n steps whether another range clashes with one of them.
///
/// The rule, rangesOverlap(), compares two ranges by the order of their start addresses and by their ends. Therefore
/// clashWith() doesn't compare a range with each range of the set. It only needs the lowest and the highest end of all
/// ranges whose start is in some interval. A segment tree over the start addresses gives these two ends.
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
