#pragma once

#include "display/Display.h"

#include <string>
#include <utility>
#include <vector>

/// Collects every message during its lifetime, with its prefix, in UTF-8. The destructor restores the previous
/// callback, so captures can nest.
class MessageCapture {
  public:
    MessageCapture();
    ~MessageCapture();
    MessageCapture(const MessageCapture&) = delete;
    MessageCapture& operator=(const MessageCapture&) = delete;

    /// The texts of all messages so far.
    [[nodiscard]] std::vector<std::string> texts() const;
    /// The texts of the messages of one kind so far.
    [[nodiscard]] std::vector<std::string> texts(int kind) const;
    /// All messages so far as (kind, text).
    [[nodiscard]] const std::vector<std::pair<int, std::string>>& messages() const;
    void clear();

  private:
    DisplayCallback before_;
    std::vector<std::pair<int, std::string>> capturedBefore_;
};
