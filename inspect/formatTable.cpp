#include "inspect/formats.h"

#include <QFileInfo>

#include <algorithm>
#include <array>

namespace inspect {

namespace {

// The order of the rows has no effect on detection.
constexpr std::array rows = {
    FormatRow{"installImage", "install image", "tbi tbix", matchInstallImage, describeInstallImage, proveInstallImage},
    FormatRow{"backupImage", "backup image", "", nullptr, describeBackupImage, nullptr, ContentKind::other, nullptr,
              true},
    FormatRow{"secretsWords", "secrets image of device 0x500 or 0x501", "", nullptr, describeSecretsWords, nullptr,
              ContentKind::other, nullptr, true},
    FormatRow{"secretsRecords", "secrets image of device 0x505", "", nullptr, describeSecretsRecords, nullptr,
              ContentKind::other, nullptr, true},
    FormatRow{"provisioningFile", "provisioning file", "obk", matchProvisioningFile, describeProvisioningFile,
              proveProvisioningFile, ContentKind::other, nullptr, true},
    FormatRow{"hashedProvisioningFile", "provisioning file with a digest", "", nullptr, describeProvisioningFile,
              proveHashedProvisioningFile, ContentKind::other, nullptr, true},
    FormatRow{"passwordFile", "password file", "", matchPasswordFile, describePasswordFile, nullptr, ContentKind::other,
              nullptr, true},
    FormatRow{"packagedModule", "packaged module", "xtbi", matchPackagedModule, describePackagedModule,
              provePackagedModule},
    FormatRow{"provisioningImage", "provisioning image", "pvs", matchProvisioningImage, describeProvisioningImage,
              proveProvisioningImage},
    FormatRow{"provisioningPayload", "provisioning payload", "pvs", matchProvisioningPayload,
              describeProvisioningPayload, proveProvisioningPayload},
    FormatRow{"signedImage", "signed image", "", matchSignedImage, describeSignedImage, proveSignedImage},
    FormatRow{"updateImage", "update image", "tbuh", matchUpdateImage, describeUpdateImage, proveUpdateImage,
              ContentKind::firmware, "tbu"},
    FormatRow{"updatePayload", "update image's segment", "tbu", nullptr, describeUpdatePayload, proveUpdatePayload},
    FormatRow{"memoryImage", "memory cipher image", "", nullptr, describeMemoryImage, proveMemoryImage},
    FormatRow{"personalizationData", "personalization data", "", nullptr, describePersonalizationData,
              provePersonalizationData},
    FormatRow{"wirelessBinary", "signed wireless-chip binary", "", matchWirelessBinary, describeWirelessBinary,
              proveWirelessBinary},
    FormatRow{"wirelessKeyFile", "wireless-chip key file", "", matchWirelessKeyFile, describeWirelessKeyFile,
              proveWirelessKeyFile},
    FormatRow{"moduleFile", "module file", "kmd", matchModuleFile, describeModuleFile, nullptr, ContentKind::module},
    FormatRow{"mcubootImage", "MCUboot image", "kdu", matchMcubootImage, describeMcubootImage, proveMcubootImage},
    FormatRow{"hexFile", "Intel HEX file", "hex", matchHexFile, describeRecords, proveRecords},
    FormatRow{"sRecordFile", "S-Record file", "srec s19 s28 s37 mot", matchSRecordFile, describeRecords, proveRecords},
    FormatRow{"elfFile", "ELF file", "elf axf out", matchElfFile, describeElfFile, nullptr, ContentKind::firmware},
    FormatRow{"rawFirmware", "raw firmware", "bin", nullptr, describeRawFirmware, nullptr, ContentKind::firmware},
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

/// Chooses one of the formats that fit the content, by suffix if there are several.
const FormatRow* chooseMatch(const std::vector<const FormatRow*>& matches, const QString& path,
                             Description& description) {
    description.by = FoundBy::content;
    if (matches.size() == 1) {
        return matches.front();
    }
    description.by = FoundBy::suffix;
    const FormatRow* const found = bySuffix(matches, path);
    QByteArrayList names;
    for (const FormatRow* const match : matches) {
        if (match != found) {
            names << match->name;
        }
    }
    if (found != nullptr) {
        description.addFinding(FindingCode::otherFormatFits, 0, -1, {textField("other", names.join(", "))});
    } else if (!names.isEmpty()) {
        description.addFinding(FindingCode::severalFormatsFit, 0, -1, {textField("formats", names.join(", "))});
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

const FormatRow* findInnerFormat(const Source& source, Description& description) {
    return chooseMatch(bestMatches(source.bytes), source.path, description);
}

const FormatRow* findFormat(const Source& source, Description& description) {
    const std::vector<const FormatRow*> matches = bestMatches(source.bytes);
    if (!matches.empty()) {
        return chooseMatch(matches, source.path, description);
    }
    description.by = FoundBy::suffix;
    // The content fits no format, so the suffix decides, even for a format with a magic.
    std::vector<const FormatRow*> all;
    std::transform(rows.begin(), rows.end(), std::back_inserter(all), [](const FormatRow& row) { return &row; });
    const FormatRow* const found = bySuffix(all, source.path);
    if (found != nullptr && found->match == nullptr) {
        description.addFinding(FindingCode::assumedFormat, 0, -1);
    }
    return found;
}

bool isSecondName(const QString& path) {
    const QString suffix = QFileInfo(path).suffix();
    return std::any_of(rows.begin(), rows.end(), [&suffix](const FormatRow& row) {
        return row.secondSuffix != nullptr && suffix.compare(QLatin1String(row.secondSuffix), Qt::CaseInsensitive) == 0;
    });
}

Content contentOf(const Part& part, ContentKind kind) {
    Content content;
    content.part = part.index;
    content.name = part.name;
    content.letter = part.letter;
    content.letterName = part.letterName;
    content.hasAddress = part.hasAddress;
    content.address = part.address;
    content.kind = kind;
    return content;
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
        if (part.payloadOffset < 0) {
            continue;
        }
        Content content = contentOf(part, kind);
        content.bytes = source.bytes.sliced(part.payloadOffset, part.payloadSize).toByteArray();
        contents->list.push_back(std::move(content));
    }
}

void proveRules(Description& description) {
    const bool isBroken =
        std::any_of(description.findings.begin(), description.findings.end(),
                    [](const Finding& finding) { return rowOf(finding.code).severity == Severity::error; });
    description.addCheck(CheckCode::rules, !isBroken);
    std::rotate(description.checks.begin(), description.checks.end() - 1, description.checks.end());
}

void prove(const Source& source, const Evidence& evidence, Description& description, Contents* contents) {
    if (description.format == nullptr) {
        return;
    }
    if (description.format->prove == nullptr) {
        description.addUnchecked(CheckCode::tag, Reason::noProtection);
        keepPayloads(source, description, description.format->plainKind, contents);
    } else {
        description.format->prove(source, evidence, description, contents);
    }
    proveRules(description);
}

}  // namespace inspect
