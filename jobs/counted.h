#pragma once

#include <QLocale>
#include <QString>

/// A count in words: `one` for 1, else `many` with the number as its %1. Both are whole, so each language can say them
/// its way.
[[nodiscard]] inline QString counted(qint64 count, const QString& one, const QString& many) {
    return count == 1 ? one : many.arg(QLocale().toString(count));
}
