#include "inspect/policy.h"

#include "files/ByteReader.h"
#include "inspect/formats.h"

#include <algorithm>

namespace inspect {

namespace {

constexpr qsizetype wordSize = 4;

Field versionField(const char* name, const Version& version) {
    const bool isNumber = std::all_of(version.begin() + 1, version.end(), [](std::uint32_t part) { return part == 0; });
    QByteArray text = QByteArray::number(version[0]);
    if (!isNumber) {
        text += '.' + QByteArray::number(version[1]) + '.' + QByteArray::number(version[2]);
        text += version[3] == 0 ? QByteArray() : '+' + QByteArray::number(version[3]);
    }
    return textField(name, text);
}

/// The versions of a file and of its inner files.
void collectVersions(const Description& description, std::vector<Version>& versions) {
    for (const Field& field : description.fields) {
        if (qstrcmp(field.name, "imageVersion") == 0) {
            versions.push_back({static_cast<std::uint32_t>(field.number), 0, 0, 0});
        } else if (qstrcmp(field.name, "version") == 0 && field.kind == FieldKind::text) {
            Version version{};
            if (parseVersion(QString::fromLatin1(field.bytes), version)) {
                versions.push_back(version);
            }
        }
    }
    for (const Description& inner : description.inner) {
        collectVersions(inner, versions);
    }
}

/// The reason of a check that would give this proof, but lacks a key; `none` if there is no such check.
Reason reasonOfMissing(Proof proof, const Description& description) {
    for (const Check& check : description.checks) {
        if (rowOf(check.code).proof == proof && check.result == CheckResult::unchecked &&
            check.reason != Reason::noProtection && check.reason != Reason::notAsked &&
            check.reason != Reason::notSigned) {
            return check.reason;
        }
    }
    for (const Description& inner : description.inner) {
        const Reason reason = reasonOfMissing(proof, inner);
        if (reason != Reason::none) {
            return reason;
        }
    }
    return Reason::none;
}

/// Applies one policy to one file.
class Judge {
  public:
    Judge(const Policy& policy, bool allowsIrreversible, const Contents& contents, Description& description)
        : policy_(policy),
          allowsIrreversible_(allowsIrreversible),
          contents_(contents),
          description_(description),
          judgement_(judge(description)) {}

    void run();

  private:
    void find(FindingCode code, std::vector<Field> arguments) {
        description_.addFinding(code, 0, -1, std::move(arguments));
        isBroken_ = true;
    }
    void leaveOpen(Reason reason) { open_ = open_ == Reason::none ? reason : open_; }

    void checkFormat();
    void checkProof(Proof proof);
    void checkKeys(bool isPublic, const std::vector<QByteArray>& allowed);
    void checkVersion(const Version& least);
    void checkSize(std::uint64_t largest);
    void checkMemory(const std::vector<Span>& memory, Description& description);
    void checkOverlap(Description& description);
    void checkOption(const OptionRule& rule);

