#include "produce/catchUp.h"

#include "record/RecordReader.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonObject>
#include <QSet>

#include <algorithm>
#include <memory>
#include <vector>

namespace produce {

namespace {

constexpr qsizetype devicesAtOnce = 64;
constexpr qsizetype rowsAtOnce = 1000;

QString textOf(const QJsonObject& object, const char* name) {
    return object.value(QLatin1String(name)).toString();
}

QByteArray bytesOf(const QJsonObject& object, const char* name) {
    return QByteArray::fromHex(textOf(object, name).toLatin1());
}

void addIvs(const QJsonObject& object, QList<ledger::IvUse>& ivs) {
    for (const auto& value : object.value(QLatin1String("ivs")).toArray()) {
        const QJsonObject iv = value.toObject();
        ivs.append({bytesOf(iv, "fingerprint"), bytesOf(iv, "part")});
    }
}

ledger::StepRow stepOf(const QJsonObject& step) {
    const QJsonObject output = step.value(QLatin1String("outputs")).toArray().at(0).toObject();
    return {textOf(step, "step"), bytesOf(output, "sha256"), output.value(QLatin1String("size")).toInteger(),
            step.value(QLatin1String("milliseconds")).toInteger()};
}

ledger::Outcome::Kind kindOf(const QString& verdict) {
    return verdict == QLatin1String("proven")   ? ledger::Outcome::Kind::proven
           : verdict == QLatin1String("failed") ? ledger::Outcome::Kind::failed
                                                : ledger::Outcome::Kind::interrupted;
}

class CatchingUp {
  public:
    CatchingUp(ledger::Ledger& ledger, QString& fault) : ledger_(ledger), fault_(fault) {}

    [[nodiscard]] bool add(const QJsonObject& line, const QString& kind, const ledger::RecordRow& row) {
        if (kind == QLatin1String("device")) {
            return addDevice(line, row);
        }
        if (kind == QLatin1String("start") || kind == QLatin1String("end") || kind == QLatin1String("checkpoint")) {
            rows_.append(row);
            return rows_.size() < rowsAtOnce || flush();
        }
        return flush() && addChange(line, kind, row);
    }

    /// Commits the devices and lines that were added.
    [[nodiscard]] bool flush() {
        std::vector<ledger::ClaimResult> results(requests_.size());
        ledger::Fault reason;
        if (!requests_.empty() && !ledger_.claim(requests_, results, reason)) {
            return refuse(reason.text);
        }
        for (std::size_t i = 0; i < requests_.size(); ++i) {
            using Kind = ledger::ClaimResult::Kind;
            const ledger::Attempt& attempt = outcomes_.at(static_cast<qsizetype>(i)).attempt;
            const bool isClaimed = results[i].kind == Kind::claimed || results[i].kind == Kind::heldHere;
            if (!isClaimed || results[i].attempt.number != attempt.number) {
                return refuse(QStringLiteral("attempt %1 of %2 in the record doesn't follow those in the ledger")
                                  .arg(attempt.number)
                                  .arg(attempt.serial));
            }
        }
        const auto count = static_cast<std::size_t>(outcomes_.size());
        const std::unique_ptr<bool[]> finals(new bool[count]());
        if (!rows_.isEmpty() && !ledger_.finish(outcomes_, rows_, {finals.get(), count}, reason)) {
            return refuse(reason.text);
        }
        if (std::count(finals.get(), finals.get() + count, false) > 0) {
            return refuse(QStringLiteral("the ledger has another end for a device of the record"));
        }
        requests_.clear();
        outcomes_.clear();
        rows_.clear();
        serials_.clear();
        return true;
    }

  private:
    bool refuse(const QString& text) {
        fault_ = text;
        return false;
    }

