// The rules for values with placeholders. docs/produce.md has them for the user.

#include "produce/checkSteps.h"

#include "files/readWhole.h"
#include "produce/IvRule.h"
#include "produce/fillIn.h"
#include "produce/placeholders.h"
#include "produce/proof.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSet>

#include <algorithm>

namespace produce {

namespace {

constexpr qint64 largestFile = qint64{1} << 20;

const QString nonceField = QStringLiteral("nonce");
const QString nonceValue = QStringLiteral("{nonce}");

bool takesKey(const jobs::FieldRow& row) {
    return !isOutput(row) && jobs::isPath(row) && (row.role == jobs::PathRole::key || row.secret);
}

bool isTemplate(const jobs::FieldRow& row) {
    return qstrcmp(row.id, "template") == 0 || qstrcmp(row.id, "more-templates") == 0;
}

/// Checks one job. Each function reports the first fault and then returns false.
class Checker {
  public:
    Checker(ProductionJob& job, QString& fault) : job_(job), fault_(fault) {}

    bool checkSteps();

  private:
    bool refuse(const QString& place, const QString& text);
    bool checkStep(const Step& step);
    bool checkField(const Step& step, const jobs::FieldRow& row);
    bool checkNonceField(const Step& step);
    bool checkCopies(const Step& step);
    bool checkProof(const Step& step);
    bool checkOutput(const QString& place, const QString& value, bool isFolder);
    bool checkInput(const Step& step, const QString& place, const QString& value, bool mayBeKey, bool isNonce);
    bool checkText(const QString& place, const QString& value);
    bool cut(const QString& place, const QString& value, QList<Piece>& pieces);
    bool checkKeyPiece(const Step& step, const QString& place, const Piece& piece, bool isNonce);
    bool addOutput(const QString& place, const QString& path);
    bool useColumn(const QString& place, const QString& name);
    bool checkExpandedFile(const QString& place, const QString& from);

