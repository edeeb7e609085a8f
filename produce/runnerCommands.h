#pragma once

#include "calls/Call.h"

namespace produce {

using calls::statusDone;
using calls::statusFailed;
using calls::statusNothing;
constexpr int statusStopped = 3;

// The commands of qvora-produce. Each prints its faults and returns the status.
[[nodiscard]] int runCheck(const calls::Call& call);
[[nodiscard]] int runRun(const calls::Call& call);
[[nodiscard]] int runOne(const calls::Call& call);
[[nodiscard]] int runServe(const calls::Call& call);
[[nodiscard]] int runStatus(const calls::Call& call);
[[nodiscard]] int runVoid(const calls::Call& call);
[[nodiscard]] int runRecordVerify(const calls::Call& call);
[[nodiscard]] int runRecordExport(const calls::Call& call);
[[nodiscard]] int runLedgerInit(const calls::Call& call);
[[nodiscard]] int runLedgerImport(const calls::Call& call);
[[nodiscard]] int runLedgerNewEpoch(const calls::Call& call);
[[nodiscard]] int runLedgerRetireKey(const calls::Call& call);
[[nodiscard]] int runLedgerCheck(const calls::Call& call);
[[nodiscard]] int runLedgerStationKey(const calls::Call& call);

}  // namespace produce
