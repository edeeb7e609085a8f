#pragma once

#include "devices/Device.h"
#include "devices/TextFault.h"

#include <QByteArray>
#include <QList>
#include <QString>

namespace devices {

constexpr qint64 maxOptionBytesSize = qint64{1} << 20;  ///< bytes of a table

/// A word of a table, with its text in the table.
struct OptionByte {
    QByteArray before;        ///< the text between the previous number and this one: commas, the label, blanks
    QByteArray number;        ///< the text of the number
    std::uint32_t read = 0;   ///< the value of `number`
    std::uint32_t value = 0;  ///< the new value

    /// The label without the blanks around it. It may be empty.
    [[nodiscard]] QByteArray label() const;
};

/// A table of option bytes (`.csv`) with its original text, so that editing one word changes nothing else.
struct OptionBytes {
    QList<OptionByte> words;
    QByteArray end;  ///< the text after the last number
};

/// Reads a table. Accepts and rejects the same texts as the install-image command. False at the first fault, which is
/// stored in `fault`; `table` changes only on success.
[[nodiscard]] bool readOptionBytes(const QByteArray& text, OptionBytes& table, TextFault& fault);

/// The table's text. A word with an unchanged value keeps its text. A new value is written in the base of the old one.
/// In hexadecimal and octal, it has at least as many digits as the old one.
[[nodiscard]] QByteArray writeOptionBytes(const OptionBytes& table);

/// The table of a new device. It has a line for each register, with the reset value.
[[nodiscard]] OptionBytes resetOptionBytes(const Device& device);

/// A remark about a table, for the user to check.
struct OptionBytesRemark {
    qsizetype word = -1;  ///< index of the word; -1 for a register without a word
    QString text;
};

/// The register of a device for each word of a table.
struct OptionBytesMatch {
    QList<qsizetype> registers;  ///< for each word: the index in `Device::registers`, or -1
    QList<OptionBytesRemark> remarks;
};

/// Matches words and registers by label. A device uses only the position of a word, so a label at another position than
/// in the description gets a remark. So do unknown and repeated labels, missing registers and values that don't fit.
[[nodiscard]] OptionBytesMatch matchOptionBytes(const OptionBytes& table, const Device& device);

}  // namespace devices
