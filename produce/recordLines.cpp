#include "produce/recordLines.h"

#include "produce/siteKeys.h"
#include "record/lineForm.h"

#include <QDateTime>
#include <QFileInfo>
#include <QJsonArray>

namespace produce {

namespace {

QString hex(const QByteArray& bytes) {
    return QString::fromLatin1(bytes.toHex());
}

QJsonObject lineOf(const char* kind, const QString& station) {
    return {{QStringLiteral("kind"), QLatin1String(kind)},
            {QStringLiteral("station"), station},
            {QStringLiteral("time"), timeOfNow()}};
}

QJsonObject lineOf(const char* kind, const LineContext& context, const ledger::Attempt& attempt) {
    QJsonObject line = lineOf(kind, context.station);
    line.insert(QStringLiteral("attempt"), attempt.number);
    line.insert(QStringLiteral("job"), hex(context.jobDigest));
    line.insert(QStringLiteral("product"), attempt.product);
    line.insert(QStringLiteral("serial"), attempt.serial);
    line.insert(QStringLiteral("versions"), context.versions);
    return line;
}

QJsonObject ivOf(const ledger::IvUse& use) {
    return {{QStringLiteral("fingerprint"), hex(use.fingerprint)}, {QStringLiteral("part"), hex(use.part)}};
}

QJsonObject inputOf(const FileDigest& file, const SiteSecret& site) {
    QJsonObject input{{QStringLiteral("field"), file.field},
                      {QStringLiteral("name"), QFileInfo(file.path).fileName()},
                      {QStringLiteral("size"), file.size}};
    if (file.isSecret) {
        input.insert(QStringLiteral("fingerprint"), hex(site.fingerprintOfDigest(file.sha256)));
    } else {
        input.insert(QStringLiteral("sha256"), hex(file.sha256));
    }
    return input;
}

/// The name of an output within the device's folder.
QString nameInFolder(const QString& path, const QString& folder) {
    return path.startsWith(folder + u'/') ? path.mid(folder.size() + 1) : QFileInfo(path).fileName();
}

QJsonObject stepOf(const StepResult& result, qsizetype index, const DevicePlan& plan, const SiteSecret& site) {
    QJsonArray inputs;
    QJsonArray outputs;
    QJsonArray ivs;
    for (const StepKey& key : plan.keys) {
        if (key.step == index) {
            inputs.append(QJsonObject{{QStringLiteral("field"), key.field},
                                      {QStringLiteral("name"), QFileInfo(key.name).fileName()},
                                      {QStringLiteral("fingerprint"), hex(key.fingerprint)}});
        }
    }
    for (const FileDigest& file : result.inputs) {
        inputs.append(inputOf(file, site));
    }
    for (const FileDigest& file : result.outputs) {
        outputs.append(QJsonObject{{QStringLiteral("name"), nameInFolder(file.path, plan.task.folder)},
                                   {QStringLiteral("sha256"), hex(file.sha256)},
                                   {QStringLiteral("size"), file.size}});
    }
    for (const StepIv& iv : plan.ivs) {
        if (iv.step == index) {
            ivs.append(ivOf(iv.use));
        }
    }
    return {{QStringLiteral("step"), result.name},
            {QStringLiteral("verdict"), result.isProven ? QStringLiteral("proven") : QStringLiteral("failed")},
            {QStringLiteral("milliseconds"), result.milliseconds},
            {QStringLiteral("inputs"), inputs},
            {QStringLiteral("outputs"), outputs},
            {QStringLiteral("ivs"), ivs}};
}

}  // namespace

QString timeOfNow() {
    return record::timeText(QDateTime::currentDateTimeUtc());
}

QJsonObject startLine(const LineContext& context) {
    QJsonObject line = lineOf("start", context.station);
    line.insert(QStringLiteral("job"), hex(context.jobDigest));
    line.insert(QStringLiteral("versions"), context.versions);
    return line;
}

QJsonObject endLine(const LineContext& context, const record::DeviceCounts& devices) {
    QJsonObject line = lineOf("end", context.station);
    line.insert(QStringLiteral("counts"), devices.toJson());
    return line;
}

QJsonObject deviceLine(const LineContext& context, const DevicePlan& plan, const DeviceResult& result,
                       const QString& reason, const SiteSecret& site) {
    QJsonObject line = lineOf("device", context, plan.attempt);
    QJsonArray steps;
    for (qsizetype i = 0; i < result.steps.size(); ++i) {
        if (!result.steps.at(i).name.isEmpty()) {
            steps.append(stepOf(result.steps.at(i), i, plan, site));
        }
    }
    line.insert(QStringLiteral("reason"), reason);
    line.insert(QStringLiteral("steps"), steps);
    line.insert(QStringLiteral("verdict"), result.isProven ? QStringLiteral("proven") : QStringLiteral("failed"));
    return line;
}

QJsonObject interruptedLine(const LineContext& context, const ledger::Attempt& attempt, const QString& reason) {
    QJsonObject line = lineOf("device", context, attempt);
    line.insert(QStringLiteral("reason"), reason);
    line.insert(QStringLiteral("steps"), QJsonArray());
    line.insert(QStringLiteral("verdict"), QStringLiteral("interrupted"));
    return line;
}

QJsonObject recallLine(const QString& station, const ledger::Attempt& attempt, const QString& reason) {
    QJsonObject line = lineOf("recall", station);
    line.insert(QStringLiteral("attempt"), attempt.number);
    line.insert(QStringLiteral("product"), attempt.product);
    line.insert(QStringLiteral("serial"), attempt.serial);
    line.insert(QStringLiteral("reason"), reason);
    return line;
}

QJsonObject retireLine(const QString& station, const QByteArray& fingerprint) {
    QJsonObject line = lineOf("retire", station);
    line.insert(QStringLiteral("fingerprint"), hex(fingerprint));
    return line;
}

QJsonObject epochLine(const QString& station, const QByteArray& epoch, const QByteArray& replaced,
                      const QString& reason) {
    QJsonObject line = lineOf("epoch", station);
    line.insert(QStringLiteral("epoch"), hex(epoch));
    line.insert(QStringLiteral("replaced"), hex(replaced));
    if (!reason.isEmpty()) {
        line.insert(QStringLiteral("reason"), reason);
    }
    return line;
}

QJsonObject importLine(const QString& station, const QList<ledger::IvUse>& ivs, const QString& origin) {
    QJsonObject line = lineOf("import", station);
    QJsonArray list;
    for (const ledger::IvUse& use : ivs) {
        list.append(ivOf(use));
    }
    line.insert(QStringLiteral("ivs"), list);
    line.insert(QStringLiteral("origin"), origin);
    return line;
}

}  // namespace produce
