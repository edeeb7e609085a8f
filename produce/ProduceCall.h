#pragma once

#include <QHash>
#include <QString>
#include <QStringList>

#include <span>

namespace produce {

constexpr int statusDone = 0;
constexpr int statusFailed = 1;
constexpr int statusNothing = 2;
constexpr int statusStopped = 3;

/// The words and options of a command line.
class ProduceCall {
  public:
    /// The words after the command's own words.
    QStringList operands;
    QHash<QString, QStringList> options;  ///< by name, without dashes; a switch has one empty value

    [[nodiscard]] bool has(const char* name) const { return options.contains(QLatin1String(name)); }
    [[nodiscard]] QString value(const char* name) const { return options.value(QLatin1String(name)).value(0); }
    [[nodiscard]] QStringList values(const char* name) const { return options.value(QLatin1String(name)); }
};

struct CommandRow {
    const char* words;     ///< such as "record verify"
    const char* operands;  ///< as in the help
    int leastOperands = 0;
    int mostOperands = 0;  ///< -1: any number
    const char* options;   ///< names, separated by blanks; "!" after those that are needed
    const char* help;
    int (*run)(const ProduceCall& call);
    bool makesDevices = false;  ///< a signal stops it between two devices
};

[[nodiscard]] std::span<const CommandRow> commandTable();

// The commands. Each prints its faults and returns the status.
[[nodiscard]] int runCheck(const ProduceCall& call);
[[nodiscard]] int runRun(const ProduceCall& call);
[[nodiscard]] int runOne(const ProduceCall& call);
[[nodiscard]] int runServe(const ProduceCall& call);
[[nodiscard]] int runStatus(const ProduceCall& call);
[[nodiscard]] int runVoid(const ProduceCall& call);
[[nodiscard]] int runRecordVerify(const ProduceCall& call);
[[nodiscard]] int runRecordExport(const ProduceCall& call);
[[nodiscard]] int runLedgerInit(const ProduceCall& call);
[[nodiscard]] int runLedgerImport(const ProduceCall& call);
[[nodiscard]] int runLedgerNewEpoch(const ProduceCall& call);
[[nodiscard]] int runLedgerRetireKey(const ProduceCall& call);
[[nodiscard]] int runLedgerCheck(const ProduceCall& call);
[[nodiscard]] int runLedgerStationKey(const ProduceCall& call);

}  // namespace produce
