#pragma once

namespace cli {

/// The result of a command: the chain continues, or the run ends with a status.
class [[nodiscard]] Flow {
  public:
    static constexpr Flow goOn() { return {false, 0}; }
    static constexpr Flow end(int status) { return {true, status}; }

    [[nodiscard]] constexpr bool ends() const { return ends_; }
    [[nodiscard]] constexpr int status() const { return status_; }

  private:
    constexpr Flow(bool ends, int status) : ends_(ends), status_(status) {}

    bool ends_;
    int status_;
};

}  // namespace cli
