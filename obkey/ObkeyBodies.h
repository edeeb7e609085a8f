#pragma once

#include "obkey/Imgtool.h"
#include "obkey/ObdataTemplate.h"
#include "obkey/PasswordMask.h"

#include <QByteArray>

namespace obkey {

/// The bytes that the parameters of a template produce. They may contain private keys and passwords.
struct ObkeyBodies {
    QByteArray mainBody;
    QByteArray daBody;
    /// The size that alignment uses, modulo 65536. It may differ from the size of mainBody: a `Text`, for example,
    /// isn't counted.
    std::uint16_t runningSize = 0;
    QString outputPath;
    bool holdsSecret = false;  ///< whether the bodies contain a private key or a password in clear text

    /// Reserves room in both bodies for a parameter of `size` bytes and its padding, so that appending leaves no copies
    /// in memory. False if there isn't enough memory.
    [[nodiscard]] bool makeRoom(qsizetype size);

    /// Adds `bytes`, which may be negative, to `runningSize`.
    void count(qsizetype bytes) {
        runningSize = static_cast<std::uint16_t>((static_cast<std::uint64_t>(bytes) + runningSize) & 0xFFFF);
    }
};

/// The values that all parameters of a template share. The bytes of a parameter depend on them.
struct ObkeySurroundings {
    const QList<ObkeyParam>& params;  ///< all parameters of the template
    const PasswordMask& passwords;
    const QString xmlFolder;
    const bool daMode;
    const bool rawOutput;  ///< whether the output has no header; its name then ends with "bin"
    Imgtool& imgtool;
};

inline constexpr qsizetype sha256Size = 32;

/// The SHA-256 (FIPS 180-4) of `bytes`.
[[nodiscard]] QByteArray sha256(const QByteArray& bytes);

}  // namespace obkey
