#pragma once

#include <QByteArray>

#include <cstdint>
#include <optional>
#include <vector>

/// Makes sealed images from docs/formats.md: right ones, and wrong ones with right tags. The opener's tests need both,
/// and the tool makes only right ones.

struct KitArea {
    char letter = 'F';
    std::uint32_t address = 0;
    QByteArray payload;
    QByteArray second;  ///< zeros if empty
    std::optional<std::uint8_t> version;
    std::optional<std::uint16_t> index;
    std::optional<std::uint16_t> count;
    QByteArray regionKeyOf;  ///< if not empty, an image key, whose region key is appended to the payload
};

struct KitImage {
    QByteArray magic = "TBIMAGIC";
    std::uint16_t protocol = 1;
    std::optional<std::uint16_t> count;
    std::uint8_t version = 1;
    std::uint32_t ivKind = 0;
    bool hasSecond = false;
    QByteArray nonce = QByteArray(12, 'n');
    QByteArray headerEnd = QByteArray(4, '\0');
    std::vector<KitArea> areas;
};

inline const QByteArray kitKey = QByteArrayLiteral("sentinel-key-16b");

[[nodiscard]] QByteArray kitSha256(const QByteArray& bytes);
[[nodiscard]] QByteArray kitBaseIv(const QByteArray& nonce);

/// The ciphertext of `plain`, and its tag.
struct Sealed {
    QByteArray bytes;
    QByteArray tag;
};
[[nodiscard]] Sealed kitSeal(const QByteArray& iv, const QByteArray& additional, const QByteArray& plain,
                             const QByteArray& key = kitKey);
[[nodiscard]] QByteArray kitAreaIv(const QByteArray& nonce, std::uint32_t kind, std::uint8_t version,
                                   std::uint16_t number);

[[nodiscard]] QByteArray kitMake(const KitImage& image);

/// The hash area for `areas`.
[[nodiscard]] KitArea kitHash(const std::vector<KitArea>& areas);

/// An install image with two firmware segments, hash and option bytes.
[[nodiscard]] KitImage kitInstallImage();
/// An install image that also contains external firmware and modules.
[[nodiscard]] KitImage kitExternalImage();

/// An update image: its header and its encrypted segment.
struct KitPair {
    QByteArray header;
    QByteArray segment;
};
[[nodiscard]] KitPair kitUpdate(const QByteArray& segment, std::uint16_t version, std::uint32_t address = 0x08000000);
[[nodiscard]] QByteArray kitPayload(const QByteArray& blob, const QByteArray& binding);
/// A provisioning image with secrets, firmware and a backup section.
[[nodiscard]] KitImage kitProvisioningImage();
[[nodiscard]] QByteArray kitPackagedModule();

/// An image with a footer, whose signature covers the first `length` bytes.
struct KitSigned {
    QByteArray image;
    QByteArray publicPem;
    QByteArray publicPoint;  ///< X and Y
};
[[nodiscard]] KitSigned kitSign(const QByteArray& image, std::uint32_t length, std::uint8_t algorithm = 0);
