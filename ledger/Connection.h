#pragma once

#include "ledger/Place.h"
#include "ledger/SqliteFile.h"
#include "ledger/Watchdog.h"
#include "ledger/rows.h"

#include <QByteArray>
#include <QHash>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QVariant>

#include <functional>
#include <memory>

class QSqlError;

namespace ledger {

using Row = QList<QVariant>;

/// A statement over input rows. The text names them {t}, with columns t.a1, t.a2 and so on, and {i} is the index of the
/// input row, which has to be the first column of the result. `types` has one letter per input column: t for text, b
/// for bytes, i for integers. Without types, there are no input rows.
///
/// SQLite runs the statement once per row, which is its fastest way. PostgreSQL gets all rows as arrays in one
/// statement, because each statement costs a round trip.
struct Query {
    const char* text;
    const char* types;
};

/// The table for new rows. A row is ignored if the table already has its unique columns.
struct Target {
    const char* table;
    const char* columns;
    const char* types;
};

/// The current time, as the tables store it.
[[nodiscard]] qint64 now();

/// A connection to either database: statements, transactions, faults. It knows no table but `call`.
class Connection {
  public:
    Connection();
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    /// Opens a database in which no ledger is expected yet.
    [[nodiscard]] bool openNew(const Place& place, Fault& fault);
    /// Opens a ledger and checks it. With `isStation`, locks the name `station` and enters it in the ledger. Otherwise
    /// the caller may only read.
    [[nodiscard]] bool openLedger(const Place& place, bool isStation, const QString& station, Fault& fault);
    /// Brings the schema from version `from` to the current one. An empty database has version 0.
    [[nodiscard]] bool migrate(qint64 from, Fault& fault);
    void close();

    [[nodiscard]] Dialect dialect() const { return place_.dialect; }
    [[nodiscard]] const QString& station() const { return station_; }
    [[nodiscard]] bool isStation() const { return isStation_; }

    /// Runs a statement without parameters and results.
    [[nodiscard]] bool run(const QString& statement, Fault& fault);
    [[nodiscard]] bool select(const Query& query, const QList<Row>& inputs, QList<Row>& rows, Fault& fault);
    /// `added` is the number of rows that were new.
    [[nodiscard]] bool insert(const Target& target, const QList<Row>& rows, qint64& added, Fault& fault);

    /// The result of a transaction's body.
    enum class Step {
        commit,
        rollBack,  ///< there is nothing to write, and the call succeeds
        again,     ///< another station was faster: repeat the whole transaction
        fail,      ///< the fault is filled
    };
    /// `call` is the key of the call. With `isNew` false, the same call was committed before: the body only reads its
    /// results.
    using Body = std::function<Step(const QByteArray& call, bool isNew, Fault& fault)>;
    /// Runs a body in a durable transaction and repeats it after conflicts. `arguments` identifies the call and its
    /// arguments: after a commit with an unknown end, a call with the same arguments continues it.
    [[nodiscard]] bool write(const QByteArray& arguments, const Body& body, Fault& fault);

    /// Runs a body that only reads. Its statements see one state of the database and may take long.
    [[nodiscard]] bool read(const std::function<bool(Fault& fault)>& body, Fault& fault);
    /// Opens the connection again if it was lost. Every operation that runs outside write() and read() calls this
    /// first.
    [[nodiscard]] bool ensureOpen(Fault& fault);

  private:
    [[nodiscard]] bool openSqlite(bool isNew, Fault& fault);
    [[nodiscard]] bool openPostgres(Fault& fault);
    [[nodiscard]] bool checkSqlite(Fault& fault);
    [[nodiscard]] bool checkPostgres(Fault& fault);
    [[nodiscard]] bool lockPostgres(int seconds, Fault& fault);
    [[nodiscard]] bool enterStation(Fault& fault);
    [[nodiscard]] bool begin(Fault& fault);
    Step tryWrite(const QByteArray& arguments, const Body& body, Fault& fault);
    [[nodiscard]] QSqlQuery* prepared(const QString& text, Fault& fault);
    /// Does a query's work under the watchdog, and explains its failure.
    [[nodiscard]] bool watched(QSqlQuery& query, const std::function<bool()>& work, Fault& fault);
    [[nodiscard]] bool execute(QSqlQuery& query, Fault& fault);
    [[nodiscard]] bool explain(const QSqlError& error, Fault& fault);
    [[nodiscard]] bool explainSqlite(const QSqlError& error, Fault& fault);
    [[nodiscard]] bool explainPostgres(const QSqlError& error, Fault& fault);
    [[nodiscard]] QString plain(const QString& text) const;
    void rollBack();

    // The order matters: `file_` is destroyed after `database_`.
    SqliteFile file_;
    Place place_;
    QString station_;
    QString name_;  // of the connection in Qt
    QSqlDatabase database_;
    QHash<QString, std::shared_ptr<QSqlQuery>> statements_;
    Watchdog watchdog_;
    int socket_ = -1;
    int patience_ = 0;
    bool isStation_ = false;
    bool isLost_ = false;
    bool isConflict_ = false;  // the last statement failed only because another station was faster
    // Calls whose commit has an unknown end: the digest of their arguments, and their key.
    QHash<QByteArray, QByteArray> unknown_;
};

}  // namespace ledger
