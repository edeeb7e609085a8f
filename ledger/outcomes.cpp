#include "ledger/Connection.h"
#include "ledger/Ledger.h"
#include "ledger/faults.h"
#include "ledger/records.h"

#include <QSet>

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

namespace ledger {
namespace {

constexpr Target outcomeTarget{"outcome", "product, serial, attempt, kind, reason, station, call, at_ms", "ttitttbi"};
constexpr Target recallTarget{"recall", "product, serial, attempt, reason, station, call, at_ms", "ttittbi"};
constexpr Target stepTarget{"step", "product, serial, attempt, number, step, output, size, milliseconds", "ttiitbii"};
constexpr Query ends{
    "SELECT {i}, o.kind FROM {t} "
    "JOIN claim c ON c.product = t.a1 AND c.serial = t.a2 AND c.attempt = t.a3 "
    "LEFT JOIN outcome o ON o.product = c.product AND o.serial = c.serial AND o.attempt = c.attempt",
    "tti"};
constexpr Query lastAttemptOf{
    "SELECT {i}, c.attempt, o.kind, r.attempt FROM {t} JOIN claim c ON c.product = t.a1 AND c.serial = t.a2 "
    "AND c.attempt = (SELECT max(m.attempt) FROM claim m WHERE m.product = t.a1 AND m.serial = t.a2) "
    "LEFT JOIN outcome o ON o.product = c.product AND o.serial = c.serial AND o.attempt = c.attempt "
    "LEFT JOIN recall r ON r.product = c.product AND r.serial = c.serial AND r.attempt = c.attempt",
    "tt"};
constexpr Query recallOfCall{
    "SELECT {i}, coalesce((SELECT o.attempt FROM outcome o WHERE o.product = t.a1 AND o.serial = t.a2 AND o.call = "
    "t.a3), "
    "(SELECT r.attempt FROM recall r WHERE r.product = t.a1 AND r.serial = t.a2 AND r.call = t.a3)) FROM {t}",
    "ttb"};

constexpr qsizetype digestSize = 32;

QString kindName(Outcome::Kind kind) {
    switch (kind) {
        case Outcome::Kind::proven:
            return QStringLiteral("proven");
        case Outcome::Kind::failed:
            return QStringLiteral("failed");
        case Outcome::Kind::interrupted:
            break;
    }
    return QStringLiteral("interrupted");
}

QString shown(const Attempt& attempt) {
    return QStringLiteral("attempt %1 of %2, %3").arg(QString::number(attempt.number), attempt.product, attempt.serial);
}

bool checkSteps(const Outcome& outcome, Fault& fault) {
    for (const StepRow& step : outcome.steps) {
        if (!checkName("step", step.step, fault)) {
            return false;
        }
        if ((!step.output.isEmpty() && step.output.size() != digestSize) || step.size < 0 || step.milliseconds < 0) {
            return failed(QStringLiteral("%1, step %2: the digest isn't of 32 bytes, or a number is negative")
                              .arg(shown(outcome.attempt), step.step),
                          fault);
        }
    }
    return true;
}

bool checkOutcomes(std::span<const Outcome> outcomes, Fault& fault) {
    QSet<std::pair<std::pair<QString, QString>, std::int32_t>> attempts;
    for (const Outcome& outcome : outcomes) {
        const Attempt& attempt = outcome.attempt;
        if (!checkName("product", attempt.product, fault) || !checkName("serial", attempt.serial, fault) ||
            !checkSteps(outcome, fault)) {
            return false;
        }
        if (outcome.kind == Outcome::Kind::proven && !outcome.reason.isEmpty()) {
            return failed(QStringLiteral("%1 is proven, but has a reason").arg(shown(attempt)), fault);
        }
        const qsizetype before = attempts.size();
        attempts.insert({{attempt.product, attempt.serial}, attempt.number});
        if (attempts.size() == before) {
            return failed(QStringLiteral("%1 ends twice in one call").arg(shown(attempt)), fault);
        }
    }
    return true;
}

QByteArray argumentsOf(std::span<const Outcome> outcomes, std::span<const RecordRow> lines) {
    QByteArray arguments = "finish";
    for (const Outcome& outcome : outcomes) {
        appendArgument(outcome.attempt.product, arguments);
        appendArgument(outcome.attempt.serial, arguments);
        appendArgument(qint64{outcome.attempt.number}, arguments);
        appendArgument(kindName(outcome.kind), arguments);
        appendArgument(outcome.reason, arguments);
        appendArgument(outcome.steps.size(), arguments);
        for (const StepRow& step : outcome.steps) {
            appendArgument(step.step, arguments);
            appendArgument(step.output, arguments);
            appendArgument(step.size, arguments);
            appendArgument(step.milliseconds, arguments);
        }
    }
    appendArgument(lines, arguments);
    return arguments;
}

// Reads which attempts have no end yet. An attempt without a claim is a fault.
bool readEnds(Connection& connection, std::span<const Outcome> outcomes, std::vector<char>& isFinal, Fault& fault) {
    QList<Row> inputs;
    for (const Outcome& outcome : outcomes) {
        inputs += Row{outcome.attempt.product, outcome.attempt.serial, outcome.attempt.number};
    }
    QList<Row> rows;
    if (!connection.select(ends, inputs, rows, fault)) {
        return false;
    }
    std::vector<char> isClaimed(outcomes.size(), 0);
    isFinal.assign(outcomes.size(), 0);
    for (const Row& row : rows) {
        const auto i = row.at(0).toUInt();
        isClaimed[i] = 1;
        isFinal[i] = row.at(1).isNull() ? 1 : 0;
    }
    for (std::size_t i = 0; i < outcomes.size(); ++i) {
        if (isClaimed[i] == 0) {
            return failed(QStringLiteral("%1 was never claimed").arg(shown(outcomes[i].attempt)), fault);
        }
    }
    return true;
}

Connection::Step insertOutcomes(Connection& connection, const QByteArray& call, std::span<const Outcome> outcomes,
                                Fault& fault) {
    const qint64 time = now();
    QList<Row> rows;
    QList<Row> steps;
    for (const Outcome& outcome : outcomes) {
        const Attempt& attempt = outcome.attempt;
        rows += Row{attempt.product,
                    attempt.serial,
                    attempt.number,
                    kindName(outcome.kind),
                    storedText(outcome.reason),
                    connection.station(),
                    call,
                    time};
        qint64 number = 0;
        for (const StepRow& step : outcome.steps) {
            steps += Row{attempt.product, attempt.serial,   attempt.number,
                         ++number,        step.step,        step.output.isEmpty() ? QVariant() : QVariant(step.output),
                         step.size,       step.milliseconds};
        }
    }
    // Rows are inserted in the order of their keys, so that two stations don't wait for each other.
    std::sort(rows.begin(), rows.end(), [](const Row& a, const Row& b) {
        return std::pair(a.at(0).toString(), a.at(1).toString()) < std::pair(b.at(0).toString(), b.at(1).toString());
    });
    qint64 added = 0;
    qint64 addedSteps = 0;
    if (!connection.insert(outcomeTarget, rows, added, fault)) {
        return Connection::Step::fail;
    }
    if (added != rows.size()) {
        return Connection::Step::again;
    }
    return connection.insert(stepTarget, steps, addedSteps, fault) ? Connection::Step::commit : Connection::Step::fail;
}

}  // namespace

bool Ledger::finish(std::span<const Outcome> outcomes, std::span<const RecordRow> lines, std::span<bool> isFinal,
                    Fault& fault) {
    if (isFinal.size() != outcomes.size()) {
        return failed(
            QStringLiteral("finish() has %1 outcomes and room for %2 results").arg(outcomes.size()).arg(isFinal.size()),
            fault);
    }
    if (!checkOutcomes(outcomes, fault)) {
        return false;
    }
    std::vector<char> first;
    const auto body = [&](const QByteArray& call, bool isNew, Fault& problem) {
        if (!isNew) {
            first.assign(outcomes.size(), 1);
            return Connection::Step::rollBack;
        }
        if (!readEnds(*connection_, outcomes, first, problem)) {
            return Connection::Step::fail;
        }
        if (std::find(first.begin(), first.end(), 0) != first.end()) {
            return Connection::Step::rollBack;
        }
        const Connection::Step step = insertOutcomes(*connection_, call, outcomes, problem);
        return step == Connection::Step::commit && !insertRecords(*connection_, call, lines, problem)
                   ? Connection::Step::fail
                   : step;
    };
    if (!isOpen(fault) || !connection_->write(argumentsOf(outcomes, lines), body, fault)) {
        return false;
    }
    std::transform(first.begin(), first.end(), isFinal.begin(), [](char value) { return value != 0; });
    return true;
}

bool Ledger::lastAttempt(const QString& product, const QString& serial, Attempt& attempt, Fault& fault) {
    QList<Row> rows;
    if (!isOpen(fault) || !connection_->ensureOpen(fault) ||
        !connection_->select(lastAttemptOf, {{product, serial}}, rows, fault)) {
        return false;
    }
    if (rows.isEmpty()) {
        return failed(QStringLiteral("%1, %2 isn't in the ledger").arg(product, serial), fault);
    }
    attempt = {product, serial, rows.at(0).value(1).toInt()};
    return true;
}

bool Ledger::isProven(const QString& product, const QString& serial, bool& isProven, Fault& fault) {
    QList<Row> rows;
    if (!isOpen(fault) || !connection_->ensureOpen(fault) ||
        !connection_->select(lastAttemptOf, {{product, serial}}, rows, fault)) {
        return false;
    }
    const Row last = rows.value(0);
    isProven = last.value(2).toString() == kindName(Outcome::Kind::proven) && last.value(3).isNull();
    return true;
}

bool Ledger::recall(const QString& product, const QString& serial, const QString& reason,
                    std::span<const RecordRow> lines, Attempt& recalled, Fault& fault) {
    if (!checkName("product", product, fault) || !checkName("serial", serial, fault)) {
        return false;
    }
    QByteArray arguments = "recall";
    appendArgument(product, arguments);
    appendArgument(serial, arguments);
    appendArgument(reason, arguments);
    appendArgument(lines, arguments);
    Attempt attempt{product, serial, 0};
    const auto body = [&](const QByteArray& call, bool isNew, Fault& problem) {
        QList<Row> rows;
        if (!isNew) {
            if (!connection_->select(recallOfCall, {{product, serial, call}}, rows, problem)) {
                return Connection::Step::fail;
            }
            attempt.number = rows.value(0).value(1).toInt();
            return Connection::Step::rollBack;
        }
        if (!connection_->select(lastAttemptOf, {{product, serial}}, rows, problem)) {
            return Connection::Step::fail;
        }
        if (rows.isEmpty()) {
            (void)failed(QStringLiteral("%1, %2 isn't in the ledger").arg(product, serial), problem);
            return Connection::Step::fail;
        }
        const Row row = rows.at(0);
        attempt.number = row.value(1).toInt();
        const QString kind = row.value(2).toString();
        if (!row.value(3).isNull() || (!kind.isEmpty() && kind != QLatin1String("proven"))) {
            (void)failed(QStringLiteral("%1 has ended already (%2)")
                             .arg(shown(attempt), row.value(3).isNull() ? kind : QStringLiteral("recalled")),
                         problem);
            return Connection::Step::fail;
        }
        qint64 added = 0;
        const QString text = storedText(reason);
        const bool isInserted =
            kind.isEmpty()
                ? connection_->insert(outcomeTarget,
                                      {{product, serial, attempt.number, QStringLiteral("recalled"), text,
                                        connection_->station(), call, now()}},
                                      added, problem)
                : connection_->insert(recallTarget,
                                      {{product, serial, attempt.number, text, connection_->station(), call, now()}},
                                      added, problem);
        if (!isInserted || !insertRecords(*connection_, call, lines, problem)) {
            return Connection::Step::fail;
        }
        return added == 1 ? Connection::Step::commit : Connection::Step::again;
    };
    if (!isOpen(fault) || !connection_->write(arguments, body, fault)) {
        return false;
    }
    recalled = attempt;
    return true;
}

}  // namespace ledger
