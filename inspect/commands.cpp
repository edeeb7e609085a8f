#include "inspect/commands.h"

#include "inspect/compare.h"
#include "inspect/extract.h"
#include "inspect/summarize.h"

#include <algorithm>
#include <array>

namespace inspect {

namespace {

/// Gives the reason of missing keys in the terms of a folder of keys.
void nameMissingKeys(Description& description) {
    for (Check& check : description.checks) {
        const bool lacksKey = check.reason == Reason::noKey || check.reason == Reason::noPublicKey;
        check.reason = lacksKey ? Reason::noFittingKey : check.reason;
    }
    for (Description& inner : description.inner) {
        nameMissingKeys(inner);
    }
}

/// Proves a file and names the keys that its proof uses. Returns the keys that were given or fit.
const Evidence& proveWithKeys(Call& call, Opened& opened, Contents* contents) {
    const Evidence& evidence = call.evidenceFor(opened);
    prove(opened.source, evidence, opened.description, contents);
    opened.description.keys = usedKeys(opened.description, evidence, call.siteSecret());
    if (call.has("keys")) {
        nameMissingKeys(opened.description);
    }
    return evidence;
}

/// Names the keys that fit, and shows the contents that they open.
void showContents(Call& call, Opened& opened) {
    Description& description = opened.description;
    Contents contents;
    const Evidence& evidence = proveWithKeys(call, opened, &contents);
    if (!evidence.key.isEmpty() && judge(description).isKeyDoubtful) {
        static_cast<void>(call.fail("badKey", description.file, QStringLiteral("no tag is right under the key given")));
        description.checks.clear();
    }
    decode(contents, evidence, call.decoding(), description);
}

void show(Call& call, const QStringList& files) {
    constexpr std::array reasons = {"key", "keys", "public", "private", "address", "contents"};
    const bool areContentsShown =
        std::any_of(reasons.begin(), reasons.end(), [&call](const char* option) { return call.has(option); });
    if (!call.readDecoding()) {
        return;
    }
    for (const QString& path : files) {
        Opened opened;
        if (call.open(path, opened)) {
            if (areContentsShown) {
                showContents(call, opened);
            }
            call.report().files.push_back(std::move(opened.description));
        }
    }
    const auto& shown = call.report().files;
    const auto isWrong = [](const Description& file) { return hasErrors(file) || judge(file).bad > 0; };
    call.report().status = std::any_of(shown.begin(), shown.end(), isWrong) ? statusWrong : statusGood;
}

void verifyFile(Call& call, Opened& opened) {
    Contents contents;
    const bool isDecoded = call.kept() != nullptr && call.kept()->wantsMeaning;
    const bool isKept = call.kept() != nullptr && call.kept()->wantsContents;
    const bool isCompared = !call.sources().isEmpty();
    const bool isDumped = call.has("dump");
    const auto hasOptionRules = [](const Policy& policy) { return !policy.options.empty(); };
    const bool areWanted = isKept || isDecoded || isCompared || isDumped ||
                           std::any_of(call.policies().begin(), call.policies().end(), hasOptionRules);
    const Evidence& evidence = proveWithKeys(call, opened, areWanted ? &contents : nullptr);
    const bool isOpened = isOpen(opened.description);
    const bool isAuthentic = isOpened && judge(opened.description).verdict != Verdict::wrong;
    if (!isCompared) {
        opened.description.addUnchecked(CheckCode::against, Reason::notAsked, 0, false);
    } else if (isOpened) {
        proveAgainst(call.sources(), contents, opened.source.bytes, opened.description);
    } else {
        opened.description.addUnchecked(CheckCode::against, Reason::notAuthentic);
    }
    if (isDumped && isOpened) {
        proveDump(call.dump(), contents, opened.description);
    } else if (isDumped) {
        opened.description.addUnchecked(CheckCode::dump, Reason::notAuthentic);
    }
    for (const Policy& policy : call.policies()) {
        provePolicy(policy, call.has("allow-irreversible"), contents, opened.description);
    }
    if (isDecoded) {
        decode(contents, evidence, call.decoding(), opened.description);
    }
    if (isKept && isAuthentic) {
        call.kept()->contents.list = std::move(contents.list);
    }
}

int statusOf(const std::vector<Description>& files) {
    const auto has = [&files](Verdict verdict) {
        return std::any_of(files.begin(), files.end(),
                           [verdict](const Description& file) { return judge(file).verdict == verdict; });
    };
    return has(Verdict::wrong) ? statusWrong : has(Verdict::undecided) ? statusUndecided : statusGood;
}

void verify(Call& call, const QStringList& files) {
    if (!call.readSources() || !call.readDump() || !call.readDecoding() || !call.readPolicies()) {
        return;
    }
    Report& report = call.report();
    // Second files of pairs are sorted to the end. They are still in `left` when their first files are opened.
    QStringList left = files;
    std::stable_partition(left.begin(), left.end(), [](const QString& path) { return !isSecondName(path); });
    while (!left.isEmpty()) {
        const QString path = left.takeFirst();
        Opened opened;
        if (call.open(path, opened, "payload", &left)) {
            verifyFile(call, opened);
            report.files.push_back(std::move(opened.description));
        }
    }
    proveIvs(report.files);
    report.status = statusOf(report.files);
}

void extract(Call& call, const QStringList& files) {
    Report& report = call.report();
    Opened opened;
    if (call.value("output").isEmpty()) {
        call.fail("usage", {}, QStringLiteral("extract needs -o FOLDER"));
        return;
    }
    if (!call.open(files.constFirst(), opened)) {
        return;
    }
    Contents contents;
    static_cast<void>(proveWithKeys(call, opened, &contents));
    report.files.push_back(std::move(opened.description));
    const Description& description = report.files.front();
    report.status = statusGood;
    QString fault;
    if (judge(description).verdict == Verdict::wrong) {
        report.status = statusWrong;
    } else if (!isOpen(description) || contents.list.empty()) {
        report.status = statusUndecided;
    } else if (!writeContents(call.value("output"), description, contents, fault)) {
        call.fail("unwritable", call.value("output"), fault);
    } else {
        report.folder = call.value("output");
        report.status = statusOf(report.files);  // contents are written even if they aren't proven
    }
}

bool openForComparison(Call& call, const QString& path, const char* payload, bool isSecond, Opened& opened,
                       Contents& contents) {
    if (!call.open(path, opened, payload)) {
        return false;
    }
    const Evidence& evidence = call.evidenceFor(opened, isSecond);
    prove(opened.source, evidence, opened.description, &contents);
    const bool isKeyWrong = !evidence.key.isEmpty() && judge(opened.description).isKeyDoubtful;
    return !isKeyWrong || call.fail("badKey", path, QStringLiteral("no tag is right under the key given"));
}

void diff(Call& call, const QStringList& files) {
    bool isNumber = true;
    const int shownBytes = call.has("bytes") ? call.value("bytes").toInt(&isNumber) : 0;
    if (!isNumber || shownBytes < 0) {
        call.fail("usage", {}, QStringLiteral("--bytes needs a number"));
        return;
    }
    if (!call.readDecoding()) {
        return;
    }
    Opened a;
    Opened b;
    Contents contentsA;
    Contents contentsB;
    if (!openForComparison(call, files.at(0), "payload", false, a, contentsA) ||
        !openForComparison(call, files.at(1), "payload-b", true, b, contentsB)) {
        return;
    }
    const ComparedFile fileA{a.source.bytes, a.source.second, a.description, contentsA};
    const ComparedFile fileB{b.source.bytes, b.source.second, b.description, contentsB};
    Report& report = call.report();
    report.summary = summarize(fileA, fileB, shownBytes, call.decoding().registers);
    const auto finish = [&](int status) {
        report.status = status;
        report.files.push_back(std::move(a.description));
        report.files.push_back(std::move(b.description));
    };
    const bool isExcepting = call.has("except-signature");
    if (isExcepting) {
        const SignatureComparison result = compareExceptSignature(fileA, fileB);
        if (result == SignatureComparison::noSignature) {
            call.fail("noSignature", {}, QStringLiteral("at least one of the files has no signature"));
            return;
        }
        if (result == SignatureComparison::equal) {
            return finish(statusGood);
        }
    }
    report.differences = compareFiles(fileA, fileB, report.summary);
    if (isExcepting && statusOf(report.differences) != statusWrong) {
        compareAsBytes(fileA, fileB, report.differences);
    }
    finish(statusOf(report.differences));
}

constexpr std::array commands = {
    CommandRow{"show", 0, "show what is in a file and, with its keys, what its contents mean", show},
    CommandRow{"verify", 0, "prove a file as far as the given keys allow", verify},
    CommandRow{"extract", 1, "write the plain contents of its parts into a new folder", extract},
    CommandRow{"diff", 2, "list the differences between two files", diff},
};

}  // namespace

std::span<const CommandRow> commandTable() {
    return commands;
}

const CommandRow* commandByName(const QString& name) {
    const auto row = std::find_if(commands.begin(), commands.end(), [&name](const CommandRow& candidate) {
        return name == QLatin1String(candidate.name);
    });
    return row == commands.end() ? nullptr : &*row;
}

}  // namespace inspect
