#pragma once

#include "record/LineReader.h"
#include "record/chain.h"

#include <QJsonObject>
#include <QString>

namespace record {

/// Reads a record line by line, and checks all that needs no key: the canonical form, the chain, the form of each line
/// and that all lines are from one station.
class RecordReader {
  public:
    explicit RecordReader(QIODevice& device) : lines_(device) {}

    enum class Next { line, end, fault };
    [[nodiscard]] Next next();

    /// The line that was read last, its kind, and the chain up to it.
    [[nodiscard]] const QJsonObject& line() const { return line_; }
    [[nodiscard]] const QString& kind() const { return kind_; }
    [[nodiscard]] const ChainHead& head() const { return head_; }
    /// The station of all lines but checkpoints; empty before the first such line.
    [[nodiscard]] const QString& station() const { return station_; }
    /// The fault, without the line's number, which is head().number + 1.
    [[nodiscard]] const QString& fault() const { return fault_; }
    /// Whether the fault is a last line without a line break, as after a crash.
    [[nodiscard]] bool isTorn() const { return isTorn_; }

  private:
    [[nodiscard]] Next failed(const QString& fault);
    [[nodiscard]] Next take(QByteArrayView text);

    LineReader lines_;
    QJsonObject line_;
    QString kind_;
    ChainHead head_;
    QString station_;
    QString fault_;
    bool isTorn_ = false;
};

}  // namespace record
