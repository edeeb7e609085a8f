#pragma once

#include "ledger/Ledger.h"

#include <QString>

namespace produce {

/// Compares the ledger with the head that this station saw last, in the file at `path`. Refuses a ledger that is older:
/// a restored backup would hand out used nonces and make proven devices again. A missing file means a new station.
[[nodiscard]] bool checkHead(const QString& path, ledger::Ledger& ledger, QString& fault);

/// Reads the head in the file at `path`. An empty epoch means that there is no file.
[[nodiscard]] bool readHead(const QString& path, ledger::Head& head, QString& fault);

/// Replaces the file. The caller flushes the file system before it publishes a device.
[[nodiscard]] bool writeHead(const QString& path, const ledger::Head& head, QString& fault);

}  // namespace produce
