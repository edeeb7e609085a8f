#include "produce/readProductionJob.h"

#include "Preparation/primitives/Sha256.h"
#include "files/readWhole.h"
#include "inspect/devicePolicy.h"
#include "produce/JsonTokens.h"
#include "produce/checkSteps.h"
#include "produce/placeholders.h"
#include "produce/proof.h"
#include "token/KeyUri.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

namespace produce {

namespace {

constexpr int version = 1;
constexpr qint64 largestFile = qint64{1} << 20;
constexpr qsizetype mostSteps = 64;
constexpr qsizetype mostKeys = 64;
constexpr qsizetype mostEntries = 256;
constexpr qsizetype longestText = 8192;  // as in a saved job
constexpr int longestTimeout = 86400;

/// Whether `text` can be an argument: it has a UTF-8 form and no NUL.
bool isArgument(const QString& text) {
    return text.isValidUtf16() && !text.contains(QChar::Null) && text.size() <= longestText;
}

const jobs::FieldRow* fieldNamed(const jobs::JobRow& row, const QString& id) {
    const QList<const jobs::FieldRow*> fields = jobs::fieldsOf(row);
    const auto found = std::find_if(fields.begin(), fields.end(),
                                    [&id](const jobs::FieldRow* field) { return id == QLatin1String(field->id); });
    return found == fields.end() ? nullptr : *found;
}

/// A relative path of a saved job starts in that job's folder, unless it begins with a placeholder.
QString fromSavedFolder(const QString& path, const QString& folder) {
    const bool beginsWithPlaceholder = path.startsWith(u'{') && !path.startsWith(QLatin1String("{{"));
    return path.isEmpty() || beginsWithPlaceholder || path.startsWith(u'/') ? path
                                                                            : withLiteralBraces(folder) + u'/' + path;
}

/// Reads one job file. Each function reports the first fault and then returns false.
class Reader {
  public:
    Reader(ProductionJob& job, QString& fault) : job_(job), fault_(fault) {}

    bool read(const QString& path);

  private:
    bool refuse(const QString& place, const QString& text);
    bool readDocument(const QString& path, const QString& place, QJsonObject& document);
    bool hasOnly(const QJsonObject& object, const QString& place, const QStringList& names);
    bool readVersion(const QJsonObject& document, const QString& place);
    bool readText(const QJsonValue& json, const QString& place, QString& text);
    bool readFlag(const QJsonValue& json, const QString& place, bool& flag);

    bool readKeys(const QJsonValue& json);
    bool readKeyFile(const QJsonObject& object, const QString& place, KeySource& key);
    bool readTokenKey(const QJsonObject& object, const QString& place, KeySource& key);
    bool readSteps(const QJsonValue& json);
    bool readStep(const QJsonValue& json, Step& step);
    bool readSavedJob(const QString& named, Step& step);
    bool readValues(const QJsonValue& json, const QString& place, const QString* savedFolder, Step& step);
    bool readValue(const jobs::FieldRow& row, const QJsonValue& json, const QString& place, const QString* savedFolder,
                   QStringList& value);
    bool readCopies(const QJsonValue& json, Step& step);
    bool readPolicy(const QJsonValue& json);
    bool readProof(const QJsonValue& json, Step& step);
    bool readProofValue(const QJsonValue& json, const QString& place, const QString& option, Step& step);

