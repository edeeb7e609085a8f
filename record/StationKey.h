#pragma once

#include "Preparation/primitives/P256Key.h"

#include <QByteArray>
#include <QString>

#include <functional>

namespace record {

/// The key on the curve P-256 with which a station signs checkpoints.
class StationKey {
  public:
    /// Reads a private key in PEM form, without a passphrase. Refuses a file that other users can read or write.
    [[nodiscard]] bool read(const QString& path, QString& fault);
    /// Signs a SHA-256 digest with ECDSA on P-256: r, then s, 32 bytes each, big-endian.
    using Signer = std::function<bool(QByteArrayView digest, QByteArray& raw)>;
    /// Uses a key that only `signer` can use, such as one in a token, and its public key in PEM form.
    [[nodiscard]] bool use(const QByteArray& publicPem, Signer signer, QString& fault);
    /// The identifier of the key: SHA-256 of its SubjectPublicKeyInfo in lower-case digits. Empty without a key.
    [[nodiscard]] const QString& id() const { return id_; }
    /// Signs with ECDSA and SHA-256 (FIPS 186-4). The signature is r and s, 32 bytes each, big-endian. Of the two
    /// values of s that verify, it has the lower one, so that another person can't change a signature into a second
    /// one.
    [[nodiscard]] bool sign(QByteArrayView message, QByteArray& signature) const;

  private:
    P256Key key_;
    Signer signer_;  // null if `key_` is the private key
    QString id_;
};

/// The key with which checkpoints are verified.
class StationPublicKey {
  public:
    [[nodiscard]] bool parse(const QByteArray& pem, QString& fault);
    [[nodiscard]] const QString& id() const { return id_; }

    enum class Check { holds, doesNotHold, failed };
    /// A signature whose s isn't the lower value doesn't hold.
    [[nodiscard]] Check verify(QByteArrayView message, QByteArrayView signature) const;

  private:
    P256Key key_;
    QString id_;
};

/// Makes a key pair in two new files: the private key with mode 0600, and the public key. Existing files aren't
/// changed, and a failure leaves no new file.
[[nodiscard]] bool makeStationKey(const QString& privatePath, const QString& publicPath, QString& fault);

}  // namespace record
