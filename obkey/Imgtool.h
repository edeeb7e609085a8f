#pragma once

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

/// Runs `program` and waits for its end, however long that takes.
[[nodiscard]] ImgtoolAnswer runImgtool(QProcess& process, const QString& program, const QStringList& arguments);

/// Shows what imgtool said, beside an error whose text doesn't tell it.
void showImgtoolAnswer(const QByteArray& output);

/// The bytes of the C array that imgtool prints for a key. `output` may end its lines with LF or CRLF. Empty if there
/// is no array.
[[nodiscard]] QByteArray imgtoolArrayBytes(const QByteArray& output);

/// Makes a long argument (255 characters or more) an extended-length path of Windows, with doubled separators.
void extendedArgument(QString& argument);

/// The arguments as this system's programs take them: long ones extended on Windows, unchanged elsewhere.
[[nodiscard]] QStringList platformArguments(QStringList arguments);
