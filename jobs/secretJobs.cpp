// The jobs that make files for provisioning a device with secrets.

#include "files/openFile.h"
#include "jobs/commandLine.h"
#include "jobs/jobFields.h"
#include "jobs/jobTable.h"

#include <QCoreApplication>

#include <array>

namespace jobs {

namespace {

struct Texts {
    Q_DECLARE_TR_FUNCTIONS(jobs)
};

/// Needs a PEM file, or the hash of a table of root keys.
Verdict checkPublicKeyOrHash(const QStringList& own) {
    const QString path = pathOf(own);
    return path.endsWith(QLatin1String(".pem"), Qt::CaseInsensitive) ? checkFileSize(path, {178})
                                                                     : checkFileSize(path, {32});
}

Verdict checkBackup(const QString& path, const QString& beside) {
    Verdict verdict = checkFormat(path, nullptr);
    if (verdict.kind == Verdict::Kind::good && beside.isEmpty()) {
        return fault(Texts::tr("A backup image needs its base address."));
    }
    Verdict address = checkNumber({beside});
    return verdict.kind == Verdict::Kind::good && address.kind != Verdict::Kind::good ? address : verdict;
}

constexpr const char* secrets = QT_TRANSLATE_NOOP("jobs", "Secrets");
constexpr const char* backup = QT_TRANSLATE_NOOP("jobs", "Backup memory");

constexpr FieldRow provisioningOutput =
    outputRow({.id = "out",
               .group = output,
               .label = QT_TRANSLATE_NOOP("jobs", "&Output"),
               .option = "-o",
               .filter = QT_TRANSLATE_NOOP("jobs", "Provisioning files (*.pvs)"),
               .placeholder = "secrets.pvs",
               .check = [](const QStringList& own) { return checkOutput(pathOf(own), {".pvs"}); },
               .tip = QT_TRANSLATE_NOOP("jobs", "The file to make, with the ending .pvs.")});

constexpr std::array payload = {
    secretRow({.id = "secrets",
               .group = secrets,
               .label = QT_TRANSLATE_NOOP("jobs", "&Secrets"),
               .option = "-b",
               .filter = binaryFilter,
               .placeholder = "secrets.bin",
               .check = [](const QStringList& own) { return checkFileSize(pathOf(own), {152}); },
               .tip = QT_TRANSLATE_NOOP("jobs", "The binary file of secrets to encrypt, 152 bytes.")}),
    FieldRow{.id = "public-key",
             .group = secrets,
             .label = QT_TRANSLATE_NOOP("jobs", "&Public key or hash"),
             .kind = FieldKind::inFile,
             .option = "-pk",
             .required = true,
             .role = PathRole::key,
             .filter = QT_TRANSLATE_NOOP("jobs", "Keys and hashes (*.pem *.bin);;All files (*)"),
             .placeholder = "oem-public.pem",
             .check = checkPublicKeyOrHash,
             .tip = QT_TRANSLATE_NOOP("jobs",
                                      "What the payload is bound to: your public key on the curve P-256 (a PEM "
                                      "file of 178 bytes), or the hash of your table of root keys (32 bytes).")},
    keyRow,
    nonceRow(
        "nonce16.bin", [](const QStringList& own) { return checkFileSize(pathOf(own), {16}); },
        QT_TRANSLATE_NOOP("jobs",
                          "A binary file of 16 bytes, fresh for each payload: never the same twice with "
                          "one key. The page “Keys and nonces” makes one.")),
    provisioningOutput,
};

constexpr std::array provisioningImage = {
    secretRow(
        {.id = "secrets",
         .group = secrets,
         .label = QT_TRANSLATE_NOOP("jobs", "&Secrets"),
         .option = "-b",
         .filter = binaryFilter,
         .placeholder = "secrets.bin",
         .check = [](const QStringList& own) { return checkFileSize(pathOf(own)); },
         .tip = QT_TRANSLATE_NOOP("jobs", "The binary file of secrets to encrypt. The page “Secrets” makes one.")}),
    FieldRow{.id = "backup",
             .group = backup,
             .label = QT_TRANSLATE_NOOP("jobs", "&Backup images"),
             .kind = FieldKind::inFiles,
             .option = "-backup",
             .arguments = optionForEach,
             .role = PathRole::key,
             .secret = true,
             .filter = binaryFilter,
             .placeholder = "backup.bin",
             .besideLabel = QT_TRANSLATE_NOOP("jobs", "Base address"),
             .check = [](const QStringList& own) { return checkFiles(own, checkBackup); },
             .tip = QT_TRANSLATE_NOOP("jobs",
                                      "Images for the backup memory, made by the page “Backup image”, and "
                                      "the base address of that memory.")},
    keyRow,
    nonce12Row,
    FieldRow{
        .id = "version",
        .group = protection,
        .label = QT_TRANSLATE_NOOP("jobs", "I&mage version"),
        .kind = FieldKind::fixed,
        .option = "-iv",
        .placeholder = "1",
        .check = checkImageVersion,
        .tip = QT_TRANSLATE_NOOP(
            "jobs",
            "A number from 0 to 255: decimal, hexadecimal with 0x, or octal with a leading 0. Left empty it is 0.")},
    provisioningOutput,
};

constexpr std::array backupImage = {
    FieldRow{.id = "description",
             .group = backup,
             .label = QT_TRANSLATE_NOOP("jobs", "&Description"),
             .kind = FieldKind::inFile,
             .option = "-in",
             .required = true,
             .filter = QT_TRANSLATE_NOOP("jobs", "JSON documents (*.json)"),
             .placeholder = "backup.json",
             .check = [](const QStringList& own) { return checkFileSuffix(pathOf(own), ".json"); },
             .tip = QT_TRANSLATE_NOOP("jobs",
                                      "A JSON document that names the files for the backup memory, where they "
                                      "go and how each is protected.")},
    outputRow({.id = "out",
               .group = output,
               .label = QT_TRANSLATE_NOOP("jobs", "&Output"),
               .option = "-o",
               .filter = binaryFilter,
               .placeholder = "backup.bin",
               .tip = QT_TRANSLATE_NOOP("jobs", "The backup image to make. Only you can read a new file.")}),
};

constexpr std::array provisioningFile = {
    templateRow,
    FieldRow{.id = "more-templates",
             .group = QT_TRANSLATE_NOOP("jobs", "In the same run"),
             .label = QT_TRANSLATE_NOOP("jobs", "&More templates"),
             .kind = FieldKind::inFiles,
             .option = "-obk",
             .arguments = optionForEach,
             .filter = templateFilter,
             .tip = QT_TRANSLATE_NOOP("jobs", "Templates whose files are made in the same run, one after the other.")},
};

}  // namespace

std::span<const FieldRow> payloadRows() {
    return payload;
}

std::span<const FieldRow> provisioningImageRows() {
    return provisioningImage;
}

std::span<const FieldRow> backupImageRows() {
    return backupImage;
}

std::span<const FieldRow> provisioningFileRows() {
    return provisioningFile;
}

}  // namespace jobs
