#pragma once

#include <QString>

#include <cstdint>
#include <vector>

namespace inspect {

/// Addresses from `from` to the one before `to`.
struct Span {
    std::uint64_t from = 0;
    std::uint64_t to = 0;
};

/// Returns the spans sorted and disjoint, which the next two functions need.
[[nodiscard]] std::vector<Span> merged(std::vector<Span> spans);
/// The addresses in both lists.
[[nodiscard]] std::vector<Span> common(const std::vector<Span>& a, const std::vector<Span>& b);
/// The addresses in `a` that aren't in `b`.
[[nodiscard]] std::vector<Span> without(const std::vector<Span>& a, const std::vector<Span>& b);

/// Reads "FROM-TO": two hexadecimal 32-bit addresses, both included.
[[nodiscard]] bool parseSpan(const QString& text, Span& span);

}  // namespace inspect
