#pragma once

#include <QByteArrayView>
#include <QFileDevice>
#include <QString>

#include <functional>

/// Writes `bytes` to `path`, as every command does that writes its own output: a warning if the file exists, "Failed
/// to create output file %s" if it can't be opened, and `writeError` if not every byte could be written. A failure
/// leaves an older file as it was, and no new one.
[[nodiscard]] bool writeOutputFile(const QString& path, QByteArrayView bytes, const char* writeError);

/// Puts `bytes` in the place of whatever stands at `path`, or leaves that as it was.
enum class ReplaceResult { done, cannotOpen, cannotWrite };
[[nodiscard]] ReplaceResult replaceFile(const QString& path, QByteArrayView bytes);

/// The same for a content that is written piece by piece. `writeContent` gives false when a write fails.
using ContentWriter = std::function<bool(QFileDevice& file)>;
[[nodiscard]] ReplaceResult replaceFileBy(const QString& path, const ContentWriter& writeContent);
