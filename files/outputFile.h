#pragma once

#include <QByteArrayView>
#include <QFileDevice>
#include <QString>

#include <functional>
#include <initializer_list>

/// An output of a command, and the message for one that couldn't be written whole.
struct OutputFile {
    const QString& path;
    QByteArrayView bytes;
    const char* writeError;
};

/// Writes what a command puts out: a warning for a file that exists, "Failed to create output file %s" for one that
/// can't be made, and its `writeError` if not every byte could be written. Files that belong together take their places
/// when all of them are written: a failure leaves older ones as they were, and no new one.
[[nodiscard]] bool writeOutputFiles(std::initializer_list<OutputFile> outputs);
[[nodiscard]] bool writeOutputFile(const QString& path, QByteArrayView bytes, const char* writeError);

/// Who may read a new file: whoever the process lets read its files, or its owner alone. An older file keeps its
/// permissions.
enum class NewFileAccess { asUsual, ownerOnly };

/// Puts `bytes` in the place of whatever stands at `path`, or leaves that as it was.
enum class ReplaceResult { done, cannotOpen, cannotWrite };
[[nodiscard]] ReplaceResult replaceFile(const QString& path, QByteArrayView bytes,
                                        NewFileAccess access = NewFileAccess::asUsual);

/// The same for a content that is written piece by piece. `writeContent` gives false when a write fails.
using ContentWriter = std::function<bool(QFileDevice& file)>;
[[nodiscard]] ReplaceResult replaceFileBy(const QString& path, const ContentWriter& writeContent,
                                          NewFileAccess access = NewFileAccess::asUsual);

/// Whether both paths lead to one file (by its device and inode), or would if it were there.
[[nodiscard]] bool isSameFile(const QString& path, const QString& other);