    ProductionJob& job_;
    QString& fault_;
    QList<QByteArray> contents_;  // of the job file, its saved jobs and its policy
};

bool Reader::refuse(const QString& place, const QString& text) {
    fault_ = place.isEmpty() ? QStringLiteral("%1: %2").arg(job_.path, text)
                             : QStringLiteral("%1: %2: %3").arg(job_.path, place, text);
    return false;
}

bool Reader::read(const QString& path) {
    job_.path = path;
    job_.folder = QFileInfo(path).absolutePath();
    QJsonObject document;
    if (!readDocument(path, {}, document) || !readVersion(document, {}) ||
        !hasOnly(document, {},
                 {QStringLiteral("version"), QStringLiteral("product"), QStringLiteral("keys"),
                  QStringLiteral("policy"), QStringLiteral("allowDevelopmentKeys"), QStringLiteral("steps")}) ||
        !readText(document.value(QLatin1String("product")), QStringLiteral("product"), job_.product)) {
        return false;
    }
    if (!isName(job_.product)) {
        return refuse(QStringLiteral("product"), QStringLiteral("A product's name has 1 to 64 letters, digits, -, _ "
                                                                "and ., and begins with a letter, a digit or _."));
    }
    if (!readFlag(document.value(QLatin1String("allowDevelopmentKeys")), QStringLiteral("allowDevelopmentKeys"),
                  job_.allowsDevelopmentKeys) ||
        !readKeys(document.value(QLatin1String("keys"))) || !readSteps(document.value(QLatin1String("steps"))) ||
        !readPolicy(document.value(QLatin1String("policy"))) || !checkSteps(job_, fault_)) {
        return false;
    }
    Sha256 hash;
    Sha256Digest digest;
    const bool isHashed = hash.exists() && hash.start() &&
                          std::all_of(contents_.begin(), contents_.end(),
                                      [&hash](const QByteArray& content) { return hash.update(content); }) &&
                          hash.finish(digest);
    if (!isHashed) {
        return refuse({}, QStringLiteral("OpenSSL doesn't offer SHA-256."));
    }
    job_.digest = QByteArray(digest.data(), static_cast<qsizetype>(digest.size()));
    return true;
}

bool Reader::readDocument(const QString& path, const QString& place, QJsonObject& document) {
    const QString name = place.isEmpty() ? QString() : QStringLiteral("“%1”: ").arg(path);
    QFile file(path);
    if (QFileInfo(path).isDir()) {
        return refuse(place, name + QStringLiteral("This is a folder."));
    }
    if (!file.open(QIODevice::ReadOnly)) {
        return refuse(place, name + QStringLiteral("The file can't be read: %1.").arg(file.errorString()));
    }
    QByteArray content;
    const WholeStatus status = readWhole(file, largestFile, content);
    if (status != WholeStatus::done) {
        return refuse(place, name + (status == WholeStatus::tooLong
                                         ? QStringLiteral("A job has at most %1 bytes.").arg(largestFile)
                                         : QStringLiteral("The file can't be read.")));
    }
    QJsonParseError error;
    const QJsonDocument parsed = QJsonDocument::fromJson(content, &error);
    if (error.error != QJsonParseError::NoError) {
        const QByteArrayView before =
            QByteArrayView(content).first(std::clamp<qsizetype>(error.offset, 0, content.size()));
        return refuse(place, name + QStringLiteral("This isn't JSON: %1 in line %2.")
                                        .arg(error.errorString())
                                        .arg(std::count(before.begin(), before.end(), '\n') + 1));
    }
    if (!parsed.isObject()) {
        return refuse(place, name + QStringLiteral("A job is a JSON object."));
    }
    const QString repeated = repeatedMember(content);
    if (!repeated.isEmpty()) {
        return refuse(place.isEmpty() ? repeated : place,
                      name + QStringLiteral("The member “%1” occurs twice.").arg(repeated));
    }
    contents_.append(content);
    document = parsed.object();
    return true;
}

bool Reader::hasOnly(const QJsonObject& object, const QString& place, const QStringList& names) {
    for (const QString& name : object.keys()) {
        if (!names.contains(name)) {
            return refuse(
                place.isEmpty() ? name : place + u'.' + name,
                QStringLiteral("There is no such member; those here are %1.").arg(names.join(QLatin1String(", "))));
        }
    }
    return true;
}

bool Reader::readVersion(const QJsonObject& document, const QString& place) {
    const QJsonValue given = document.value(QLatin1String("version"));
    if (!given.isDouble()) {
        return refuse(place, QStringLiteral("This isn't a job: it has no version."));
    }
    return given.toDouble() == version ||
           refuse(place, QStringLiteral("The job has version %1, and this program reads version %2.")
                             .arg(given.toDouble())
                             .arg(version));
}

bool Reader::readText(const QJsonValue& json, const QString& place, QString& text) {
    if (json.isUndefined()) {
        return refuse(place, QStringLiteral("This member is missing."));
    }
    if (!json.isString()) {
        return refuse(place, QStringLiteral("This must be a text."));
    }
    if (!isArgument(json.toString())) {
        return refuse(place, QStringLiteral("A text has at most %1 characters and no NUL.").arg(longestText));
    }
    text = json.toString();
    return true;
}

bool Reader::readFlag(const QJsonValue& json, const QString& place, bool& flag) {
    if (!json.isUndefined() && !json.isBool()) {
        return refuse(place, QStringLiteral("This must be true or false."));
    }
    flag = json.toBool(flag);
    return true;
}

bool Reader::readKeyFile(const QJsonObject& object, const QString& place, KeySource& key) {
    if (!hasOnly(object, place, {QStringLiteral("file")}) ||
        !readText(object.value(QLatin1String("file")), place + QLatin1String(".file"), key.path)) {
        return false;
    }
    if (key.path.isEmpty()) {
        return refuse(place + QLatin1String(".file"), QStringLiteral("The path is empty."));
    }
    key.path = QDir::cleanPath(QDir(job_.folder).absoluteFilePath(key.path));
    return true;
}

bool Reader::readTokenKey(const QJsonObject& object, const QString& place, KeySource& key) {
    const QJsonValue use = object.value(QLatin1String("derive"));
    const QJsonValue size = object.value(QLatin1String("size"));
    if (!hasOnly(object, place, {QStringLiteral("token"), QStringLiteral("derive"), QStringLiteral("size")}) ||
        !readText(object.value(QLatin1String("token")), place + QLatin1String(".token"), key.token) ||
        (!use.isUndefined() && !readText(use, place + QLatin1String(".derive"), key.use))) {
        return false;
    }
    if (!token::KeyUri::isUri(key.token)) {
        return refuse(place + QLatin1String(".token"), QStringLiteral("This must be a URI that begins with pkcs11:."));
    }
    if (!use.isUndefined() && key.use.isEmpty()) {
        return refuse(place + QLatin1String(".derive"), QStringLiteral("This names what the keys are for."));
    }
    if (!size.isUndefined() && (use.isUndefined() || (size != 16 && size != 32))) {
        return refuse(place + QLatin1String(".size"), QStringLiteral("A derived key has 16 or 32 bytes."));
    }
    key.size = size.toInt(key.size);
    return true;
}

bool Reader::readKeys(const QJsonValue& json) {
    const QString place = QStringLiteral("keys");
    if (!json.isUndefined() && !json.isObject()) {
        return refuse(place, QStringLiteral("This must be an object."));
    }
    const QJsonObject keys = json.toObject();
    if (keys.size() > mostKeys) {
        return refuse(place, QStringLiteral("A job has at most %1 keys.").arg(mostKeys));
    }
    for (auto member = keys.begin(); member != keys.end(); ++member) {
        const QString own = place + u'.' + member.key();
        if (!isName(member.key())) {
            return refuse(own, QStringLiteral("A key's name has 1 to 64 letters, digits, -, _ and ., and begins with a "
                                              "letter, a digit or _."));
        }
        if (!member.value().isObject()) {
            return refuse(own, QStringLiteral("This must be an object with the member file or token."));
        }
        KeySource key;
        key.name = member.key();
        const QJsonObject object = member.value().toObject();
        if (!(object.contains(QLatin1String("token")) ? readTokenKey(object, own, key)
                                                      : readKeyFile(object, own, key))) {
            return false;
        }
        job_.keys.append(key);
    }
    return true;
}

bool Reader::readSteps(const QJsonValue& json) {
    const QString place = QStringLiteral("steps");
    const QJsonArray steps = json.toArray();
    if (!json.isArray() || steps.isEmpty() || steps.size() > mostSteps) {
        return refuse(place, QStringLiteral("This must be an array of 1 to %1 steps.").arg(mostSteps));
    }
    for (qsizetype i = 0; i < steps.size(); ++i) {
        Step step;
        step.place = QStringLiteral("steps[%1]").arg(i);
        if (!readStep(steps.at(i), step)) {
            return false;
        }
        if (stepNamed(job_, step.name) >= 0) {
            return refuse(step.place + QLatin1String(".name"),
                          QStringLiteral("Another step has the name “%1”.").arg(step.name));
        }
        job_.steps.append(step);
    }
    return true;
}

bool Reader::readStep(const QJsonValue& json, Step& step) {
    const QJsonObject object = json.toObject();
    if (!json.isObject()) {
        return refuse(step.place, QStringLiteral("A step is an object."));
    }
    if (!hasOnly(object, step.place,
                 {QStringLiteral("name"), QStringLiteral("job"), QStringLiteral("values"), QStringLiteral("file"),
                  QStringLiteral("copies"), QStringLiteral("proof"), QStringLiteral("timeout")})) {
        return false;
    }
    const QJsonValue id = object.value(QLatin1String("job"));
    const QJsonValue file = object.value(QLatin1String("file"));
    if (id.isUndefined() == file.isUndefined()) {
        return refuse(step.place, QStringLiteral("A step has either a job or the file of a saved job."));
    }
    QString named;
    if (!readText(id.isUndefined() ? file : id,
                  step.place + (id.isUndefined() ? QLatin1String(".file") : QLatin1String(".job")), named)) {
        return false;
    }
    if (!id.isUndefined()) {
        step.row = jobs::findJob(named);
        if (step.row == nullptr) {
            return refuse(step.place + QLatin1String(".job"), QStringLiteral("There is no job “%1”.").arg(named));
        }
        if (object.value(QLatin1String("values")).isUndefined()) {
            return refuse(step.place + QLatin1String(".values"), QStringLiteral("This member is missing."));
        }
        step.values = jobs::initialValues(*step.row);
    } else if (!readSavedJob(named, step)) {
        return false;
    }
    if (proofLimit(*step.row) == ProofLimit::never) {
        return refuse(step.place + (id.isUndefined() ? QLatin1String(".file") : QLatin1String(".job")),
                      QStringLiteral("The job “%1” can't be a step: it makes no file that the opener can check.")
                          .arg(QLatin1String(step.row->id)));
    }
    step.name = QLatin1String(step.row->id);
    const QJsonValue name = object.value(QLatin1String("name"));
    if (!name.isUndefined() && !readText(name, step.place + QLatin1String(".name"), step.name)) {
        return false;
    }
    if (!isName(step.name)) {
        return refuse(step.place + QLatin1String(".name"),
                      QStringLiteral("A step's name has 1 to 64 letters, digits, -, _ and ., and begins with a letter, "
                                     "a digit or _."));
    }
    const QJsonValue timeout = object.value(QLatin1String("timeout"));
    const double seconds = timeout.toDouble(step.timeoutSeconds);
    const bool isCount = seconds >= 1 && seconds <= longestTimeout && seconds == static_cast<int>(seconds);
    if ((!timeout.isUndefined() && !timeout.isDouble()) || !isCount) {
        return refuse(step.place + QLatin1String(".timeout"),
                      QStringLiteral("This must be a whole number of seconds from 1 to %1.").arg(longestTimeout));
    }
    step.timeoutSeconds = static_cast<int>(seconds);
    return readValues(object.value(QLatin1String("values")), step.place + QLatin1String(".values"), nullptr, step) &&
           readCopies(object.value(QLatin1String("copies")), step) &&
           readProof(object.value(QLatin1String("proof")), step);
}

bool Reader::readSavedJob(const QString& named, Step& step) {
    const QString place = step.place + QLatin1String(".file");
    const QString path = QDir::cleanPath(QDir(job_.folder).absoluteFilePath(named));
    QJsonObject document;
    if (!readDocument(path, place, document) || !readVersion(document, place) ||
        !hasOnly(document, place, {QStringLiteral("version"), QStringLiteral("job"), QStringLiteral("values")})) {
        return false;
    }
    QString id;
    if (!readText(document.value(QLatin1String("job")), place + QLatin1String(": job"), id)) {
        return false;
    }
    step.row = jobs::findJob(id);
    if (step.row == nullptr) {
        return refuse(place + QLatin1String(": job"), QStringLiteral("There is no job “%1”.").arg(id));
    }
    step.values = jobs::initialValues(*step.row);
    const QString folder = QFileInfo(path).absolutePath();
    if (!readValues(document.value(QLatin1String("values")), place + QLatin1String(": values"), &folder, step)) {
        return false;
    }
    step.savedFields = document.value(QLatin1String("values")).toObject().keys();
    return true;
}

bool Reader::readValues(const QJsonValue& json, const QString& place, const QString* savedFolder, Step& step) {
    if (json.isUndefined() && savedFolder == nullptr) {
        return true;
    }
    if (!json.isObject()) {
        return refuse(place, QStringLiteral("This must be an object."));
    }
    const QJsonObject values = json.toObject();
    for (auto member = values.begin(); member != values.end(); ++member) {
        const QString own = place + u'.' + member.key();
        const jobs::FieldRow* const row = fieldNamed(*step.row, member.key());
        if (row == nullptr) {
            return refuse(own, QStringLiteral("The job “%1” has no such field.").arg(QLatin1String(step.row->id)));
        }
        QStringList value;
        if (!readValue(*row, member.value(), own, savedFolder, value)) {
            return false;
        }
        step.values.insert(member.key(), value);
        step.savedFields.removeAll(member.key());
    }
    return true;
}

bool Reader::readValue(const jobs::FieldRow& row, const QJsonValue& json, const QString& place,
                       const QString* savedFolder, QStringList& value) {
    const auto readPath = [&](const QJsonValue& path, const QString& own) {
        QString text;
        if (!readText(path, own, text)) {
            return false;
        }
        value.append(jobs::isPath(row) && savedFolder != nullptr ? fromSavedFolder(text, *savedFolder) : text);
        return true;
    };
    if (row.kind != jobs::FieldKind::inFiles) {
        return readPath(json, place);
    }
    const QJsonArray entries = json.toArray();
    if (!json.isArray() || entries.size() > mostEntries) {
        return refuse(place, QStringLiteral("This must be an array of at most %1 files.").arg(mostEntries));
    }
    const QStringList names = *row.besideLabel == '\0' ? QStringList{QStringLiteral("path")}
                                                       : QStringList{QStringLiteral("path"), QStringLiteral("beside")};
    for (qsizetype i = 0; i < entries.size(); ++i) {
        const QString own = QStringLiteral("%1[%2]").arg(place).arg(i);
        const QJsonObject entry = entries.at(i).toObject();
        const QJsonValue beside = entry.value(QLatin1String("beside"));
        QString text;
        if (!entries.at(i).isObject()) {
            return refuse(own, QStringLiteral("This must be an object with the member path."));
        }
        if (!hasOnly(entry, own, names) ||
            !readPath(entry.value(QLatin1String("path")), own + QLatin1String(".path")) ||
            (!beside.isUndefined() && !readText(beside, own + QLatin1String(".beside"), text))) {
            return false;
        }
        value.append(text);
    }
    return true;
}

bool Reader::readCopies(const QJsonValue& json, Step& step) {
    const QString place = step.place + QLatin1String(".copies");
    if (json.isUndefined()) {
        return true;
    }
    const QJsonArray copies = json.toArray();
    if (!json.isArray() || copies.size() > mostEntries) {
        return refuse(place, QStringLiteral("This must be an array of at most %1 copies.").arg(mostEntries));
    }
    for (qsizetype i = 0; i < copies.size(); ++i) {
        const QString own = QStringLiteral("%1[%2]").arg(place).arg(i);
        const QJsonObject object = copies.at(i).toObject();
        Copy copy;
        if (!copies.at(i).isObject()) {
            return refuse(own, QStringLiteral("This must be an object with the members from and to."));
        }
        if (!hasOnly(object, own, {QStringLiteral("from"), QStringLiteral("to"), QStringLiteral("expand")}) ||
            !readText(object.value(QLatin1String("from")), own + QLatin1String(".from"), copy.from) ||
            !readText(object.value(QLatin1String("to")), own + QLatin1String(".to"), copy.to) ||
            !readFlag(object.value(QLatin1String("expand")), own + QLatin1String(".expand"), copy.expand)) {
            return false;
        }
        step.copies.append(copy);
    }
    return true;
}

/// Reads the policy of the product, which is one more option of each proof. A step's own policy comes first.
bool Reader::readPolicy(const QJsonValue& json) {
    const QString place = QStringLiteral("policy");
    if (json.isUndefined()) {
        return true;
    }
    QString path;
    if (!readText(json, place, path)) {
        return false;
    }
    QFile file(QDir(job_.folder).absoluteFilePath(path));
    QByteArray content;
    if (QFileInfo(file).isDir() || !file.open(QIODevice::ReadOnly) ||
        readWhole(file, largestFile, content) != WholeStatus::done) {
        return refuse(place, QStringLiteral("“%1” can't be read, or is larger than 1 MiB.").arg(path));
    }
    inspect::Policy policy;
    QString fault;
    if (!inspect::readPolicy(content, policy, fault)) {
        return refuse(place, QStringLiteral("“%1” is no policy: %2.").arg(path, fault));
    }
    // The job's digest doesn't cover descriptions of devices.
    if (!inspect::applyDevice(nullptr, policy, fault)) {
        return refuse(
            place,
            QStringLiteral("“%1” names a device or its registers; a job needs addresses and numbers.").arg(path));
    }
    contents_.append(content);
    for (Step& step : job_.steps) {
        const bool hasOwn = step.withoutProof.contains(place) ||
                            std::any_of(step.proof.begin(), step.proof.end(),
                                        [&place](const ProofArgument& argument) { return argument.option == place; });
        if (!hasOwn && proofLimit(*step.row) != ProofLimit::card) {
            step.proof.append({place, withLiteralBraces(path), true});
        }
    }
    return true;
}

bool Reader::readProof(const QJsonValue& json, Step& step) {
    const QString place = step.place + QLatin1String(".proof");
    if (json.isUndefined()) {
        return true;
    }
    if (!json.isObject()) {
        return refuse(place, QStringLiteral("This must be an object."));
    }
    const QJsonObject proof = json.toObject();
    for (auto member = proof.begin(); member != proof.end(); ++member) {
        const QString own = place + u'.' + member.key();
        if (member.key() == QLatin1String("derive")) {
            if (!readFlag(member.value(), own, step.derivesProof)) {
                return false;
            }
        } else if (!readProofValue(member.value(), own, member.key(), step)) {
            return false;
        }
    }
    return true;
}

bool Reader::readProofValue(const QJsonValue& json, const QString& place, const QString& option, Step& step) {
    const ProofOption* const known = findProofOption(option);
    if (known == nullptr) {
        return refuse(place, QStringLiteral("qvora-inspect verify has no such option for a step."));
    }
    if (json.isNull()) {
        step.withoutProof.append(option);
        return true;
    }
    if (json.isArray() && !known->isRepeated) {
        return refuse(place, QStringLiteral("This option has one value."));
    }
    const QJsonArray values = json.isArray() ? json.toArray() : QJsonArray{json};
    if (values.isEmpty() || values.size() > mostEntries) {
        return refuse(place, QStringLiteral("This must have 1 to %1 values.").arg(mostEntries));
    }
    for (qsizetype i = 0; i < values.size(); ++i) {
        const QString own = json.isArray() ? QStringLiteral("%1[%2]").arg(place).arg(i) : place;
        QString text;
        if (!readText(values.at(i), own, text)) {
            return false;
        }
        if (text.trimmed().isEmpty()) {
            return refuse(own, QStringLiteral("The value is empty."));
        }
        step.proof.append({option, text, known->isPath});
    }
    return true;
}

}  // namespace

bool readProductionJob(const QString& path, ProductionJob& job, QString& fault) {
    ProductionJob read;
    if (!Reader(read, fault).read(path)) {
        return false;
    }
    job = read;
    return true;
}

}  // namespace produce
