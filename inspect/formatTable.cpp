#include "inspect/formats.h"

#include <QFileInfo>

#include <algorithm>
#include <array>

namespace inspect {

namespace {

// The order means nothing.
constexpr std::array rows = {
    FormatRow{"installImage", "install image", "tbi tbix", matchInstallImage, describeInstallImage, proveInstallImage},
    FormatRow{"backupImage", "backup image", "", nullptr, describeBackupImage, nullptr},
    FormatRow{"secretsWords", "secrets image of device 0x500 or 0x501", "", nullptr, describeSecretsWords, nullptr},
    FormatRow{"secretsRecords", "secrets image of device 0x505", "", nullptr, describeSecretsRecords, nullptr},
    FormatRow{"provisioningFile", "provisioning file", "obk", matchProvisioningFile, describeProvisioningFile,
              proveProvisioningFile},
    FormatRow{"hashedProvisioningFile", "provisioning file with a digest", "", nullptr, describeProvisioningFile,
              proveHashedProvisioningFile},
    FormatRow{"passwordFile", "password file", "", matchPasswordFile, describePasswordFile, nullptr},
};

bool hasSuffix(const FormatRow& row, const QString& path) {
    const QString suffix = QFileInfo(path).suffix();
    const QStringList suffixes = QString::fromLatin1(row.suffixes).split(u' ', Qt::SkipEmptyParts);
    return suffixes.contains(suffix, Qt::CaseInsensitive);
}

std::vector<const FormatRow*> bestMatches(QByteArrayView bytes) {
    std::vector<const FormatRow*> best;
    Match level = Match::magic;
    for (const FormatRow& row : rows) {
        const Match match = row.match != nullptr ? row.match(bytes) : Match::no;
        if (match > level) {
            level = match;
            best.clear();
        }
        if (match == level) {
            best.push_back(&row);
        }
    }
    return best;
}

const FormatRow* bySuffix(const std::vector<const FormatRow*>& candidates, const QString& path) {
    const FormatRow* found = nullptr;
    for (const FormatRow* const row : candidates) {
        if (hasSuffix(*row, path)) {
            if (found != nullptr) {
                return nullptr;
            }
            found = row;
        }
    }
    return found;
}

}  // namespace

std::span<const FormatRow> formatTable() {
    return rows;
}

const FormatRow* formatByName(const QString& name) {
    const auto row = std::find_if(rows.begin(), rows.end(), [&name](const FormatRow& candidate) {
        return name.compare(QLatin1String(candidate.name), Qt::CaseInsensitive) == 0;
    });
    return row == rows.end() ? nullptr : &*row;
}

const FormatRow* findFormat(const Source& source, Description& description) {
    const std::vector<const FormatRow*> matches = bestMatches(source.bytes);
    description.by = FoundBy::content;
    if (matches.size() == 1) {
        return matches.front();
    }
    description.by = FoundBy::suffix;
    if (!matches.empty()) {
        const FormatRow* const found = bySuffix(matches, source.path);
        for (const FormatRow* const other : matches) {
            if (found != nullptr && other != found) {
                description.addFinding(FindingCode::otherFormatFits, 0, -1, {textField("other", other->name)});
            }
        }
        return found;
    }
    // A format with a magic isn't that format without it, unless its suffix says that it was meant to be one.
    std::vector<const FormatRow*> all;
    std::transform(rows.begin(), rows.end(), std::back_inserter(all), [](const FormatRow& row) { return &row; });
    const FormatRow* const found = bySuffix(all, source.path);
    if (found != nullptr && found->match == nullptr) {
        description.addFinding(FindingCode::assumedFormat, 0, -1);
    }
    return found;
}

Description describe(const Source& source, const FormatRow* as) {
    Description description;
    description.file = source.path;
    description.size = source.bytes.size();
    description.format = as != nullptr ? as : findFormat(source, description);
    if (as != nullptr) {
        description.by = FoundBy::option;
    }
    if (description.format != nullptr) {
        description.format->describe(source, description);
    } else {
        description.addRange(description.size, Role::unread, Cover::none);
    }
    return description;
}

void keepPayloads(const Source& source, const Description& description, ContentKind kind, Contents* contents) {
    if (contents == nullptr) {
        return;
    }
    for (const Part& part : description.parts) {
        contents->list.push_back(
            {part.index, kind, part.address, source.bytes.sliced(part.payloadOffset, part.payloadSize).toByteArray()});
    }
}

void prove(const Source& source, const Evidence& evidence, Description& description, Contents* contents) {
    if (description.format == nullptr) {
        return;
    }
    const bool keepsRules =
        std::none_of(description.findings.begin(), description.findings.end(),
                     [](const Finding& finding) { return rowOf(finding.code).severity == Severity::error; });
    description.addCheck(CheckCode::rules, keepsRules);
    if (description.format->prove == nullptr) {
        description.addUnchecked(CheckCode::tag, Reason::noProtection);
        keepPayloads(source, description, description.format->plainKind, contents);
        return;
    }
    description.format->prove(source, evidence, description, contents);
}

}  // namespace inspect
