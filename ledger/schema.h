#pragma once

#include <QByteArray>
#include <QStringList>

#include <cstdint>

namespace ledger {

enum class Dialect { sqlite, postgres };

/// The version of the schema that this code writes.
inline constexpr qint64 schemaVersion = 1;
/// Identifies a ledger among SQLite files (PRAGMA application_id): "QVLD".
inline constexpr std::uint32_t applicationId = 0x51564C44;
/// Identifies a ledger among PostgreSQL databases: the content of schema_version.application.
inline constexpr char applicationName[] = "production ledger";

/// The statements that lead from version `from` to version `from + 1`. Version 0 is an empty database.
[[nodiscard]] QStringList migration(Dialect dialect, qint64 from);

/// The CREATE statements of an SQLite ledger of this version, sorted. A file with other tables, triggers or rules isn't
/// accepted, since it might lack a rule, or run statements of its own.
[[nodiscard]] QStringList sqliteObjects();

}  // namespace ledger
