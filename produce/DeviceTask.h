#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

#include <cstdint>

// The messages between the runner and its workers.

namespace produce {

/// Bytes that the steps of a device read from /proc/self/fd/N, with N = firstMemoryFile + index.
inline constexpr int firstMemoryFile = 200;
/// The largest number of such files of a device.
inline constexpr qsizetype mostMemoryFiles = 64;

/// The value of a field that a device's step uses in place of the job's, as a path of a file in memory.
struct FieldPath {
    std::int32_t step = 0;
    QString field;
    QString path;
};

/// A device that a worker makes with the steps of the job.
struct DeviceTask {
    quint64 id = 0;
    QString serial;
    QStringList values;                ///< values of the job's columns
    QString folder;                    ///< a new folder, which the worker makes
    QList<QByteArray> memory;          ///< nonces and keys of the device
    QStringList noncePaths;            ///< paths of the nonces by step, as in `Device`
    QHash<QString, QString> keyPaths;  ///< paths of the keys that only this device has, by name
    QList<FieldPath> fieldPaths;
};

/// The outputs of a step, and the arguments of the opener that prove them, from "verify" on.
struct ProofTask {
    QStringList arguments;
    QStringList outputs;
    QList<QByteArray> memory;
    bool needsRulesOnly = false;  ///< nothing in the format protects its content, so good rules are enough
};

/// A file that a step read or made.
struct FileDigest {
    QString field;  ///< the field that names an input; empty for an output
    QString path;
    bool isSecret = false;  ///< the digest must not be published, since it confirms guesses
    qint64 size = 0;
    QByteArray sha256;
};

struct StepResult {
    QString name;
    bool isProven = false;
    QString reason;  ///< why it isn't proven
    qint64 milliseconds = 0;
    QList<FileDigest> inputs;
    QList<FileDigest> outputs;
};

/// The results of a device's steps, up to the first that failed.
struct DeviceResult {
    quint64 id = 0;
    bool isProven = false;
    QList<StepResult> steps;
};

/// A message as it is sent: its length in four bytes, little-endian, and its content.
[[nodiscard]] QByteArray packed(const DeviceTask& task);
[[nodiscard]] QByteArray packed(const DeviceResult& result);
[[nodiscard]] QByteArray packed(const ProofTask& task);
[[nodiscard]] QByteArray packed(const StepResult& result);

enum class Unpacking { done, incomplete, broken };
/// Takes the first message out of `bytes`.
[[nodiscard]] Unpacking takeMessage(QByteArray& bytes, DeviceTask& task);
[[nodiscard]] Unpacking takeMessage(QByteArray& bytes, DeviceResult& result);
[[nodiscard]] Unpacking takeMessage(QByteArray& bytes, ProofTask& task);
[[nodiscard]] Unpacking takeMessage(QByteArray& bytes, StepResult& result);

}  // namespace produce
