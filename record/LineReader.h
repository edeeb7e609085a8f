#pragma once

#include <QByteArray>
#include <QIODevice>

namespace record {

/// The longest line that is read.
inline constexpr qsizetype mostLineBytes = qsizetype{64} << 20;

/// Reads lines that end with a line feed. Its memory is bounded by the longest line.
class LineReader {
  public:
    explicit LineReader(QIODevice& device, qsizetype mostBytes = mostLineBytes)
        : device_(device), mostBytes_(mostBytes) {}

    enum class Next {
        line,
        end,
        torn,     ///< there are bytes after the last line feed
        tooLong,  ///< the line has more than the permitted bytes
        failed,   ///< the device can't be read
    };
    /// Reads the next line, which is without its line feed and valid until the next call.
    [[nodiscard]] Next next(QByteArrayView& line);

  private:
    [[nodiscard]] bool readMore(bool& isEnd);

    QIODevice& device_;
    qsizetype mostBytes_;
    QByteArray buffer_;
    qsizetype start_ = 0;    ///< offset of the next line in `buffer_`
    qsizetype scanned_ = 0;  ///< no line feed is between `start_` and here
};

}  // namespace record
