#pragma once

#include <QString>

namespace devices {

/// The first fault of a text. The functions of this folder don't print it; the caller knows where to display it.
struct TextFault {
    qint64 line = 0;    ///< from 1; 0 for a fault of the text as a whole
    qint64 column = 0;  ///< in UTF-16 units, from 1
    QString text;       ///< one sentence that may quote the file; windows display it as plain text

    friend bool operator==(const TextFault&, const TextFault&) = default;
};

/// "line 3, column 7: text", or only the text for a fault of the text as a whole.
[[nodiscard]] QString faultLine(const TextFault& fault);

/// The fault `message` at the character `offset` of `text`.
[[nodiscard]] TextFault faultAt(QStringView text, qsizetype offset, const QString& message);

}  // namespace devices
