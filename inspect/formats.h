#pragma once

#include "inspect/Description.h"
#include "inspect/Evidence.h"

#include <QStringList>

#include <span>

namespace inspect {

/// The bytes to describe. The caller owns them and keeps them alive while they are used.
struct Source {
    QString path;
    QByteArrayView bytes;
    QString secondPath;  ///< the second file of a pair; empty if there is none
    QByteArrayView second;
};

/// How well a content fits a format. `magic`: only the start fits, so the file is a broken file of this format.
/// `whole`: every byte fits.
enum class Match { no, magic, whole };

/// One format that the opener knows.
struct FormatRow {
    const char* name;      ///< stable: `--as` and JSON
    const char* title;     ///< the name in text output and help
    const char* suffixes;  ///< without dots, separated by blanks
    Match (*match)(QByteArrayView bytes);
    void (*describe)(const Source& source, Description& description);
    void (*prove)(const Source& source, const Evidence& evidence, Description& description, Contents* contents);
    ContentKind plainKind = ContentKind::other;  ///< the kind of its parts' payloads if `prove` is null
    const char* secondSuffix = nullptr;          ///< suffix of the second file, if two files make one image
    bool isSecret = false;                       ///< its bytes are plain secrets
};

[[nodiscard]] std::span<const FormatRow> formatTable();
[[nodiscard]] const FormatRow* formatByName(const QString& name);

/// The row that fits `source` best, or null. The content decides; if it fits several formats or none, the suffix does.
/// Findings about the choice are added to `description`.
[[nodiscard]] const FormatRow* findFormat(const Source& source, Description& description);

/// Does the same for a file inside a file, except that the suffix decides only if the content fits several formats.
[[nodiscard]] const FormatRow* findInnerFormat(const Source& source, Description& description);

/// Whether a path has the suffix of the second file of a pair.
[[nodiscard]] bool isSecondName(const QString& path);

/// Describes `source` in the format `as` or, if that is null, in the format that fits it.
[[nodiscard]] Description describe(const Source& source, const FormatRow* as = nullptr);

/// Adds the unchanged payloads of all parts to `contents`, which may be null. For formats without encryption.
void keepPayloads(const Source& source, const Description& description, ContentKind kind, Contents* contents);

/// A content for `part`, without its bytes, which the caller adds.
[[nodiscard]] Content contentOf(const Part& part, ContentKind kind);

/// Inserts the check of the format's rules before the other checks. It is good if no finding is an error.
void proveRules(Description& description);

/// Adds the checks to the description that `describe` made. Adds the plain contents to `contents` unless it is null.
void prove(const Source& source, const Evidence& evidence, Description& description, Contents* contents = nullptr);

[[nodiscard]] Match matchInstallImage(QByteArrayView bytes);
void describeInstallImage(const Source& source, Description& description);
void proveInstallImage(const Source& source, const Evidence& evidence, Description& description, Contents* contents);

void describeBackupImage(const Source& source, Description& description);

// `describeSecretsWords` is for devices 0x500 and 0x501, `describeSecretsRecords` for device 0x505.
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
