#include "ledger/Connection.h"

#include "Preparation/primitives/Sha256.h"
#include "Preparation/primitives/randomBytes.h"
#include "ledger/faults.h"

#include <QDateTime>
#include <QSqlDriver>
#include <QSqlError>
#include <QSqlRecord>
#include <QThread>
#include <QUuid>

#include <algorithm>
#include <initializer_list>

#include <dlfcn.h>

namespace ledger {
namespace {

constexpr int busyMilliseconds = 10000;
constexpr int readPatience = 600;  // seconds for a statement of a check or summary
constexpr int watchdogMargin = 3;  // seconds after the server's own limit
constexpr int lockGrace = 2;       // seconds until the server has noticed that a process was killed
constexpr int mostRepeats = 100;   // each repeat means that another station has committed
constexpr qsizetype mostUnknown = 64;
constexpr qsizetype callSize = 16;

constexpr Target callTarget{"call", "id, station, at_ms", "bti"};
constexpr Target stationTarget{"station", "name, at_ms", "ti"};
constexpr Query ledgerVersion{"SELECT 0, application, max(version) FROM schema_version GROUP BY application", ""};
constexpr Query versionTable{"SELECT 0, to_regclass('ledger.schema_version') IS NOT NULL", ""};
constexpr Query serverSettings{"SELECT 0, current_setting('fsync'), current_setting('server_encoding')", ""};
constexpr Query sqliteIds{
    "SELECT 0, (SELECT application_id FROM pragma_application_id), "
    "(SELECT user_version FROM pragma_user_version)",
    ""};
constexpr Query sqliteSchema{"SELECT 0, sql FROM sqlite_master WHERE name NOT LIKE 'sqlite\\_%' ESCAPE '\\'", ""};
constexpr Query lockStation{"SELECT {i}, pg_try_advisory_lock(hashtextextended(t.a1, 5346)) FROM {t}", "t"};

/// The socket of a connection to PostgreSQL; -1 if it can't be found out. The function is taken from the libpq that
/// Qt's driver has loaded. If this program were linked with libpq, it would load libpq and its twenty libraries for
/// SQLite, too.
int socketOf(const QVariant& handle) {
    using SocketOf = int (*)(const void* connection);
    void* const library = dlopen("libpq.so.5", RTLD_LAZY | RTLD_NOLOAD);
    // Qt may name the type by its typedef or by its struct.
    const bool isConnection = qstrcmp(handle.typeName(), "PGconn*") == 0 || qstrcmp(handle.typeName(), "pg_conn*") == 0;
    if (library == nullptr || !isConnection) {
        return -1;
    }
    const auto socket = reinterpret_cast<SocketOf>(dlsym(library, "PQsocket"));
    return socket == nullptr ? -1 : socket(*static_cast<const void* const*>(handle.constData()));
}

const char* arrayType(char type) {
    switch (type) {
        case 'b':
            return "bytea[]";
        case 'i':
            return "bigint[]";
        default:
            return "text[]";
    }
}

// The SQL of the input rows, which replaces {t} in a statement.
QString inputRows(Dialect dialect, const char* types) {
    QString values;
    QString names;
    int column = 0;
    for (const char* type = types; *type != '\0'; ++type) {
        const QString comma = column == 0 ? QString() : QStringLiteral(", ");
        const QString name = QStringLiteral("a%1").arg(++column);
        values +=
            comma + (dialect == Dialect::sqlite ? QStringLiteral("? AS ") + name
                                                : QStringLiteral("CAST(? AS %1)").arg(QLatin1String(arrayType(*type))));
        names += comma + name;
    }
    return dialect == Dialect::sqlite ? QStringLiteral("(SELECT %1) AS t").arg(values)
                                      : QStringLiteral("unnest(%1) WITH ORDINALITY AS t (%2, i)").arg(values, names);
}

QString textOf(Dialect dialect, const Query& query) {
    return QString::fromLatin1(query.text)
        .replace(QLatin1String("{t}"), inputRows(dialect, query.types))
        .replace(QLatin1String("{i}"), dialect == Dialect::sqlite ? QLatin1String("0") : QLatin1String("t.i - 1"));
}

QString textOf(Dialect dialect, const Target& target) {
    QString names;
    for (qsizetype i = 1; i <= static_cast<qsizetype>(qstrlen(target.types)); ++i) {
        names += (i == 1 ? QStringLiteral("t.a%1") : QStringLiteral(", t.a%1")).arg(i);
    }
    // "WHERE true" separates ON CONFLICT from a join in SQLite's grammar.
    return QStringLiteral("INSERT INTO %1 (%2) SELECT %3 FROM %4 WHERE true ON CONFLICT DO NOTHING")
        .arg(QLatin1String(target.table), QLatin1String(target.columns), names, inputRows(dialect, target.types));
}

// An array literal of PostgreSQL with one column of the rows.
QString arrayOf(const QList<Row>& rows, qsizetype column) {
    QString array = QStringLiteral("{");
    for (const Row& row : rows) {
        const QVariant& value = row.at(column);
        if (array.size() > 1) {
            array += u',';
        }
        if (!value.isValid()) {
            array += QLatin1String("NULL");
        } else if (value.metaType() == QMetaType::fromType<QByteArray>()) {
            array += QLatin1String("\"\\\\x") + QLatin1String(value.toByteArray().toHex()) + u'"';
        } else if (value.metaType() == QMetaType::fromType<QString>()) {
            array += u'"' +
                     value.toString().replace(u'\\', QLatin1String("\\\\")).replace(u'"', QLatin1String("\\\"")) + u'"';
        } else {
            array += value.toString();
        }
    }
    return array + u'}';
}

// Qt writes a null QString or QByteArray as NULL, although the variant is valid.
QVariant bound(const QVariant& value) {
    if (value.isValid() && value.metaType() == QMetaType::fromType<QString>() && value.toString().isNull()) {
        return QString::fromLatin1("");
    }
    return value;
}

bool digestOf(const QByteArray& arguments, QByteArray& digest, Fault& fault) {
    Sha256Digest bytes{};
    if (!sha256({arguments}, bytes)) {
        return failed(QStringLiteral("SHA-256 isn't available"), fault);
    }
    digest = QByteArray(bytes.data(), bytes.size());
    return true;
}

}  // namespace

qint64 now() {
    return QDateTime::currentMSecsSinceEpoch();
}

Connection::Connection() : name_(QUuid::createUuid().toString(QUuid::Id128)) {
}

Connection::~Connection() {
    close();
}

void Connection::close() {
    // The driver is deleted before its statements. Otherwise each statement would be freed on the server by a round
    // trip of its own, although the end of the session frees them all.
    if (database_.isValid()) {
        database_.close();
        database_ = QSqlDatabase();
        QSqlDatabase::removeDatabase(name_);
    }
    statements_.clear();
    socket_ = -1;
}

bool Connection::openNew(const Place& place, Fault& fault) {
    place_ = place;
    patience_ = readPatience;
    return place.dialect == Dialect::sqlite ? openSqlite(true, fault) : openPostgres(fault);
}

bool Connection::openLedger(const Place& place, bool isStation, const QString& station, Fault& fault) {
    place_ = place;
    isStation_ = isStation;
    station_ = station;
    patience_ = place.patience;
    if (place.dialect == Dialect::sqlite) {
        if (!file_.look(place.path, fault) || (isStation && !file_.lockStation(station, fault)) ||
            !openSqlite(false, fault) || !checkSqlite(fault)) {
            return false;
        }
    } else if (!openPostgres(fault) || !checkPostgres(fault) || (isStation && !lockPostgres(lockGrace, fault))) {
        return false;
    }
    return !isStation || enterStation(fault);
}

bool Connection::ensureOpen(Fault& fault) {
    if (!isLost_) {
        return true;
    }
    close();
    // The server may not know yet that the old connection is lost. Then that connection still has the lock.
    if (!openPostgres(fault) || !checkPostgres(fault) || (isStation_ && !lockPostgres(place_.patience, fault))) {
        close();
        isLost_ = true;
        return false;
    }
    isLost_ = false;
    return true;
}

bool Connection::openSqlite(bool isNew, Fault& fault) {
    database_ = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name_);
    database_.setDatabaseName(place_.path);
    QString options = QStringLiteral("QSQLITE_BUSY_TIMEOUT=%1").arg(busyMilliseconds);
    if (!isNew && !isStation_) {
        options += QStringLiteral(";QSQLITE_OPEN_READONLY");
    }
    database_.setConnectOptions(options);
    if (!database_.open()) {
        return explain(database_.lastError(), fault);
    }
    // A hostile file can't make SQLite call functions with effects, and its cells are checked before they are used.
    for (const char* const pragma : {"trusted_schema = OFF", "cell_size_check = ON", "foreign_keys = ON",
                                     "synchronous = FULL", "recursive_triggers = ON"}) {
        if (!run(QStringLiteral("PRAGMA ") + QLatin1String(pragma), fault)) {
            return false;
        }
    }
    return true;
}

