#pragma once

#include <QByteArray>

#include <cstdint>
#include <optional>
#include <vector>

/// Makes keys, signatures and signed files for the opener's tests.

enum class KitKind { rsa2048, rsa3072, p256, ed25519 };

struct KitKey {
    QByteArray privatePem;
    QByteArray publicPem;
    QByteArray publicDer;  ///< SubjectPublicKeyInfo; RSAPublicKey for RSA, as MCUboot hashes it
    QByteArray modulus;    ///< empty unless it is an RSA key
};

/// One key of each kind, made at the first call.
[[nodiscard]] const KitKey& kitKeyOf(KitKind kind);
/// Makes another key of the kind.
[[nodiscard]] KitKey kitMakeKey(KitKind kind);

enum class KitPadding { pkcs1, pss, pssLongSalt };

/// Signs the SHA-256 digest of `message`; Ed25519 signs `message` itself.
[[nodiscard]] QByteArray kitSignature(KitKind kind, const QByteArray& message, KitPadding padding = KitPadding::pss);

/// The 32-byte secret of personalization data between a private and a public key in PEM form.
[[nodiscard]] QByteArray kitPersoSecret(const KitKey& own, const KitKey& other);

/// A signed binary of a wireless chip, with its size written into it.
[[nodiscard]] QByteArray kitWirelessBinary(QByteArray binary);

/// The public key of kind rsa2048 as a wireless chip's key file of the form "c", "py" or "txt".
[[nodiscard]] QByteArray kitWirelessKey(const QByteArray& form);

struct KitTlv {
    std::uint16_t type = 0;
    QByteArray value;
};

/// An MCUboot image to make. kitMake computes the right values, by docs/formats.md, of members that aren't set.
struct KitMcuboot {
    std::uint32_t magic = 0x96F3B83D;
    std::uint16_t headerSize = 32;
    std::uint32_t flags = 0;
    QByteArray code = QByteArray(40, 'c');
    std::vector<KitTlv> protectedTlvs = {{0x50, QByteArray(4, '\7')}};
    std::optional<KitKind> signer;
    bool isPure = false;
    KitPadding padding = KitPadding::pss;
    QByteArray otherDigest;        ///< used in place of the right digest
    std::vector<KitTlv> moreTlvs;  ///< appended to the others
    std::optional<std::uint16_t> protectedSize;
    std::uint16_t plainMagic = 0x6907;
};
[[nodiscard]] QByteArray kitMake(const KitMcuboot& image);
