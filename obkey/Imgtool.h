#pragma once

#include "files/FileHandle.h"

#include <QByteArray>
#include <QProcess>
#include <QString>
#include <QStringList>

/// What came of a run of imgtool.
struct ImgtoolAnswer {
    bool ended = false;   ///< false if the program didn't start or couldn't be waited for
    bool failed = false;  ///< it ended with a status other than 0, or by a signal
    QByteArray output;    ///< both output channels, merged
};

/// The program imgtool, which runs once at a time.
class Imgtool {
  public:
    explicit Imgtool(const QString& imgtoolPath) : imgtoolPath_(imgtoolPath) {}

    [[nodiscard]] const QString& path() const { return imgtoolPath_; }

    /// Runs it and waits for its end, however long that takes. Its input is closed.
    [[nodiscard]] ImgtoolAnswer run(const QStringList& arguments);

  private:
    void collect(const FileHandle& pipe, QByteArray& output);

    QString imgtoolPath_;
    QProcess process_;
};

/// Shows what imgtool said, beside an error whose text doesn't tell it.
void showImgtoolAnswer(const QByteArray& output);

/// The bytes of the C array that imgtool prints for a key. Empty unless `output` is such an array from its first to its
/// last character.
[[nodiscard]] QByteArray imgtoolArrayBytes(const QByteArray& output);

/// Makes a long argument (255 characters or more) an extended-length path of Windows, with doubled separators.
void extendedArgument(QString& argument);

/// The arguments as this system's programs take them: long ones extended on Windows, unchanged elsewhere.
[[nodiscard]] QStringList platformArguments(QStringList arguments);
