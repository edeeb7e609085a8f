#pragma once

#include <QLocale>
#include <QString>

namespace jobs {

/// A text with a count: `one` for 1, otherwise `many` with the number as its %1. Both are complete texts, so that they
/// can be translated into any language.
[[nodiscard]] inline QString counted(qint64 count, const QString& one, const QString& many) {
    return count == 1 ? one : many.arg(QLocale().toString(count));
}

}  // namespace jobs
