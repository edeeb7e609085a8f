// Most devices share most of their values. A field without a placeholder of the device is judged once; the others are
// judged for each row, and verdicts are kept by value, so that a file that many rows name is read once.

#include "produce/preflight.h"

#include "produce/DeviceTable.h"
#include "produce/fillIn.h"
#include "produce/inputFault.h"
#include "produce/placeholders.h"
#include "produce/proof.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSet>

#include <algorithm>
#include <limits>

#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace produce {

namespace {

/// Bounds the memory for kept verdicts.
constexpr qsizetype mostVerdicts = 4096;

/// The first placeholder of a value that the table fills in.
enum : qsizetype { none = -2, serialOnly = -1 };

qsizetype firstColumn(const ProductionJob& job, const QString& value) {
    QList<Piece> pieces;
    QString fault;
    qsizetype found = none;
    if (!cutAtPlaceholders(value, pieces, fault)) {
        return none;
    }
    for (const Piece& piece : pieces) {
        if (piece.kind == Piece::Kind::column) {
            return job.columns.indexOf(piece.text);
        }
        found = piece.kind == Piece::Kind::serial ? serialOnly : found;
    }
    return found;
}

qsizetype firstColumn(const ProductionJob& job, const QStringList& values) {
    qsizetype found = none;
    for (const QString& value : values) {
        found = std::max(found, firstColumn(job, value));
        if (found >= 0) {
            break;
        }
    }
    return found;
}

/// A field of a step, and what the table changes in it.
struct FieldPlan {
    const jobs::FieldRow* row = nullptr;
    QString id;
    qsizetype column = none;
    QHash<QString, jobs::Verdict> verdicts;
};

struct StepPlan {
    const Step* step = nullptr;
    QList<FieldPlan> fields;
    jobs::JobValues values;  // of the current row
    QSet<QString> seenChoices;
};

class Preflight {
  public:
    Preflight(const ProductionJob& job, const PreflightOptions& options, QList<Finding>& findings, Totals& totals)
        : job_(job), options_(options), findings_(findings), totals_(totals) {}

    void run();
    void plan();
    /// Checks a row without comparing its serial with others. With `isFirst`, also checks the values that all devices
    /// share, and how the steps fit together.
    void checkRow(const DeviceRow& row, bool isFirst);

  private:
    void checkFolder();
    void checkKeys();
    void checkTable();
    void checkShared();
    void checkFirstRow();
    void checkMadeBefore(const Step& step, const FilledStep& filled, const QSet<QString>& made);
    void checkTemplates(const Step& step, const FilledStep& filled);
    void checkStep(StepPlan& step, bool isFirst);
    void judge(StepPlan& step, FieldPlan& field);
    void report(const Step& step, const FieldPlan& field, const jobs::Verdict& verdict);
    [[nodiscard]] jobs::Verdict verdictOn(const StepPlan& step, const FieldPlan& field);
    void checkPath(const QString& place, qsizetype column, const QString& path, bool isSecret, bool isSymmetricKey);
    void checkOtherFiles(const Step& step, bool isFirst);
    void addNeeds(const Step& step, const FilledStep& filled, QHash<QString, qint64>& made);
    void checkRoom();

    void add(Finding::Severity severity, const TableFault& place, const QString& text);
    void addAt(Finding::Severity severity, const QString& place, qsizetype column, const QString& text);

