#pragma once

#include "record/chain.h"

#include <QJsonArray>
#include <QJsonObject>

namespace record {

/// Device lines by their verdict.
struct DeviceCounts {
    qint64 proven = 0;
    qint64 failed = 0;
    qint64 interrupted = 0;

    /// Counts a device line; ignores other lines.
    void add(const QJsonObject& line);
    [[nodiscard]] QJsonObject toJson() const;
};

/// The lines that a new checkpoint covers: those after the previous checkpoint.
struct Coverage {
    qint64 firstLine = 0;
    ChainHead last;  ///< the last line covered
    DeviceCounts devices;
    qint64 outputs = 0;  ///< number of outputs of proven devices

    /// Adds a line, which is now the head of the chain, and the number of its subjects.
    void add(const QJsonObject& line, const ChainHead& head, qint64 subjects);
    [[nodiscard]] qint64 lines() const { return firstLine == 0 ? 0 : last.number - firstLine + 1; }
    [[nodiscard]] QJsonObject predicate(const QString& station, const QString& time) const;
    /// The only subject of a checkpoint without outputs: its last line. A statement needs at least one subject.
    [[nodiscard]] QJsonObject lineSubject() const;
};

/// The subjects that a line adds: the outputs of a proven device.
[[nodiscard]] QJsonArray subjectsOf(const QJsonObject& line);

}  // namespace record
