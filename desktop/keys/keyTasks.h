#pragma once

#include <QString>
#include <QStringList>

#include <atomic>
#include <cstdint>

enum class KeyTask { randomFile, curvePair, rsaPair, publicKeyHash };

/// What is to be made, or for a hash to be read.
struct KeyRequest {
    KeyTask task = KeyTask::randomFile;
    QString path;            ///< of the random file, the private key, or the key to hash
    QString publicPath;      ///< of a pair
    qsizetype size = 0;      ///< of a random file
    std::int32_t curve = 0;  ///< of a pair, as EC_Crypto numbers it
    QStringList replaced;    ///< files that the user lets go
};

/// What came of it.
struct KeyAnswer {
    QString fault;      ///< one sentence; empty after a success
    QStringList files;  ///< that were made
    QString pointHash;  ///< SHA-256 over the public point, in hexadecimal; for curves of 256 bits
    QString keyHash;    ///< SHA-256 over the public key's whole DER
};

/// Does what `request` says; an RSA pair takes seconds, so it belongs on a thread of its own. A file that stands at one
/// of the paths without being listed in `replaced` stays, and nothing is made. Once `isGivenUp`, nothing is written any
/// more.
[[nodiscard]] KeyAnswer runKeyTask(const KeyRequest& request, const std::atomic<bool>& isGivenUp);

/// The files of `request` that exist already.
[[nodiscard]] QStringList existingOutputs(const KeyRequest& request);
