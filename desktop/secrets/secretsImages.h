#pragma once

#include "jobs/Verdict.h"

#include "devices/otpMap.h"
#include "images/secretsGenerator.h"

#include <QByteArrayList>

// What stands between a secrets document in the window and the library that makes and reads its images.

/// How the data of an item is given.
enum class SecretKind {
    words,    ///< hexadecimal text: 0x and eight digits a word, the values of the words in order
    numbers,  ///< a file of numbers, stored low byte first
    bytes,    ///< a file that is stored as it is
};

[[nodiscard]] SecretKind secretKind(const SecretItem& item);

/// Whether the item's data has a nonce before it.
[[nodiscard]] bool hasNonce(const SecretItem& item);

/// Where the path of an item leads. One that begins with "." counts from where the library has it count, any other
/// from `folder`; an empty one stays empty.
[[nodiscard]] QString secretFile(const QString& path, const QString& folder);

/// What is there to be stored of an item.
struct SecretSize {
    bool isKnown = false;  ///< else `bytes` is what the document expects
    qint64 bytes = 0;      ///< the nonce included
    qint64 nonceBytes = 0;
    Verdict data;  ///< on the file or the words
    Verdict nonce;

    [[nodiscard]] std::uint32_t words() const;
};

[[nodiscard]] SecretSize secretSize(const SecretItem& item, const QString& folder);

/// What keeps an item from being stored: a fault, or what is still missing; good for nothing. An optional item without
/// a file is left out of the image.
[[nodiscard]] Verdict openVerdict(const SecretItem& item, const SecretSize& size);

/// The words that items fill. One of unknown size fills those that `fuses` names there.
[[nodiscard]] QList<OtpItem> otpItems(const DeviceFuses& fuses, const QList<SecretItem>& items,
                                      const QList<SecretSize>& sizes);

/// The first bytes of an item's data in the order of its source, at most `most`, for somebody to look at. The caller
/// wipes them.
[[nodiscard]] QByteArray secretPreview(const SecretItem& item, const QString& folder, qsizetype most);

/// Whether the library makes images for the device.
[[nodiscard]] bool makesSecretsFor(std::uint32_t deviceId);

/// What has to be filled in or mended before an image can be made.
struct SecretsOpenPoint {
    qsizetype item = -1;  ///< that it is about; -1 for none
    QString text;         ///< empty if there is no such point
};

[[nodiscard]] SecretsOpenPoint secretsOpenPoint(std::uint32_t deviceId, const QList<SecretItem>& items,
                                                const QString& folder);

/// How making an image went.
struct SecretsMade {
    int words = -1;   ///< of OTP memory; -1 after a fault
    QString fault;    ///< what the library said, or we
    QString warning;  ///< likewise; empty for none
};

/// Makes the image of `items` for a device through the library, which writes `outputPath`; a new file is for its owner
/// alone. An output that is one of the inputs, or the document at `documentPath`, is refused. It may run on any thread.
[[nodiscard]] SecretsMade makeSecretsImage(std::uint32_t deviceId, const QList<SecretItem>& items,
                                           const QString& folder, const QString& documentPath,
                                           const QString& outputPath);

/// Reads an image of the device `device` and gives its records as texts of items. False with `fault`. `remark` tells
/// what the items don't show, if anything.
[[nodiscard]] bool readSecretsImage(const Device& device, const QString& path, QByteArrayList& items, QString& fault,
                                    QString& remark);
