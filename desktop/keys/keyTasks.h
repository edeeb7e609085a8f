#pragma once

#include <QString>
#include <QStringList>

#include <atomic>
#include <cstdint>

namespace desktop {

enum class KeyTask { randomFile, curvePair, rsaPair, publicKeyHash };

/// A task with its files and parameters.
struct KeyRequest {
    KeyTask task = KeyTask::randomFile;
    QString path;            ///< the random file, the private key, or the key to hash
    QString publicPath;      ///< the public key of a pair
    qsizetype size = 0;      ///< the size of a random file
    std::int32_t curve = 0;  ///< the curve of a pair, in the numbering of EC_Crypto
    QStringList replaced;    ///< the files that the user allowed to be replaced
};

/// The result of a task.
struct KeyAnswer {
    QString fault;      ///< one sentence; empty after a success
    QStringList files;  ///< the files that were made
    QString pointHash;  ///< SHA-256 of the public point in hexadecimal, for curves of 256 bits
    QString keyHash;    ///< SHA-256 of the whole DER of the public key
};

/// Performs `request`. Run it on a thread of its own, because an RSA pair takes seconds. If one of the paths exists and
/// isn't listed in `replaced`, the file stays and nothing is made. If `isGivenUp` becomes true while a pair is
/// generated, nothing is written.
[[nodiscard]] KeyAnswer runKeyTask(const KeyRequest& request, const std::atomic<bool>& isGivenUp);

/// The output files of `request` that exist already.
[[nodiscard]] QStringList existingOutputs(const KeyRequest& request);

}  // namespace desktop
