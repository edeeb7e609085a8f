#pragma once

#include "display/Display.h"

#include <string>
#include <utility>
#include <vector>

/// Collects every message from its construction to its destruction, prefix included, in UTF-8. Then the callback that
/// was there before takes them again, so captures can nest.
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

  private:
    DisplayCallback before_;
    std::vector<std::pair<int, std::string>> capturedBefore_;
};
