#pragma once

#include <QByteArray>

#include <optional>
#include <vector>

/// What a device gets out of one area of an image.
struct DecryptedArea {
    char letter = 0;
    std::uint32_t address = 0;
    QByteArray secondBlock;
    QByteArray payload;
};

using DecryptedAreas = std::vector<DecryptedArea>;

/// Decrypts an install or provisioning image as a device would. Nothing unless every field of every header holds what
/// it must, every tag verifies and the file ends with its last area.
[[nodiscard]] std::optional<DecryptedAreas> decryptAreas(const QByteArray& image, const QByteArray& key,
                                                         const QByteArray& nonce);

/// Likewise for an update image, whose version is only in its header, and for a provisioning payload.
[[nodiscard]] std::optional<QByteArray> decryptUpdate(const QByteArray& image, const QByteArray& key,
                                                      const QByteArray& nonce);
[[nodiscard]] std::optional<QByteArray> decryptPayload(const QByteArray& payload, const QByteArray& key);
