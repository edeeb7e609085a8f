#pragma once

#include "ledger/rows.h"

#include <QByteArray>
#include <QString>

#include <span>

namespace ledger {

class Connection;

/// Inserts the lines of a station's record within a transaction. They must continue the record without a gap, and each
/// hash must be that of its line.
[[nodiscard]] bool insertRecords(Connection& connection, const QByteArray& call, std::span<const RecordRow> lines,
                                 Fault& fault);

/// Appends the arguments of a call to the bytes that identify it (Connection::write).
void appendArgument(const QByteArray& value, QByteArray& arguments);
void appendArgument(const QString& value, QByteArray& arguments);
void appendArgument(qint64 value, QByteArray& arguments);
void appendArgument(std::span<const RecordRow> lines, QByteArray& arguments);

}  // namespace ledger
