#pragma once

#include <QByteArray>
#include <QString>

#include <memory>

namespace token {

/// A secret key in a token: one that the token lets out, or a master key from which keys are derived inside it.
class SecretKey {
  public:
    SecretKey();
    ~SecretKey();
    SecretKey(const SecretKey&) = delete;
    SecretKey& operator=(const SecretKey&) = delete;

    enum class Use { read, derive };
    /// Opens the key that a PKCS #11 URI selects, and logs in to its token. False, with a message, if the token can't
    /// do what the use needs: disclose the key, or compute AES-CMAC with it.
    [[nodiscard]] bool open(const QString& uri, Use use);
    /// Reads the key. The caller wipes it.
    [[nodiscard]] bool read(QByteArray& key) const;
    /// Derives a key of 16 or 32 bytes (NIST SP 800-108r1, 4.1: counter mode with CMAC). `label` names the use, without
    /// a NUL, and `context` what the key is for. The caller wipes it.
    [[nodiscard]] bool derive(QByteArrayView label, QByteArrayView context, qsizetype size, QByteArray& key) const;

  private:
    struct InToken;

    QString name_;
    std::unique_ptr<InToken> inToken_;
};

}  // namespace token
