// The jobs that make and print images, except the install image.

#include "jobs/commandLine.h"
#include "jobs/jobFields.h"
#include "jobs/jobTable.h"

#include <array>

namespace {

constexpr const char* image = QT_TRANSLATE_NOOP("jobs", "Image");
constexpr const char* output = QT_TRANSLATE_NOOP("jobs", "Output");
constexpr const char* templateGroup = QT_TRANSLATE_NOOP("jobs", "Template");

constexpr std::array updateRows = {
    FieldRow{.id = "firmware",
             .group = image,
             .label = QT_TRANSLATE_NOOP("jobs", "Firm&ware"),
             .kind = FieldKind::inFile,
             .option = "-fir",
             .required = true,
             .role = PathRole::firmware,
             .filter = firmwareFilter,
             .placeholder = "blink.hex",
             .check = [](const QStringList& own, const JobValues& /*all*/) { return checkUpdateFirmware(pathOf(own)); },
             .tip = QT_TRANSLATE_NOOP("jobs", "ELF, Intel HEX, S-Record or raw binary, with one segment.")},
    keyRow,
    FieldRow{.id = "nonce",
             .group = protection,
             .label = QT_TRANSLATE_NOOP("jobs", "&Nonce"),
             .kind = FieldKind::inFile,
             .option = "-n",
             .required = true,
             .role = PathRole::key,
             .filter = binaryFilter,
             .placeholder = "nonce.bin",
             .check = [](const QStringList& own, const JobValues& /*all*/) { return checkFileSize(pathOf(own), {12}); },
             .tip = QT_TRANSLATE_NOOP("jobs",
                                      "A binary file of 12 bytes, fresh for each image: never the same twice with one "
                                      "key. The page “Keys and nonces” makes one.")},
    FieldRow{.id = "version",
             .group = protection,
             .label = QT_TRANSLATE_NOOP("jobs", "Image ver&sion"),
             .kind = FieldKind::fixed,
             .option = "-v",
             .required = true,
             .placeholder = "2",
             .check = checkImageVersion,
             .tip = QT_TRANSLATE_NOOP(
                 "jobs", "A number from 0 to 255: decimal, hexadecimal with 0x, or octal with a leading 0.")},
    FieldRow{
        .id = "header",
        .group = output,
        .label = QT_TRANSLATE_NOOP("jobs", "Hea&der"),
        .kind = FieldKind::outFile,
        .option = "-oh",
        .required = true,
        .role = PathRole::output,
        .filter = QT_TRANSLATE_NOOP("jobs", "Update headers (*.tbuh)"),
        .placeholder = "image.tbuh",
        .check = [](const QStringList& own, const JobValues& /*all*/) { return checkOutput(pathOf(own), {".tbuh"}); },
        .tip = QT_TRANSLATE_NOOP("jobs", "The first of the two files of an update, with the ending .tbuh.")},
    FieldRow{
        .id = "image",
        .group = output,
        .label = QT_TRANSLATE_NOOP("jobs", "En&crypted image"),
        .kind = FieldKind::outFile,
        .option = "-os",
        .required = true,
        .role = PathRole::output,
        .filter = QT_TRANSLATE_NOOP("jobs", "Update images (*.tbu)"),
        .placeholder = "image.tbu",
        .check = [](const QStringList& own, const JobValues& /*all*/) { return checkOutput(pathOf(own), {".tbu"}); },
        .tip = QT_TRANSLATE_NOOP("jobs", "The second file of an update, with the ending .tbu.")},
};

constexpr std::array signingRows = {
    FieldRow{
        .id = "binary",
        .group = image,
        .label = QT_TRANSLATE_NOOP("jobs", "&Binary"),
        .kind = FieldKind::inFile,
        .option = "-bin",
        .required = true,
        .role = PathRole::firmware,
        .filter = binaryFilter,
        .placeholder = "stack.bin",
        .check = [](const QStringList& own, const JobValues& /*all*/) { return checkFormat(pathOf(own), nullptr); },
        .tip = QT_TRANSLATE_NOOP("jobs", "The binary image to sign. A mark in it shows the kind of image.")},
    FieldRow{.id = "key",
             .group = protection,
             .label = QT_TRANSLATE_NOOP("jobs", "Private &key"),
             .kind = FieldKind::inFile,
             .option = "-prvk",
             .required = true,
             .role = PathRole::key,
             .secret = true,
             .filter = pemFilter,
             .placeholder = "private.pem",
             .tip = QT_TRANSLATE_NOOP("jobs",
                                      "A PEM file with a key on the elliptic curve P-256. Its public key is "
                                      "written beside it, as NAME_pub.bin.")},
    FieldRow{.id = "version",
             .group = protection,
             .label = QT_TRANSLATE_NOOP("jobs", "Image ver&sion"),
             .kind = FieldKind::fixed,
             .option = "-v",
             .required = true,
             .placeholder = "1",
             .check = checkImageVersion,
             .tip = QT_TRANSLATE_NOOP(
                 "jobs", "A number from 0 to 255: decimal, hexadecimal with 0x, or octal with a leading 0.")},
    FieldRow{
        .id = "out",
        .group = output,
        .label = QT_TRANSLATE_NOOP("jobs", "Signed i&mage"),
        .kind = FieldKind::outFile,
        .option = "-o",
        .required = true,
        .role = PathRole::output,
        .filter = binaryFilter,
        .placeholder = "stack-signed.bin",
        .check = [](const QStringList& own, const JobValues& /*all*/) { return checkOutput(pathOf(own), {".bin"}); },
        .tip = QT_TRANSLATE_NOOP("jobs", "The signed image to make, with the ending .bin.")},
};

constexpr std::array imgtoolRows = {
    FieldRow{.id = "template",
             .group = templateGroup,
             .label = QT_TRANSLATE_NOOP("jobs", "Tem&plate"),
             .kind = FieldKind::inFile,
             .arguments = valueAlone,
             .required = true},
};

/// Each of the two commands accepts only files with its own suffixes.
void listingArguments(const FieldRow& row, const JobValues& values, QStringList& arguments) {
    const QString path = values.value(QLatin1String(row.id)).value(0);
    if (!path.trimmed().isEmpty()) {
        const bool provisioning = path.endsWith(QLatin1String(".pvs"), Qt::CaseInsensitive);
        arguments << (provisioning ? QStringLiteral("-ppvs-tbi") : QStringLiteral("-ptbi")) << pathArgument(path);
    }
}

constexpr std::array listingRows = {
    FieldRow{.id = "image",
             .group = image,
             .label = QT_TRANSLATE_NOOP("jobs", "I&mage"),
             .kind = FieldKind::inFile,
             .option = "-ptbi",
             .arguments = listingArguments,
             .required = true},
};

}  // namespace

std::span<const FieldRow> updateImageRows() {
    return updateRows;
}

std::span<const FieldRow> signRows() {
    return signingRows;
}

std::span<const FieldRow> imgtoolImageRows() {
    return imgtoolRows;
}

std::span<const FieldRow> printImageRows() {
    return listingRows;
}