    const ProductionJob& job_;
    const PreflightOptions& options_;
    QList<Finding>& findings_;
    Totals& totals_;
    DeviceTable table_;
    bool isFromTable_ = false;  // the row is one of `table_`
    bool hasRow_ = false;       // `device_` has the values of a row
    QList<StepPlan> steps_;
    Device device_;
    QHash<QString, QString> pathFaults_;
    SerialSet serials_;
    QByteArray expanded_;  // one placeholder for each column that copied files name
    bool outputsVary_ = false;
    qint64 bytesOfDevice_ = 0;
};

void Preflight::add(Finding::Severity severity, const TableFault& place, const QString& text) {
    qint64& count = severity == Finding::Severity::fault ? totals_.faults : totals_.warnings;
    if (count++ < options_.mostFindings) {
        findings_.append({severity, place.file, place.line, place.column, text});
    }
}

/// Adds a finding about a value of the current row, or about the job if `column` is `none`.
void Preflight::addAt(Finding::Severity severity, const QString& place, qsizetype column, const QString& text) {
    if (column != none && isFromTable_) {
        add(severity, table_.placeOf(column), place + QLatin1String(": ") + text);
    } else {
        add(severity, {job_.path, 0, 0, {}}, place + QLatin1String(": ") + text);
    }
}

void Preflight::run() {
    plan();
    checkFolder();
    checkKeys();
    if (options_.table.isEmpty() || options_.table == QLatin1String("-")) {
        checkShared();
    } else {
        checkTable();
    }
    checkRoom();
}

void Preflight::plan() {
    for (const Step& step : job_.steps) {
        StepPlan plan;
        plan.step = &step;
        for (const jobs::FieldRow* const row : jobs::fieldsOf(*step.row)) {
            const QString id = QLatin1String(row->id);
            plan.fields.append({row, id, firstColumn(job_, step.values.value(id)), {}});
            outputsVary_ = outputsVary_ || (isOutput(*row) && plan.fields.constLast().column >= 0);
        }
        for (const Copy& copy : step.copies) {
            outputsVary_ = outputsVary_ || firstColumn(job_, copy.to) >= 0;
            QFile file(QDir(job_.folder).absoluteFilePath(copy.from));
            if (!copy.expand || !file.open(QIODevice::ReadOnly)) {
                continue;
            }
            for (const Piece& piece : cutFileText(QString::fromUtf8(file.readAll()))) {
                expanded_ += piece.kind == Piece::Kind::column ? "{column:" + piece.text.toUtf8() + '}' : QByteArray();
            }
        }
        if (proofLimit(*step.row) == ProofLimit::rulesOnly) {
            addAt(Finding::Severity::warning, step.place, none,
                  QStringLiteral("The opener can check only the rules of this format: nothing in it protects its "
                                 "content."));
        }
        steps_.append(plan);
    }
    // Paths of a device that is never made. No file has such a path.
    device_.outFolder = QDir(options_.outputFolder).absoluteFilePath(QStringLiteral(".preflight"));
    for (const Step& step : job_.steps) {
        device_.noncePaths.append(usesNonce(step) ? device_.outFolder + QLatin1String("/.nonce") : QString());
    }
    for (const KeySource& key : job_.keys) {
        const bool isInToken = !key.token.isEmpty();
        device_.keyPaths.insert(key.name, isInToken ? device_.outFolder + QLatin1String("/.key") : key.path);
    }
}

void Preflight::checkFolder() {
    const TableFault place{options_.outputFolder, 0, 0, {}};
    struct statvfs room {};
    const QByteArray name = QFile::encodeName(options_.outputFolder);
    if (!QFileInfo(options_.outputFolder).isDir()) {
        add(Finding::Severity::fault, place, QStringLiteral("There is no such folder."));
    } else if (::access(name.constData(), W_OK | X_OK) != 0) {
        add(Finding::Severity::fault, place, QStringLiteral("You have no right to make files in this folder."));
    } else if (::statvfs(name.constData(), &room) == 0) {
        totals_.bytesFree = static_cast<qint64>(room.f_bavail) * static_cast<qint64>(room.f_frsize);
    }
}

void Preflight::checkKeys() {
    const auto card = std::find_if(job_.steps.begin(), job_.steps.end(),
                                   [](const Step& step) { return proofLimit(*step.row) == ProofLimit::card; });
    if (card != job_.steps.end() && qEnvironmentVariableIsEmpty("QVORA_HSM_PIN")) {
        addAt(Finding::Severity::fault, card->place, none,
              QStringLiteral("The PIN of the cards is missing in the environment: QVORA_HSM_PIN."));
    }
    for (const KeySource& key : job_.keys) {
        const QString fault = key.path.isEmpty() ? QString() : inputFault(key.path, true, !job_.allowsDevelopmentKeys);
        if (!fault.isEmpty()) {
            addAt(Finding::Severity::fault, QStringLiteral("keys.") + key.name, none, fault);
        }
    }
}

void Preflight::checkShared() {
    device_.serial = QStringLiteral("serial");
    device_.values.fill(QString(), job_.columns.size());
    for (StepPlan& step : steps_) {
        for (const FieldPlan& field : std::as_const(step.fields)) {
            QStringList value;
            QString fault;
            if (field.column == none && step.step->values.contains(field.id) &&
                fillInField(job_, *step.step, *field.row, device_, value, fault)) {
                step.values.insert(field.id, value);
            }
        }
        checkStep(step, true);
        checkOtherFiles(*step.step, true);
    }
}

void Preflight::checkTable() {
    TableFault fault;
    if (!table_.open(options_.table, job_.columns, fault)) {
        add(Finding::Severity::fault, fault, fault.text);
        return;
    }
    isFromTable_ = true;
    DeviceRow row;
    while (true) {
        const DeviceTable::Next next = table_.next(row, fault);
        if (next == DeviceTable::Next::row) {
            ++totals_.devices;
            const qint64 before = serials_.add(row.serial, row.line);
            if (before > 0) {
                add(Finding::Severity::fault, table_.placeOf(-1),
                    QStringLiteral("The serial “%1” is also in line %2.").arg(row.serial).arg(before));
            }
            checkRow(row, totals_.devices == 1);
            continue;
        }
        if (next == DeviceTable::Next::end) {
            break;
        }
        add(Finding::Severity::fault, fault, fault.text);
        if (next == DeviceTable::Next::fault) {
            return;
        }
    }
    if (totals_.devices == 0 && totals_.faults == 0) {
        add(Finding::Severity::fault, {options_.table, 0, 0, {}}, QStringLiteral("The table has no device."));
    }
}

void Preflight::checkRow(const DeviceRow& row, bool isFirst) {
    hasRow_ = true;
    device_.serial = row.serial;
    device_.values = row.values;
    QString fault;
    QByteArray expanded;
    if (!expanded_.isEmpty() && !expandText(job_, device_, expanded_, expanded, fault)) {
        add(Finding::Severity::fault, {options_.table, row.line, 0, {}}, fault);
    }
    if (isFirst) {
        checkFirstRow();
    } else if (outputsVary_) {
        QList<FilledStep> filled;
        if (!fillInAll(job_, device_, filled, fault)) {
            add(Finding::Severity::fault, {options_.table, row.line, 0, {}}, fault);
        }
    }
    for (StepPlan& step : steps_) {
        bool isFilled = true;
        for (const FieldPlan& field : std::as_const(step.fields)) {
            if ((field.column == none && !isFirst) || !step.step->values.contains(field.id)) {
                continue;
            }
            QStringList value;
            if (!fillInField(job_, *step.step, *field.row, device_, value, fault)) {
                if (!outputsVary_ && !isFirst) {  // otherwise fillInAll has reported it
                    add(Finding::Severity::fault, {options_.table, row.line, 0, {}}, fault);
                }
                isFilled = false;
                continue;
            }
            step.values.insert(field.id, value);
        }
        if (isFilled) {
            checkStep(step, isFirst);
        }
        checkOtherFiles(*step.step, isFirst);
    }
}

/// Checks how the steps fit together, and what a device needs on the disk.
void Preflight::checkFirstRow() {
    QList<FilledStep> filled;
    QString fault;
    if (!fillInAll(job_, device_, filled, fault)) {
        add(Finding::Severity::fault, {options_.table, 0, 0, {}}, fault);
        return;
    }
    QSet<QString> made;
    QHash<QString, qint64> sizes;
    for (qsizetype i = 0; i < filled.size(); ++i) {
        const Step& step = job_.steps.at(i);
        for (const Copy& copy : filled.at(i).copies) {
            made.insert(copy.to);
        }
        checkMadeBefore(step, filled.at(i), made);
        checkTemplates(step, filled.at(i));
        addNeeds(step, filled.at(i), sizes);
        for (const QString& output : outputPaths(step, filled.at(i))) {
            made.insert(output);
        }
    }
}

/// A file in the device's folder that a step reads is a copy, or an earlier step makes it. The outputs of templates
/// have names that only the template has, so they aren't checked.
void Preflight::checkMadeBefore(const Step& step, const FilledStep& filled, const QSet<QString>& made) {
    // The steps are in one array, so those before this one are the earlier ones.
    const bool followsTemplate = std::any_of(&job_.steps.constFirst(), &step, [](const Step& other) {
        return other.values.contains(QStringLiteral("template"));
    });
    for (const InputPath& input : inputPaths(step, filled)) {
        const bool isSecret = device_.noncePaths.contains(input.path) || !device_.keyPaths.key(input.path).isEmpty();
        if (isInFolder(device_.outFolder, input.path) && !isSecret && !made.contains(input.path) && !followsTemplate) {
            const QString place = input.field == QLatin1String("copies") ? step.place + QLatin1String(".copies")
                                                                         : placeOf(step, input.field);
            addAt(Finding::Severity::fault, place, none,
                  QStringLiteral("No earlier step makes “{out}%1”.").arg(input.path.sliced(device_.outFolder.size())));
        }
    }
}

/// A template names its output itself, relative to its own folder. Its copy isn't there yet, so its source is read.
void Preflight::checkTemplates(const Step& step, const FilledStep& filled) {
    if (!step.values.contains(QStringLiteral("template"))) {
        return;
    }
    QStringList templates{jobs::pathOf(filled.values.value(QStringLiteral("template")))};
    const QStringList more = filled.values.value(QStringLiteral("more-templates"));
    for (qsizetype i = 0; i < more.size(); i += 2) {
        templates.append(more.at(i));
    }
    for (const QString& path : std::as_const(templates)) {
        const auto copy = std::find_if(filled.copies.begin(), filled.copies.end(),
                                       [&path](const Copy& one) { return one.to == path; });
        if (copy == filled.copies.end()) {
            continue;  // checkMadeBefore reports it
        }
        const QString folder = QFileInfo(copy->from).absolutePath();
        for (const QString& output : jobs::outputsOf(*step.row, {{QStringLiteral("template"), {copy->from}}})) {
            if (!isInFolder(folder, QDir::cleanPath(output))) {
                addAt(Finding::Severity::fault, placeOf(step, QStringLiteral("template")), none,
                      QStringLiteral("The output of “%1” isn't in the device's folder.").arg(copy->from));
            }
        }
    }
}

void Preflight::checkStep(StepPlan& step, bool isFirst) {
    // A choice decides which fields are shown, so all fields are judged again when a choice changes.
    QString choices;
    for (const FieldPlan& field : std::as_const(step.fields)) {
        if (field.column != none && field.row->kind == jobs::FieldKind::choice) {
            choices += jobs::textOf(step.values.value(field.id)) + u'\n';
        }
    }
    const bool isNew =
        !isFirst && !choices.isEmpty() && step.seenChoices.size() < mostVerdicts && !step.seenChoices.contains(choices);
    if (isNew || isFirst) {
        step.seenChoices.insert(choices);
    }
    for (FieldPlan& field : step.fields) {
        if (isFirst || isNew || field.column != none) {
            judge(step, field);
        }
    }
}

void Preflight::judge(StepPlan& step, FieldPlan& field) {
    if (field.column != none && !hasRow_) {
        return;
    }
    const QStringList own = step.values.value(field.id);
    if (!jobs::isShown(*field.row, step.values)) {
        const bool isSet = std::any_of(own.begin(), own.end(), [](const QString& text) { return !text.isEmpty(); });
        if (isSet && own != jobs::initialValues(*step.step->row).value(field.id)) {
            report(*step.step, field,
                   {jobs::Verdict::Kind::warning, QStringLiteral("The field has no effect with the other values.")});
        }
        return;
    }
    const QString key = own.join(u'\n');
    const auto kept = field.verdicts.constFind(key);
    if (field.column != none && kept != field.verdicts.constEnd() && !own.isEmpty()) {
        report(*step.step, field, *kept);
        return;
    }
    const jobs::Verdict verdict = verdictOn(step, field);
    if (field.column != none && field.column != serialOnly) {
        if (field.verdicts.size() == mostVerdicts) {
            field.verdicts.clear();
        }
        field.verdicts.insert(key, verdict);
    }
    report(*step.step, field, verdict);
}

jobs::Verdict Preflight::verdictOn(const StepPlan& step, const FieldPlan& field) {
    const jobs::FieldRow& row = *field.row;
    const QStringList own = step.values.value(field.id);
    if (row.kind == jobs::FieldKind::folder) {
        return own.isEmpty() ? jobs::missing({}) : jobs::good();  // the runner makes the device's folder
    }
    if (jobs::isPath(row) && !isOutput(row)) {
        const qsizetype stride = row.kind == jobs::FieldKind::inFiles ? 2 : 1;
        for (qsizetype i = 0; i < own.size(); i += stride) {
            const QString& path = own.at(i);
            const bool isLater = isInFolder(device_.outFolder, path);
            if (path.trimmed().isEmpty() || isLater) {
                continue;
            }
            const bool isSymmetricKey = field.id == QLatin1String("key") && !job_.allowsDevelopmentKeys;
            const bool isOfJob = std::any_of(job_.keys.begin(), job_.keys.end(),
                                             [&path](const KeySource& source) { return source.path == path; });
            const QString text = isOfJob ? QString() : inputFault(path, row.secret, isSymmetricKey);
            if (!text.isEmpty()) {
                return jobs::fault(text);
            }
        }
    }
    // The files of other fields are compared with an output once; the device's folder has no file yet.
    return row.kind == jobs::FieldKind::outFile && field.column != none
               ? jobs::judge(row, step.values)
               : jobs::judgeInJob(*step.step->row, row, step.values);
}

void Preflight::report(const Step& step, const FieldPlan& field, const jobs::Verdict& verdict) {
    if (verdict.kind == jobs::Verdict::Kind::good) {
        return;
    }
    const bool isWarning = verdict.kind == jobs::Verdict::Kind::warning;
    addAt(isWarning ? Finding::Severity::warning : Finding::Severity::fault, placeOf(step, field.id), field.column,
          verdict.text.isEmpty() ? QStringLiteral("The field is empty, and the job needs it.") : verdict.text);
}

void Preflight::checkPath(const QString& place, qsizetype column, const QString& path, bool isSecret,
                          bool isSymmetricKey) {
    if (isInFolder(device_.outFolder, path) || path.isEmpty()) {
        return;
    }
    auto known = pathFaults_.constFind(path);
    if (known == pathFaults_.constEnd()) {
        if (pathFaults_.size() == mostVerdicts) {
            pathFaults_.clear();
        }
        known = pathFaults_.insert(path, inputFault(path, isSecret, isSymmetricKey));
    }
    if (!known->isEmpty()) {
        addAt(Finding::Severity::fault, place, column, *known);
    }
}

/// Checks the files of copies and proofs.
void Preflight::checkOtherFiles(const Step& step, bool isFirst) {
    if (step.copies.isEmpty() && step.proof.isEmpty()) {
        return;
    }
    const QDir folder(job_.folder);
    const auto check = [&](const QString& place, const QString& text, bool isSecret, bool isFirmware) {
        const qsizetype column = firstColumn(job_, text);
        // Keys and nonces of the job are checked with the keys; a file in the device's folder isn't there yet.
        if ((column == none && !isFirst) || (column != none && !hasRow_) || text.startsWith(QLatin1String("{key:")) ||
            text.startsWith(QLatin1String("{nonce")) || text.startsWith(QLatin1String("{out}"))) {
            return;
        }
        QList<Piece> pieces;
        QString path;
        QString reason;
        if (!cutAtPlaceholders(text, pieces, reason)) {
            return;
        }
        for (const Piece& piece : std::as_const(pieces)) {
            path += piece.kind == Piece::Kind::serial   ? device_.serial
                    : piece.kind == Piece::Kind::column ? device_.values.value(job_.columns.indexOf(piece.text))
                                                        : piece.text;
        }
        path = QDir::cleanPath(folder.absoluteFilePath(path));
        const qsizetype at = path.lastIndexOf(u'@');
        if (isFirmware && at > 0 && !QFileInfo::exists(path)) {
            path.truncate(at);
        }
        checkPath(place, column, path, isSecret, false);
    };
    for (qsizetype i = 0; i < step.copies.size(); ++i) {
        check(QStringLiteral("%1.copies[%2].from").arg(step.place).arg(i), step.copies.at(i).from, false, false);
    }
    for (const ProofArgument& argument : step.proof) {
        if (argument.isPath) {
            check(step.place + QLatin1String(".proof.") + argument.option, argument.value,
                  argument.option == QLatin1String("private") || argument.option == QLatin1String("site-secret"),
                  argument.option == QLatin1String("firmware"));
        }
    }
}

/// Adds the room for the outputs of a step. The estimate for an output is the size of all inputs of its step and an
/// overhead for the file.
void Preflight::addNeeds(const Step& step, const FilledStep& filled, QHash<QString, qint64>& made) {
    constexpr qint64 overhead = qint64{16} << 10;
    constexpr qint64 largest = qint64{1} << 40;
    qint64 inputs = 0;
    for (const InputPath& input : inputPaths(step, filled)) {
        const QFileInfo file(input.path);
        const qint64 size = made.contains(input.path) ? made.value(input.path) : file.isFile() ? file.size() : 0;
        inputs += std::clamp<qint64>(size, 0, largest);
        if (input.field == QLatin1String("copies")) {
            bytesOfDevice_ += size + overhead;
        }
    }
    for (const QString& output : outputPaths(step, filled)) {
        made.insert(output, inputs);
        bytesOfDevice_ += inputs + overhead;
    }
}

void Preflight::checkRoom() {
    constexpr qint64 mebibyte = qint64{1} << 20;
    const qint64 most = std::numeric_limits<qint64>::max() / std::max<qint64>(totals_.devices, 1);
    totals_.bytesNeeded = totals_.devices * std::min(bytesOfDevice_, most);
    if (totals_.bytesNeeded > totals_.bytesFree && QFileInfo(options_.outputFolder).isDir()) {
        add(Finding::Severity::fault, {options_.outputFolder, 0, 0, {}},
            QStringLiteral("%1 devices need about %2 MiB, and %3 MiB are free.")
                .arg(totals_.devices)
                .arg(totals_.bytesNeeded / mebibyte + 1)
                .arg(totals_.bytesFree / mebibyte));
    }
}

}  // namespace