bool Connection::openPostgres(Fault& fault) {
    database_ = QSqlDatabase::addDatabase(QStringLiteral("QPSQL"), name_);
    database_.setHostName(place_.host);
    database_.setPort(place_.port);
    database_.setDatabaseName(place_.database);
    database_.setUserName(place_.user);
    database_.setPassword(place_.password);
    const int milliseconds = patience_ * 1000;
    // The server notices a lost client by its own keepalives, and frees the client's lock. It plans with indexes only,
    // because the statements of a batch look up few rows, and the statistics of a growing table are often too old to
    // show that.
    const QString settings =
        QStringLiteral(
            "-c search_path=ledger,pg_temp -c synchronous_commit=on -c default_transaction_isolation=read\\\\ "
            "committed -c standard_conforming_strings=on -c statement_timeout=%1 -c lock_timeout=%1 "
            "-c idle_in_transaction_session_timeout=30000 -c tcp_keepalives_idle=10 "
            "-c tcp_keepalives_interval=5 -c tcp_keepalives_count=3 -c tcp_user_timeout=30000 "
            "-c enable_seqscan=off -c enable_hashjoin=off -c enable_mergejoin=off")
            .arg(milliseconds);
    QString options = QStringLiteral(
                          "connect_timeout=%1;tcp_user_timeout=%2;keepalives_idle=10;keepalives_interval=5;"
                          "keepalives_count=3;application_name='qvora ledger';options='%3'")
                          .arg(QString::number(place_.patience), QString::number(milliseconds), settings);
    if (!place_.options.isEmpty()) {
        options += u';' + place_.options;
    }
    database_.setConnectOptions(options);
    if (!database_.open()) {
        return explain(database_.lastError(), fault);
    }
    const QVariant handle = database_.driver()->handle();
    socket_ = socketOf(handle);
    if (socket_ < 0) {
        return failed(QStringLiteral("the driver of Qt doesn't give the socket of %1 (%2)")
                          .arg(place_.shown, QLatin1String(handle.typeName())),
                      fault);
    }
    QList<Row> rows;
    if (!select(serverSettings, {}, rows, fault)) {
        return false;
    }
    if (rows.value(0).value(1).toString() != QLatin1String("on")) {
        return refused(
            QStringLiteral("the server of %1 runs with fsync=off, so it could lose commits").arg(place_.shown), fault);
    }
    if (rows.value(0).value(2).toString() != QLatin1String("UTF8")) {
        return refused(QStringLiteral("%1 has the encoding %2; a ledger needs UTF8")
                           .arg(place_.shown, rows.value(0).value(2).toString()),
                       fault);
    }
    return true;
}

