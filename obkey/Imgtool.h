#pragma once

#include "files/FileHandle.h"

#include <QByteArray>
#include <QProcess>
#include <QString>
#include <QStringList>

namespace obkey {

/// The result of a run of imgtool.
struct ImgtoolAnswer {
    bool ended = false;   ///< whether the program started and is no longer running
    bool failed = false;  ///< whether it ended with a status other than 0, or by a signal
    QByteArray output;    ///< standard output and standard error, merged
};

/// The program imgtool. An Imgtool object has at most one running process.
class Imgtool {
  public:
    explicit Imgtool(const QString& imgtoolPath) : imgtoolPath_(imgtoolPath) {}

    [[nodiscard]] const QString& path() const { return imgtoolPath_; }

    /// Runs imgtool with closed standard input and waits until it ends. There is no time limit.
    [[nodiscard]] ImgtoolAnswer run(const QStringList& arguments);

  private:
    void collect(const FileHandle& pipe, QByteArray& output);

    QString imgtoolPath_;
    QProcess process_;
};

/// Displays the output of imgtool, unless it is empty. The error message that follows doesn't contain this output.
void showImgtoolAnswer(const QByteArray& output);

/// The bytes of the C array that imgtool prints for a key. Empty unless `output` consists of exactly one such array.
[[nodiscard]] QByteArray imgtoolArrayBytes(const QByteArray& output);

/// Writes an argument of 255 characters or more with doubled backslashes as separators. The absolute path of an
/// existing file also gets the prefix of an extended-length path of Windows.
void extendedArgument(QString& argument);

/// The arguments in the form that programs of this system accept. On Windows, extendedArgument changes long ones;
/// elsewhere, all arguments are unchanged.
[[nodiscard]] QStringList platformArguments(QStringList arguments);

}  // namespace obkey
