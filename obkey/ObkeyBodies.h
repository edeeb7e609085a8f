#pragma once

#include "obkey/Imgtool.h"
#include "obkey/ObdataTemplate.h"
#include "obkey/PasswordMask.h"

#include <QByteArray>

/// What the walk over a template's parameters builds. The bodies may hold private keys and passwords.
struct ObkeyBodies {
    QByteArray mainBody;
    QByteArray daBody;
    /// What alignment counts with. It wraps, and isn't the size of mainBody: text, for one, doesn't move it.
    std::uint16_t runningSize = 0;
    QString outputPath;
    bool holdsSecret = false;  ///< a private key, or a password in clear text

    /// Gives both bodies room for a parameter of `size` bytes and the padding around it, so that nothing that is
    /// appended leaves a copy in memory. False if there is no memory for that.
    [[nodiscard]] bool makeRoom(qsizetype size);

    /// Counts `bytes`, which may be negative, modulo 65536.
    void count(qsizetype bytes) {
        runningSize = static_cast<std::uint16_t>((static_cast<std::uint64_t>(bytes) + runningSize) & 0xFFFF);
    }
};

/// What the bytes of a parameter depend on besides itself.
struct ObkeySurroundings {
    const QList<ObkeyParam>& params;  ///< all of the template
    const PasswordMask& passwords;
    const QString xmlFolder;
    const bool daMode;
    const bool rawOutput;  ///< without a header, which the output's name tells
    Imgtool& imgtool;
};

inline constexpr qsizetype sha256Size = 32;

/// The SHA-256 (FIPS 180-4) of `bytes`.
[[nodiscard]] QByteArray sha256(const QByteArray& bytes);