    const Policy& policy_;
    bool allowsIrreversible_;
    const Contents& contents_;
    Description& description_;
    Judgement judgement_;
    bool isBroken_ = false;
    Reason open_ = Reason::none;
};

void Judge::checkFormat() {
    const QString name = QLatin1String(description_.format->name);
    if (!policy_.formats->contains(name)) {
        find(FindingCode::policyFormat, {textField("value", name.toLatin1())});
    }
}

void Judge::checkProof(Proof proof) {
    if (std::find(judgement_.proofs.begin(), judgement_.proofs.end(), proof) != judgement_.proofs.end()) {
        return;
    }
    const Reason reason = reasonOfMissing(proof, description_);
    if (reason != Reason::none) {
        leaveOpen(reason);
    } else {
        find(FindingCode::policyProof, {textField("expected", nameOf(proof))});
    }
}

void Judge::checkKeys(bool isPublic, const std::vector<QByteArray>& allowed) {
    bool isUsed = false;
    for (const KeyUse& key : description_.keys) {
        if ((key.use != KeyUse::Use::image) != isPublic) {
            continue;
        }
        isUsed = true;
        if (key.fingerprint.isEmpty()) {
            leaveOpen(Reason::noSiteSecret);
        } else if (std::find(allowed.begin(), allowed.end(), key.fingerprint) == allowed.end()) {
            find(FindingCode::policyKey,
                 {textField("file", key.file.toUtf8()), textField("fingerprint", key.fingerprint.toHex())});
        }
    }
    if (!isUsed) {
        checkProof(isPublic ? Proof::signature : Proof::tag);
    }
}

void Judge::checkVersion(const Version& least) {
    std::vector<Version> versions;
    collectVersions(description_, versions);
    if (versions.empty()) {
        find(FindingCode::policyNoVersion, {versionField("expected", least)});
    }
    for (const Version& version : versions) {
        if (version < least) {
            find(FindingCode::policyVersion, {versionField("value", version), versionField("expected", least)});
        }
    }
}

void Judge::checkSize(std::uint64_t largest) {
    auto size = static_cast<std::uint64_t>(description_.size);
    for (const Description& inner : description_.inner) {
        size += inner.file == description_.file ? 0 : static_cast<std::uint64_t>(inner.size);
    }
    if (size > largest) {
        find(FindingCode::policySize, {numberField("size", size), numberField("limit", largest)});
    }
}

void Judge::checkMemory(const std::vector<Span>& memory, Description& description) {
    for (const Part& part : description.parts) {
        if (!part.hasAddress || part.memorySize == 0) {
            continue;
        }
        const std::vector<Span> outside = without({{part.address, part.address + part.memorySize}}, memory);
        if (!outside.empty()) {
            description.addFinding(
                FindingCode::policyMemory, part.index, part.offset,
                {addressField("from", outside.front().from), addressField("to", outside.front().to - 1)});
            isBroken_ = true;
        }
    }
    for (Description& inner : description.inner) {
        checkMemory(memory, inner);
    }
}

void Judge::checkOverlap(Description& description) {
    const std::vector<Finding> findings = description.findings;
    for (const Finding& finding : findings) {
        if (finding.code == FindingCode::moduleOverFirmware) {
            description.addFinding(FindingCode::policyOverlap, finding.part, finding.offset, finding.arguments);
            isBroken_ = true;
        }
    }
    for (Description& inner : description.inner) {
        checkOverlap(inner);
    }
}

void Judge::checkOption(const OptionRule& rule) {
    if (!isOpen(description_)) {
        leaveOpen(Reason::notAuthentic);
        return;
    }
    if (rule.isIrreversible && allowsIrreversible_) {
        return;
    }
    const QByteArray name = rule.name.isEmpty() ? QByteArray() : " (" + rule.name.toUtf8() + ')';
    const auto offset = static_cast<qsizetype>(rule.word - 1) * wordSize;
    bool isThere = false;
    for (const Content& content : contents_.list) {
        if (content.kind != ContentKind::optionBytes || content.bytes.size() < offset + wordSize) {
            continue;
        }
        isThere = true;
        const std::uint32_t value = ByteReader(QByteArrayView(content.bytes).sliced(offset)).u32() & rule.mask;
        if ((value == rule.value) != rule.isForbidden) {
            continue;
        }
        const FindingCode code = rule.isIrreversible ? FindingCode::policyIrreversible
                                 : rule.isForbidden  ? FindingCode::policyForbiddenOption
                                                     : FindingCode::policyOption;
        find(code, {numberField("word", rule.word), textField("name", name), addressField("value", value),
                    addressField("expected", rule.value), addressField("mask", rule.mask)});
    }
    if (!isThere && !rule.isForbidden) {
        find(FindingCode::policyNoOption, {numberField("word", rule.word), textField("name", name)});
    }
}

void Judge::run() {
    if (policy_.formats) {
        checkFormat();
    }
    for (const Proof proof : policy_.proofs) {
        checkProof(proof);
    }
    if (policy_.imageKeys) {
        checkKeys(false, *policy_.imageKeys);
    }
    if (policy_.publicKeys) {
        checkKeys(true, *policy_.publicKeys);
    }
    if (policy_.leastVersion) {
        checkVersion(*policy_.leastVersion);
    }
    if (policy_.largestSize) {
        checkSize(*policy_.largestSize);
    }
    if (policy_.memory) {
        checkMemory(merged(*policy_.memory), description_);
    }
    if (policy_.forbidsOverlap) {
        checkOverlap(description_);
    }
    for (const OptionRule& rule : policy_.options) {
        checkOption(rule);
    }
    if (isBroken_ || open_ == Reason::none) {
        description_.addCheck(CheckCode::policy, !isBroken_);
    } else {
        description_.addUnchecked(CheckCode::policy, open_);
    }
}

}  // namespace

void provePolicy(const Policy& policy, bool allowsIrreversible, const Contents& contents, Description& description) {
    Judge(policy, allowsIrreversible, contents, description).run();
}

}  // namespace inspect
