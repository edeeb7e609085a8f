#include "inspect/words.h"

#include <QMap>

#include <algorithm>
#include <array>
#include <utility>

namespace inspect {

namespace {

QString joined(const QStringList& items) {
    return items.join(QStringLiteral(", "));
}

/// The size of the file, or of both files of a pair.
std::uint64_t sizeOf(const Description& description) {
    qint64 size = description.size;
    for (const Description& inner : description.inner) {
        size += inner.file == description.file ? 0 : inner.size;
    }
    return static_cast<std::uint64_t>(size);
}

class Printer {
  public:
    explicit Printer(const Report& report) : report_(report) {}
    QByteArray print();

  private:
    void line(const QString& text) { text_ += indent_ + text + u'\n'; }
    void printFile(const Description& description);
    void printHead(const Description& description);
    void printContents(const Description& description);
    void printShown(const Description& description);
    void printKeys(const Description& description);
    void printParts(const Description& description);
    void printMemory(const Description& description);
    void printFindings(const Description& description);
    void printChecks(const Description& description);
    void printOwnChecks(const std::vector<Check>& checks, const Description& description);
    void printVerdict(const Description& description);
    void printDifferences(const std::vector<Difference>& differences);
    void printSummary();
    void printComparison();

    const Report& report_;
    QString text_;
    QString indent_;  ///< of files within files
};

void Printer::printHead(const Description& description) {
    QStringList items;
    if (description.format == nullptr) {
        items << QStringLiteral("unknown format");
    } else if (!indent_.isEmpty()) {
        items << QString::fromLatin1(description.format->title);
    } else {
        constexpr std::array grounds = {"content", "suffix", "--as"};
        items << QStringLiteral("%1 by %2")
                     .arg(QLatin1String(description.format->title),
                          QLatin1String(grounds[static_cast<std::size_t>(description.by)]));
    }
    items << bytesText(static_cast<std::uint64_t>(description.size));
    for (const Field& field : description.fields) {
        items << fieldText(field);
    }
    line(indent_.isEmpty() ? printable(description.file) + QStringLiteral(": ") + joined(items) : joined(items));
}

void Printer::printKeys(const Description& description) {
    for (const KeyUse& key : description.keys) {
        line(keyText(key));
    }
}

void Printer::printParts(const Description& description) {
    std::vector<QStringList> rows;
    QList<qsizetype> widths;
    for (const Part& part : description.parts) {
        const QString name =
            part.letterName != nullptr ? partName(part) + u' ' + wordsOf(part.letterName) : partName(part);
        const QString place = part.offset >= 0 ? QStringLiteral("at %1").arg(part.offset) : QString();
        rows.push_back({name, place, memoryText(part), bytesText(static_cast<std::uint64_t>(part.payloadSize))});
        const QStringList& row = rows.back();
        widths.resize(std::max(widths.size(), row.size()));
        for (qsizetype i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths.at(i), row.at(i).size());
        }
    }
    for (std::size_t i = 0; i < rows.size(); ++i) {
        QString text;
        for (qsizetype column = 0; column + 1 < rows[i].size(); ++column) {
            if (widths.at(column) > 0) {
                text += rows[i].at(column).leftJustified(widths.at(column) + 2);
            }
        }
        text += rows[i].constLast().rightJustified(widths.constLast());
        for (const Field& field : description.parts[i].fields) {
            text += QStringLiteral(", ") + fieldText(field);
        }
        line(text);
    }
}

// Prints the memory ranges of the plain bytes; adjacent parts with the same letter are joined.
void Printer::printMemory(const Description& description) {
    std::vector<const Part*> parts;
    for (const Part& part : description.parts) {
        if (part.memorySize > 0) {
            parts.push_back(&part);
        }
    }
    if (parts.size() < 2) {
        return;
    }
    std::stable_sort(parts.begin(), parts.end(), [](const Part* a, const Part* b) { return a->address < b->address; });
    for (std::size_t i = 0; i < parts.size();) {
        Part run = *parts[i];
        std::size_t next = i + 1;
        while (next < parts.size() && parts[next]->letter == run.letter &&
               parts[next]->address == run.address + run.memorySize) {
            run.memorySize += parts[next++]->memorySize;
        }
        i = next;
        QString text = QStringLiteral("memory ") + memoryText(run);
        if (run.letterName != nullptr) {
            text += u' ' + wordsOf(run.letterName);
        }
        line(text);
    }
}

// Prints the first finding of each kind and the number of further findings of that kind, or all findings of a listed
// kind.
void Printer::printFindings(const Description& description) {
    QList<FindingCode> printed;
    for (const Finding& finding : description.findings) {
        const FindingRow& row = rowOf(finding.code);
        if (!row.isListed && printed.contains(finding.code)) {
            continue;
        }
        printed << finding.code;
        QString place;
        if (const Part* const part = partOf(description, finding.part)) {
            place = partName(*part) + u' ';
        }
        if (finding.offset >= 0) {
            place += QStringLiteral("at byte %1: ").arg(finding.offset);
        }
        const auto count = std::count_if(description.findings.begin(), description.findings.end(),
                                         [&](const Finding& other) { return other.code == finding.code; });
        line((row.severity == Severity::error ? QStringLiteral("error: ") : QStringLiteral("note: ")) + place +
             findingText(finding) +
             (count > 1 && !row.isListed ? QStringLiteral(" (and %1 more of the kind)").arg(count - 1) : QString()));
    }
}

void Printer::printOwnChecks(const std::vector<Check>& checks, const Description& description) {
    QStringList ofFile;
    for (auto check = checks.begin(); check != checks.end();) {
        const Part* const part = partOf(description, check->part);
        if (part == nullptr) {
            ofFile << resultText(*check++);
            continue;
        }
        QStringList results;
        for (; check != checks.end() && check->part == part->index; ++check) {
            results << resultText(*check);
        }
        const QString address = part->hasAddress ? addressText(part->address) + u' ' : QString();
        line(partName(*part) + u' ' + address + bytesText(static_cast<std::uint64_t>(part->payloadSize)) +
             QStringLiteral(": ") + joined(results));
    }
    if (!ofFile.isEmpty()) {
        line(printable(description.file) + QStringLiteral(": ") + joined(ofFile));
    }
}

void Printer::printChecks(const Description& description) {
    printOwnChecks(description.checks, description);
    for (const Description& inner : description.inner) {
        printHead(inner);
        printFindings(inner);
        printChecks(inner);
    }
}

// Prints the first differences of each kind; JSON output contains all.
void Printer::printDifferences(const std::vector<Difference>& differences) {
    constexpr int limit = 50;
    QMap<DifferenceCode, int> counts;
    for (const Difference& difference : differences) {
        if (++counts[difference.code] <= limit) {
            line(differenceText(difference));
        }
    }
    for (auto count = counts.constBegin(); count != counts.constEnd(); ++count) {
        if (count.value() > limit) {
            line(QStringLiteral("%1 more of the kind \"%2\"; --json has them all")
                     .arg(count.value() - limit)
                     .arg(QLatin1String(rowOf(count.key()).name)));
        }
    }
}

// Prints what changed, and the ranges of memory if they have names or bytes.
void Printer::printSummary() {
    constexpr std::size_t limit = 50;
    const QString text = summaryText(report_.summary);
    if (!text.isEmpty()) {
        line(text);
    }
    const std::vector<MemoryDifference>& ranges = report_.summary.ranges;
    const bool areShown = std::any_of(ranges.begin(), ranges.end(), [](const MemoryDifference& range) {
        return !range.name.isEmpty() || !range.a.isEmpty() || !range.b.isEmpty();
    });
    for (std::size_t i = 0; areShown && i < std::min(limit, ranges.size()); ++i) {
        line(memoryDifferenceText(ranges[i]));
    }
    if (areShown && ranges.size() > limit) {
        line(QStringLiteral("%1 more ranges; --json has them all").arg(ranges.size() - limit));
    }
}

void Printer::printComparison() {
    if (report_.files.size() == 2) {
        printSummary();
    }
    printDifferences(report_.differences);
    if (report_.files.size() == 2) {
        constexpr std::array results = {"no difference", "different", "undecided: contents not compared"};
        const bool isSecondClosed = isOpen(report_.files[0]) && !isOpen(report_.files[1]);
        const Reason first = judge(report_.files[isSecondClosed ? 1 : 0]).reason;
        const Reason reason = first != Reason::none ? first : judge(report_.files[1]).reason;
        const bool hasReason = report_.status == statusUndecided && reason != Reason::none;
        line(QLatin1String(results[static_cast<std::size_t>(report_.status)]) +
             (hasReason ? QStringLiteral(", ") + QLatin1String(rowOf(reason).words) : QString()));
    }
}

void Printer::printVerdict(const Description& description) {
    const Judgement judgement = judge(description);
    const QString name = printable(description.file);
    QString text = QString::fromLatin1(nameOf(judgement.verdict));
    switch (judgement.verdict) {
        case Verdict::proven: {
            QStringList proofs;
            for (const Proof proof : judgement.proofs) {
                proofs << QString::fromLatin1(nameOf(proof));
            }
            std::uint64_t count = sizeOf(description);
            const QString size = bytesText(count);
            for (const Range& range : judgement.uncovered) {
                count -= static_cast<std::uint64_t>(range.size);
            }
            text += QStringLiteral(" by %1: %2%3 of %4")
                        .arg(proofs.join(QStringLiteral(" and ")),
                             judgement.uncovered.empty() ? QString() : QStringLiteral("%1 of ").arg(count), size, name);
            for (const Range& range : judgement.uncovered) {
                text += QStringLiteral("; nothing covers bytes %1 to %2")
                            .arg(range.offset)
                            .arg(range.offset + range.size - 1);
            }
            break;
        }
        case Verdict::wrong:
            text += QStringLiteral(": %1 of %2 checks of %3 are bad").arg(judgement.bad).arg(judgement.made).arg(name);
            if (judgement.isKeyDoubtful) {
                text += QStringLiteral("; no tag is right: another key or a changed file header");
            }
            break;
        case Verdict::undecided:
            text += QStringLiteral(": %1, %2").arg(name, QLatin1String(rowOf(judgement.reason).words));
            break;
    }
    line(text);
}

// Prints the plain contents of the parts, and the files in them.
void Printer::printContents(const Description& description) {
    constexpr std::size_t limit = 50;
    for (const Decoded& decoded : description.decoded) {
        line(QStringLiteral("contents of ") + partName(decoded) + QStringLiteral(": ") + decodedText(decoded));
        const QString indent = std::exchange(indent_, indent_ + QStringLiteral("  "));
        const std::size_t rows = rowCount(decoded);
        for (std::size_t i = 0; i < std::min(limit, rows); ++i) {
            line(rowText(rowAt(decoded, i)));
        }
        if (rows > limit) {
            line(QStringLiteral("%1 more lines; --json has them all").arg(rows - limit));
        }
        for (const Description& inner : decoded.inner) {
            printShown(inner);
        }
        indent_ = indent;
    }
}

void Printer::printShown(const Description& description) {
    printHead(description);
    printKeys(description);
    printParts(description);
    printMemory(description);
    printFindings(description);
    std::vector<Check> bad;  // that of the rules has findings, which are printed
    std::copy_if(description.checks.begin(), description.checks.end(), std::back_inserter(bad),
                 [](const Check& check) { return check.result == CheckResult::bad && check.code != CheckCode::rules; });
    printOwnChecks(bad, description);
    for (const Description& inner : description.inner) {
        printShown(inner);
    }
    printContents(description);
}

void Printer::printFile(const Description& description) {
    if (report_.command == QLatin1String("show")) {
        printShown(description);
    } else {
        printHead(description);
        printKeys(description);
        printFindings(description);
        printChecks(description);
        printDifferences(description.differences);
        printVerdict(description);
    }
}

QByteArray Printer::print() {
    if (report_.command == QLatin1String("diff")) {
        printComparison();
        return text_.toUtf8();
    }
    for (const Description& file : report_.files) {
        printFile(file);
    }
    if (!report_.folder.isEmpty()) {
        line(QStringLiteral("written to ") + printable(report_.folder));
    }
    return text_.toUtf8();
}

}  // namespace

QByteArray printText(const Report& report) {
    return Printer(report).print();
}

}  // namespace inspect