bool Connection::checkSqlite(Fault& fault) {
    QList<Row> rows;
    if (!select(sqliteIds, {}, rows, fault)) {
        return false;
    }
    // The log may have newer numbers than the header that look() read.
    const Row ids = rows.value(0);
    const qint64 version = ids.value(2).toLongLong();
    if (ids.value(1).toLongLong() != applicationId || version > schemaVersion) {
        return refused(QStringLiteral("%1 has the schema version %2; this program knows versions up to %3")
                           .arg(place_.shown, QString::number(version), QString::number(schemaVersion)),
                       fault);
    }
    if (version < 1) {
        return refused(QStringLiteral("%1 has no schema version, so it isn't a ledger").arg(place_.shown), fault);
    }
    if (version < schemaVersion && isStation_ && !migrate(version, fault)) {
        return false;
    }
    if (!select(sqliteSchema, {}, rows, fault)) {
        return false;
    }
    QStringList objects;
    for (const Row& row : rows) {
        objects += row.value(1).toString();
    }
    objects.sort();
    if (objects != sqliteObjects()) {
        return refused(QStringLiteral("%1 doesn't have the tables and rules of a ledger").arg(place_.shown), fault);
    }
    return true;
}

bool Connection::checkPostgres(Fault& fault) {
    QList<Row> rows;
    if (!select(versionTable, {}, rows, fault)) {
        return false;
    }
    if (!rows.value(0).value(1).toBool()) {
        return refused(QStringLiteral("%1 has no ledger").arg(place_.shown), fault);
    }
    if (!select(ledgerVersion, {}, rows, fault)) {
        return false;
    }
    const qint64 version = rows.value(0).value(2).toLongLong();
    if (rows.size() != 1 || rows.value(0).value(1).toString() != QLatin1String(applicationName)) {
        return refused(QStringLiteral("the schema \"ledger\" of %1 belongs to another application").arg(place_.shown),
                       fault);
    }
    if (version > schemaVersion) {
        return refused(QStringLiteral("%1 has the schema version %2; this program knows versions up to %3")
                           .arg(place_.shown, QString::number(version), QString::number(schemaVersion)),
                       fault);
    }
    return version == schemaVersion || migrate(version, fault);
}