QString printed(const Finding& finding) {
    QString place = finding.file;
    if (finding.line > 0) {
        place += QStringLiteral(":%1").arg(finding.line);
        place += finding.column > 0 ? QStringLiteral(":%1").arg(finding.column) : QString();
    }
    return QStringLiteral("%1: %2%3")
        .arg(place, finding.severity == Finding::Severity::warning ? QStringLiteral("warning: ") : QString(),
             finding.text);
}

struct RowCheck::State {
    State(const ProductionJob& job, const QString& outputFolder)
        : options{{}, outputFolder, 1}, preflight(job, options, findings, totals) {
        preflight.plan();
    }

    PreflightOptions options;
    QList<Finding> findings;
    Totals totals;
    bool isFirst = true;
    Preflight preflight;
};

RowCheck::RowCheck(const ProductionJob& job, const QString& outputFolder)
    : state_(std::make_unique<State>(job, outputFolder)) {
}

RowCheck::~RowCheck() = default;

QString RowCheck::fault(const DeviceRow& row) {
    state_->findings.clear();
    state_->totals = {};
    state_->preflight.checkRow(row, state_->isFirst);
    const bool isGood = state_->totals.faults == 0;
    state_->isFirst = state_->isFirst && !isGood;
    const auto fault = std::find_if(state_->findings.cbegin(), state_->findings.cend(), [](const Finding& finding) {
        return finding.severity == Finding::Severity::fault;
    });
    return isGood || fault == state_->findings.cend() ? QString() : fault->text;
}

bool preflight(const ProductionJob& job, const PreflightOptions& options, QList<Finding>& findings, Totals& totals) {
    QList<Finding> found;
    Totals counted;
    Preflight(job, options, found, counted).run();
    findings = found;
    totals = counted;
    return counted.faults == 0;
}

}  // namespace produce
