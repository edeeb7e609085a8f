#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

/// How one run of the built tool ended, and what it printed.
struct CommandResult {
    int status = -1;  ///< -1: it crashed or didn't start
    QByteArray output;

    /// The output behind the banner, its lines joined by " | ", blanks at its end removed.
    [[nodiscard]] std::string body() const;
};

/// Runs the built tool in `folder`, after `prepare` in its process, if one is given.
[[nodiscard]] CommandResult runCommand(const QString& folder, const QStringList& arguments,
                                       void (*prepare)() = nullptr);

/// Splits a command line at blanks; double quotes keep them.
[[nodiscard]] QStringList splitArguments(const QString& line);
