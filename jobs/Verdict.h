#pragma once

#include <QString>

/// What is to be said of a value that somebody entered.
struct Verdict {
    enum class Kind {
        good,
        warning,  ///< good, but there is something to know of it
        missing,  ///< empty, though something is needed: no fault before Run is pressed
        fault,
    };

    Kind kind = Kind::good;
    QString
        text;  ///< one sentence; for a good value what was found, such as "ELF, 2 segments, 41,984 bytes", or nothing
};

[[nodiscard]] inline Verdict good(const QString& text = QString()) {
    return {Verdict::Kind::good, text};
}

[[nodiscard]] inline Verdict fault(const QString& text) {
    return {Verdict::Kind::fault, text};
}

[[nodiscard]] inline Verdict missing(const QString& text) {
    return {Verdict::Kind::missing, text};
}
