#pragma once

#include "files/FileHandle.h"
#include "produce/ProductionJob.h"

#include <QByteArray>
#include <QHash>
#include <QString>

#include <vector>

namespace produce {

/// The secret of a production site, 32 bytes. With it a key gets a fingerprint, which confirms no guess of the key
/// without the secret. All stations of a ledger have the same one.
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

/// Makes a new file with a random secret, mode 0600.
[[nodiscard]] bool makeSiteSecret(const QString& path, QString& fault);

/// Reads a key file, at most 64 KiB. The caller wipes the key.
[[nodiscard]] bool readKeyBytes(const QString& path, QByteArray& key, QString& fault);

/// The keys of a job in memory, each in a file without a name. Children read them at `paths`, so a key file can't
/// change between two devices.
class JobKeys {
  public:
    /// Reads all keys of the job.
    [[nodiscard]] bool read(const ProductionJob& job, QString& fault);
    /// Computes the fingerprints of the keys.
    [[nodiscard]] bool fingerprint(const SiteSecret& site, QString& fault);

    /// /proc/self/fd/N by the key's name.
    [[nodiscard]] const QHash<QString, QString>& paths() const { return paths_; }

    struct Known {
        QString name;
        QByteArray fingerprint;
    };
    /// The key at one of `paths`; null if `path` is another file.
    [[nodiscard]] const Known* at(const QString& path) const;
    [[nodiscard]] QList<Known> all() const { return known_.values(); }

  private:
    std::vector<FileHandle> files_;
    QHash<QString, QString> paths_;
    QHash<QString, Known> known_;  ///< by path
};

}  // namespace produce
