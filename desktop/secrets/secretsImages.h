#pragma once

#include "jobs/Verdict.h"

#include "devices/otpMap.h"
#include "images/secretsGenerator.h"

#include <QByteArrayList>

namespace desktop {

// The connection between the secrets editor and the library that makes and reads images.

/// The form of an item's data.
enum class SecretKind {
    words,    ///< hexadecimal text: 0x and eight digits for each word, in the order of the words
    numbers,  ///< a file of numbers, stored low byte first
    bytes,    ///< a file that is stored unchanged
};

[[nodiscard]] SecretKind secretKind(const SecretItem& item);

/// The file that the path of an item refers to. A path with a leading "." is relative to the library's own folder. Any
/// other relative path is relative to `folder`. An empty path stays empty.
[[nodiscard]] QString secretFile(const QString& path, const QString& folder);

/// The size of an item's data in the image.
struct SecretSize {
    bool isKnown = false;  ///< if false, `bytes` is the size that the document expects
    qint64 bytes = 0;      ///< the nonce included
    qint64 nonceBytes = 0;
    jobs::Verdict data;  ///< the verdict on the file or the words
    jobs::Verdict nonce;

    [[nodiscard]] std::uint32_t words() const;
};

[[nodiscard]] SecretSize secretSize(const SecretItem& item, const QString& folder);

/// Whether an item can be stored. The verdict is good, or it gives the reason: a fault or missing data. The image
/// leaves out an optional item without a file.
[[nodiscard]] jobs::Verdict openVerdict(const SecretItem& item, const SecretSize& size);

/// The words that the items fill. An item of unknown size fills the words that `fuses` describes from its index on.
[[nodiscard]] QList<devices::OtpItem> otpItems(const devices::DeviceFuses& fuses, const QList<SecretItem>& items,
                                               const QList<SecretSize>& sizes);

/// The first bytes of an item's data in the order of its source, at most `most`, for display. The caller wipes them.
[[nodiscard]] QByteArray secretPreview(const SecretItem& item, const QString& folder, qsizetype most);

/// Whether the library makes images for the device.
[[nodiscard]] bool makesSecretsFor(std::uint32_t deviceId);

/// The first thing that the user must fill in or correct before an image can be made.
struct SecretsOpenPoint {
    qsizetype item = -1;  ///< the item that it refers to; -1 for none
    QString text;         ///< empty if nothing is open
};

[[nodiscard]] SecretsOpenPoint secretsOpenPoint(std::uint32_t deviceId, const QList<SecretItem>& items,
                                                const QString& folder);

/// The result of making an image.
struct SecretsMade {
    int words = -1;   ///< the number of OTP words in the image; -1 after a fault
    QString fault;    ///< the message of the library or of this room
    QString warning;  ///< the library's warning; empty for none
};

/// Makes the image of `items` for a device through the library, which writes `outputPath`. A new file is readable by
/// its owner only. Refuses an output that is one of the inputs or the document at `documentPath`. May run on any
/// thread.
[[nodiscard]] SecretsMade makeSecretsImage(std::uint32_t deviceId, const QList<SecretItem>& items,
                                           const QString& folder, const QString& documentPath,
                                           const QString& outputPath);

/// Reads an image of `device` and returns its records as texts of items. On failure returns false with `fault`.
/// `remark` names the words of the image that the items leave out; empty if none.
[[nodiscard]] bool readSecretsImage(const devices::Device& device, const QString& path, QByteArrayList& items,
                                    QString& fault, QString& remark);

}  // namespace desktop