bool Connection::lockPostgres(int seconds, Fault& fault) {
    QDeadlineTimer deadline(qint64{seconds} * 1000);
    constexpr unsigned long pause = 200;
    for (;;) {
        QList<Row> rows;
        if (!select(lockStation, {{station_}}, rows, fault)) {
            return false;
        }
        if (rows.value(0).value(1).toBool()) {
            return true;
        }
        if (deadline.hasExpired()) {
            break;
        }
        QThread::msleep(pause);
    }
    return isLost_
               ? unreachable(QStringLiteral("the server still holds the station %1 for a lost connection or another "
                                            "process")
                                 .arg(station_),
                             fault)
               : refused(QStringLiteral("the station %1 is in use by another process").arg(station_), fault);
}

bool Connection::enterStation(Fault& fault) {
    constexpr Query known{"SELECT {i}, s.name FROM {t} JOIN station s ON s.name = t.a1", "t"};
    QList<Row> rows;
    qint64 added = 0;
    return select(known, {{station_}}, rows, fault) &&
           (!rows.isEmpty() || insert(stationTarget, {{station_, now()}}, added, fault));
}

bool Connection::migrate(qint64 from, Fault& fault) {
    if (!begin(fault)) {
        return false;
    }
    for (qint64 version = from; version < schemaVersion; ++version) {
        for (const QString& statement : migration(place_.dialect, version)) {
            if (!run(statement, fault)) {
                rollBack();
                return false;
            }
        }
    }
    if (!run(QStringLiteral("COMMIT"), fault)) {
        rollBack();
        return false;
    }
    return true;
}

bool Connection::begin(Fault& fault) {
    return run(place_.dialect == Dialect::sqlite ? QStringLiteral("BEGIN IMMEDIATE") : QStringLiteral("BEGIN"), fault);
}

void Connection::rollBack() {
    Fault ignored;  // a transaction that can't be rolled back ends with its connection
    if (!isLost_ && !run(QStringLiteral("ROLLBACK"), ignored) && place_.dialect == Dialect::postgres) {
        isLost_ = true;
    }
}

QSqlQuery* Connection::prepared(const QString& text, Fault& fault) {
    std::shared_ptr<QSqlQuery>& query = statements_[text];
    if (query == nullptr) {
        query = std::make_shared<QSqlQuery>(database_);
        query->setForwardOnly(place_.dialect == Dialect::sqlite);
        QSqlQuery& made = *query;
        if (!watched(
                made, [&made, &text] { return made.prepare(text); }, fault)) {
            statements_.remove(text);
            return nullptr;
        }
    }
    return query.get();
}

bool Connection::watched(QSqlQuery& query, const std::function<bool()>& work, Fault& fault) {
    isConflict_ = false;
    if (socket_ >= 0) {
        watchdog_.arm(socket_, patience_ + watchdogMargin);
    }
    const bool isDone = work();
    if (watchdog_.disarm()) {
        isLost_ = true;
        return unreachable(QStringLiteral("the server of %1 doesn't answer").arg(place_.shown), fault);
    }
    return isDone || explain(query.lastError(), fault);
}

bool Connection::execute(QSqlQuery& query, Fault& fault) {
    return watched(
        query, [&query] { return query.exec(); }, fault);
}

bool Connection::run(const QString& statement, Fault& fault) {
    QSqlQuery query(database_);
    return watched(
        query, [&query, &statement] { return query.exec(statement); }, fault);
}

