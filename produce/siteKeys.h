#pragma once

#include "files/FileHandle.h"
#include "produce/ProductionJob.h"
#include "record/StationKey.h"
#include "token/SecretKey.h"

#include <QByteArray>
#include <QHash>
#include <QString>

#include <memory>
#include <vector>

namespace produce {

/// The secret of a production site, 32 bytes. It is used to compute the fingerprints of keys. Without the secret, a
/// fingerprint confirms no guess of its key. All stations of a ledger have the same secret.
class SiteSecret {
  public:
    SiteSecret() = default;
    ~SiteSecret();
    SiteSecret(const SiteSecret&) = delete;
    SiteSecret& operator=(const SiteSecret&) = delete;

    /// Reads the secret. Refuses a file of another size, and one that other users can read.
    [[nodiscard]] bool read(const QString& path, QString& fault);
    /// HMAC-SHA256(secret, SHA-256(key)), 32 bytes; empty if OpenSSL fails.
    [[nodiscard]] QByteArray fingerprint(QByteArrayView key) const;
    /// The same for a key whose SHA-256 is known.
    [[nodiscard]] QByteArray fingerprintOfDigest(QByteArrayView sha256) const;

  private:
    QByteArray secret_;
};

/// Reads the station's key from a PEM file, or opens it in the token that a PKCS #11 URI selects.
[[nodiscard]] bool openStationKey(const QString& name, record::StationKey& key, QString& fault);

/// Makes a new file with a random secret, mode 0600.
[[nodiscard]] bool makeSiteSecret(const QString& path, QString& fault);

/// Reads a key file, at most 64 KiB. The caller wipes the key.
[[nodiscard]] bool readKeyBytes(const QString& path, QByteArray& key, QString& fault);

/// The keys of a job in memory, each in a file without a name. Children read them at `paths`, so a key file can't
/// change between two devices.
class JobKeys {
  public:
    JobKeys() = default;
    ~JobKeys();
    JobKeys(const JobKeys&) = delete;
    JobKeys& operator=(const JobKeys&) = delete;

    /// Reads the files of the job's keys. Workers inherit them.
    [[nodiscard]] bool read(const ProductionJob& job, QString& fault);
    /// Opens the tokens of the job's keys, with one login each. No worker may start later.
    [[nodiscard]] bool openTokens(const ProductionJob& job, QString& fault);
    /// Computes the fingerprints of the keys.
    [[nodiscard]] bool fingerprint(const SiteSecret& site, QString& fault);

    /// A key that a device has in its own memory, because it is from a token.
    struct DeviceKey {
        QString name;
        QByteArray bytes;
    };
    /// Derives or copies these keys. The caller wipes them.
    [[nodiscard]] bool ofDevice(const QString& serial, QList<DeviceKey>& keys, QString& fault) const;

    /// /proc/self/fd/N by the key's name.
    [[nodiscard]] const QHash<QString, QString>& paths() const { return paths_; }

    struct Known {
        QString name;
        QByteArray fingerprint;
    };
    /// The key at one of `paths`; null if `path` is another file.
    [[nodiscard]] const Known* at(const QString& path) const;
    /// The keys that the job names, without those that are derived for single devices.
    [[nodiscard]] QList<Known> all() const;

  private:
    struct TokenSource {
        KeySource source;
        std::unique_ptr<token::SecretKey> master;  ///< null for a key that was read
        QByteArray bytes;                          ///< of a key that was read
        QByteArray fingerprint;                    ///< of a key that was read
    };

    std::vector<FileHandle> files_;
    QHash<QString, QString> paths_;
    QHash<QString, Known> known_;  ///< by path
    std::vector<TokenSource> tokens_;
};

}  // namespace produce
