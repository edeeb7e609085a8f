#pragma once

#include <QByteArrayView>

#include <cstdint>

namespace inspect {

/// Reads numbers of an ELF file in the file's byte order; bytes after its end are 0.
class ElfNumbers {
  public:
    explicit ElfNumbers(QByteArrayView bytes) : bytes_(bytes), isBigEndian_(byteAt(5) == 2) {}

    [[nodiscard]] std::uint32_t byteAt(qint64 at) const {
        return at >= 0 && at < bytes_.size() ? static_cast<std::uint8_t>(bytes_.at(at)) : 0;
    }
    [[nodiscard]] std::uint32_t half(qint64 at) const {
        return isBigEndian_ ? byteAt(at) << 8 | byteAt(at + 1) : byteAt(at + 1) << 8 | byteAt(at);
    }
    [[nodiscard]] std::uint32_t word(qint64 at) const {
        return isBigEndian_ ? half(at) << 16 | half(at + 2) : half(at + 2) << 16 | half(at);
    }

  private:
    QByteArrayView bytes_;
    bool isBigEndian_;
};

}  // namespace inspect
