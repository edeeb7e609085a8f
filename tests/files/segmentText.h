#pragma once

#include "files/FileData.h"

#include <QStringList>

#include <string>

/// The segments as "address:bytes" in hexadecimal, separated by blanks. Adds `segmentCount` if it isn't the number of
/// segments.
inline std::string segmentText(const FileData& file) {
    QStringList texts;
    for (const FileSegment& segment : file.segments) {
        const bool whole = segment.data.size() >= static_cast<qsizetype>(segment.size);
        const QByteArray bytes = whole ? segment.data.first(segment.size).toHex() : QByteArray("too short");
        texts.append(QString::number(segment.address, 16) + QLatin1Char(':') + QString::fromLatin1(bytes));
    }
    if (file.segmentCount != file.segments.size()) {
        texts.append(QStringLiteral("count %1").arg(file.segmentCount));
    }
    return texts.join(QLatin1Char(' ')).toStdString();
}
