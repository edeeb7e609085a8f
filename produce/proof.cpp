// The options of `qvora-inspect verify` for the files of each job. The opener reads sources by their content, and the
// tool by their name: raw binary is therefore passed with its address.

#include "produce/proof.h"

#include "files/parseNumber.h"
#include "jobs/fieldChecks.h"
#include "produce/fillIn.h"

#include <algorithm>
#include <array>
#include <span>

namespace produce {

namespace {

constexpr std::array proofOptions = {
    ProofOption{"as", false, false, false, false},         ProofOption{"key", true, true, false, false},
    ProofOption{"nonce", true, true, false, false},        ProofOption{"public", true, true, false, false},
    ProofOption{"private", true, true, false, false},      ProofOption{"address", false, false, false, false},
    ProofOption{"mode", false, false, false, false},       ProofOption{"firmware", true, false, true, true},
    ProofOption{"option-bytes", true, false, false, true}, ProofOption{"module", true, false, true, true},
    ProofOption{"blob", true, true, true, true},           ProofOption{"backup", true, true, true, true},
    ProofOption{"app", true, false, false, false},         ProofOption{"policy", true, false, false, false},
    ProofOption{"site-secret", true, false, false, false},
};

using Derive = void (*)(const jobs::JobValues& values, QList<ProofArgument>& arguments);

/// One job and its proof.
struct ProofRow {
    const char* job;
    ProofLimit limit;
    const char* format = nullptr;            ///< the value of --as; null: the opener detects the format
    std::array<const char*, 2> needs{};      ///< options that `proof` gives
    std::span<const char* const> outputs{};  ///< ids of the fields with the files to prove; empty: all outputs
    Derive derive = nullptr;
};

void add(const char* option, const QString& value, QList<ProofArgument>& arguments) {
    if (!value.isEmpty()) {
        arguments.append({QLatin1String(option), value, false});  // paths are absolute already
    }
}

QString pathIn(const jobs::JobValues& values, const char* id) {
    return jobs::pathOf(values.value(QLatin1String(id)));
}

void addKeyAndNonce(const jobs::JobValues& values, QList<ProofArgument>& arguments) {
    add("key", pathIn(values, "key"), arguments);
    add("nonce", pathIn(values, "nonce"), arguments);
}

/// The opener's argument for a firmware file. Only raw binary has an address after the path, in hexadecimal.
QString firmwareArgument(const QString& path, const QString& address) {
    std::uint32_t number = 0;
    return !path.isEmpty() && jobs::isRawBinary(path) && parseNumber(address, 0, number)
               ? path + u'@' + QString::number(number, 16)
               : path;
}

/// All paths of a list, each with the first word after it as its address.
void addFirmwareList(const jobs::JobValues& values, const char* id, QList<ProofArgument>& arguments) {
    const QStringList list = values.value(QLatin1String(id));
    for (qsizetype i = 0; i < list.size(); i += 2) {
        add("firmware", firmwareArgument(list.at(i), list.value(i + 1).simplified().section(u' ', 0, 0)), arguments);
    }
}

void deriveInstallImage(const jobs::JobValues& values, QList<ProofArgument>& arguments) {
    addKeyAndNonce(values, arguments);
    addFirmwareList(values, "firmware", arguments);
    const QString external = pathIn(values, "external");
    if (!external.isEmpty()) {
        add("firmware", firmwareArgument(external, jobs::textOf(values, "external-address")), arguments);
        addFirmwareList(values, "more-external", arguments);
    }
    add("option-bytes", pathIn(values, "option-bytes"), arguments);
    // The modules of a list are named in the list only, and a comparison needs all modules of the image.
    if (pathIn(values, "module-list").isEmpty() && pathIn(values, "external-module-list").isEmpty()) {
        const QStringList modules = values.value(QStringLiteral("modules"));
        for (qsizetype i = 0; i < modules.size(); i += 2) {
            add("module", modules.at(i), arguments);
        }
    }
}

void deriveUpdateImage(const jobs::JobValues& values, QList<ProofArgument>& arguments) {
    addKeyAndNonce(values, arguments);
    const QString firmware = pathIn(values, "firmware");
    // An update image contains no address, so any address is right for raw binary.
    add("firmware", firmwareArgument(firmware, QStringLiteral("0")), arguments);
}

void derivePayload(const jobs::JobValues& values, QList<ProofArgument>& arguments) {
    addKeyAndNonce(values, arguments);
    add("public", pathIn(values, "public-key"), arguments);
    add("blob", pathIn(values, "secrets"), arguments);
}

void deriveProvisioningImage(const jobs::JobValues& values, QList<ProofArgument>& arguments) {
    addKeyAndNonce(values, arguments);
    add("blob", pathIn(values, "secrets"), arguments);
    const QStringList backups = values.value(QStringLiteral("backup"));
    for (qsizetype i = 0; i < backups.size(); i += 2) {
        std::uint32_t address = 0;
        if (parseNumber(backups.value(i + 1), 0, address)) {
            add("backup", backups.at(i) + u'@' + QString::number(address, 16), arguments);
        }
    }
}

void deriveSignedBinary(const jobs::JobValues& values, QList<ProofArgument>& arguments) {
    add("firmware", firmwareArgument(pathIn(values, "binary"), QStringLiteral("0")), arguments);
}

void deriveMemoryImage(const jobs::JobValues& values, QList<ProofArgument>& arguments) {
    add("key", pathIn(values, "key"), arguments);
    add("address", jobs::textOf(values, "address"), arguments);
    add("mode", jobs::textOf(values, "mode"), arguments);
    add("app", pathIn(values, "application"), arguments);
}

void deriveWirelessKeys(const jobs::JobValues& values, QList<ProofArgument>& arguments) {
    add("public", pathIn(values, "public-key"), arguments);
}

constexpr std::array updateFiles = {"header", "image"};
constexpr std::array keySources = {"c-source", "python-source", "text"};

constexpr std::array proofRows = {
    ProofRow{
        .job = "install-image", .limit = ProofLimit::proven, .format = "installImage", .derive = deriveInstallImage},
    ProofRow{.job = "update-image",
             .limit = ProofLimit::proven,
             .format = "updateImage",
             .outputs = updateFiles,
             .derive = deriveUpdateImage},
    ProofRow{.job = "sign",
             .limit = ProofLimit::withMore,
             .format = "signedImage",
             .needs = {"public"},
             .derive = deriveSignedBinary},
    ProofRow{.job = "imgtool-image", .limit = ProofLimit::withMore, .format = "mcubootImage", .needs = {"public"}},
    ProofRow{.job = "payload", .limit = ProofLimit::proven, .format = "provisioningPayload", .derive = derivePayload},
    ProofRow{.job = "provisioning-image",
             .limit = ProofLimit::proven,
             .format = "provisioningImage",
             .derive = deriveProvisioningImage},
    ProofRow{.job = "backup-image", .limit = ProofLimit::rulesOnly, .format = "backupImage"},
    ProofRow{.job = "provisioning-file", .limit = ProofLimit::proven},
    ProofRow{.job = "key-pair", .limit = ProofLimit::never},
    ProofRow{.job = "card", .limit = ProofLimit::card},
    ProofRow{.job = "personalization",
             .limit = ProofLimit::withMore,
             .format = "personalizationData",
             .needs = {"private", "public"}},
    ProofRow{
        .job = "external-memory", .limit = ProofLimit::proven, .format = "memoryImage", .derive = deriveMemoryImage},
    ProofRow{.job = "wireless-keys",
             .limit = ProofLimit::proven,
             .format = "wirelessKeyFile",
             .outputs = keySources,
             .derive = deriveWirelessKeys},
    ProofRow{.job = "wireless-sign",
             .limit = ProofLimit::withMore,
             .format = "wirelessBinary",
             .needs = {"public"},
             .derive = deriveSignedBinary},
    ProofRow{.job = "print-image", .limit = ProofLimit::never},
};

/// The row of a job. A job without a row can't be a step.
const ProofRow& rowOf(const jobs::JobRow& job) {
    static constexpr ProofRow none{.job = "", .limit = ProofLimit::never};
    const auto found = std::find_if(proofRows.begin(), proofRows.end(),
                                    [&job](const ProofRow& row) { return qstrcmp(row.job, job.id) == 0; });
    return found == proofRows.end() ? none : *found;
}

bool gives(const QList<ProofArgument>& arguments, const QString& option) {
    return std::any_of(arguments.begin(), arguments.end(),
                       [&option](const ProofArgument& argument) { return argument.option == option; });
}

}  // namespace

ProofLimit proofLimit(const jobs::JobRow& row) {
    return rowOf(row).limit;
}

QStringList missingProof(const Step& step) {
    QStringList missing;
    for (const char* const option : rowOf(*step.row).needs) {
        if (option != nullptr && !gives(step.proof, QLatin1String(option))) {
            missing.append(QLatin1String(option));
        }
    }
    return missing;
}

const ProofOption* findProofOption(const QString& name) {
    const auto found = std::find_if(proofOptions.begin(), proofOptions.end(),
                                    [&name](const ProofOption& option) { return name == QLatin1String(option.name); });
    return found == proofOptions.end() ? nullptr : &*found;
}

QStringList proofArguments(const Step& step, const FilledStep& filled) {
    const ProofRow& row = rowOf(*step.row);
    QList<ProofArgument> derived;
    if (step.derivesProof) {
        if (row.format != nullptr) {
            add("as", QLatin1String(row.format), derived);
        }
        if (row.derive != nullptr) {
            row.derive(filled.values, derived);
        }
    }
    QList<ProofArgument> all;
    for (const ProofArgument& argument : derived) {
        if (!gives(filled.proof, argument.option) && !step.withoutProof.contains(argument.option)) {
            all.append(argument);
        }
    }
    all += filled.proof;
    QStringList arguments{QStringLiteral("verify")};
    const bool compares = std::any_of(all.begin(), all.end(), [](const ProofArgument& argument) {
        return findProofOption(argument.option)->isSource;
    });
    if (compares) {
        arguments.append(QStringLiteral("--against"));
    }
    for (const ProofArgument& argument : all) {
        arguments << QLatin1String("--") + argument.option << argument.value;
    }
    if (row.outputs.empty()) {
        return arguments + jobs::outputsOf(*step.row, filled.values);
    }
    for (const char* const id : row.outputs) {
        arguments.append(pathIn(filled.values, id));
    }
    return arguments;
}

}  // namespace produce
