#include "desktop/inspector/InspectVerdict.h"

#include "desktop/inspector/InspectWorker.h"
#include "inspect/formats.h"
#include "inspect/words.h"
#include "jobs/counted.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QMap>

#include <algorithm>

namespace desktop {

namespace {

struct Words {
    Q_DECLARE_TR_FUNCTIONS(InspectVerdict)
};

void countGood(const inspect::Description& description, QMap<inspect::Proof, int>& counts) {
    for (const inspect::Check& check : description.checks) {
        if (check.result == inspect::CheckResult::good) {
            ++counts[inspect::rowOf(check.code).proof];
        }
    }
    for (const inspect::Description& inner : description.inner) {
        countGood(inner, counts);
    }
}

/// For example "3 tags and 1 digest good"; empty if nothing was proven.
QString goodText(const inspect::Description& description) {
    QMap<inspect::Proof, int> counts;
    countGood(description, counts);
    QStringList items;
    const auto add = [&](inspect::Proof proof, const QString& one, const QString& several) {
        const int count = counts.value(proof);
        if (count > 0) {
            items.append(jobs::counted(count, one, several));
        }
    };
    add(inspect::Proof::tag, Words::tr("1 tag"), Words::tr("%1 tags"));
    add(inspect::Proof::signature, Words::tr("1 signature"), Words::tr("%1 signatures"));
    add(inspect::Proof::digest, Words::tr("1 digest"), Words::tr("%1 digests"));
    add(inspect::Proof::comparison, Words::tr("1 comparison"), Words::tr("%1 comparisons"));
    if (items.isEmpty()) {
        return {};
    }
    const QString last = items.takeLast();
    return Words::tr("%1 good").arg(
        items.isEmpty() ? last : Words::tr("%1 and %2").arg(items.join(QStringLiteral(", ")), last));
}

QString placeOf(const inspect::Description& description, int part) {
    const inspect::Part* const found = inspect::partOf(description, part);
    if (found == nullptr) {
        return {};
    }
    return found->letterName == nullptr ? inspect::partName(*found)
                                        : inspect::partName(*found) + u' ' + inspect::wordsOf(found->letterName);
}

/// The first fault, with its place.
QString firstFault(const inspect::Description& description) {
    QString place;
    QString text;
    const auto finding = std::find_if(
        description.findings.begin(), description.findings.end(),
        [](const inspect::Finding& found) { return inspect::rowOf(found.code).severity == inspect::Severity::error; });
    const auto check =
        std::find_if(description.checks.begin(), description.checks.end(),
                     [](const inspect::Check& made) { return made.result == inspect::CheckResult::bad; });
    if (finding != description.findings.end()) {
        place = placeOf(description, finding->part);
        text = inspect::findingText(*finding);
    } else if (check != description.checks.end()) {
        place = placeOf(description, check->part);
        text = place.isEmpty() ? inspect::checkName(*check) + QStringLiteral(": ") + inspect::outcomeText(*check)
                               : inspect::resultText(*check);
    }
    if (text.isEmpty()) {
        for (const inspect::Description& inner : description.inner) {
            QString fault = firstFault(inner);
            if (!fault.isEmpty()) {
                return fault;
            }
        }
    }
    return place.isEmpty() ? text : place + QStringLiteral(": ") + text;
}

/// The file, its format and how the format was recognised.
QString fileText(const inspect::Description& file) {
    const QString name = inspect::printable(QFileInfo(file.file).fileName());
    const QString size = inspect::bytesText(static_cast<quint64>(file.size));
    if (file.format == nullptr) {
        return Words::tr("%1: no known format, %2.").arg(name, size);
    }
    const QString title = QString::fromLatin1(file.format->title);
    switch (file.by) {
        case inspect::FoundBy::content:
            return Words::tr("%1: %2 by its content, %3.").arg(name, title, size);
        case inspect::FoundBy::suffix:
            return Words::tr("%1: %2 by its suffix, %3.").arg(name, title, size);
        case inspect::FoundBy::option:
            break;
    }
    return Words::tr("%1: taken for a %2, %3.").arg(name, title, size);
}

/// States which changes of the bytes the proofs reveal; may be empty.
QString strengthText(const inspect::Judgement& judgement) {
    const auto isBy = [&judgement](inspect::Proof proof) {
        return std::find(judgement.proofs.begin(), judgement.proofs.end(), proof) != judgement.proofs.end();
    };
    if (isBy(inspect::Proof::tag) || isBy(inspect::Proof::signature)) {
        return judgement.uncovered.empty() ? QLatin1Char(' ') + Words::tr("No byte can change unnoticed.") : QString();
    }
    return isBy(inspect::Proof::digest)
               ? QLatin1Char(' ') +
                     Words::tr("A digest without a key shows accidental changes only; an attacker can change it too.")
               : QString();
}

/// The keys that the file was proven with.
QString keysText(const inspect::Description& file) {
    QString text;
    for (const inspect::KeyUse& key : file.keys) {
        QString sentence = inspect::keyText(key);
        sentence.front() = sentence.front().toUpper();
        text += QLatin1Char(' ') + sentence + u'.';
    }
    return text;
}

QString coverageText(const inspect::Judgement& judgement) {
    if (judgement.verdict != inspect::Verdict::proven || judgement.uncovered.empty()) {
        return {};
    }
    constexpr std::size_t shown = 3;
    QStringList stretches;
    for (std::size_t i = 0; i < std::min(shown, judgement.uncovered.size()); ++i) {
        const inspect::Range& range = judgement.uncovered[i];
        stretches.append(Words::tr("%1 to %2").arg(range.offset).arg(range.offset + range.size - 1));
    }
    return QLatin1Char(' ') + (judgement.uncovered.size() > shown
                                   ? jobs::counted(static_cast<qint64>(judgement.uncovered.size() - shown),
                                                   Words::tr("Nothing protects bytes %2 and 1 more stretch."),
                                                   Words::tr("Nothing protects bytes %2 and %1 more stretches."))
                                         .arg(stretches.join(QStringLiteral(", ")))
                                   : Words::tr("Nothing protects bytes %1.").arg(stretches.join(QStringLiteral(", "))));
}

const char* fieldFor(inspect::Reason reason) {
    switch (reason) {
        case inspect::Reason::noKey:
            return "key";
        case inspect::Reason::noPublicKey:
            return "public";
        case inspect::Reason::noKeyPair:
            return "private";
        case inspect::Reason::noAddress:
            return "address";
        case inspect::Reason::noFittingKey:
            return "keys";
        default:
            return "";
    }
}

}  // namespace

InspectVerdict fileVerdict(const InspectResult& result) {
    if (result.file == nullptr) {
        return {Sign::bad, Words::tr("The file can't be read."), result.fault, {}};
    }
    const inspect::Description& file = *result.file;
    if (file.format == nullptr) {
        return {Sign::unknown, Words::tr("Can't be judged: no known format"),
                fileText(file) + QLatin1Char(' ') + Words::tr("If you know it, choose it."), QStringLiteral("as")};
    }
    if (!result.fault.isEmpty()) {
        return {Sign::unknown, Words::tr("Can't be judged: the check didn't start"), result.fault, {}};
    }
    const inspect::Judgement judgement = inspect::judge(file);
    const QString good = goodText(file);
    switch (judgement.verdict) {
        case inspect::Verdict::proven:
            return {Sign::good,
                    Words::tr("Proven: %1").arg(good),
                    fileText(file) + strengthText(judgement) + coverageText(judgement) + keysText(file),
                    {}};
        case inspect::Verdict::wrong: {
            const QString counts =
                judgement.made == 0
                    ? QString()
                    : QLatin1Char(' ') + jobs::counted(judgement.bad, Words::tr("1 of %2 checks is bad."),
                                                       Words::tr("%1 of %2 checks are bad."))
                                             .arg(judgement.made);
            return judgement.isKeyDoubtful && !inspect::hasErrors(file)
                       ? InspectVerdict{Sign::bad,
                                        Words::tr("Wrong: no tag is right under this key"),
                                        fileText(file) + QLatin1Char(' ') +
                                            Words::tr("It is another key, or the file's header was changed."),
                                        {}}
                       : InspectVerdict{
                             Sign::bad, Words::tr("Wrong: %1").arg(firstFault(file)), fileText(file) + counts, {}};
        }
        case inspect::Verdict::undecided:
            break;
    }
    const QString reason = QString::fromLatin1(inspect::rowOf(judgement.reason).words);
    return {Sign::unknown, Words::tr("Can't be judged: %1").arg(reason),
            fileText(file) + (good.isEmpty() ? QString() : QLatin1Char(' ') + Words::tr("So far %1.").arg(good)),
            QLatin1String(fieldFor(judgement.reason))};
}

InspectVerdict comparisonVerdict(const InspectResult& result) {
    const inspect::Report& report = result.comparison;
    if (report.files.size() != 2) {
        QStringList faults;
        for (const inspect::Failure& failure : report.failures) {
            faults.append(inspect::printable(QFileInfo(failure.file).fileName() + QStringLiteral(": ") + failure.text));
        }
        return {Sign::unknown, Words::tr("The files can't be compared."), faults.join(u'\n'), {}};
    }
    QString names = Words::tr("A is %1, B is %2.")
                        .arg(inspect::printable(QFileInfo(report.files[0].file).fileName()),
                             inspect::printable(QFileInfo(report.files[1].file).fileName()));
    QString summary = inspect::summaryText(report.summary);
    if (!summary.isEmpty()) {
        summary.front() = summary.front().toUpper();
        names += QLatin1Char(' ') + summary + u'.';
    }
    const auto points =
        std::count_if(report.differences.begin(), report.differences.end(),
                      [](const inspect::Difference& difference) { return inspect::rowOf(difference.code).counts; });
    switch (report.status) {
        case inspect::statusGood:
            return {Sign::good, Words::tr("No difference"), names, {}};
        case inspect::statusWrong:
            return {Sign::bad,
                    jobs::counted(points, Words::tr("Different in one point"), Words::tr("Different in %1 points")),
                    names,
                    {}};
        default:
            return {Sign::unknown, Words::tr("Can't be judged: contents not compared without their key"), names,
                    QStringLiteral("key")};
    }
}

}  // namespace desktop
