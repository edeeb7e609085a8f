#include "tests/inspect/Inspection.h"

#include "inspect/compare.h"
#include "inspect/summarize.h"

#include <algorithm>
#include <set>

namespace {

inspect::Report reportOf(const Inspection& inspection, const char* command) {
    inspect::Report report;
    report.command = QString::fromLatin1(command);
    report.files.push_back(inspection.description);
    return report;
}

bool isPrintable(char character) {
    return character == '\n' || (static_cast<unsigned char>(character) >= 0x20 && character != 0x7F);
}

void collectFaults(const inspect::Description& description, std::set<std::string>& names) {
    for (const inspect::Finding& finding : description.findings) {
        const inspect::FindingRow& row = inspect::rowOf(finding.code);
        if (row.severity == inspect::Severity::error) {
            names.insert(row.name);
        }
    }
    for (const inspect::Check& check : description.checks) {
        const std::string name = inspect::rowOf(check.code).name;
        if (check.result == inspect::CheckResult::bad && check.code != inspect::CheckCode::rules) {
            names.insert(name);
        } else if (check.result == inspect::CheckResult::unchecked && check.needed) {
            names.insert("?" + name);
        }
    }
    for (const inspect::Description& inner : description.inner) {
        collectFaults(inner, names);
    }
}

}  // namespace

std::string Inspection::faults() const {
    std::set<std::string> names;
    collectFaults(description, names);
    std::string text;
    for (const std::string& name : names) {
        text += (text.empty() ? "" : " ") + name;
    }
    return text;
}

std::string Inspection::text(const char* command) const {
    return inspect::printText(reportOf(*this, command)).toStdString();
}

QByteArray Inspection::json(const char* command) const {
    return inspect::printJson(reportOf(*this, command));
}

Inspection inspectBytes(const QByteArray& bytes, const char* name, const QByteArray& key, const char* as) {
    Given given;
    given.bytes = bytes;
    given.name = name;
    given.key = key;
    given.as = as;
    return inspectGiven(given);
}

namespace {

inspect::Source sourceOf(const Given& given) {
    inspect::Source source;
    source.path = QString::fromUtf8(given.name);
    source.bytes = given.bytes;
    if (!given.second.isNull()) {
        source.secondPath = QStringLiteral("second");
        source.second = given.second;
    }
    return source;
}

const inspect::FormatRow* rowOf(const Given& given) {
    return given.as == nullptr ? nullptr : inspect::formatByName(QString::fromUtf8(given.as));
}

void fill(inspect::Evidence& evidence, const Given& given) {
    evidence.key = QByteArray(given.key.constData(), given.key.size());
    evidence.publicKey = given.publicKey;
    evidence.privateKey = QByteArray(given.privateKey.constData(), given.privateKey.size());
    evidence.memory = given.memory;
    evidence.app = given.app;
}

}  // namespace

int compareGiven(const Given& a, const Given& b) {
    const inspect::Source sources[] = {sourceOf(a), sourceOf(b)};
    inspect::Description descriptions[] = {inspect::describe(sources[0], rowOf(a)),
                                           inspect::describe(sources[1], rowOf(b))};
    inspect::Contents contents[2];
    for (int i = 0; i < 2; ++i) {
        inspect::Evidence evidence;
        fill(evidence, i == 0 ? a : b);
        inspect::prove(sources[i], evidence, descriptions[i], &contents[i]);
    }
    if (descriptions[0].format == nullptr || descriptions[1].format == nullptr) {
        return inspect::statusUndecided;
    }
    const inspect::ComparedFile fileA{sources[0].bytes, sources[0].second, descriptions[0], contents[0]};
    const inspect::ComparedFile fileB{sources[1].bytes, sources[1].second, descriptions[1], contents[1]};
    return inspect::statusOf(inspect::compareFiles(fileA, fileB, inspect::summarize(fileA, fileB, 0)));
}

Inspection inspectGiven(const Given& given) {
    const inspect::Source source = sourceOf(given);
    inspect::Evidence evidence;
    fill(evidence, given);
    Inspection inspection{inspect::describe(source, rowOf(given)), {}};
    inspect::prove(source, evidence, inspection.description);
    std::vector<inspect::Description> files = {inspection.description};
    inspect::proveIvs(files);
    inspection.description = files.front();
    inspection.judgement = inspect::judge(inspection.description);
    EXPECT_TRUE(inspect::isTiled(inspection.description)) << given.name;
    EXPECT_EQ(inspection.judgement.verdict == inspect::Verdict::wrong, inspection.judgement.bad > 0) << given.name;
    if (!given.isPrinted) {
        return inspection;
    }
    for (const QByteArray& output : {QByteArray::fromStdString(inspection.text("show")),
                                     QByteArray::fromStdString(inspection.text("verify")), inspection.json("verify")}) {
        EXPECT_TRUE(std::all_of(output.begin(), output.end(), isPrintable)) << output.constData();
        if (!given.key.isEmpty()) {
            EXPECT_FALSE(output.contains(given.key) || output.contains(given.key.toHex()) ||
                         output.contains(given.key.toBase64()));
        }
    }
    return inspection;
}
