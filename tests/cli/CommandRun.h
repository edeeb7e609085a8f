#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

/// Status and output of one run of the built tool.
struct CommandResult {
    int status = -1;  ///< -1: it crashed or didn't start
    QByteArray output;

    /// The output after the banner. Lines are joined by " | "; trailing blanks are removed.
    [[nodiscard]] std::string body() const;
};

/// Runs the built tool in `folder`. The child process calls `prepare`, if given, before it starts the tool.
[[nodiscard]] CommandResult runCommand(const QString& folder, const QStringList& arguments,
                                       void (*prepare)() = nullptr);

/// Splits a command line at blanks outside of double quotes.
[[nodiscard]] QStringList splitArguments(const QString& line);
