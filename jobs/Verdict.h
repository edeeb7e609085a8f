#pragma once

#include <QString>

namespace jobs {

/// The verdict on a value that the user entered.
struct Verdict {
    enum class Kind {
        good,
        warning,  ///< good, but the user should read the text
        missing,  ///< empty, but needed: not a fault until the user presses Run
        fault,
    };

    Kind kind = Kind::good;
    /// One sentence. For a good value it is a finding such as "ELF, 2 segments, 41,984 bytes", or empty.
    QString text;
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

}  // namespace jobs
