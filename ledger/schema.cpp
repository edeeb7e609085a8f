#include "ledger/schema.h"

#include <array>

// The tables, in the types of SQLite. docs/ledger.md explains them. Every table is append-only: no statement of this
// room updates or deletes, and the database refuses both.
//
// - `call` has one row per committed call that writes. The row's key is chosen before the first try, so after a commit
//   with an unknown end, the row shows whether it happened.
// - claim.number counts the claims of a station. Its index gives their count at once.
// - `settled` remembers that all claims of a station up to a number have ended, so that the search for open claims
//   doesn't read all of history.

namespace ledger {
namespace {

struct Table {
    const char* name;
    const char* columns;
    bool isClustered;  // WITHOUT ROWID in SQLite, which suits small rows with long keys
};

constexpr std::array tables = {
    Table{"station", R"(
  name TEXT NOT NULL PRIMARY KEY CHECK (length(name) BETWEEN 1 AND 200),
  at_ms INTEGER NOT NULL)",
          false},
    Table{"call", R"(
  id BLOB NOT NULL PRIMARY KEY CHECK (length(id) = 16),
  station TEXT NOT NULL REFERENCES station (name),
  at_ms INTEGER NOT NULL)",
          false},
    Table{"epoch", R"(
  number INTEGER NOT NULL PRIMARY KEY CHECK (number >= 1),
  id BLOB NOT NULL UNIQUE CHECK (length(id) = 8),
  replaced BLOB CHECK (length(replaced) = 8),
  call BLOB REFERENCES call (id),
  at_ms INTEGER NOT NULL)",
          false},
    Table{"lease", R"(
  epoch INTEGER NOT NULL REFERENCES epoch (number),
  block INTEGER NOT NULL CHECK (block >= 1),
  first INTEGER NOT NULL CHECK (first >= 0),
  count INTEGER NOT NULL CHECK (count >= 1),
  station TEXT NOT NULL REFERENCES station (name),
  call BLOB NOT NULL UNIQUE REFERENCES call (id),
  at_ms INTEGER NOT NULL,
  PRIMARY KEY (epoch, block),
  UNIQUE (epoch, first),
  CHECK (first + count <= 4294967296))",
          false},
    Table{"claim", R"(
  product TEXT NOT NULL CHECK (length(product) BETWEEN 1 AND 200),
  serial TEXT NOT NULL CHECK (length(serial) BETWEEN 1 AND 200),
  attempt INTEGER NOT NULL CHECK (attempt BETWEEN 1 AND 2147483647),
  station TEXT NOT NULL REFERENCES station (name),
  number INTEGER NOT NULL CHECK (number >= 1),
  call BLOB NOT NULL REFERENCES call (id),
  at_ms INTEGER NOT NULL,
  PRIMARY KEY (product, serial, attempt),
  UNIQUE (station, number))",
          true},
    Table{"outcome", R"(
  product TEXT NOT NULL,
  serial TEXT NOT NULL,
  attempt INTEGER NOT NULL,
  kind TEXT NOT NULL CHECK (kind IN ('proven', 'failed', 'interrupted', 'recalled')),
  reason TEXT NOT NULL CHECK (kind <> 'proven' OR reason = ''),
  station TEXT NOT NULL REFERENCES station (name),
  call BLOB NOT NULL REFERENCES call (id),
  at_ms INTEGER NOT NULL,
  PRIMARY KEY (product, serial, attempt),
  FOREIGN KEY (product, serial, attempt) REFERENCES claim (product, serial, attempt))",
          true},
    Table{"recall", R"(
  product TEXT NOT NULL,
  serial TEXT NOT NULL,
  attempt INTEGER NOT NULL,
  reason TEXT NOT NULL,
  station TEXT NOT NULL REFERENCES station (name),
  call BLOB NOT NULL REFERENCES call (id),
  at_ms INTEGER NOT NULL,
  PRIMARY KEY (product, serial, attempt),
  FOREIGN KEY (product, serial, attempt) REFERENCES outcome (product, serial, attempt))",
          true},
    Table{"step", R"(
  product TEXT NOT NULL,
  serial TEXT NOT NULL,
  attempt INTEGER NOT NULL,
  number INTEGER NOT NULL CHECK (number >= 1),
  step TEXT NOT NULL CHECK (length(step) BETWEEN 1 AND 200),
  output BLOB CHECK (length(output) = 32),
  size INTEGER NOT NULL CHECK (size >= 0),
  milliseconds INTEGER NOT NULL CHECK (milliseconds >= 0),
  PRIMARY KEY (product, serial, attempt, number),
  FOREIGN KEY (product, serial, attempt) REFERENCES outcome (product, serial, attempt))",
          true},
    Table{"import", R"(
  call BLOB NOT NULL PRIMARY KEY REFERENCES call (id),
  origin TEXT NOT NULL CHECK (length(origin) BETWEEN 1 AND 200))",
          false},
    Table{"iv", R"(
  fingerprint BLOB NOT NULL CHECK (length(fingerprint) = 32),
  part BLOB NOT NULL CHECK (length(part) IN (8, 16)),
  product TEXT,
  serial TEXT,
  attempt INTEGER,
  import BLOB REFERENCES import (call),
  PRIMARY KEY (fingerprint, part),
  FOREIGN KEY (product, serial, attempt) REFERENCES claim (product, serial, attempt),
  CHECK ((product IS NULL) = (serial IS NULL) AND (product IS NULL) = (attempt IS NULL)
         AND (product IS NULL) <> (import IS NULL)))",
          true},
    Table{"key", R"(
  fingerprint BLOB NOT NULL PRIMARY KEY CHECK (length(fingerprint) = 32),
  label TEXT NOT NULL CHECK (length(label) BETWEEN 1 AND 200),
  source TEXT NOT NULL,
  station TEXT NOT NULL REFERENCES station (name),
  at_ms INTEGER NOT NULL)",
          false},
    Table{"key_state", R"(
  fingerprint BLOB NOT NULL REFERENCES key (fingerprint),
  state TEXT NOT NULL CHECK (state = 'retired'),
  station TEXT NOT NULL REFERENCES station (name),
  call BLOB NOT NULL REFERENCES call (id),
  at_ms INTEGER NOT NULL,
  PRIMARY KEY (fingerprint, state))",
          false},
    Table{"record", R"(
  station TEXT NOT NULL REFERENCES station (name),
  number INTEGER NOT NULL CHECK (number >= 1),
  hash BLOB NOT NULL CHECK (length(hash) = 32),
  line TEXT NOT NULL,
  checkpoint INTEGER NOT NULL CHECK (checkpoint IN (0, 1)),
  call BLOB NOT NULL REFERENCES call (id),
  at_ms INTEGER NOT NULL,
  PRIMARY KEY (station, number))",
          false},
    Table{"settled", R"(
  station TEXT NOT NULL REFERENCES station (name),
  number INTEGER NOT NULL CHECK (number >= 1),
  PRIMARY KEY (station, number))",
          true},
};

