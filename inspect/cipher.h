#pragma once

#include "inspect/Description.h"

#include <functional>
#include <memory>

struct evp_cipher_ctx_st;
struct evp_md_ctx_st;

namespace inspect {

/// Receives plain bytes piece by piece. They are authentic only if `open` then returns `good`.
using PieceSink = std::function<void(QByteArrayView piece)>;

/// Decrypts and authenticates with one AES-128-GCM key (NIST SP 800-38D). All pieces use one buffer, which is wiped.
class GcmOpener {
  public:
    explicit GcmOpener(QByteArrayView key);
    ~GcmOpener();
    GcmOpener(const GcmOpener&) = delete;
    GcmOpener& operator=(const GcmOpener&) = delete;

    /// Passes the plain bytes of `sealed` to `sink`. Returns whether `tag` (16 bytes) is right for `sealed`, the IV (12
    /// or 16 bytes) and the additional data; `unchecked` if OpenSSL doesn't offer the cipher.
    [[nodiscard]] CheckResult open(QByteArrayView iv, std::initializer_list<QByteArrayView> additional,
                                   QByteArrayView sealed, QByteArrayView tag, const PieceSink& sink);

  private:
    struct Free {
        void operator()(evp_cipher_ctx_st* context) const;
    };
    std::unique_ptr<evp_cipher_ctx_st, Free> context_;
    QByteArray buffer_;
    bool usable_ = false;
};

/// SHA-256 over pieces (FIPS 180-4). If OpenSSL doesn't offer the algorithm, the result is empty. This applies to all
/// digests in this file.
class Sha256 {
  public:
    Sha256();
    void add(QByteArrayView piece);
    [[nodiscard]] QByteArray finish();

  private:
    struct Free {
        void operator()(evp_md_ctx_st* context) const;
    };
    std::unique_ptr<evp_md_ctx_st, Free> context_;
    bool usable_ = false;
};

[[nodiscard]] QByteArray sha256(QByteArrayView bytes);

/// HMAC-SHA256 (RFC 2104); the caller wipes the result.
[[nodiscard]] QByteArray hmacSha256(QByteArrayView key, QByteArrayView message);

/// Compares a computed digest with the one in a file; `unchecked` if the digest couldn't be computed.
[[nodiscard]] CheckResult compareDigest(QByteArrayView made, QByteArrayView found);

/// Whether OpenSSL offers a cipher of this name.
[[nodiscard]] bool isCipherOffered(const char* name);

/// Compares in constant time; the time depends only on the sizes.
[[nodiscard]] bool sameBytes(QByteArrayView a, QByteArrayView b);

}  // namespace inspect
