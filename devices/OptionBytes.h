#pragma once

#include "devices/Device.h"
#include "devices/TextFault.h"

#include <QByteArray>
#include <QList>
#include <QString>

constexpr qint64 maxOptionBytesSize = qint64{1} << 20;  ///< bytes of a table

/// A word of a table, with the text that it has there.
struct OptionByte {
    QByteArray before;        ///< everything between the number before and this one: commas, the label, blanks
    QByteArray number;        ///< as it stands there
    std::uint32_t read = 0;   ///< what `number` says
    std::uint32_t value = 0;  ///< what it is to be

    /// The label without blanks around it. It may be empty.
    [[nodiscard]] QByteArray label() const;
};

/// A table of option bytes (`.csv`) which remembers how it was written, so that editing one word changes nothing else.
struct OptionBytes {
    QList<OptionByte> words;
    QByteArray end;  ///< everything behind the last number
};

/// Reads a table as the install-image command does, which takes and refuses the same texts. False at the first fault;
/// `table` is touched only on success.
[[nodiscard]] bool readOptionBytes(const QByteArray& text, OptionBytes& table, TextFault& fault);

/// The table's text. A word that has its old value has its old text; a new value is written in the base and with at
/// least the digits of the old one.
[[nodiscard]] QByteArray writeOptionBytes(const OptionBytes& table);

/// The table of a device as it comes: a line for each register, with its reset value.
[[nodiscard]] OptionBytes resetOptionBytes(const Device& device);

/// What needs a look in a table.
struct OptionBytesRemark {
    qsizetype word = -1;  ///< what it is about; -1 for a register without a word
    QString text;
};

/// Which register of a device each word of a table is.
struct OptionBytesMatch {
    QList<qsizetype> registers;  ///< for each word: the place in `Device::registers`, or -1
    QList<OptionBytesRemark> remarks;
};

/// Matches words and registers by label. A device goes by the place of a word alone, so a label in another place than
/// the description gives it is remarked, as are unknown and repeated labels, missing registers and values that don't
/// fit.
[[nodiscard]] OptionBytesMatch matchOptionBytes(const OptionBytes& table, const Device& device);
