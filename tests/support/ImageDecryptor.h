#pragma once

#include <QByteArray>

#include <optional>
#include <vector>

/// One area of an image as a device decrypts it.
struct DecryptedArea {
    char letter = 0;
    std::uint32_t address = 0;
    QByteArray secondBlock;
    QByteArray payload;
};

using DecryptedAreas = std::vector<DecryptedArea>;

/// Decrypts an install or provisioning image like a device. Returns no areas if a header field is wrong, a tag doesn't
/// verify, or the file doesn't end with its last area.
[[nodiscard]] std::optional<DecryptedAreas> decryptAreas(const QByteArray& image, const QByteArray& key,
                                                         const QByteArray& nonce);

/// Decrypt an update image, whose version is only in its header, and a provisioning payload, with the same checks.
[[nodiscard]] std::optional<QByteArray> decryptUpdate(const QByteArray& image, const QByteArray& key,
                                                      const QByteArray& nonce);
[[nodiscard]] std::optional<QByteArray> decryptPayload(const QByteArray& payload, const QByteArray& key);
