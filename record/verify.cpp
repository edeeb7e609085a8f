#include "record/verify.h"

#include "Preparation/primitives/Sha256.h"
#include "record/Coverage.h"
#include "record/RecordReader.h"
#include "record/StationKey.h"
#include "record/envelope.h"
#include "record/lineForm.h"

#include <QFile>
#include <QJsonArray>

namespace record {

namespace {

/// Computes a digest over subjects. Two lists have the same digest only if they are equal, because the end of a
/// canonical object is certain without a separator.
class SubjectDigest {
  public:
    SubjectDigest() : isGood_(hash_.start()) {}
    void add(const QJsonValue& subject) { isGood_ = isGood_ && hash_.update(canonicalJson(subject)); }
    /// Empty if the digest can't be computed. Call this once, at the end.
    [[nodiscard]] QByteArray finish() {
        Sha256Digest digest;
        return isGood_ && hash_.finish(digest) ? QByteArrayView(digest).toByteArray() : QByteArray();
    }

  private:
    Sha256 hash_;
    bool isGood_;
};

class Verifier {
  public:
    Verifier(QIODevice& device, const ChainHead& known) : reader_(device), known_(known) {}

    [[nodiscard]] Verdict run(const QByteArray& publicPem) {
        if (!key_.parse(publicPem, verdict_.fault)) {
            return verdict_;
        }
        for (;;) {
            const RecordReader::Next next = reader_.next();
            if (next == RecordReader::Next::end) {
                return atEnd();
            }
            const QString fault = next == RecordReader::Next::fault ? reader_.fault() : lineFaultInContext();
            if (!fault.isEmpty()) {
                verdict_.faultLine = verdict_.lines + 1;
                verdict_.fault = QStringLiteral("Line %1: %2").arg(QString::number(verdict_.faultLine), fault);
                return verdict_;
            }
            countLine();
        }
    }

  private:
    [[nodiscard]] Verdict atEnd() {
        if (known_.number > verdict_.lines) {
            verdict_.fault = QStringLiteral("The record ends after line %1, but line %2 is known; lines were removed")
                                 .arg(verdict_.lines)
                                 .arg(known_.number);
        }
        verdict_.isGood = verdict_.fault.isEmpty();
        return verdict_;
    }

    // Checks the rules between a line and those before it. On success, notes the line for the checks of later lines.
    [[nodiscard]] QString lineFaultInContext() {
        const QJsonObject& line = reader_.line();
        if (reader_.head().number == known_.number && reader_.head().hash != known_.hash) {
            return QStringLiteral("the line isn't the known one; the record was rewritten");
        }
        const QString& kind = reader_.kind();
        if (kind == QLatin1String("checkpoint")) {
            return checkpointFault();
        }
        if (kind == QLatin1String("start")) {
            inRun_ = true;
            run_ = {};
        } else if (kind == QLatin1String("end")) {
            if (!inRun_) {
                return QStringLiteral("a run ends that hasn't started");
            }
            inRun_ = false;
            if (line.value(QLatin1String("counts")).toObject() != run_.toJson()) {
                return QStringLiteral("\"counts\" isn't %1, the devices since the start of the run")
                    .arg(QString::fromLatin1(canonicalJson(run_.toJson())));
            }
        }
        run_.add(line);
        const QJsonArray subjects = subjectsOf(line);
        coverage_.add(line, reader_.head(), subjects.size());
        for (const QJsonValue subject : subjects) {
            subjects_.add(subject);
        }
        lastTime_ = line.value(QLatin1String("time")).toString();
        return {};
    }

    [[nodiscard]] QString checkpointFault() {
        QByteArray payload;
        QString fault;
        if (!openEnvelope(reader_.line().value(QLatin1String("envelope")).toObject(), key_, payload, fault)) {
            return fault;
        }
        QJsonObject statement;
        if (!parseCanonicalJson(payload, statement, fault)) {
            return QStringLiteral("the signed statement %1").arg(fault);
        }
        fault = statementFault(statement);
        if (!fault.isEmpty()) {
            return QStringLiteral("in the signed statement, %1").arg(fault);
        }
        if (coverage_.lines() == 0) {
            return QStringLiteral("the checkpoint covers no line");
        }
        const QJsonObject predicate = statement.value(QLatin1String("predicate")).toObject();
        const QString time = predicate.value(QLatin1String("time")).toString();
        const QJsonObject expected = coverage_.predicate(reader_.station(), time);
        for (auto member = expected.constBegin(); member != expected.constEnd(); ++member) {
            if (predicate.value(member.key()) != member.value()) {
                return QStringLiteral("in the signed statement, \"%1\" isn't %2")
                    .arg(member.key(), QString::fromUtf8(canonicalJson(member.value())));
            }
        }
        SubjectDigest found;
        for (const QJsonValue subject : statement.value(QLatin1String("subject")).toArray()) {
            found.add(subject);
        }
        if (coverage_.outputs == 0) {
            subjects_.add(coverage_.lineSubject());
        }
        const QByteArray digest = subjects_.finish();
        if (digest.isEmpty() || digest != found.finish()) {
            return QStringLiteral("the subjects aren't the %1 outputs of the lines from %2 to %3")
                .arg(coverage_.outputs)
                .arg(coverage_.firstLine)
                .arg(coverage_.last.number);
        }
        coverage_ = {};
        subjects_ = SubjectDigest();
        ++verdict_.checkpoints;
        lastTime_ = time;
        return {};
    }

    void countLine() {
        ++verdict_.lines;
        const DeviceCounts before = devices_;
        devices_.add(reader_.line());
        verdict_.devices += devices_.proven - before.proven;
        verdict_.recalls += reader_.kind() == QLatin1String("recall") ? 1 : 0;
        verdict_.unsignedLines = coverage_.lines();
        verdict_.lastHash = reader_.head().hash;
        verdict_.station = reader_.station();
        verdict_.lastTime = lastTime_;
    }

    RecordReader reader_;
    const ChainHead known_;
    StationPublicKey key_;
    Coverage coverage_;
    SubjectDigest subjects_;
    DeviceCounts devices_;
    DeviceCounts run_;
    bool inRun_ = false;
    QString lastTime_;
    Verdict verdict_;
};

}  // namespace

Verdict verifyRecord(QIODevice& device, const QByteArray& publicPem, const ChainHead& known) {
    return Verifier(device, known).run(publicPem);
}

Verdict verifyRecord(const QString& path, const QByteArray& publicPem, const ChainHead& known) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        Verdict verdict;
        verdict.fault = QStringLiteral("The record %1 can't be opened: %2").arg(path, file.errorString());
        return verdict;
    }
    return verifyRecord(file, publicPem, known);
}

}  // namespace record
