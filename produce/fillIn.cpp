#include "produce/fillIn.h"

#include "produce/placeholders.h"

#include <QDir>
#include <QSet>

#include <algorithm>

namespace produce {

namespace {

constexpr qsizetype longestText = 8192;

bool refuse(QString& fault, const QString& place, const QString& text) {
    fault = place + QLatin1String(": ") + text;
    return false;
}

/// Fills in one value for one device.
class Filler {
  public:
    Filler(const ProductionJob& job, const Step& step, const Device& device)
        : job_(job), step_(step), device_(device), folder_(job.folder) {}

    [[nodiscard]] bool text(const QString& place, const QString& value, QString& filled, QString& fault) const;
    [[nodiscard]] bool path(const QString& place, const QString& value, QString& filled, QString& fault) const;

  private:
    [[nodiscard]] QString replacement(const Piece& piece) const;

    const ProductionJob& job_;
    const Step& step_;
    const Device& device_;
    QDir folder_;
};

QString Filler::replacement(const Piece& piece) const {
    switch (piece.kind) {
        case Piece::Kind::serial:
            return device_.serial;
        case Piece::Kind::column:
            return device_.values.value(job_.columns.indexOf(piece.text));
        case Piece::Kind::nonce:
            return device_.noncePaths.value(stepNamed(job_, piece.text.isEmpty() ? step_.name : piece.text));
        case Piece::Kind::key:
            return device_.keyPaths.value(piece.text);
        case Piece::Kind::out:
            return device_.outFolder;
        case Piece::Kind::text:
            break;
    }
    return piece.text;
}

bool Filler::text(const QString& place, const QString& value, QString& filled, QString& fault) const {
    QList<Piece> pieces;
    QString reason;
    if (!cutAtPlaceholders(value, pieces, reason)) {
        return refuse(fault, place, reason);
    }
    QString joined;
    for (const Piece& piece : pieces) {
        joined += replacement(piece);
    }
    if (joined.size() > longestText || joined.contains(QChar::Null)) {
        return refuse(fault, place, QStringLiteral("The value is too long, or has a NUL."));
    }
    filled = joined;
    return true;
}

bool Filler::path(const QString& place, const QString& value, QString& filled, QString& fault) const {
    QString joined;
    if (!text(place, value, joined, fault)) {
        return false;
    }
    if (value.startsWith(QLatin1String("{out}"))) {
        if (joined != device_.outFolder && !isInFolder(device_.outFolder, joined)) {
            return refuse(fault, place, QStringLiteral("“%1” isn't a path below the device's folder.").arg(joined));
        }
        filled = joined;
        return true;
    }
    filled = joined.isEmpty() ? joined : QDir::cleanPath(folder_.absoluteFilePath(joined));
    return true;
}

bool fillInCopies(const Step& step, const Filler& filler, QList<Copy>& copies, QString& fault) {
    for (qsizetype i = 0; i < step.copies.size(); ++i) {
        const QString place = QStringLiteral("%1.copies[%2]").arg(step.place).arg(i);
        Copy copy = step.copies.at(i);
        if (!filler.path(place + QLatin1String(".from"), step.copies.at(i).from, copy.from, fault) ||
            !filler.path(place + QLatin1String(".to"), step.copies.at(i).to, copy.to, fault)) {
            return false;
        }
        copies.append(copy);
    }
    return true;
}

bool isChosen(const jobs::FieldRow& row, const QStringList& value) {
    return row.choices.empty() || value.isEmpty() ||
           std::any_of(row.choices.begin(), row.choices.end(), [&value](const jobs::ChoiceRow& choice) {
               return value.constFirst() == QLatin1String(choice.value);
           });
}

QStringList writtenPaths(const Step& step, const FilledStep& filled) {
    QStringList paths = outputPaths(step, filled);
    for (const Copy& copy : filled.copies) {
        paths.append(copy.to);
    }
    return paths;
}

}  // namespace

bool fillInField(const ProductionJob& job, const Step& step, const jobs::FieldRow& row, const Device& device,
                 QStringList& value, QString& fault) {
    const Filler filler(job, step, device);
    const QString id = QLatin1String(row.id);
    QStringList filled;
    const QStringList texts = step.values.value(id);
    for (qsizetype i = 0; i < texts.size(); ++i) {
        const bool isPathText = jobs::isPath(row) && !(row.kind == jobs::FieldKind::inFiles && i % 2 == 1);
        QString text;
        if (!(isPathText ? filler.path(placeOf(step, id), texts.at(i), text, fault)
                         : filler.text(placeOf(step, id), texts.at(i), text, fault))) {
            return false;
        }
        filled.append(text);
    }
    // The text of a column could otherwise add an option of its own to the command line.
    const jobs::Verdict words = jobs::judgeWords(row, filled);
    if (words.kind != jobs::Verdict::Kind::good) {
        return refuse(fault, placeOf(step, id), words.text);
    }
    if (!isChosen(row, filled)) {
        return refuse(fault, placeOf(step, id),
                      QStringLiteral("“%1” isn't a choice of this field.").arg(filled.constFirst()));
    }
    value = filled;
    return true;
}

bool fillIn(const ProductionJob& job, const Step& step, const Device& device, FilledStep& filled, QString& fault) {
    const Filler filler(job, step, device);
    FilledStep result;
    for (const jobs::FieldRow* const row : jobs::fieldsOf(*step.row)) {
        const QString id = QLatin1String(row->id);
        QStringList value;
        if (!step.values.contains(id)) {
            continue;
        }
        if (!fillInField(job, step, *row, device, value, fault)) {
            return false;
        }
        result.values.insert(id, value);
    }
    if (!fillInCopies(step, filler, result.copies, fault)) {
        return false;
    }
    for (const ProofArgument& argument : step.proof) {
        ProofArgument own = argument;
        const QString place = step.place + QLatin1String(".proof.") + argument.option;
        if (!(argument.isPath ? filler.path(place, argument.value, own.value, fault)
                              : filler.text(place, argument.value, own.value, fault))) {
            return false;
        }
        result.proof.append(own);
    }
    filled = result;
    return true;
}

bool fillInAll(const ProductionJob& job, const Device& device, QList<FilledStep>& filled, QString& fault) {
    QList<FilledStep> steps;
    QSet<QString> written;
    for (const Step& step : job.steps) {
        FilledStep one;
        if (!fillIn(job, step, device, one, fault)) {
            return false;
        }
        for (const QString& path : writtenPaths(step, one)) {
            if (written.contains(path)) {
                return refuse(fault, step.place, QStringLiteral("“%1” is written twice.").arg(path));
            }
            written.insert(path);
        }
        steps.append(one);
    }
    filled = steps;
    return true;
}

bool expandText(const ProductionJob& job, const Device& device, QByteArrayView text, QByteArray& expanded,
                QString& fault) {
    QByteArray result;
    for (const Piece& piece : cutFileText(QString::fromUtf8(text))) {
        if (piece.kind == Piece::Kind::text) {
            result += piece.text.toUtf8();
            continue;
        }
        const bool isSerial = piece.kind == Piece::Kind::serial;
        const QString value = isSerial ? device.serial : device.values.value(job.columns.indexOf(piece.text));
        const bool isPlain = std::none_of(
            value.begin(), value.end(), [](QChar c) { return c < u' ' || QStringLiteral("<>&\"'\\\x7f").contains(c); });
        if (!isPlain) {
            fault = QStringLiteral(
                        "The value of the column “%1” can't be written into a file: it has one of < > & \" ' \\ "
                        "or a control character.")
                        .arg(piece.text);
            return false;
        }
        result += value.toUtf8();
    }
    expanded = result;
    return true;
}

bool isInFolder(const QString& folder, const QString& path) {
    if (!path.startsWith(folder + u'/')) {
        return false;
    }
    const QList<QStringView> names = QStringView(path).sliced(folder.size() + 1).split(u'/');
    return std::none_of(names.begin(), names.end(), [](QStringView name) {
        return name.isEmpty() || name == QLatin1String(".") || name == QLatin1String("..");
    });
}

QStringList outputPaths(const Step& step, const FilledStep& filled) {
    QStringList outputs = jobs::outputsOf(*step.row, filled.values);
    const QString log = jobs::pathOf(filled.values.value(QStringLiteral("log")));
    return log.isEmpty() ? outputs : outputs << log;
}

QList<InputPath> inputPaths(const Step& step, const FilledStep& filled) {
    QList<InputPath> inputs;
    for (const jobs::FieldRow* const row : jobs::fieldsOf(*step.row)) {
        if (!jobs::isPath(*row) || isOutput(*row) || !jobs::isShown(*row, filled.values)) {
            continue;
        }
        const QString id = QLatin1String(row->id);
        const QStringList value = filled.values.value(id);
        const qsizetype stride = row->kind == jobs::FieldKind::inFiles ? 2 : 1;
        for (qsizetype i = 0; i < value.size(); i += stride) {
            if (!value.at(i).trimmed().isEmpty()) {
                inputs.append({id, value.at(i), row->secret, row->secret || row->role == jobs::PathRole::key});
            }
        }
    }
    for (const Copy& copy : filled.copies) {
        inputs.append({QStringLiteral("copies"), copy.from, false, false});
    }
    return inputs;
}

}  // namespace produce