    bool addDevice(const QJsonObject& line, const ledger::RecordRow& row) {
        ledger::Outcome outcome;
        outcome.attempt = {textOf(line, "product"), textOf(line, "serial"),
                           line.value(QLatin1String("attempt")).toInt()};
        outcome.kind = kindOf(textOf(line, "verdict"));
        outcome.reason = textOf(line, "reason");
        ledger::ClaimRequest request{outcome.attempt.product, outcome.attempt.serial, {}};
        for (const auto& value : line.value(QLatin1String("steps")).toArray()) {
            outcome.steps.append(stepOf(value.toObject()));
            addIvs(value.toObject(), request.ivs);
        }
        if ((outcomes_.size() >= devicesAtOnce || serials_.contains(request.serial)) && !flush()) {
            return false;
        }
        serials_.insert(request.serial);
        requests_.push_back(request);
        outcomes_.append(outcome);
        rows_.append(row);
        return true;
    }

    bool addChange(const QJsonObject& line, const QString& kind, const ledger::RecordRow& row) {
        const QList<ledger::RecordRow> rows{row};
        ledger::Fault reason;
        bool isDone = false;
        if (kind == QLatin1String("recall")) {
            ledger::Attempt recalled;
            isDone = ledger_.recall(textOf(line, "product"), textOf(line, "serial"), textOf(line, "reason"), rows,
                                    recalled, reason);
        } else if (kind == QLatin1String("retire")) {
            const QByteArray fingerprint = bytesOf(line, "fingerprint");
            // A key that the ledger knows keeps its label.
            isDone = ledger_.addKey(fingerprint, QStringLiteral("restored"), {}, reason) &&
                     ledger_.retireKey(fingerprint, rows, reason);
        } else if (kind == QLatin1String("import")) {
            QList<ledger::IvUse> ivs;
            qint64 added = 0;
            addIvs(line, ivs);
            isDone = ledger_.importIvs(ivs, textOf(line, "origin"), rows, added, reason);
        } else if (kind == QLatin1String("epoch")) {
            isDone = ledger_.newEpoch(bytesOf(line, "epoch"), bytesOf(line, "replaced"), rows, reason);
        } else {
            reason.text = QStringLiteral("a line of the kind %1 can't be put back").arg(kind);
        }
        return isDone || refuse(reason.text);
    }

    ledger::Ledger& ledger_;
    QString& fault_;
    std::vector<ledger::ClaimRequest> requests_;
    QList<ledger::Outcome> outcomes_;  // of the requests
    QList<ledger::RecordRow> rows_;
    QSet<QString> serials_;  // of the requests
};

}  // namespace

bool catchUp(const QString& path, const QString& station, ledger::Ledger& ledger, qint64& lines, QString& fault) {
    lines = 0;
    QFile file(path);
    if (!file.exists()) {
        return true;
    }
    ledger::Head head;
    ledger::Fault reason;
    if (!ledger.head(head, reason)) {
        fault = reason.text;
        return false;
    }
    if (!file.open(QIODevice::ReadOnly)) {
        fault = QStringLiteral("%1 can't be read: %2").arg(path, file.errorString());
        return false;
    }
    // A changed line is noticed only at the line after it, so the whole record is checked before any of its lines is
    // put back.
    CatchingUp catching(ledger, fault);
    for (const bool takes : {false, true}) {
        record::RecordReader reader(file);
        const auto refuse = [&](const QString& text) {
            fault = QStringLiteral("%1: line %2: %3").arg(path).arg(reader.head().number + 1).arg(text);
            return false;
        };
        record::RecordReader::Next next = reader.next();
        for (; next == record::RecordReader::Next::line; next = reader.next()) {
            const record::ChainHead& at = reader.head();
            if (at.number == head.records && at.hash != head.hash) {
                return refuse(QStringLiteral("the line before isn't that of the ledger"));
            }
            if (!reader.station().isEmpty() && reader.station() != station) {
                return refuse(QStringLiteral("the record is that of the station %1").arg(reader.station()));
            }
            if (!takes || at.number <= head.records) {
                continue;
            }
            if (!catching.add(reader.line(), reader.kind(),
                              {at.number, at.hash, record::canonicalJson(reader.line())})) {
                return refuse(fault);
            }
            ++lines;
        }
        if (next == record::RecordReader::Next::fault && !reader.isTorn()) {
            return refuse(reader.fault());
        }
        file.seek(0);
    }
    return catching.flush();
}

}  // namespace produce
