#pragma once

#include "record/Coverage.h"
#include "record/chain.h"

#include <QJsonArray>
#include <QJsonObject>

// A checkpoint is a line {"kind": "checkpoint", "envelope": DSSE envelope, ...}. The envelope's payload is an in-toto
// statement: its subjects are the outputs of the devices that were proven since the last checkpoint, its predicate says
// which lines it covers and the hash of the last one.

namespace record {

class StationKey;

/// The outputs and lines since the last checkpoint.
class Pending {
  public:
    /// Notes a line of the record: the outputs of a proven device become subjects. A checkpoint drops the lines before
    /// it. After a restart, the caller adds the lines since the last checkpoint again, or all lines.
    void add(const QJsonObject& line, const ChainHead& head);
    [[nodiscard]] qint64 lines() const { return coverage_.lines(); }
    /// Makes the body of a checkpoint line over all lines that were added, and drops them. False, and nothing is
    /// dropped, if there are none or the key can't sign.
    [[nodiscard]] bool takeCheckpoint(const StationKey& key, const QString& station, const QString& time,
                                      QJsonObject& body);

  private:
    Coverage coverage_;
    QJsonArray subjects_;
};

}  // namespace record
