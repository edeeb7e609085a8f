#pragma once

#include "images/ProtectedItem.h"
#include "images/secretsImage.h"

#include <QList>

#include <span>

class QJsonObject;

/// One secret: a file or a literal word for the OTP memory. `Offset` is the index of its first OTP word.
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
    QString Nonce{};  ///< path of a nonce file, may be empty
    ProtectionField HDPL{};
    bool isFile = false;
    bool isMandatory = false;        ///< for a front end; no effect on the image
    bool isVXOwner = false;          ///< for a front end; no effect on the image
    std::uint8_t Format = 0;         ///< 1: a file of numbers, stored little-endian; 2: a file stored as it is
    std::int32_t expectedSize = -1;  ///< for a front end; no effect on the image; -1: none
};

/// Reads the secrets document at `jsonPath` and prints what it lists. 0 on success, when `items` is replaced by the
/// secrets in document order; -1 with a message otherwise.
[[nodiscard]] int parseSecretsJson(const QString& jsonPath, QList<SecretItem>& items);

/// Reads one element of the document's `Files`. False with a message, and `item` partly filled, otherwise.
[[nodiscard]] bool readSecretItem(const QJsonObject& object, SecretItem& item);

/// Where a path of the document leads: one that begins with "." counts from the folder that contains the program's
/// folder, any other stands as it is.
[[nodiscard]] QString secretPath(const QString& path);

/// Indexes of OTP words, both ends included.
struct OtpRange {
    std::uint32_t first = 0;
    std::uint32_t last = 0;
};

/// Where a secret of a device may begin; nothing for a device that no images are made for.
[[nodiscard]] std::span<const OtpRange> secretIndexes(std::uint32_t deviceId);

/// Turns items into segments and checks them against each other and the device's OTP memory. 0 on success, when
/// `segments` is replaced; -1 with a message otherwise. With `forPreview` the data keeps the byte order of its source,
/// and a word that is still to be filled in is left out. Paths that begin with "." count from the folder that contains
/// the program's folder. The caller wipes the segments.
[[nodiscard]] int buildSecretSegments(const QList<SecretItem>& items, QList<SecretSegment>& segments, bool forPreview,
                                      std::uint32_t deviceId);

/// Makes the secrets image for device `deviceId` (0x500, 0x501 or 0x505), writes it to `outputPath` in the place of
/// whatever stands there, reads it back and lists it. Gives the number of OTP words, or -1; every fault but an empty
/// list is reported. A fault that the reading back finds leaves the image on disk.
[[nodiscard]] int generateSecrets(std::uint32_t deviceId, const QList<SecretItem>& items, const QString& outputPath);
