#pragma once

#include <QByteArray>
#include <QString>

namespace token {

/// Reads the PIN from the first line of a file that only its owner can use; "-" is standard input. False, with a
/// message, if there is no PIN. The caller wipes it.
[[nodiscard]] bool readPin(const QString& path, QByteArray& pin);

/// Asks for the PIN of the token on the terminal of this process and shows no characters. False, with a message, if
/// there is no terminal, or if the user typed nothing or interrupted the question.
[[nodiscard]] bool askForPin(const QString& tokenLabel, QByteArray& pin);

}  // namespace token
