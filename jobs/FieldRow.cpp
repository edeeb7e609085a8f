#include "jobs/FieldRow.h"

#include <QCoreApplication>

#include <algorithm>

namespace jobs {

namespace {

struct Texts {
    Q_DECLARE_TR_FUNCTIONS(FieldRow)
};

bool isEmptyText(const QString& text) {
    return text.trimmed().isEmpty();
}

/// Rejects words that the tool's scan would change: it removes outer blanks, and reads a word with "-" as an option.
Verdict judgeWord(const QString& word, bool path, bool severalWords) {
    if (path && !word.isEmpty() && word.back().isSpace()) {
        return fault(Texts::tr("The tool removes blanks at the end of a name, so it can't find this file."));
    }
    if (!path &&
        (word.trimmed().startsWith(u'-') || (severalWords && word.simplified().contains(QLatin1String(" -"))))) {
        return fault(Texts::tr("The tool reads a word that begins with - as an option."));
    }
    return {};
}

}  // namespace

Verdict judgeWords(const FieldRow& row, const QStringList& own) {
    for (qsizetype i = 0; i < own.size(); ++i) {
        const bool afterPath = row.kind == FieldKind::inFiles && i % 2 == 1;
        Verdict verdict = judgeWord(own.at(i), isPath(row) && !afterPath, afterPath);
        if (verdict.kind != Verdict::Kind::good) {
            return verdict;
        }
    }
    return {};
}

QString textOf(const JobValues& values, const char* id) {
    return textOf(values.value(QLatin1String(id)));
}

QString textOf(const QStringList& value) {
    return value.isEmpty() ? QString() : value.constFirst().trimmed();
}

QString pathOf(const QStringList& value) {
    return value.value(0);
}

bool isShown(const FieldRow& row, const JobValues& values) {
    return row.shownIf == nullptr || row.shownIf(values);
}

bool isPath(const FieldRow& row) {
    return row.kind == FieldKind::inFile || row.kind == FieldKind::outFile || row.kind == FieldKind::folder ||
           row.kind == FieldKind::inFiles;
}

Verdict judge(const FieldRow& row, const JobValues& values) {
    const QStringList own = values.value(QLatin1String(row.id));
    if (std::all_of(own.begin(), own.end(), isEmptyText)) {
        return row.required ? missing({}) : row.checkEmpty != nullptr ? row.checkEmpty(values) : Verdict();
    }
    Verdict verdict = judgeWords(row, own);
    return verdict.kind == Verdict::Kind::good && row.check != nullptr ? row.check(own) : verdict;
}

}  // namespace jobs
