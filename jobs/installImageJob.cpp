#include "files/openFile.h"
#include "files/parseNumber.h"
#include "formats/installDevices.h"
#include "formats/moduleLayout.h"
#include "formats/readers.h"
#include "formats/secureImageLayout.h"
#include "jobs/commandLine.h"
#include "jobs/fieldChecks.h"
#include "jobs/jobFields.h"
#include "jobs/jobTable.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <array>

namespace jobs {

namespace {

constexpr auto devices = [] {
    std::array<ChoiceRow, 1 + installDevices.size()> rows{ChoiceRow{"", QT_TRANSLATE_NOOP("jobs", "Choose a device")}};
    std::transform(installDevices.begin(), installDevices.end(), rows.begin() + 1, [](const InstallDevice& device) {
        return ChoiceRow{device.name, device.name};
    });
    return rows;
}();

constexpr std::array regionModes = {
    ChoiceRow{"0", QT_TRANSLATE_NOOP("jobs", "0 – instructions")},
    ChoiceRow{"1", QT_TRANSLATE_NOOP("jobs", "1 – data")},
    ChoiceRow{"2", QT_TRANSLATE_NOOP("jobs", "2 – instructions and data")},
    ChoiceRow{"3", QT_TRANSLATE_NOOP("jobs", "3 – instructions, enhanced cipher")},
};

struct Texts {
    Q_DECLARE_TR_FUNCTIONS(jobs)
};

bool hasExternal(const JobValues& all) {
    return !textOf(all, "external").isEmpty();
}

bool hasExternalBinary(const JobValues& all) {
    return hasExternal(all) && isRawBinary(textOf(all, "external"));
}

/// The verdict on an empty field that is needed unless there is firmware for external memory.
Verdict neededWithoutExternal(const JobValues& all) {
    return hasExternal(all) ? Verdict() : missing({});
}

Verdict checkFirmwareList(const QStringList& own) {
    return checkFiles(own,
                      [](const QString& path, const QString& beside) { return checkFirmware(path, true, beside); });
}

/// The load address is needed only for a module that contains none.
Verdict checkModule(const QString& path, const QString& beside) {
    constexpr qint64 headSize = preparedModule::loadAddressOffset + qint64{sizeof(std::uint32_t)};
    Verdict verdict = checkFormat(path, readKmdFile);
    QFile file(path);
    if (verdict.kind != Verdict::Kind::good || !QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly)) {
        return verdict;
    }
    const QByteArray head = file.read(headSize);
    if (!head.startsWith(preparedModule::magic)) {
        return fault(Texts::tr("The file isn't a module: it doesn't begin with the mark of a module."));
    }
    const QByteArrayView address = QByteArrayView(head).sliced(preparedModule::loadAddressOffset);
    if (std::any_of(address.begin(), address.end(), [](char byte) { return byte != '\0'; })) {
        return verdict;
    }
    Verdict number = beside.isEmpty() ? fault(Texts::tr("This module contains no load address, so enter one."))
                                      : checkNumber({beside});
    return number.kind == Verdict::Kind::good ? verdict : number;
}

Verdict checkPackagedModule(const QString& path) {
    return isRawBinary(path) ? checkFormat(path, nullptr) : checkFormat(path, readXtbiFile);
}

/// Checks the numbers after one more file for external memory. Raw binary has start address, mode, region and key
/// address; other formats have region, mode and key address.
Verdict checkMoreExternal(const QString& path, const QString& beside) {
    Verdict verdict = checkFirmware(path);
    if (verdict.kind != Verdict::Kind::good) {
        return verdict;
    }
    const QStringList numbers = beside.split(u' ', Qt::SkipEmptyParts);
    const bool binary = isRawBinary(path);
    if (numbers.size() < (binary ? 4 : 3)) {
        return fault(binary ? Texts::tr("Raw binary needs start address, mode, region and key address.")
                            : Texts::tr("This file needs region, mode and key address."));
    }
    const QList<std::uint32_t> most =
        binary ? QList<std::uint32_t>{UINT32_MAX, regionDescriptor::maxMode, regionDescriptor::maxNumber, UINT32_MAX}
               : QList<std::uint32_t>{regionDescriptor::maxNumber, regionDescriptor::maxMode, UINT32_MAX};
    for (qsizetype i = 0; i < most.size(); ++i) {
        Verdict one = checkNumber({numbers.at(i)}, most.at(i));
        if (one.kind != Verdict::Kind::good) {
            return one;
        }
    }
    return verdict;
}

Verdict checkNoRamSize(const JobValues& all) {
    return textOf(all, "token").isEmpty() ? Verdict() : missing(Texts::tr("A continuation token needs the RAM size."));
}

Verdict checkNoToken(const JobValues& all) {
    const QString device = textOf(all, "device");
    const bool partial =
        std::any_of(installDevices.begin(), installDevices.end(), [&device](const InstallDevice& known) {
            return known.takesPartialImages && device == QLatin1String(known.name);
        });
    return partial && !textOf(all, "ram-size").isEmpty()
               ? missing(Texts::tr("This device needs a continuation token with a RAM size."))
               : Verdict();
}

/// Puts the mode before the region for raw binary, and after the region for other files.
void externalArguments(const FieldRow& row, const JobValues& values, QStringList& arguments) {
    const QStringList own = values.value(QLatin1String(row.id));
    if (textOf(own).isEmpty()) {
        return;
    }
    const QString region = textOf(values, "external-region");
    const QString mode = textOf(values, "external-mode");
    arguments << QLatin1String(row.option) << pathArgument(own.constFirst());
    if (isRawBinary(own.constFirst())) {
        arguments << textOf(values, "external-address") << mode << region;
    } else {
        arguments << region << mode;
    }
    arguments << textOf(values, "external-key-address");
    arguments.removeAll(QString());
}

constexpr const char* target = QT_TRANSLATE_NOOP("jobs", "Target");
constexpr const char* firmware = QT_TRANSLATE_NOOP("jobs", "Firmware");
constexpr const char* contents = QT_TRANSLATE_NOOP("jobs", "More contents");
constexpr const char* external = QT_TRANSLATE_NOOP("jobs", "External memory");
constexpr const char* parts = QT_TRANSLATE_NOOP("jobs", "Image in parts");

constexpr std::array rows = {
    FieldRow{.id = "device",
             .group = target,
             .label = QT_TRANSLATE_NOOP("jobs", "&Device"),
             .kind = FieldKind::choice,
             .option = "-devid",
             .required = true,
             .choices = devices,
             .tip = QT_TRANSLATE_NOOP("jobs", "The device ID of the chip that the image is for.")},
    FieldRow{.id = "option-bytes",
             .group = target,
             .label = QT_TRANSLATE_NOOP("jobs", "O&ption bytes"),
             .kind = FieldKind::inFile,
             .option = "-ob",
             .filter = tableFilter,
             .placeholder = "option-bytes.csv",
             .check = [](const QStringList& own) { return checkTable(pathOf(own), CsvKind::optionBytes); },
             .tip = QT_TRANSLATE_NOOP("jobs",
                                      "A CSV file with the option bytes that the device gets. The page "
                                      "“Option bytes” edits it.")},
    FieldRow{.id = "diversification",
             .group = target,
             .label = QT_TRANSLATE_NOOP("jobs", "Diversifi&cation"),
             .kind = FieldKind::inFile,
             .option = "-diver",
             .filter = tableFilter,
             .placeholder = "diversification.csv",
             .check = [](const QStringList& own) { return checkTable(pathOf(own), CsvKind::diversification); },
             .shownIf = [](const JobValues& all) { return textOf(all, "device") == QLatin1String("0x484"); },
             .tip = QT_TRANSLATE_NOOP("jobs", "A CSV file with the diversification table of the device 0x484.")},
    FieldRow{.id = "firmware",
             .group = firmware,
             .label = QT_TRANSLATE_NOOP("jobs", "Firm&ware"),
             .kind = FieldKind::inFiles,
             .option = "-fir",
             .arguments = optionForEach,
             .role = PathRole::firmware,
             .filter = firmwareFilter,
             .placeholder = "blink.elf",
             .besideLabel = QT_TRANSLATE_NOOP("jobs", "Load address"),
             .check = checkFirmwareList,
             .checkEmpty = neededWithoutExternal,
             .tip = QT_TRANSLATE_NOOP("jobs",
                                      "ELF, Intel HEX, S-Record or raw binary. Raw binary needs the address "
                                      "that it is loaded to. Several files become one.")},
    keyRow,
    nonceRow(
        "nonce.bin", [](const QStringList& own) { return checkFileSize(pathOf(own)); },
        QT_TRANSLATE_NOOP("jobs",
                          "A binary file of any length, usually 12 bytes, fresh for each image: "
                          "never the same twice with one key. The page “Keys and nonces” makes one.")),
    FieldRow{.id = "version",
             .group = protection,
             .label = QT_TRANSLATE_NOOP("jobs", "Image ver&sion"),
             .kind = FieldKind::fixed,
             .option = "-v",
             .placeholder = "1",
             .check = checkImageVersion,
             .checkEmpty = neededWithoutExternal,
             .tip = QT_TRANSLATE_NOOP(
                 "jobs", "A number from 0 to 255: decimal, hexadecimal with 0x, or octal with a leading 0.")},
    outputRow({.id = "out",
               .group = output,
               .label = QT_TRANSLATE_NOOP("jobs", "&Output image"),
               .option = "-o",
               .filter = QT_TRANSLATE_NOOP("jobs", "Install images (*.tbi *.tbix)"),
               .placeholder = "image.tbi",
               .check =
                   [](const QStringList& own) {
                       return checkOutput(pathOf(own), {".tbi", ".tbix"});
                   },
               .tip = QT_TRANSLATE_NOOP("jobs", "The image to make, with the ending .tbi or .tbix.")}),
    FieldRow{.id = "ob-keys",
             .group = contents,
             .label = QT_TRANSLATE_NOOP("jobs", "Provisioning files (O&BK)"),
             .kind = FieldKind::inFiles,
             .option = "-obkeys",
             .arguments = optionForAll,
             .filter = QT_TRANSLATE_NOOP("jobs", "Provisioning files (*.obk);;All files (*)"),
             .placeholder = "provisioning.obk",
             .check =
                 [](const QStringList& own) {
                     return checkFiles(own, [](const QString& path, const QString& /*beside*/) {
                         return checkFormat(path, readObkFile);
                     });
                 },
             .tip = QT_TRANSLATE_NOOP("jobs", "Provisioning files (.obk) that go into the image with the firmware.")},
    FieldRow{.id = "modules",
             .group = contents,
             .label = QT_TRANSLATE_NOOP("jobs", "&Modules"),
             .kind = FieldKind::inFiles,
             .option = "-m",
             .arguments = optionForEach,
             .role = PathRole::firmware,
             .filter = QT_TRANSLATE_NOOP("jobs", "Modules (*.kmd);;All files (*)"),
             .placeholder = "module.kmd",
             .besideLabel = QT_TRANSLATE_NOOP("jobs", "Load address"),
             .check = [](const QStringList& own) { return checkFiles(own, checkModule); },
             .tip = QT_TRANSLATE_NOOP("jobs",
                                      "Module files (.kmd). A module that contains no load address needs "
                                      "it here.")},
    FieldRow{.id = "packaged-module",
             .group = contents,
             .label = QT_TRANSLATE_NOOP("jobs", "&XTBI module"),
             .kind = FieldKind::inFile,
             .option = "-xtbi",
             .role = PathRole::firmware,
             .filter = QT_TRANSLATE_NOOP("jobs", "Packaged modules (*.xtbi *.bin);;All files (*)"),
             .placeholder = "module.xtbi",
             .check = [](const QStringList& own) { return checkPackagedModule(pathOf(own)); },
             .tip = QT_TRANSLATE_NOOP("jobs", "A packaged module (.xtbi or .bin), for devices that accept one.")},
    FieldRow{.id = "module-list",
             .group = contents,
             .label = QT_TRANSLATE_NOOP("jobs", "Module list"),
             .kind = FieldKind::inFile,
             .option = "-mcsv",
             .filter = QT_TRANSLATE_NOOP("jobs", "Module lists (*.mcsv);;All files (*)"),
             .placeholder = "modules.mcsv",
             .check = [](const QStringList& own) { return checkTable(pathOf(own), CsvKind::moduleList); },
             .tip = QT_TRANSLATE_NOOP(
                 "jobs",
                 "A list (.mcsv) of modules with their licences and addresses. It names a file beside it as ./NAME.")},
    FieldRow{.id = "external-module-list",
             .group = contents,
             .label = QT_TRANSLATE_NOOP("jobs", "External module list"),
             .kind = FieldKind::inFile,
             .option = "-ecsv",
             .filter = QT_TRANSLATE_NOOP("jobs", "External module lists (*.ecsv);;All files (*)"),
             .placeholder = "modules.ecsv",
             .check = [](const QStringList& own) { return checkTable(pathOf(own), CsvKind::externalModuleList); },
             .tip = QT_TRANSLATE_NOOP(
                 "jobs", "A list (.ecsv) of modules for external memory. It names a file beside it as ./NAME.")},
    FieldRow{.id = "external",
             .group = external,
             .label = QT_TRANSLATE_NOOP("jobs", "Extern&al firmware"),
             .kind = FieldKind::inFile,
             .option = "-firx",
             .arguments = externalArguments,
             .role = PathRole::firmware,
             .filter = firmwareFilter,
             .placeholder = "assets.bin",
             .check = [](const QStringList& own) { return checkFirmware(pathOf(own)); },
             .tip = QT_TRANSLATE_NOOP("jobs", "Firmware that runs from external memory and is encrypted for it.")},
    FieldRow{.id = "external-address",
             .group = external,
             .label = QT_TRANSLATE_NOOP("jobs", "Start address"),
             .kind = FieldKind::fixed,
             .arguments = noArguments,
             .required = true,
             .placeholder = "0xB0000000",
             .check = checkNumber,
             .shownIf = hasExternalBinary,
             .tip = QT_TRANSLATE_NOOP("jobs", "Where the raw binary is in external memory.")},
    FieldRow{.id = "external-region",
             .group = external,
             .label = QT_TRANSLATE_NOOP("jobs", "Region"),
             .kind = FieldKind::fixed,
             .arguments = noArguments,
             .required = true,
             .placeholder = "0",
             .check = [](const QStringList& own) { return checkNumber(own, regionDescriptor::maxNumber); },
             .shownIf = hasExternal,
             .tip = QT_TRANSLATE_NOOP("jobs",
                                      "The region of the memory cipher: 0 to 3 are those of the first unit, 4 "
                                      "to 7 those of the second.")},
    FieldRow{.id = "external-mode",
             .group = external,
             .label = QT_TRANSLATE_NOOP("jobs", "Mode"),
             .kind = FieldKind::choice,
             .arguments = noArguments,
             .choices = regionModes,
             .shownIf = hasExternal,
             .tip = QT_TRANSLATE_NOOP(
                 "jobs",
                 "What the device decrypts in this region. The first three use AES-CTR, the last one a cipher "
                 "of its own.")},
    FieldRow{.id = "external-key-address",
             .group = external,
             .label = QT_TRANSLATE_NOOP("jobs", "Key address"),
             .kind = FieldKind::fixed,
             .arguments = noArguments,
             .required = true,
             .placeholder = "0x04010000",
             .check = checkNumber,
             .shownIf = hasExternal,
             .tip = QT_TRANSLATE_NOOP("jobs", "Where the device keeps its random key in internal flash.")},
    FieldRow{.id = "more-external",
             .group = external,
             .label = QT_TRANSLATE_NOOP("jobs", "More external firmware"),
             .kind = FieldKind::inFiles,
             .option = "-firx",
             .arguments = optionForEach,
             .role = PathRole::firmware,
             .filter = firmwareFilter,
             .placeholder = "assets.bin",
             .besideLabel = QT_TRANSLATE_NOOP("jobs", "Numbers"),
             .check = [](const QStringList& own) { return checkFiles(own, checkMoreExternal); },
             .shownIf = hasExternal,
             .tip = QT_TRANSLATE_NOOP("jobs",
                                      "After raw binary: start address, mode, region, key address. After "
                                      "other files: region, mode, key address. Separate them by blanks.")},
    FieldRow{.id = "key-area",
             .group = external,
             .label = QT_TRANSLATE_NOOP("jobs", "Key area"),
             .kind = FieldKind::inFile,
             .option = "-kx",
             .filter = QT_TRANSLATE_NOOP("jobs", "Key areas (*.csv *.kcsv);;All files (*)"),
             .placeholder = "key-area.csv",
             .check = [](const QStringList& own) { return checkTable(pathOf(own), CsvKind::keyArea); },
             .tip = QT_TRANSLATE_NOOP("jobs",
                                      "A CSV file with pairs of size and start address: where keys for "
                                      "external memory go.")},
    FieldRow{.id = "ram-size",
             .group = parts,
             .label = QT_TRANSLATE_NOOP("jobs", "RAM si&ze"),
             .kind = FieldKind::fixed,
             .option = "-rs",
             .placeholder = "0x10000",
             .check = checkNumber,
             .checkEmpty = checkNoRamSize,
             .tip = QT_TRANSLATE_NOOP("jobs",
                                      "Bytes of RAM for one part, on devices that accept an image in parts "
                                      "(0x450, 0x480, 0x483).")},
    FieldRow{.id = "token",
             .group = parts,
             .label = QT_TRANSLATE_NOOP("jobs", "Continuation token"),
             .kind = FieldKind::fixed,
             .option = "-ct",
             .placeholder = "0x0400F000",
             .check = checkNumber,
             .checkEmpty = checkNoToken,
             .tip = QT_TRANSLATE_NOOP("jobs", "The address where the device notes how far it has come.")},
};

}  // namespace

std::span<const FieldRow> installImageRows() {
    return rows;
}

}  // namespace jobs
