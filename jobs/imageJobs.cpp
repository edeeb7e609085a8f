// The jobs that make and print images, except the install image.

#include "jobs/commandLine.h"
#include "jobs/jobFields.h"
#include "jobs/jobTable.h"

#include <array>

namespace jobs {

namespace {

constexpr const char* image = QT_TRANSLATE_NOOP("jobs", "Image");

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
             .check = [](const QStringList& own) { return checkUpdateFirmware(pathOf(own)); },
             .tip = QT_TRANSLATE_NOOP("jobs", "ELF, Intel HEX, S-Record or raw binary, with one segment.")},
    keyRow,
    nonce12Row,
    versionRow("2"),
    outputRow({.id = "header",
               .group = output,
               .label = QT_TRANSLATE_NOOP("jobs", "Hea&der"),
               .option = "-oh",
               .filter = QT_TRANSLATE_NOOP("jobs", "Update headers (*.tbuh)"),
               .placeholder = "image.tbuh",
               .check = [](const QStringList& own) { return checkOutput(pathOf(own), {".tbuh"}); },
               .tip = QT_TRANSLATE_NOOP("jobs", "The first of the two files of an update, with the ending .tbuh.")}),
    outputRow({.id = "image",
               .group = output,
               .label = QT_TRANSLATE_NOOP("jobs", "En&crypted image"),
               .option = "-os",
               .filter = QT_TRANSLATE_NOOP("jobs", "Update images (*.tbu)"),
               .placeholder = "image.tbu",
               .check = [](const QStringList& own) { return checkOutput(pathOf(own), {".tbu"}); },
               .tip = QT_TRANSLATE_NOOP("jobs", "The second file of an update, with the ending .tbu.")}),
};

constexpr std::array signingRows = {
    FieldRow{.id = "binary",
             .group = image,
             .label = QT_TRANSLATE_NOOP("jobs", "&Binary"),
             .kind = FieldKind::inFile,
             .option = "-bin",
             .required = true,
             .role = PathRole::firmware,
             .filter = binaryFilter,
             .placeholder = "stack.bin",
             .check = [](const QStringList& own) { return checkFormat(pathOf(own), nullptr); },
             .tip = QT_TRANSLATE_NOOP("jobs", "The binary image to sign. A mark in it shows the kind of image.")},
    secretRow({.id = "key",
               .group = protection,
               .label = QT_TRANSLATE_NOOP("jobs", "Private &key"),
               .option = "-prvk",
               .filter = pemFilter,
               .placeholder = "private.pem",
               .tip = QT_TRANSLATE_NOOP("jobs",
                                        "A PEM file with a key on the elliptic curve P-256. Its public key is "
                                        "written beside it, as NAME_pub.bin.")}),
    versionRow("1"),
    outputRow({.id = "out",
               .group = output,
               .label = QT_TRANSLATE_NOOP("jobs", "Signed i&mage"),
               .option = "-o",
               .filter = binaryFilter,
               .placeholder = "stack-signed.bin",
               .check = [](const QStringList& own) { return checkOutput(pathOf(own), {".bin"}); },
               .tip = QT_TRANSLATE_NOOP("jobs", "The signed image to make, with the ending .bin.")}),
};

constexpr std::array imgtoolRows = {
    templateRow,
};

/// The suffix of the file selects the command, because -ptbi and -ppvs-tbi each accept only their own suffixes.
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

}  // namespace jobs