bool Connection::select(const Query& query, const QList<Row>& inputs, QList<Row>& rows, Fault& fault) {
    QList<Row> found;
    const bool hasInputs = *query.types != '\0';
    if (hasInputs && inputs.isEmpty()) {
        rows.clear();
        return true;
    }
    QSqlQuery* const statement = prepared(textOf(place_.dialect, query), fault);
    if (statement == nullptr) {
        return false;
    }
    const bool isArray = place_.dialect == Dialect::postgres;
    const qsizetype rounds = hasInputs && !isArray ? inputs.size() : 1;
    for (qsizetype round = 0; round < rounds; ++round) {
        for (int column = 0; query.types[column] != '\0'; ++column) {
            statement->bindValue(column,
                                 isArray ? QVariant(arrayOf(inputs, column)) : bound(inputs.at(round).at(column)));
        }
        if (!execute(*statement, fault)) {
            statement->finish();
            return false;
        }
        const int columns = static_cast<int>(statement->record().count());
        while (statement->next()) {
            Row row;
            row.reserve(columns);
            for (int column = 0; column < columns; ++column) {
                row += statement->value(column);
            }
            if (!isArray) {
                row[0] = round;
            }
            found += row;
        }
        // With SQLite, the step to the next row can fail, too.
        const QSqlError error = statement->lastError();
        statement->finish();
        if (error.isValid()) {
            return explain(error, fault);
        }
    }
    rows = found;
    return true;
}

bool Connection::insert(const Target& target, const QList<Row>& rows, qint64& added, Fault& fault) {
    added = 0;
    if (rows.isEmpty()) {
        return true;
    }
    QSqlQuery* const statement = prepared(textOf(place_.dialect, target), fault);
    if (statement == nullptr) {
        return false;
    }
    const bool isArray = place_.dialect == Dialect::postgres;
    const qsizetype rounds = isArray ? 1 : rows.size();
    for (qsizetype round = 0; round < rounds; ++round) {
        for (int column = 0; target.types[column] != '\0'; ++column) {
            statement->bindValue(column, isArray ? QVariant(arrayOf(rows, column)) : bound(rows.at(round).at(column)));
        }
        if (!execute(*statement, fault)) {
            statement->finish();
            return false;
        }
        added += statement->numRowsAffected();
        statement->finish();
    }
    return true;
}

bool Connection::write(const QByteArray& arguments, const Body& body, Fault& fault) {
    if (!isStation_) {
        return refused(QStringLiteral("the ledger was opened for reading only"), fault);
    }
    QByteArray digest;
    if (!digestOf(arguments, digest, fault) || !ensureOpen(fault)) {
        return false;
    }
    if (place_.dialect == Dialect::sqlite && !file_.isInPlace()) {
        return refused(QStringLiteral("%1 was moved or replaced while it was open").arg(place_.shown), fault);
    }
    for (int repeat = 0; repeat < mostRepeats; ++repeat) {
        const Step step = tryWrite(digest, body, fault);
        if (step == Step::commit || step == Step::rollBack) {
            unknown_.remove(digest);
            return true;
        }
        if (step == Step::fail) {
            return false;
        }
        // After a conflict, a pause lets the other station finish.
        QThread::usleep(static_cast<unsigned long>(500 * (1 + repeat % 8)));
    }
    return unreachable(QStringLiteral("other stations were faster %1 times").arg(mostRepeats), fault);
}

Connection::Step Connection::tryWrite(const QByteArray& digest, const Body& body, Fault& fault) {
    QByteArray call = unknown_.value(digest);
    if (call.isEmpty() && !randomBytes(callSize, call)) {
        (void)failed(QStringLiteral("there are no random bytes"), fault);
        return Step::fail;
    }
    qint64 isNew = 0;
    if (!begin(fault)) {
        return Step::fail;
    }
    Step step = Step::fail;
    if (insert(callTarget, {{call, station_, now()}}, isNew, fault)) {
        step = body(call, isNew == 1, fault);
    }
    if (step != Step::commit) {
        step = step == Step::fail && isConflict_ ? Step::again : step;
        rollBack();
        return step;
    }
    if (run(QStringLiteral("COMMIT"), fault)) {
        return step;
    }
    // After a conflict, nothing was committed.
    if (isConflict_) {
        rollBack();
        return Step::again;
    }
    if (unknown_.size() >= mostUnknown && !unknown_.contains(digest)) {
        unknown_.erase(unknown_.begin());
    }
    unknown_.insert(digest, call);
    rollBack();
    return Step::fail;
}

