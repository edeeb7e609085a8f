#pragma once

#include "produce/RunListener.h"

#include <QElapsedTimer>
#include <QJsonObject>

namespace produce {

/// Prints the events of a run: failures and progress on standard error, the summary on standard output. With JSON,
/// standard output gets one object per event (docs/produce-events.schema.json).
class ConsoleListener : public RunListener {
  public:
    /// `total` is the number of devices of the table, or -1 if it isn't known.
    ConsoleListener(bool asJson, qint64 total);

    void runStarted(const QString& product, const QString& station, qint64 recovered);
    void deviceEnded(const QString& serial, Verdict verdict, const QString& reason) override;
    void checkpointWritten() override;
    void warn(const QString& text) override;
    void progressed(const RunCounts& counts) override;
    void runEnded(const RunCounts& counts, int status);

  private:
    void clearBar();
    void printBar(const RunCounts& counts);
    void printEvent(const char* name, QJsonObject event);
    [[nodiscard]] QString progressText(const RunCounts& counts) const;

    bool asJson_;
    bool isTerminal_;
    qint64 total_;
    QElapsedTimer time_;
    QElapsedTimer lastLine_;
    bool hasBar_ = false;
};

/// Returns `text` with each character that could control a terminal replaced by its number.
[[nodiscard]] QString printable(const QString& text);

/// Prints one line on standard error, after the program's name.
void printFault(const QString& text);

}  // namespace produce
