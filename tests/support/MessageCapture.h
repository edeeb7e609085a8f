#pragma once

#include <string>
#include <utility>
#include <vector>

/// Collects every message from its construction to its destruction, prefix included, in UTF-8.
class MessageCapture {
  public:
    MessageCapture();
    ~MessageCapture();
    MessageCapture(const MessageCapture&) = delete;
    MessageCapture& operator=(const MessageCapture&) = delete;

    /// All texts so far, whatever their kinds.
    [[nodiscard]] std::vector<std::string> texts() const;
    /// The texts of one kind.
    [[nodiscard]] std::vector<std::string> texts(int kind) const;
    /// All messages so far as (kind, text).
    [[nodiscard]] const std::vector<std::pair<int, std::string>>& messages() const;
    void clear();
};