bool Connection::read(const std::function<bool(Fault& fault)>& body, Fault& fault) {
    if (!ensureOpen(fault)) {
        return false;
    }
    const bool isPostgres = place_.dialect == Dialect::postgres;
    if (!run(isPostgres ? QStringLiteral("BEGIN ISOLATION LEVEL REPEATABLE READ READ ONLY") : QStringLiteral("BEGIN"),
             fault)) {
        return false;
    }
    patience_ = readPatience;
    // These statements read whole tables, so the server may use all kinds of plans.
    const bool isGood =
        (!isPostgres || run(QStringLiteral("SET LOCAL statement_timeout = %1; SET LOCAL enable_seqscan = on; SET LOCAL "
                                           "enable_hashjoin = on; SET LOCAL enable_mergejoin = on")
                                .arg(readPatience * 1000),
                            fault)) &&
        body(fault);
    patience_ = place_.patience;
    rollBack();
    return isGood;
}

QString Connection::plain(const QString& text) const {
    // No known message of a library contains the password. It is removed nevertheless.
    QString shown = text.simplified();
    if (!place_.password.isEmpty()) {
        shown.replace(place_.password, QStringLiteral("***"));
    }
    return shown;
}

bool Connection::explain(const QSqlError& error, Fault& fault) {
    return place_.dialect == Dialect::sqlite ? explainSqlite(error, fault) : explainPostgres(error, fault);
}

bool Connection::explainSqlite(const QSqlError& error, Fault& fault) {
    // Result codes: https://www.sqlite.org/rescode.html. The low byte is the primary code.
    constexpr int busy = 5;
    constexpr int locked = 6;
    constexpr int corrupt = 11;
    constexpr int full = 13;
    constexpr int notDatabase = 26;
    const int code = error.nativeErrorCode().toInt() & 0xFF;
    const QString reason = plain(error.databaseText());
    switch (code) {
        case busy:
        case locked:
            return unreachable(QStringLiteral("%1 is locked by another process").arg(place_.shown), fault);
        case corrupt:
        case notDatabase:
            return refused(QStringLiteral("%1 is damaged (%2); restore it from a backup").arg(place_.shown, reason),
                           fault);
        case full:
            return failed(QStringLiteral("there is no room left for %1").arg(place_.shown), fault);
        default:
            return failed(QStringLiteral("%1: %2").arg(place_.shown, reason.isEmpty() ? plain(error.text()) : reason),
                          fault);
    }
}

bool Connection::explainPostgres(const QSqlError& error, Fault& fault) {
    // SQLSTATE codes: appendix A of PostgreSQL's documentation.
    const QString code = error.nativeErrorCode();
    const QString reason = plain(error.databaseText().isEmpty() ? error.text() : error.databaseText());
    const auto isOneOf = [&code](std::initializer_list<const char*> codes) {
        return std::any_of(codes.begin(), codes.end(),
                           [&code](const char* other) { return code == QLatin1String(other); });
    };
    isConflict_ = isOneOf({"40001", "40P01", "23505"});
    if (error.type() == QSqlError::ConnectionError && !database_.isOpen()) {
        // While a connection begins, libpq gives no code, only the server's text. A permanent refusal is recognized by
        // its English text. Any other text counts as unreachable.
        bool isRefusal = false;
        for (const char* const words : {"authentication failed", "pg_hba.conf", "does not exist", "not permitted",
                                        "permission denied", "no password supplied"}) {
            isRefusal = isRefusal || reason.contains(QLatin1String(words));
        }
        return reject(isRefusal ? Fault::Kind::failed : Fault::Kind::unreachable,
                      QStringLiteral("cannot open %1: %2").arg(place_.shown, reason), fault);
    }
    // A message without a code is from libpq: the connection is lost. Codes of the classes 08 and 57P report the same.
    if (code.isEmpty() || code.startsWith(QLatin1String("08")) || code.startsWith(QLatin1String("57P")) ||
        code == QLatin1String("25P03")) {
        isLost_ = true;
        return unreachable(QStringLiteral("the connection to %1 is lost: %2").arg(place_.shown, reason), fault);
    }
    // These faults are temporary: timeouts of statements and locks, repeated conflicts, and too many connections.
    if (isConflict_ || isOneOf({"57014", "55P03", "53300"})) {
        return unreachable(QStringLiteral("%1 is busy: %2").arg(place_.shown, reason), fault);
    }
    // XX001 and XX002 report damaged data.
    return code.startsWith(QLatin1String("XX00")) && code != QLatin1String("XX000")
               ? refused(QStringLiteral("%1 is damaged (%2); restore it from a backup").arg(place_.shown, reason),
                         fault)
               : failed(QStringLiteral("%1: %2").arg(place_.shown, reason), fault);
}

}  // namespace ledger
