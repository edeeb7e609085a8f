#include "inspect/Report.h"

#include <algorithm>
#include <array>
#include <functional>
#include <set>
#include <span>

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

/// An IV and the file that it is used in.
struct Used {
    const UsedIv* iv;
    Description* description;
};

void collectIvs(Description& description, std::vector<Used>& all) {
    for (const UsedIv& iv : description.ivs) {
        all.push_back({&iv, &description});
    }
    for (Description& inner : description.inner) {
        collectIvs(inner, all);
    }
}

/// Adds a bad check for each use of one IV that another message shares. The other message is another part of the same
/// file, or a part of another file with another tag. Uses in the same file are neighbours in `uses`.
void proveSharedIv(std::span<const Used> uses, std::set<const Description*>& faulty) {
    const auto other =
        std::find_if(uses.begin(), uses.end(), [&](const Used& used) { return used.iv->tag != uses.front().iv->tag; });
    for (std::size_t i = 0; i < uses.size(); ++i) {
        const Used& own = uses[i];
        const Used* shared = nullptr;
        if (i > 0 && uses[i - 1].description == own.description) {
            shared = &uses[i - 1];
        } else if (i + 1 < uses.size() && uses[i + 1].description == own.description) {
            shared = &uses[i + 1];
        } else if (other != uses.end()) {
            shared = own.iv->tag != uses.front().iv->tag ? &uses.front() : &*other;
        }
        if (shared != nullptr) {
            own.description->addCheck(CheckCode::ivs, false, own.iv->part,
                                      {numberField("other", static_cast<std::uint64_t>(shared->iv->part)),
                                       textField("file", shared->description->file.toUtf8())});
            faulty.insert(own.description);
        }
    }
}

/// Whether all tags of an inner file were checked and are good. These tags then cover the bytes that the outer file's
/// checks don't cover.
bool isCovering(const Description& inner) {
    const auto isTag = [](const Check& check) { return check.code == CheckCode::tag; };
    return std::any_of(inner.checks.begin(), inner.checks.end(), isTag) &&
           std::none_of(inner.checks.begin(), inner.checks.end(),
                        [&](const Check& check) { return isTag(check) && check.result != CheckResult::good; });
}

/// The ranges that no check covers; adjacent ranges are joined.
std::vector<Range> uncoveredOf(const Description& description) {
    std::vector<Range> uncovered;
    const auto add = [&uncovered](qint64 from, qint64 to) {
        if (from >= to) {
            return;
        }
        if (!uncovered.empty() && uncovered.back().offset + uncovered.back().size == from) {
            uncovered.back().size += to - from;
        } else {
            uncovered.push_back({from, to - from, Role::payload, Cover::none, 0});
        }
    };
    const bool hasInner = !description.inner.empty() && description.inner.front().file == description.file &&
                          isCovering(description.inner.front());
    const std::vector<Range> inner = hasInner ? uncoveredOf(description.inner.front()) : std::vector<Range>();
    for (const Range& range : description.ranges) {
        const qint64 end = range.offset + range.size;
        if (range.cover != Cover::none) {
            continue;
        }
        if (!hasInner) {
            add(range.offset, end);
        }
        for (const Range& left : inner) {
            add(std::max(range.offset, left.offset), std::min(end, left.offset + left.size));
        }
    }
    return uncovered;
}

}  // namespace

bool hasErrors(const Description& description) {
    return std::any_of(description.findings.begin(), description.findings.end(),
                       [](const Finding& finding) { return rowOf(finding.code).severity == Severity::error; }) ||
           std::any_of(description.inner.begin(), description.inner.end(), hasErrors);
}

bool isOpen(const Description& description) {
    const bool isClosed = std::any_of(description.checks.begin(), description.checks.end(), [](const Check& check) {
        const bool lacksTag =
            check.code == CheckCode::tag && check.result != CheckResult::good && check.reason != Reason::noProtection;
        return lacksTag || check.reason == Reason::encrypted;
    });
    return !isClosed && std::all_of(description.inner.begin(), description.inner.end(), isOpen);
}

Judgement judge(const Description& description) {
    Judgement sum;
    addJudgement(description, sum);
    std::sort(sum.proofs.begin(), sum.proofs.end(), std::greater<>());
    sum.uncovered = uncoveredOf(description);
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
    std::vector<Used> all;
    for (Description& file : files) {
        collectIvs(file, all);
    }
    std::stable_sort(all.begin(), all.end(), [](const Used& a, const Used& b) { return a.iv->iv < b.iv->iv; });
    std::set<const Description*> faulty;
    for (auto first = all.begin(); first != all.end();) {
        const auto last =
            std::find_if(first, all.end(), [&](const Used& used) { return used.iv->iv != first->iv->iv; });
        proveSharedIv({first, last}, faulty);
        first = last;
    }
    std::set<const Description*> clean;
    for (const Used& used : all) {
        if (!faulty.contains(used.description) && clean.insert(used.description).second) {
            used.description->addCheck(CheckCode::ivs, true);
        }
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
