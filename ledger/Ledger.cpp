#include "ledger/Ledger.h"

#include "Preparation/primitives/randomBytes.h"
#include "ledger/Connection.h"
#include "ledger/faults.h"
#include "ledger/records.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

namespace ledger {
namespace {

constexpr qsizetype epochSize = 8;
constexpr std::uint64_t counters = std::uint64_t{1} << 32;  // per epoch: a counter has 4 bytes

constexpr Target epochTarget{"epoch", "number, id, replaced, call, at_ms", "ibbbi"};
constexpr Target leaseTarget{"lease", "epoch, block, first, count, station, call, at_ms", "iiiitbi"};
constexpr Query currentEpoch{"SELECT 0, number, id, replaced FROM epoch ORDER BY number DESC LIMIT 1", ""};
constexpr Query lastLease{
    "SELECT {i}, l.block, l.first + l.count FROM {t} JOIN lease l ON l.epoch = t.a1 "
    "AND l.block = (SELECT max(m.block) FROM lease m WHERE m.epoch = t.a1)",
    "i"};
constexpr Query leaseOfCall{
    "SELECT {i}, e.id, l.first, l.count FROM {t} JOIN lease l ON l.call = t.a1 JOIN epoch e ON e.number = l.epoch",
    "b"};
constexpr Query laterEpochs{"SELECT {i}, e.number FROM {t} JOIN epoch e ON e.replaced = t.a1", "b"};
constexpr Query headOf{
    "SELECT {i}, coalesce((SELECT max(c.number) FROM claim c WHERE c.station = t.a1), 0), r.number, r.hash "
    "FROM {t} LEFT JOIN record r ON r.station = t.a1 "
    "AND r.number = (SELECT max(m.number) FROM record m WHERE m.station = t.a1)",
    "t"};
constexpr Query recordLines{
    "SELECT {i}, r.number, r.hash, r.line FROM {t} JOIN record r ON r.station = t.a1 "
    "AND r.number > t.a2 AND r.number <= t.a3 ORDER BY r.number",
    "tii"};

QString systemError() {
    return QString::fromLocal8Bit(std::strerror(errno));
}

bool insertFirstEpoch(Connection& connection, Fault& fault) {
    QByteArray id;
    if (!randomBytes(epochSize, id)) {
        return failed(QStringLiteral("there are no random bytes for an epoch"), fault);
    }
    qint64 added = 0;
    return connection.insert(epochTarget, {{1, id, {}, {}, now()}}, added, fault);
}

bool syncFolder(const QString& path) {
    const int folder = open(QFile::encodeName(path).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const bool isSynced = folder >= 0 && fsync(folder) == 0;
    if (folder >= 0) {
        close(folder);
    }
    return isSynced;
}

bool fillSqlite(const Place& place, Fault& fault) {
    Connection connection;
    return connection.openNew(place, fault) && connection.migrate(0, fault) && insertFirstEpoch(connection, fault) &&
           connection.run(QStringLiteral("PRAGMA journal_mode = WAL"), fault);
}

// A ledger gets its name only when it is complete, so a crash leaves no incomplete ledger under that name.
bool createSqlite(const Place& place, Fault& fault) {
    const QString folder = QFileInfo(place.path).path();
    QByteArray suffix;
    if (!randomBytes(epochSize, suffix)) {
        return failed(QStringLiteral("there are no random bytes"), fault);
    }
    Place partial = place;
    partial.path += QStringLiteral(".new-") + QString::fromLatin1(suffix.toHex());
    if (!checkFileSystem(folder, fault)) {
        return false;
    }
    if (QFile::exists(place.path)) {
        return failed(QStringLiteral("%1 exists already").arg(place.shown), fault);
    }
    bool isMade = fillSqlite(partial, fault);
    const QByteArray from = QFile::encodeName(partial.path);
    const QByteArray to = QFile::encodeName(place.path);
    if (isMade && renameat2(AT_FDCWD, from.constData(), AT_FDCWD, to.constData(), RENAME_NOREPLACE) != 0) {
        isMade = failed(QStringLiteral("cannot make %1: %2").arg(place.shown, systemError()), fault);
    }
    if (!isMade) {
        for (const char* const end : {"", "-wal", "-shm", "-journal"}) {
            QFile::remove(partial.path + QLatin1String(end));
        }
        return false;
    }
    return syncFolder(folder) ||
           failed(QStringLiteral("cannot write the folder of %1 to the disk: %2").arg(place.shown, systemError()),
                  fault);
}

bool createPostgres(const Place& place, Fault& fault) {
    constexpr Query tables{"SELECT 0, to_regnamespace('ledger') IS NOT NULL", ""};
    Connection connection;
    QList<Row> rows;
    if (!connection.openNew(place, fault) || !connection.select(tables, {}, rows, fault)) {
        return false;
    }
    if (rows.value(0).value(1).toBool()) {
        return failed(QStringLiteral("%1 has a schema \"ledger\" already").arg(place.shown), fault);
    }
    return connection.migrate(0, fault) && insertFirstEpoch(connection, fault);
}

}  // namespace

Ledger::Ledger() = default;
Ledger::~Ledger() = default;

bool Ledger::create(const QString& place, Fault& fault) {
    Place read;
    if (!readPlace(place, read, fault)) {
        return false;
    }
    return read.dialect == Dialect::sqlite ? createSqlite(read, fault) : createPostgres(read, fault);
}

bool Ledger::isOpen(Fault& fault) const {
    return connection_ != nullptr || failed(QStringLiteral("the ledger isn't open"), fault);
}

bool Ledger::open(const QString& place, Access access, const QString& station, Fault& fault) {
    if (connection_ != nullptr) {
        return failed(QStringLiteral("the ledger is open already"), fault);
    }
    Place read;
    if ((access == Access::station && !checkName("station", station, fault)) || !readPlace(place, read, fault)) {
        return false;
    }
    auto connection = std::make_unique<Connection>();
    if (!connection->openLedger(read, access == Access::station, station, fault)) {
        return false;
    }
    connection_ = std::move(connection);
    return true;
}

bool Ledger::lease(std::uint32_t count, Lease& result, Fault& fault) {
    if (!isOpen(fault)) {
        return false;
    }
    if (count == 0) {
        return failed(QStringLiteral("a lease of no nonces was asked for"), fault);
    }
    QByteArray arguments = "lease";
    appendArgument(qint64{count}, arguments);
    Lease leased;
    const auto body = [&](const QByteArray& call, bool isNew, Fault& problem) {
        QList<Row> rows;
        if (!isNew) {
            if (!connection_->select(leaseOfCall, {{call}}, rows, problem)) {
                return Connection::Step::fail;
            }
            const Row row = rows.value(0);
            leased = {row.value(1).toByteArray(), row.value(2).toULongLong(), row.value(3).toUInt()};
            return Connection::Step::rollBack;
        }
        QList<Row> epochs;
        if (!connection_->select(currentEpoch, {}, epochs, problem) ||
            !connection_->select(lastLease, {{epochs.value(0).value(1)}}, rows, problem)) {
            return Connection::Step::fail;
        }
        const Row epoch = epochs.value(0);
        const qint64 block = rows.value(0).value(1).toLongLong() + 1;
        leased = {epoch.value(2).toByteArray(), rows.value(0).value(2).toULongLong(), count};
        // No nonce repeats: a block begins after the previous one, no two leases have the same block number, and an
        // epoch ends before its counter wraps.
        if (leased.first > counters || count > counters - leased.first) {
            (void)failed(QStringLiteral("epoch %1 has no %2 nonces left; begin a new one with \"ledger new-epoch\"")
                             .arg(epoch.value(1).toString(), QString::number(count)),
                         problem);
            return Connection::Step::fail;
        }
        qint64 added = 0;
        if (!connection_->insert(leaseTarget,
                                 {{epoch.value(1), block, static_cast<qint64>(leased.first), qint64{count},
                                   connection_->station(), call, now()}},
                                 added, problem)) {
            return Connection::Step::fail;
        }
        return added == 1 ? Connection::Step::commit : Connection::Step::again;
    };
    if (!connection_->write(arguments, body, fault)) {
        return false;
    }
    result = leased;
    return true;
}

bool Ledger::head(Head& result, Fault& fault) {
    QList<Row> epochs;
    QList<Row> rows;
    const auto body = [&](Fault& problem) {
        return connection_->select(currentEpoch, {}, epochs, problem) &&
               connection_->select(headOf, {{connection_->station()}}, rows, problem);
    };
    if (!isOpen(fault) || !connection_->read(body, fault)) {
        return false;
    }
    const Row row = rows.value(0);
    result = {epochs.value(0).value(2).toByteArray(), row.value(1).toLongLong(), row.value(2).toLongLong(),
              row.value(3).toByteArray()};
    return true;
}

bool Ledger::recordAfter(qint64 after, qsizetype most, QList<RecordRow>& lines, Fault& fault) {
    constexpr qint64 longest = qint64{1} << 53;
    const qint64 from = std::clamp<qint64>(after, 0, longest);
    const qint64 to = from + std::clamp<qint64>(most, 0, longest);
    QList<Row> rows;
    if (!isOpen(fault) || !connection_->ensureOpen(fault) ||
        !connection_->select(recordLines, {{connection_->station(), from, to}}, rows, fault)) {
        return false;
    }
    lines.clear();
    for (const Row& row : rows) {
        lines += {row.value(1).toLongLong(), row.value(2).toByteArray(), row.value(3).toString().toUtf8()};
    }
    return true;
}

bool Ledger::newEpoch(const QByteArray& epoch, const QByteArray& replaced, std::span<const RecordRow> lines,
                      Fault& fault) {
    for (const QByteArray& id : {epoch, replaced}) {
        if (id.size() != epochSize) {
            return failed(QStringLiteral("an epoch has %1 bytes; expected are %2").arg(id.size()).arg(epochSize),
                          fault);
        }
    }
    QByteArray arguments = "new epoch";
    appendArgument(epoch, arguments);
    appendArgument(replaced, arguments);
    appendArgument(lines, arguments);
    const auto body = [&](const QByteArray& call, bool isNew, Fault& problem) {
        if (!isNew) {
            return Connection::Step::rollBack;
        }
        QList<Row> rows;
        qint64 added = 0;
        if (!connection_->select(currentEpoch, {}, rows, problem) ||
            !connection_->insert(epochTarget, {{rows.value(0).value(1).toLongLong() + 1, epoch, replaced, call, now()}},
                                 added, problem) ||
            !insertRecords(*connection_, call, lines, problem)) {
            return Connection::Step::fail;
        }
        return added == 1 ? Connection::Step::commit : Connection::Step::again;
    };
    return isOpen(fault) && connection_->write(arguments, body, fault);
}

bool Ledger::isReplaced(const QByteArray& epoch, bool& result, Fault& fault) {
    QList<Row> rows;
    if (!isOpen(fault) || !connection_->ensureOpen(fault) ||
        !connection_->select(laterEpochs, {{epoch}}, rows, fault)) {
        return false;
    }
    result = !rows.isEmpty();
    return true;
}

}  // namespace ledger