constexpr std::array indexes = {
    "CREATE INDEX record_checkpoint ON record (station, number) WHERE checkpoint = 1",
};

QStringList sqliteStatements() {
    QStringList statements;
    for (const Table& table : tables) {
        const QString name = QString::fromLatin1(table.name);
        statements += QStringLiteral("CREATE TABLE %1 (%2) STRICT%3")
                          .arg(name, QString::fromLatin1(table.columns),
                               table.isClustered ? QStringLiteral(", WITHOUT ROWID") : QString());
        for (const char* const action : {"update", "delete"}) {
            statements += QStringLiteral(
                              "CREATE TRIGGER %1_no_%2 BEFORE %3 ON %1 BEGIN SELECT RAISE(ABORT, 'the ledger is "
                              "append-only'); END")
                              .arg(name, QString::fromLatin1(action), QString::fromLatin1(action).toUpper());
        }
    }
    for (const char* const index : indexes) {
        statements += QString::fromLatin1(index);
    }
    return statements;
}

// The roles don't bind the owner of the tables, so triggers keep the owner from changing rows by mistake.
QStringList postgresStatements() {
    QStringList statements = {
        QStringLiteral("CREATE SCHEMA ledger"),
        QStringLiteral("CREATE TABLE ledger.schema_version (version bigint PRIMARY KEY, application text NOT NULL)"),
        QStringLiteral("CREATE FUNCTION ledger.refuse() RETURNS trigger LANGUAGE plpgsql AS "
                       "$$ BEGIN RAISE EXCEPTION 'the ledger is append-only'; END $$"),
    };
    QStringList names = {QStringLiteral("schema_version")};
    for (const Table& table : tables) {
        const QString name = QString::fromLatin1(table.name);
        QString columns = QString::fromLatin1(table.columns);
        columns.replace(QLatin1String("BLOB"), QLatin1String("bytea"))
            .replace(QLatin1String("INTEGER"), QLatin1String("bigint"))
            .replace(QLatin1String("REFERENCES "), QLatin1String("REFERENCES ledger."));
        statements += QStringLiteral("CREATE TABLE ledger.%1 (%2)").arg(name, columns);
        names += name;
    }
    for (const QString& name : names) {
        statements += QStringLiteral(
                          "CREATE TRIGGER no_change BEFORE UPDATE OR DELETE OR TRUNCATE ON ledger.%1 FOR EACH "
                          "STATEMENT EXECUTE FUNCTION ledger.refuse()")
                          .arg(name);
    }
    for (const char* const index : indexes) {
        statements += QString::fromLatin1(index).replace(QLatin1String("ON "), QLatin1String("ON ledger."));
    }
    return statements;
}

}  // namespace

QStringList migration(Dialect dialect, qint64 from) {
    if (from != 0) {
        return {};
    }
    if (dialect == Dialect::sqlite) {
        return sqliteStatements() + QStringList{QStringLiteral("PRAGMA application_id = %1").arg(applicationId),
                                                QStringLiteral("PRAGMA user_version = 1")};
    }
    return postgresStatements() +
           QStringList{QStringLiteral("INSERT INTO ledger.schema_version (version, application) VALUES (1, '%1')")
                           .arg(QLatin1String(applicationName))};
}

QStringList sqliteObjects() {
    QStringList objects = sqliteStatements();
    objects.sort();
    return objects;
}

}  // namespace ledger
