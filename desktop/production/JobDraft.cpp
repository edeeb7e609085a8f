#include "desktop/production/JobDraft.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QJsonArray>

#include <algorithm>
#include <array>

namespace desktop {

namespace {

constexpr QLatin1String proofField("proof.public");
constexpr QLatin1String keyStart("{key:");

struct Texts {
    Q_DECLARE_TR_FUNCTIONS(JobDraft)
};

/// The jobs whose files are proven with a public key that only the user can name.
constexpr std::array publicProofs = {"sign", "wireless-sign", "imgtool-image", "personalization"};

QString nameOfFile(const QString& path) {
    return path.section(QLatin1Char('/'), -1);
}

/// A name of a key from the name of its file.
QString keyName(const QString& path) {
    QString name = QFileInfo(path).completeBaseName();
    for (QChar& c : name) {
        const bool isGood = c.unicode() < 128 && (c.isLetterOrNumber() || c == u'-' || c == u'_' || c == u'.');
        c = isGood ? c : QChar(u'-');
    }
    return name.isEmpty() || name.startsWith(u'-') || name.startsWith(u'.') ? QStringLiteral("key") : name.left(64);
}

bool isKey(const jobs::FieldRow& row) {
    return row.kind == jobs::FieldKind::inFile && row.secret && row.role == jobs::PathRole::key &&
           qstrcmp(row.id, "nonce") != 0;
}

bool isOutput(const jobs::FieldRow& row) {
    return row.kind == jobs::FieldKind::outFile;
}

QString proposed(const jobs::FieldRow& row, const QString& saved) {
    if (qstrcmp(row.id, "nonce") == 0) {
        return QStringLiteral("{nonce}");
    }
    if (isOutput(row) || qstrcmp(row.id, "template") == 0) {
        return QStringLiteral("{out}/") + nameOfFile(saved);
    }
    if (row.kind == jobs::FieldKind::folder) {
        return QStringLiteral("{out}");
    }
    return isKey(row) && !saved.isEmpty() ? keyStart + keyName(saved) + QLatin1Char('}') : saved;
}

QString plainLabel(const jobs::FieldRow& row) {
    return QCoreApplication::translate("jobs", row.label).remove(QLatin1Char('&'));
}

QString relativeTo(const QString& folder, const QString& path) {
    return QDir(folder).relativeFilePath(path);
}

}  // namespace

bool makeDraftStep(const QString& path, DraftStep& step, QString& fault) {
    jobs::Job job;
    if (!jobs::readJobFile(path, job, fault)) {
        return false;
    }
    step = {QFileInfo(path).absoluteFilePath(), QLatin1String(job.row->id), job, {}};
    for (const jobs::FieldRow* const row : jobs::fieldsOf(*job.row)) {
        const QString id = QLatin1String(row->id);
        const QString saved = job.values.value(id).value(0);
        const bool isLeftOut = saved.isEmpty() && qstrcmp(row->id, "nonce") != 0;
        if (row->kind == jobs::FieldKind::inFiles || !jobs::isShown(*row, job.values) || isLeftOut) {
            continue;
        }
        step.fields.append({id, plainLabel(*row), saved, proposed(*row, saved)});
    }
    if (std::any_of(publicProofs.begin(), publicProofs.end(),
                    [&job](const char* id) { return qstrcmp(id, job.row->id) == 0; })) {
        step.fields.append({proofField, Texts::tr("Public key of the proof"), {}, {}});
    }
    return true;
}

QString freeStepName(const JobDraft& draft, const QString& wanted) {
    const auto isTaken = [&draft](const QString& name) {
        return std::any_of(draft.steps.begin(), draft.steps.end(),
                           [&name](const DraftStep& step) { return step.name == name; });
    };
    QString name = wanted;
    for (int number = 2; isTaken(name); ++number) {
        name = QStringLiteral("%1-%2").arg(wanted).arg(number);
    }
    return name;
}

QJsonObject draftDocument(const JobDraft& draft, const QString& folder) {
    QJsonObject keys;
    QJsonArray steps;
    for (const DraftStep& step : draft.steps) {
        QJsonObject values;
        QJsonObject written{{QStringLiteral("name"), step.name},
                            {QStringLiteral("file"), relativeTo(folder, step.file)}};
        for (const DraftField& field : step.fields) {
            if (field.id == proofField) {
                if (!field.text.isEmpty()) {
                    const QString path =
                        field.text.startsWith(QLatin1Char('{')) ? field.text : relativeTo(folder, field.text);
                    written.insert(QStringLiteral("proof"), QJsonObject{{QStringLiteral("public"), path}});
                }
                continue;
            }
            if (field.text == field.saved) {
                continue;
            }
            values.insert(field.id, field.text);
            if (field.text.startsWith(keyStart) && field.text.endsWith(QLatin1Char('}')) && !field.saved.isEmpty()) {
                keys.insert(field.text.sliced(keyStart.size()).chopped(1),
                            QJsonObject{{QStringLiteral("file"), relativeTo(folder, field.saved)}});
            }
            if (field.id == QLatin1String("template") && field.text.startsWith(QLatin1String("{out}/"))) {
                written.insert(QStringLiteral("copies"),
                               QJsonArray{QJsonObject{{QStringLiteral("from"), relativeTo(folder, field.saved)},
                                                      {QStringLiteral("to"), field.text}}});
            }
        }
        written.insert(QStringLiteral("values"), values);
        steps.append(written);
    }
    QJsonObject document{
        {QStringLiteral("version"), 1}, {QStringLiteral("product"), draft.product}, {QStringLiteral("steps"), steps}};
    if (!keys.isEmpty()) {
        document.insert(QStringLiteral("keys"), keys);
    }
    return document;
}

}  // namespace desktop
