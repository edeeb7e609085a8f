#pragma once

#include <QString>

/// The first fault of a text that was read. Nothing here prints it: whoever asked for the text knows where to show it.
struct TextFault {
    qint64 line = 0;    ///< from 1; 0 if the text as a whole is meant
    qint64 column = 0;  ///< in UTF-16 units, from 1
    QString text;       ///< one plain sentence; may quote what stands in the file, so it is no markup

    friend bool operator==(const TextFault&, const TextFault&) = default;
};

/// "line 3, column 7: text", or the text alone if it has no place.
[[nodiscard]] QString faultLine(const TextFault& fault);

/// The fault `message` at the character `offset` of `text`.
[[nodiscard]] TextFault faultAt(QStringView text, qsizetype offset, const QString& message);
