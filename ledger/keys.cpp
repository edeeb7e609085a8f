#include "ledger/Connection.h"
#include "ledger/Ledger.h"
#include "ledger/faults.h"
#include "ledger/records.h"

namespace ledger {
namespace {

constexpr Target keyTarget{"key", "fingerprint, label, source, station, at_ms", "bttti"};
constexpr Target keyStateTarget{"key_state", "fingerprint, state, station, call, at_ms", "bttbi"};
constexpr Target importTarget{"import", "call, origin", "bt"};
constexpr Target importedIvTarget{"iv", "fingerprint, part, import", "bbb"};
constexpr Query keyState{
    "SELECT {i}, s.state FROM {t} JOIN key k ON k.fingerprint = t.a1 "
    "LEFT JOIN key_state s ON s.fingerprint = k.fingerprint",
    "b"};
constexpr Query importedIvs{"SELECT {i}, count(*) FROM {t} JOIN iv ON iv.import = t.a1 GROUP BY 1", "b"};

constexpr qsizetype fingerprintSize = 32;
constexpr qsizetype importBatch = 4096;  // rows of one statement

bool checkFingerprint(const QByteArray& fingerprint, Fault& fault) {
    return fingerprint.size() == fingerprintSize ||
           failed(QStringLiteral("the fingerprint of a key has %1 bytes; expected are %2")
                      .arg(fingerprint.size())
                      .arg(fingerprintSize),
                  fault);
}

}  // namespace

bool Ledger::addKey(const QByteArray& fingerprint, const QString& label, const QString& source, Fault& fault) {
    if (!checkFingerprint(fingerprint, fault) || !checkName("label of a key", label, fault)) {
        return false;
    }
    QByteArray arguments = "add key";
    appendArgument(fingerprint, arguments);
    const auto body = [&](const QByteArray& /*call*/, bool isNew, Fault& problem) {
        qint64 added = 0;
        if (!isNew) {
            return Connection::Step::rollBack;
        }
        if (!connection_->insert(keyTarget, {{fingerprint, label, storedText(source), connection_->station(), now()}},
                                 added, problem)) {
            return Connection::Step::fail;
        }
        return added == 1 ? Connection::Step::commit : Connection::Step::rollBack;
    };
    return isOpen(fault) && connection_->write(arguments, body, fault);
}

bool Ledger::retireKey(const QByteArray& fingerprint, std::span<const RecordRow> lines, Fault& fault) {
    if (!checkFingerprint(fingerprint, fault)) {
        return false;
    }
    QByteArray arguments = "retire key";
    appendArgument(fingerprint, arguments);
    appendArgument(lines, arguments);
    const auto body = [&](const QByteArray& call, bool isNew, Fault& problem) {
        if (!isNew) {
            return Connection::Step::rollBack;
        }
        QList<Row> rows;
        if (!connection_->select(keyState, {{fingerprint}}, rows, problem)) {
            return Connection::Step::fail;
        }
        if (rows.isEmpty() || !rows.at(0).value(1).isNull()) {
            (void)failed(rows.isEmpty()
                             ? QStringLiteral("the key %1 isn't in the ledger").arg(QLatin1String(fingerprint.toHex()))
                             : QStringLiteral("the key %1 is retired already").arg(QLatin1String(fingerprint.toHex())),
                         problem);
            return Connection::Step::fail;
        }
        qint64 added = 0;
        if (!connection_->insert(keyStateTarget,
                                 {{fingerprint, QStringLiteral("retired"), connection_->station(), call, now()}}, added,
                                 problem) ||
            !insertRecords(*connection_, call, lines, problem)) {
            return Connection::Step::fail;
        }
        return added == 1 ? Connection::Step::commit : Connection::Step::again;
    };
    return isOpen(fault) && connection_->write(arguments, body, fault);
}

bool Ledger::importIvs(std::span<const IvUse> ivs, const QString& origin, std::span<const RecordRow> lines,
                       qint64& added, Fault& fault) {
    if (!checkName("origin", origin, fault)) {
        return false;
    }
    QByteArray arguments = "import";
    appendArgument(origin, arguments);
    for (const IvUse& iv : ivs) {
        if (!checkFingerprint(iv.fingerprint, fault)) {
            return false;
        }
        if (iv.part.size() != 8 && iv.part.size() != 16) {
            return failed(QStringLiteral("an IV has a part of %1 bytes; expected are 8 or 16").arg(iv.part.size()),
                          fault);
        }
        appendArgument(iv.fingerprint, arguments);
        appendArgument(iv.part, arguments);
    }
    appendArgument(lines, arguments);
    qint64 total = 0;
    const auto body = [&](const QByteArray& call, bool isNew, Fault& problem) {
        total = 0;
        QList<Row> rows;
        if (!isNew) {
            if (!connection_->select(importedIvs, {{call}}, rows, problem)) {
                return Connection::Step::fail;
            }
            total = rows.value(0).value(1).toLongLong();
            return Connection::Step::rollBack;
        }
        qint64 count = 0;
        if (!connection_->insert(importTarget, {{call, origin}}, count, problem)) {
            return Connection::Step::fail;
        }
        for (std::size_t i = 0; i < ivs.size(); ++i) {
            rows += Row{ivs[i].fingerprint, ivs[i].part, call};
            if (rows.size() < importBatch && i + 1 < ivs.size()) {
                continue;
            }
            if (!connection_->insert(importedIvTarget, rows, count, problem)) {
                return Connection::Step::fail;
            }
            total += count;
            rows.clear();
        }
        return insertRecords(*connection_, call, lines, problem) ? Connection::Step::commit : Connection::Step::fail;
    };
    if (!isOpen(fault) || !connection_->write(arguments, body, fault)) {
        return false;
    }
    added = total;
    return true;
}

}  // namespace ledger
