#pragma once

#include <QByteArray>

/// The lines of an answer of imgtool about a private key that say why there is none: those that begin with "Error" or
/// "Exception: ", and the last one if it is an exception of Python or a plain sentence. No other line may reach the
/// console and the log: it may be the key in a form that nobody expected.
[[nodiscard]] QByteArray imgtoolReason(const QByteArray& output);
