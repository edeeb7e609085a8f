#include "inspect/Report.h"

#include <algorithm>
#include <array>
#include <functional>

namespace inspect {

namespace {

void addJudgement(const Description& description, Judgement& sum) {
    int tags = 0;
    int goodTags = 0;
    for (const Check& check : description.checks) {
        const Proof proof = rowOf(check.code).proof;
        const bool isGood = check.result == CheckResult::good;
        if (check.result == CheckResult::unchecked) {
            if (check.needed && sum.reason == Reason::none) {
                sum.reason = check.reason;
            }
            continue;
        }
        ++sum.made;
        sum.bad += isGood ? 0 : 1;
        tags += check.code == CheckCode::tag ? 1 : 0;
        goodTags += check.code == CheckCode::tag && isGood ? 1 : 0;
        if (isGood && proof != Proof::structure &&
            std::find(sum.proofs.begin(), sum.proofs.end(), proof) == sum.proofs.end()) {
            sum.proofs.push_back(proof);
        }
    }
    sum.isKeyDoubtful = sum.isKeyDoubtful || (tags > 0 && goodTags == 0);
    for (const Description& inner : description.inner) {
        addJudgement(inner, sum);
    }
}

void collectIvs(Description& description, std::vector<std::pair<const UsedIv*, Description*>>& all) {
    for (const UsedIv& iv : description.ivs) {
        all.emplace_back(&iv, &description);
    }
    for (Description& inner : description.inner) {
        collectIvs(inner, all);
    }
}

}  // namespace

bool hasErrors(const Description& description) {
    return std::any_of(description.findings.begin(), description.findings.end(),
                       [](const Finding& finding) { return rowOf(finding.code).severity == Severity::error; }) ||
           std::any_of(description.inner.begin(), description.inner.end(), hasErrors);
}

bool isOpen(const Description& description) {
    const bool isClosed = std::any_of(description.checks.begin(), description.checks.end(), [](const Check& check) {
        return check.code == CheckCode::tag && check.result != CheckResult::good &&
               check.reason != Reason::noProtection;
    });
    return !isClosed && std::all_of(description.inner.begin(), description.inner.end(), isOpen);
}

Judgement judge(const Description& description) {
    Judgement sum;
    addJudgement(description, sum);
    std::sort(sum.proofs.begin(), sum.proofs.end(), std::greater<>());
    for (const Range& range : description.ranges) {
        if (range.cover != Cover::none) {
            continue;
        }
        if (!sum.uncovered.empty() && sum.uncovered.back().offset + sum.uncovered.back().size == range.offset) {
            sum.uncovered.back().size += range.size;
        } else {
            sum.uncovered.push_back(range);
        }
    }
    if (sum.bad > 0 || hasErrors(description)) {
        sum.verdict = Verdict::wrong;
    } else if (sum.reason == Reason::none && !sum.proofs.empty()) {
        sum.verdict = Verdict::proven;
    } else {
        sum.verdict = Verdict::undecided;
        sum.reason = sum.reason == Reason::none ? Reason::noProtection : sum.reason;
    }
    return sum;
}

const char* nameOf(Verdict verdict) {
    constexpr std::array names = {"proven", "wrong", "undecided"};
    return names[static_cast<std::size_t>(verdict)];
}

const char* nameOf(Proof proof) {
    constexpr std::array names = {"none", "structure", "digest", "signature", "tag", "comparison"};
    return names[static_cast<std::size_t>(proof)];
}

void proveIvs(std::vector<Description>& files) {
    std::vector<std::pair<const UsedIv*, Description*>> all;
    for (Description& file : files) {
        collectIvs(file, all);
    }
    std::sort(all.begin(), all.end(), [](const auto& a, const auto& b) { return a.first->iv < b.first->iv; });
    std::vector<Description*> clean;
    std::vector<const Description*> faulty;
    for (std::size_t i = 1; i < all.size(); ++i) {
        const auto& [iv, description] = all[i];
        const auto& [other, otherDescription] = all[i - 1];
        if (iv->iv != other->iv || (description != otherDescription && iv->tag == other->tag)) {
            continue;
        }
        description->addCheck(CheckCode::ivs, false, iv->part,
                              {numberField("other", static_cast<std::uint64_t>(other->part)),
                               textField("file", otherDescription->file.toUtf8())});
        faulty.push_back(description);
    }
    for (const auto& entry : all) {
        const bool isNew = clean.empty() || clean.back() != entry.second;
        if (isNew && std::find(clean.begin(), clean.end(), entry.second) == clean.end() &&
            std::find(faulty.begin(), faulty.end(), entry.second) == faulty.end()) {
            clean.push_back(entry.second);
        }
    }
    for (Description* const description : clean) {
        description->addCheck(CheckCode::ivs, true);
    }
}

QString printable(const QString& text) {
    QString result;
    for (const QChar character : text) {
        const char16_t code = character.unicode();
        const bool isControl = code < 0x20 || (code >= 0x7F && code < 0xA0);
        const bool isInvisible = (code >= 0x200B && code <= 0x200F) || (code >= 0x2028 && code <= 0x202E) ||
                                 (code >= 0x2060 && code <= 0x206F) || code == 0x061C || code == 0xFEFF;
        if (isControl || isInvisible) {
            result += QStringLiteral("\\u{%1}").arg(static_cast<int>(code), 0, 16);
        } else {
            result += character;
        }
    }
    return result;
}

}  // namespace inspect