    ProductionJob& job_;
    QString& fault_;
    QSet<QString> usedKeys_;
    QHash<QString, QString> outputs_;  // output to the place that names it
};

bool Checker::refuse(const QString& place, const QString& text) {
    fault_ = QStringLiteral("%1: %2: %3").arg(job_.path, place, text);
    return false;
}

bool Checker::checkSteps() {
    for (const Step& step : job_.steps) {
        if (!checkStep(step)) {
            return false;
        }
    }
    for (const KeySource& key : job_.keys) {
        if (!usedKeys_.contains(key.name)) {
            return refuse(QStringLiteral("keys.") + key.name, QStringLiteral("No step uses this key."));
        }
    }
    return true;
}

bool Checker::checkStep(const Step& step) {
    for (const jobs::FieldRow* const row : jobs::fieldsOf(*step.row)) {
        if (!checkField(step, *row)) {
            return false;
        }
    }
    // A command that writes into a folder chooses the names of the files, so no field contains them.
    for (const jobs::FieldRow* const row : jobs::fieldsOf(*step.row)) {
        const QString id = QLatin1String(row->id);
        const bool isShownOutput = isOutput(*row) && jobs::isShown(*row, step.values);
        const QString path = jobs::pathOf(step.values.value(id));
        if (isShownOutput && !path.isEmpty() && row->kind == jobs::FieldKind::outFile &&
            !addOutput(placeOf(step, id), path)) {
            return false;
        }
        if (isShownOutput && row->kind == jobs::FieldKind::folder) {
            for (const QString& output : jobs::outputsOf(*step.row, step.values)) {
                if (output.startsWith(path + u'/') && !addOutput(placeOf(step, id), output)) {
                    return false;
                }
            }
        }
    }
    return checkNonceField(step) && checkCopies(step) && checkProof(step);
}

bool Checker::checkField(const Step& step, const jobs::FieldRow& row) {
    const QString id = QLatin1String(row.id);
    const QStringList value = step.values.value(id);
    const QString place = placeOf(step, id);
    for (qsizetype i = 0; i < value.size(); ++i) {
        const bool isList = row.kind == jobs::FieldKind::inFiles;
        const bool isBeside = isList && i % 2 == 1;
        const QString own = isList ? QStringLiteral("%1[%2].%3")
                                         .arg(place)
                                         .arg(i / 2)
                                         .arg(isBeside ? QLatin1String("beside") : QLatin1String("path"))
                                   : place;
        const QString& text = value.at(i);
        if (text.trimmed().isEmpty()) {
            continue;
        }
        const bool isGood = isBeside || !jobs::isPath(row) ? checkText(own, text)
                            : isOutput(row)                ? checkOutput(own, text, row.kind == jobs::FieldKind::folder)
                                            : checkInput(step, own, text, takesKey(row), id == nonceField);
        if (!isGood) {
            return false;
        }
        if (isTemplate(row) && !text.startsWith(QLatin1String("{out}/"))) {
            return refuse(own,
                          QStringLiteral("The tool writes values into a template and its output beside it: copy the "
                                         "template to {out}/ and name the copy here."));
        }
    }
    const bool hasChoices = !row.choices.empty() && !value.isEmpty() && !value.constFirst().contains(u'{');
    if (hasChoices && std::none_of(row.choices.begin(), row.choices.end(), [&value](const jobs::ChoiceRow& choice) {
            return value.constFirst() == QLatin1String(choice.value);
        })) {
        QStringList known;
        for (const jobs::ChoiceRow& choice : row.choices) {
            known.append(QLatin1String(choice.value));
        }
        known.removeAll(QString());
        return refuse(place,
                      QStringLiteral("“%1” isn't one of %2.").arg(value.constFirst(), known.join(QLatin1String(", "))));
    }
    return true;
}

bool Checker::checkNonceField(const Step& step) {
    const QString key = QStringLiteral("key");
    // The tool writes the public key beside a private key that is a file, outside of the device's folder.
    if (qstrcmp(step.row->id, "sign") == 0 &&
        !jobs::pathOf(step.values.value(key)).startsWith(QLatin1String("{key:"))) {
        return refuse(placeOf(step, key), QStringLiteral("A signing key must be one of the job's keys: {key:NAME}."));
    }
    if (proofLimit(*step.row) == ProofLimit::card && jobs::textOf(step.values, "action") == QLatin1String("read")) {
        return refuse(placeOf(step, QStringLiteral("action")), QStringLiteral("A step programs the card."));
    }
    if (ivRule(*step.row) == IvRule::none) {
        return true;
    }
    const QString place = placeOf(step, nonceField);
    QList<Piece> pieces;
    if (!cut(place, jobs::pathOf(step.values.value(nonceField)), pieces)) {
        return false;
    }
    if (std::any_of(pieces.begin(), pieces.end(),
                    [](const Piece& piece) { return piece.kind == Piece::Kind::nonce && !piece.text.isEmpty(); })) {
        return refuse(place, QStringLiteral("An image needs a nonce of its own: {nonce}."));
    }
    const bool isOfDevice = std::any_of(pieces.begin(), pieces.end(), [](const Piece& piece) {
        return piece.kind == Piece::Kind::nonce || piece.kind == Piece::Kind::serial ||
               piece.kind == Piece::Kind::column;
    });
    return isOfDevice || refuse(place, QStringLiteral("All devices would have the same nonce; write {nonce}, or a path "
                                                      "with {serial} or {column:NAME}."));
}

bool Checker::checkCopies(const Step& step) {
    for (qsizetype i = 0; i < step.copies.size(); ++i) {
        const Copy& copy = step.copies.at(i);
        const QString place = QStringLiteral("%1.copies[%2]").arg(step.place).arg(i);
        if (copy.from.trimmed().isEmpty()) {
            return refuse(place + QLatin1String(".from"), QStringLiteral("The path is empty."));
        }
        if (!checkInput(step, place + QLatin1String(".from"), copy.from, true, true) ||
            !checkOutput(place + QLatin1String(".to"), copy.to, false) ||
            !addOutput(place + QLatin1String(".to"), copy.to) ||
            (copy.expand && !checkExpandedFile(place + QLatin1String(".from"), copy.from))) {
            return false;
        }
        if (copy.from.startsWith(QLatin1String("{key:"))) {
            return refuse(place + QLatin1String(".from"), QStringLiteral("A key isn't copied."));
        }
    }
    return true;
}

bool Checker::checkProof(const Step& step) {
    for (const ProofArgument& argument : step.proof) {
        const QString place = step.place + QLatin1String(".proof.") + argument.option;
        const ProofOption& option = *findProofOption(argument.option);
        if (!(option.isPath ? checkInput(step, place, argument.value, option.acceptsKey, option.acceptsKey)
                            : checkText(place, argument.value))) {
            return false;
        }
    }
    const QStringList missing = missingProof(step);
    return missing.isEmpty() || refuse(step.place + QLatin1String(".proof"),
                                       QStringLiteral("The opener can't prove the files of the job “%1” without %2.")
                                           .arg(QLatin1String(step.row->id), missing.join(QLatin1String(" and "))));
}

bool Checker::cut(const QString& place, const QString& value, QList<Piece>& pieces) {
    QString text;
    return cutAtPlaceholders(value, pieces, text) || refuse(place, text);
}

bool Checker::useColumn(const QString& place, const QString& name) {
    if (name == QLatin1String("serial")) {
        return refuse(place, QStringLiteral("The column “serial” is written {serial}."));
    }
    if (!job_.columns.contains(name)) {
        job_.columns.append(name);
    }
    return true;
}

bool Checker::checkText(const QString& place, const QString& value) {
    QList<Piece> pieces;
    if (!cut(place, value, pieces)) {
        return false;
    }
    for (const Piece& piece : pieces) {
        if (piece.kind == Piece::Kind::column && !useColumn(place, piece.text)) {
            return false;
        }
        if (piece.kind != Piece::Kind::text && piece.kind != Piece::Kind::serial && piece.kind != Piece::Kind::column) {
            return refuse(place, QStringLiteral("Only {serial} and {column:NAME} can be in this value."));
        }
    }
    return true;
}

bool Checker::checkOutput(const QString& place, const QString& value, bool isFolder) {
    QList<Piece> pieces;
    if (!cut(place, value, pieces)) {
        return false;
    }
    const bool isOut = !pieces.isEmpty() && pieces.constFirst().kind == Piece::Kind::out;
    const bool isBelow =
        isOut && pieces.size() > 1 && pieces.at(1).kind == Piece::Kind::text && pieces.at(1).text.startsWith(u'/');
    if (!isBelow && !(isFolder && isOut && pieces.size() == 1)) {
        return refuse(place, isFolder ? QStringLiteral("This must be {out} or begin with {out}/.")
                                      : QStringLiteral("This must begin with {out}/."));
    }
    QString below;
    for (const Piece& piece : pieces.sliced(1)) {
        if (piece.kind == Piece::Kind::column && !useColumn(place, piece.text)) {
            return false;
        }
        if (piece.kind != Piece::Kind::text && piece.kind != Piece::Kind::serial && piece.kind != Piece::Kind::column) {
            return refuse(place, QStringLiteral("Only {serial} and {column:NAME} can be in this value."));
        }
        below += piece.kind == Piece::Kind::text ? piece.text : QStringLiteral("x");
    }
    return below.isEmpty() || isInFolder({}, below) ||
           refuse(place, QStringLiteral("The path may not have empty names, . and .. in it."));
}

bool Checker::checkInput(const Step& step, const QString& place, const QString& value, bool mayBeKey, bool isNonce) {
    QList<Piece> pieces;
    if (!cut(place, value, pieces)) {
        return false;
    }
    for (qsizetype i = 0; i < pieces.size(); ++i) {
        const Piece& piece = pieces.at(i);
        switch (piece.kind) {
            case Piece::Kind::text:
            case Piece::Kind::serial:
                break;
            case Piece::Kind::column:
                if (!useColumn(place, piece.text)) {
                    return false;
                }
                break;
            case Piece::Kind::out:
                if (i > 0) {
                    return refuse(place, QStringLiteral("{out} can only be at the beginning of a path."));
                }
                // A path in the device's folder is checked like an output, so that it doesn't lead out of the folder.
                return checkOutput(place, value, false);
            case Piece::Kind::nonce:
            case Piece::Kind::key:
                if (pieces.size() != 1) {
                    return refuse(place, QStringLiteral("{nonce} and {key:NAME} must be the whole value."));
                }
                if (!mayBeKey) {
                    return refuse(place, QStringLiteral("This field takes no key or nonce."));
                }
                return checkKeyPiece(step, place, piece, isNonce);
        }
    }
    return true;
}

bool Checker::checkKeyPiece(const Step& step, const QString& place, const Piece& piece, bool isNonce) {
    if (piece.kind == Piece::Kind::key) {
        const bool isKnown = std::any_of(job_.keys.begin(), job_.keys.end(),
                                         [&piece](const KeySource& key) { return key.name == piece.text; });
        usedKeys_.insert(piece.text);
        return isKnown || refuse(place, QStringLiteral("There is no key “%1” in keys.").arg(piece.text));
    }
    if (piece.text.isEmpty()) {
        if (!isNonce) {
            return refuse(place, QStringLiteral("This field takes no nonce of its step."));
        }
        return usesNonce(step) ||
               refuse(place, QStringLiteral("This step has no nonce; {nonce:STEP} names another step's."));
    }
    const qsizetype index = stepNamed(job_, piece.text);
    if (index < 0) {
        return refuse(place, QStringLiteral("There is no step “%1”.").arg(piece.text));
    }
    return usesNonce(job_.steps.at(index)) ||
           refuse(place, QStringLiteral("The step “%1” has no nonce: its field nonce isn't {nonce}.").arg(piece.text));
}

bool Checker::addOutput(const QString& place, const QString& path) {
    const QString other = outputs_.value(path);
    if (!other.isEmpty()) {
        return refuse(place, QStringLiteral("%1 names the same file.").arg(other));
    }
    outputs_.insert(path, place);
    return true;
}

bool Checker::checkExpandedFile(const QString& place, const QString& from) {
    QList<Piece> pieces;
    if (!cut(place, from, pieces)) {
        return false;
    }
    if (pieces.size() != 1 || pieces.constFirst().kind != Piece::Kind::text) {
        return refuse(place, QStringLiteral("A file that is expanded is the same for all devices, so its path has no "
                                            "placeholder."));
    }
    QFile file(QDir(job_.folder).absoluteFilePath(pieces.constFirst().text));
    QByteArray text;
    if (!QFileInfo(file.fileName()).isFile() || !file.open(QIODevice::ReadOnly)) {
        return refuse(place, QStringLiteral("“%1” can't be read.").arg(file.fileName()));
    }
    if (!readUpTo(file, largestFile, text)) {
        return refuse(place, QStringLiteral("A file that is expanded has at most %1 bytes.").arg(largestFile));
    }
    if (!QByteArrayView(text).isValidUtf8()) {
        return refuse(place, QStringLiteral("A file that is expanded must be UTF-8."));
    }
    for (const Piece& piece : cutFileText(QString::fromUtf8(text))) {
        if (piece.kind == Piece::Kind::column && !useColumn(place, piece.text)) {
            return false;
        }
    }
    return true;
}

}  // namespace

bool checkSteps(ProductionJob& job, QString& fault) {
    return Checker(job, fault).checkSteps();
}

}  // namespace produce
