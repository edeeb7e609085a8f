#pragma once

#include "inspect/Description.h"
#include "inspect/Evidence.h"

#include <QStringList>

#include <span>

namespace inspect {

/// The bytes to look at. The owner keeps them as long as anything looks.
struct Source {
    QString path;
    QByteArrayView bytes;
    QString secondPath;  ///< the other file of a pair; empty if there is none
    QByteArrayView second;
};

/// How well a content fits a format: `magic` for a right start with faults behind it, which is a broken file of the
/// format and no unknown one; `whole` if every byte has its place.
enum class Match { no, magic, whole };

/// One format that the opener knows.
struct FormatRow {
    const char* name;      ///< stable: `--as` and JSON
    const char* title;     ///< in text
    const char* suffixes;  ///< without dots, with blanks between
    Match (*match)(QByteArrayView bytes);
    void (*describe)(const Source& source, Description& description);
    void (*prove)(const Source& source, const Evidence& evidence, Description& description, Contents* contents);
    ContentKind plainKind = ContentKind::other;  ///< without `prove`: what the payloads of its parts are
    const char* secondSuffix = nullptr;          ///< of the other file, where a pair of files makes one image
    bool isSecret = false;                       ///< its bytes are plain secrets
};

[[nodiscard]] std::span<const FormatRow> formatTable();
[[nodiscard]] const FormatRow* formatByName(const QString& name);

/// The row that fits `source` best, or null: by content, and where that leaves a choice or nothing, by suffix. Findings
/// about the choice are added to `description`.
[[nodiscard]] const FormatRow* findFormat(const Source& source, Description& description);

/// The same for a file in a file: by content, and by suffix only where several contents fit.
[[nodiscard]] const FormatRow* findInnerFormat(const Source& source, Description& description);

/// Whether a path has the suffix of the second file of a pair.
[[nodiscard]] bool isSecondName(const QString& path);

/// Finds the format of `source`, or takes `as` if it isn't null, and describes it.
[[nodiscard]] Description describe(const Source& source, const FormatRow* as = nullptr);

/// Gives the payloads of all parts as they stand in the file, for formats that encrypt nothing.
void keepPayloads(const Source& source, const Description& description, ContentKind kind, Contents* contents);

/// A content of `part`, still without its bytes.
[[nodiscard]] Content contentOf(const Part& part, ContentKind kind);

/// Puts the check of the format's rules before the others: whether no finding is an error.
void proveRules(Description& description);

/// Adds the checks to what `describe` gave, and the plain contents if they are wanted.
void prove(const Source& source, const Evidence& evidence, Description& description, Contents* contents = nullptr);

[[nodiscard]] Match matchInstallImage(QByteArrayView bytes);
void describeInstallImage(const Source& source, Description& description);
void proveInstallImage(const Source& source, const Evidence& evidence, Description& description, Contents* contents);

void describeBackupImage(const Source& source, Description& description);

// Of devices 0x500 and 0x501, and of device 0x505.
void describeSecretsWords(const Source& source, Description& description);
void describeSecretsRecords(const Source& source, Description& description);

[[nodiscard]] Match matchProvisioningFile(QByteArrayView bytes);
void describeProvisioningFile(const Source& source, Description& description);
void proveProvisioningFile(const Source& source, const Evidence& evidence, Description& description,
                           Contents* contents);
void proveHashedProvisioningFile(const Source& source, const Evidence& evidence, Description& description,
                                 Contents* contents);

[[nodiscard]] Match matchPasswordFile(QByteArrayView bytes);
void describePasswordFile(const Source& source, Description& description);

[[nodiscard]] Match matchPackagedModule(QByteArrayView bytes);
void describePackagedModule(const Source& source, Description& description);
void provePackagedModule(const Source& source, const Evidence& evidence, Description& description, Contents* contents);

[[nodiscard]] Match matchProvisioningImage(QByteArrayView bytes);
void describeProvisioningImage(const Source& source, Description& description);
void proveProvisioningImage(const Source& source, const Evidence& evidence, Description& description,
                            Contents* contents);

[[nodiscard]] Match matchProvisioningPayload(QByteArrayView bytes);
void describeProvisioningPayload(const Source& source, Description& description);
void proveProvisioningPayload(const Source& source, const Evidence& evidence, Description& description,
                              Contents* contents);

[[nodiscard]] Match matchSignedImage(QByteArrayView bytes);
void describeSignedImage(const Source& source, Description& description);
void proveSignedImage(const Source& source, const Evidence& evidence, Description& description, Contents* contents);

[[nodiscard]] Match matchUpdateImage(QByteArrayView bytes);
void describeUpdateImage(const Source& source, Description& description);
void proveUpdateImage(const Source& source, const Evidence& evidence, Description& description, Contents* contents);

void describeUpdatePayload(const Source& source, Description& description);
void proveUpdatePayload(const Source& source, const Evidence& evidence, Description& description, Contents* contents);

void describeMemoryImage(const Source& source, Description& description);
void proveMemoryImage(const Source& source, const Evidence& evidence, Description& description, Contents* contents);

void describePersonalizationData(const Source& source, Description& description);
void provePersonalizationData(const Source& source, const Evidence& evidence, Description& description,
                              Contents* contents);

[[nodiscard]] Match matchWirelessBinary(QByteArrayView bytes);
void describeWirelessBinary(const Source& source, Description& description);
void proveWirelessBinary(const Source& source, const Evidence& evidence, Description& description, Contents* contents);

[[nodiscard]] Match matchWirelessKeyFile(QByteArrayView bytes);
void describeWirelessKeyFile(const Source& source, Description& description);
void proveWirelessKeyFile(const Source& source, const Evidence& evidence, Description& description, Contents* contents);

[[nodiscard]] Match matchModuleFile(QByteArrayView bytes);
void describeModuleFile(const Source& source, Description& description);

[[nodiscard]] Match matchMcubootImage(QByteArrayView bytes);
void describeMcubootImage(const Source& source, Description& description);
void proveMcubootImage(const Source& source, const Evidence& evidence, Description& description, Contents* contents);

void describeRawFirmware(const Source& source, Description& description);

[[nodiscard]] Match matchHexFile(QByteArrayView bytes);
[[nodiscard]] Match matchSRecordFile(QByteArrayView bytes);
void describeRecords(const Source& source, Description& description);
void proveRecords(const Source& source, const Evidence& evidence, Description& description, Contents* contents);

[[nodiscard]] Match matchElfFile(QByteArrayView bytes);
void describeElfFile(const Source& source, Description& description);

}  // namespace inspect
