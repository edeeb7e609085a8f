#pragma once

#include <QByteArrayView>

#include <cstdint>

/// A bounds-checked little-endian cursor over bytes that it doesn't own.
///
/// It keeps its first failure: a read past the end returns zeros (or an empty view), doesn't move the cursor and makes
/// ok() false from then on. A caller can read a whole header and check once.
class ByteReader {
  public:
    explicit ByteReader(QByteArrayView bytes) : bytes_(bytes) {}

    [[nodiscard]] bool ok() const { return ok_; }
    [[nodiscard]] bool atEnd() const { return position_ == bytes_.size(); }
    [[nodiscard]] qsizetype position() const { return position_; }
    [[nodiscard]] qsizetype remaining() const { return bytes_.size() - position_; }

    /// Moves to `position`, counted from the start; a position past the end is a failure.
    void seek(qsizetype position) {
        if (ok_ && position >= 0 && position <= bytes_.size()) {
            position_ = position;
        } else {
            ok_ = false;
        }
    }
    void skip(qsizetype count) { static_cast<void>(take(count)); }

    /// Returns a view of the next `count` bytes.
    [[nodiscard]] QByteArrayView take(qsizetype count) {
        if (!ok_ || count < 0 || count > remaining()) {
            ok_ = false;
            return {};
        }
        const QByteArrayView taken = bytes_.sliced(position_, count);
        position_ += count;
        return taken;
    }

    [[nodiscard]] std::uint8_t u8() { return static_cast<std::uint8_t>(number(1)); }
    [[nodiscard]] std::uint16_t u16() { return static_cast<std::uint16_t>(number(2)); }
    [[nodiscard]] std::uint32_t u32() { return number(4); }

  private:
    [[nodiscard]] std::uint32_t number(qsizetype width) {
        std::uint32_t value = 0;
        const QByteArrayView taken = take(width);
        for (qsizetype i = taken.size(); i > 0; --i) {
            value = (value << 8) | static_cast<std::uint8_t>(taken.at(i - 1));
        }
        return value;
    }

    QByteArrayView bytes_;
    qsizetype position_ = 0;
    bool ok_ = true;
};
