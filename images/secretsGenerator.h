#pragma once

#include "images/ProtectedItem.h"
#include "images/secretsImage.h"

#include <QByteArray>
#include <QList>

#include <span>

class QJsonObject;

/// One secret: a file or a single word for the OTP memory. `Offset` is the index of its first OTP word.
struct SecretItem {
    QString Name{};
    QString PathOrWord{};  ///< the path, or a word such as "0x12345678"
    std::uint32_t Offset = 0;
    ProtectionField Lock{};
    ProtectionField CID{};
    ProtectionField EncWrap{};
    ProtectionField KeySel{};
    ProtectionField KeySize{};
    ProtectionField Algorithm{};
    QString Nonce{};  ///< path of a nonce file; may be empty
    ProtectionField HDPL{};
    bool isFile = false;
    bool isMandatory = false;        ///< for a front end; no effect on the image
    bool isVXOwner = false;          ///< for a front end; no effect on the image
    std::uint8_t Format = 0;         ///< 1: a file of numbers, stored little-endian; 2: a file stored as it is
    std::int32_t expectedSize = -1;  ///< for a front end; no effect on the image; -1: none
    /// The content of a file item. It replaces the file at `PathOrWord`; a document doesn't set it. If the algorithm
    /// needs a nonce and `Nonce` is empty, the content starts with the nonce. The caller wipes it.
    QByteArray Bytes{};
};

/// Reads the secrets document at `jsonPath` and prints its items. On success, replaces the content of `items` with the
/// document's secrets, in order, and returns 0. On failure, returns -1, with a message.
[[nodiscard]] int parseSecretsJson(const QString& jsonPath, QList<SecretItem>& items);

/// Reads one element of the document's `Files`. False, with a message, on failure; `item` is then partly filled.
[[nodiscard]] bool readSecretItem(const QJsonObject& object, SecretItem& item);

/// Converts a word of the document to bytes, in the order of its digits. The text starts with two arbitrary characters,
/// usually "0x"; hexadecimal digits follow. An empty text means a word of zeros. False if there are fewer than two
/// digits or if another character is among the digits. The caller wipes `bytes`.
[[nodiscard]] bool readSecretWord(const QString& word, QByteArray& bytes);

/// Whether the item is a word that has no value yet. Such a word is zero, and its protection marks it as not filled in.
[[nodiscard]] bool isUnfilledWord(const SecretItem& item);

/// Resolves a path of the document. A path that begins with "." is relative to the parent of the program's folder. Any
/// other path is unchanged.
[[nodiscard]] QString secretPath(const QString& path);

/// Indexes of OTP words, both ends included.
struct OtpRange {
    std::uint32_t first = 0;
    std::uint32_t last = 0;
};

/// The indexes at which a secret of a device may begin; empty for a device without secrets images.
[[nodiscard]] std::span<const OtpRange> secretIndexes(std::uint32_t deviceId);

/// Converts items to segments, and checks that the segments don't overlap and fit the device's OTP memory. On success,
/// replaces `segments` and returns 0. On failure, returns -1, with a message. With `forPreview`, the data keeps the
/// byte order of its source, and words that have no value yet are left out. Paths that begin with "." are relative to
/// the parent of the program's folder. The caller wipes the segments.
[[nodiscard]] int buildSecretSegments(const QList<SecretItem>& items, QList<SecretSegment>& segments, bool forPreview,
                                      std::uint32_t deviceId);

/// Makes the secrets image for device `deviceId` (0x500, 0x501 or 0x505), writes it to `outputPath`, reads it back and
/// lists it. An existing file is replaced. Returns the number of OTP words, or -1. Every fault is reported, except an
/// empty list. If reading the image back finds a fault, the image stays.
[[nodiscard]] int generateSecrets(std::uint32_t deviceId, const QList<SecretItem>& items, const QString& outputPath);
