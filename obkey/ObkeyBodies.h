#pragma once

#include "files/readExactly.h"
#include "obkey/ObkeyParam.h"

#include <QByteArray>
#include <QProcess>
#include <QString>

#include <cstdint>

/// What the walk over a template's parameters builds.
struct ObkeyBodies {
    QByteArray mainBody;
    QByteArray daBody;
    /// What alignment counts with. It wraps, and isn't the size of mainBody: text, for one, doesn't move it.
    std::uint16_t runningSize = 0;
    QString outputPath;
    QStringList inputPaths;
    bool hasPrivateKey = false;

    /// Whether `size` bytes more can be had: an array that grows needs room beside itself.
    [[nodiscard]] bool hasRoomFor(qsizetype size) const {
        return canAllocate(3 * (mainBody.size() + daBody.size() + size));
    }

    /// Counts `bytes`, which may be negative, modulo 65536.
    void count(qsizetype bytes) {
        runningSize = static_cast<std::uint16_t>((static_cast<std::uint64_t>(bytes) + runningSize) & 0xFFFF);
    }
};

/// The SHA-256 (FIPS 180-4) of `bytes`.
[[nodiscard]] QByteArray sha256(const QByteArray& bytes);

/// Where a `File` parameter's bytes come from and how they are treated.
struct KeyFileSource {
    const QString& xmlFolder;
    const QString& imgtoolPath;
    QProcess& imgtool;
    bool daMode = false;
};

/// Appends what a `File` parameter stands for to the main body: the file's content, or for a ".pem" file the key's
/// bytes or their digest.
[[nodiscard]] bool appendKeyFile(const KeyFileSource& source, ObkeyParam& param, ObkeyBodies& bodies);
