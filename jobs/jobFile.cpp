#include "jobs/jobFile.h"

#include "jobs/commandLine.h"
#include "jobs/shellQuoted.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

#include <algorithm>

namespace jobs {

namespace {

constexpr int version = 1;
constexpr qint64 largestFile = qint64{1} << 20;
constexpr qsizetype longestText = 8192;
constexpr qsizetype mostEntries = 256;  // each entry is a row of the form

constexpr QLatin1String versionName("version");
constexpr QLatin1String jobName("job");
constexpr QLatin1String valuesName("values");
constexpr QLatin1String pathName("path");
constexpr QLatin1String besideName("beside");

struct Texts {
    Q_DECLARE_TR_FUNCTIONS(jobs)
};

/// Whether `text` can be both an argument and the value of a field. An argument ends at a NUL, half a surrogate pair
/// has no UTF-8 form, and a field shortens a text that is too long.
bool isArgument(const QString& text) {
    return text.isValidUtf16() && !text.contains(QChar::Null) && text.size() <= longestText;
}

bool refuse(QString& fault, const QString& text) {
    fault = text;
    return false;
}

QString absolute(const QDir& folder, const QString& path) {
    return path.isEmpty() ? path : QDir::cleanPath(folder.absoluteFilePath(path));
}

QString relative(const QDir& folder, const QString& path) {
    return path.trimmed().isEmpty() ? QString() : folder.relativeFilePath(QFileInfo(path).absoluteFilePath());
}

QJsonValue written(const FieldRow& row, const QStringList& value, const QDir& folder) {
    if (row.kind != FieldKind::inFiles) {
        return isPath(row) ? relative(folder, pathOf(value)) : value.value(0);
    }
    QJsonArray entries;
    for (qsizetype i = 0; i < value.size(); i += 2) {
        QJsonObject entry{{pathName, relative(folder, value.at(i))}};
        if (!value.value(i + 1).isEmpty()) {
            entry.insert(besideName, value.at(i + 1));
        }
        entries.append(entry);
    }
    return entries;
}

/// Whether a value is saved. The initial value of a shown field is saved too, since a later version may have another.
bool isKept(const FieldRow& row, const Job& job) {
    const QString id = QLatin1String(row.id);
    const QStringList value = job.values.value(id);
    const bool isSet = std::any_of(value.begin(), value.end(), [](const QString& text) { return !text.isEmpty(); });
    const QStringList initial = initialValues(*job.row).value(id);
    // A field that the user emptied is saved too, so that its initial value doesn't return.
    return isShown(row, job.values) ? isSet || (row.choices.empty() && !initial.isEmpty()) : isSet && value != initial;
}

bool readEntries(const FieldRow& row, const QJsonArray& entries, const QDir& folder, QStringList& value) {
    if (entries.size() > mostEntries) {
        return false;
    }
    for (qsizetype i = 0; i < entries.size(); ++i) {
        const QJsonObject object = entries.at(i).toObject();
        const QJsonValue beside = object.value(besideName);
        const qsizetype members = beside.isUndefined() ? 1 : 2;
        if (!object.value(pathName).isString() || object.size() != members ||
            !(beside.isUndefined() || beside.isString())) {
            return false;
        }
        // Without a place in the form, the user couldn't see the text after the path.
        if (!beside.isUndefined() && *row.besideLabel == '\0') {
            return false;
        }
        if (!isArgument(object.value(pathName).toString()) || !isArgument(beside.toString())) {
            return false;
        }
        value << absolute(folder, object.value(pathName).toString()) << beside.toString();
    }
    return true;
}

bool readValue(const FieldRow& row, const QJsonValue& json, const QDir& folder, QStringList& value) {
    if (row.kind == FieldKind::inFiles) {
        return json.isArray() && readEntries(row, json.toArray(), folder, value);
    }
    const QString text = json.toString();
    value = {isPath(row) ? absolute(folder, text) : text};
    const auto isChosen = [&text](const ChoiceRow& choice) { return text == QLatin1String(choice.value); };
    return json.isString() && isArgument(text) &&
           (row.choices.empty() || std::any_of(row.choices.begin(), row.choices.end(), isChosen));
}

bool readValues(const JobRow& row, const QJsonObject& json, const QDir& folder, JobValues& values, QString& fault) {
    const QList<const FieldRow*> fields = fieldsOf(row);
    for (auto member = json.begin(); member != json.end(); ++member) {
        const auto field = std::find_if(fields.begin(), fields.end(), [&member](const FieldRow* candidate) {
            return member.key() == QLatin1String(candidate->id);
        });
        if (field == fields.end()) {
            return refuse(fault, Texts::tr("The job %1 has no field “%2”.").arg(QLatin1String(row.id), member.key()));
        }
        QStringList value;
        if (!readValue(**field, member.value(), folder, value)) {
            return refuse(fault, Texts::tr("The field “%1” doesn't accept its value.").arg(member.key()));
        }
        values.insert(member.key(), value);
    }
    return true;
}

bool readJob(const QJsonObject& document, const QDir& folder, Job& job, QString& fault) {
    for (const QString& name : document.keys()) {
        if (name != versionName && name != jobName && name != valuesName) {
            return refuse(fault, Texts::tr("A job has no member “%1”.").arg(name));
        }
    }
    const QJsonValue given = document.value(versionName);
    if (!given.isDouble()) {
        return refuse(fault, Texts::tr("This isn't a job: it has no version."));
    }
    if (given.toDouble() != version) {
        return refuse(
            fault,
            Texts::tr("The job has version %1, and this program reads version %2.").arg(given.toDouble()).arg(version));
    }
    const QString id = document.value(jobName).toString();
    Job read{findJob(id), {}};
    if (read.row == nullptr) {
        return refuse(fault, Texts::tr("There is no job “%1”.").arg(id));
    }
    if (!document.value(valuesName).isObject()) {
        return refuse(fault, Texts::tr("The job has no values."));
    }
    read.values = initialValues(*read.row);
    if (!readValues(*read.row, document.value(valuesName).toObject(), folder, read.values, fault)) {
        return false;
    }
    job = read;
    return true;
}

}  // namespace

bool readJobFile(const QString& path, Job& job, QString& fault) {
    QFile file(path);
    if (!QFileInfo(path).isFile()) {
        return refuse(fault, Texts::tr("There is no file “%1”.").arg(path));
    }
    if (file.size() > largestFile) {
        return refuse(fault, Texts::tr("“%1” is too large for a job.").arg(path));
    }
    if (!file.open(QIODevice::ReadOnly)) {
        return refuse(fault, Texts::tr("“%1” can't be read: %2.").arg(path, file.errorString()));
    }
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(file.read(largestFile), &error);
    if (error.error != QJsonParseError::NoError) {
        return refuse(fault, Texts::tr("“%1” isn't a job: %2 at byte %3.")
                                 .arg(path, error.errorString(), QString::number(error.offset)));
    }
    QString reason;
    return readJob(document.object(), QFileInfo(path).absoluteDir(), job, reason) ||
           refuse(fault, Texts::tr("“%1” can't be opened. %2").arg(path, reason));
}

JobPlace placeOf(const Job& job, const QString& path) {
    const QString page = QLatin1String(job.row->page == nullptr ? job.row->id : job.row->page);
    // The inspector has no form for the job. It shows the file that the job names.
    const bool isLook = page == QLatin1String(inspectPage);
    return {page, isLook ? pathOf(job.values.value(QLatin1String(job.row->rows.front().id))) : path};
}

bool writeJobFile(const QString& path, const Job& job, QString& fault) {
    const QDir folder = QFileInfo(path).absoluteDir();
    QJsonObject values;
    for (const FieldRow* const row : fieldsOf(*job.row)) {
        if (isKept(*row, job)) {
            const QString id = QLatin1String(row->id);
            values.insert(id, written(*row, job.values.value(id), folder));
        }
    }
    const QJsonObject document{{versionName, version}, {jobName, QLatin1String(job.row->id)}, {valuesName, values}};
    // A job that couldn't be opened again isn't saved.
    Job again;
    QString reason;
    if (!readJob(document, folder, again, reason)) {
        return refuse(fault, Texts::tr("“%1” can't be written. %2").arg(path, reason));
    }
    const QByteArray bytes = QJsonDocument(document).toJson();
    QSaveFile file(path);
    return (file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.commit()) ||
           refuse(fault, Texts::tr("“%1” can't be written: %2.").arg(path, file.errorString()));
}

bool commandLineOfJobFile(const QString& path, const QString& toolPath, QString& line, QString& fault) {
    Job job;
    if (!readJobFile(path, job, fault)) {
        return false;
    }
    for (const FieldRow* const row : fieldsOf(*job.row)) {
        const Verdict verdict = judgeWords(*row, job.values.value(QLatin1String(row->id)));
        if (isShown(*row, job.values) && verdict.kind != Verdict::Kind::good) {
            return refuse(fault, Texts::tr("“%1”, %2: %3").arg(path, Texts::tr(row->label).remove(u'&'), verdict.text));
        }
    }
    line = shellQuoted(QStringList(programWord(toolPath)) + argumentsOf(*job.row, job.values));
    return true;
}

}  // namespace jobs
