#pragma once

#include "Preparation/primitives/opensslObjects.h"

#include <initializer_list>

/// AES-128-GCM encryption (NIST SP 800-38D) into the caller's buffer.
///
/// One object encrypts all messages under one key. The caller calls setKey once, then for each message start, encrypt
/// for each piece, and finish. A step that fails or is out of order returns false. So do all later steps until the next
/// start. The object reports nothing. Its destructor wipes its copy of the key.
class AesGcm {
  public:
    static constexpr qsizetype keySize = 16;
    static constexpr qsizetype tagSize = 16;
    static constexpr qsizetype maxIvSize = 128;

    /// Sets the key, which has keySize bytes.
    [[nodiscard]] bool setKey(QByteArrayView key);
    /// Begins a message. The IV has 1 to maxIvSize bytes. The pieces of additional authenticated data count as one
    /// string.
    [[nodiscard]] bool start(QByteArrayView iv, std::initializer_list<QByteArrayView> additionalData = {});
    /// Writes plain.size() encrypted bytes to `out`, which may be the address of `plain` itself.
    [[nodiscard]] bool encrypt(QByteArrayView plain, char* out);
    /// Ends the message and writes tagSize bytes to `tag`.
    [[nodiscard]] bool finish(char* tag);

  private:
    enum class Step { noKey, ready, message };

    [[nodiscard]] bool update(QByteArrayView bytes, char* out);

    OpensslPointer<evp_cipher_ctx_st> context_;
    Step step_ = Step::noKey;
};
