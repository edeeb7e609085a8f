#pragma once

#include "Preparation/primitives/opensslObjects.h"

#include <initializer_list>

/// AES-128-GCM encryption (NIST SP 800-38D) from the caller's bytes straight into the caller's buffer.
///
/// One object serves all messages under one key: setKey, then start, encrypt as often as there are pieces, finish for
/// each message. A step that fails, or that comes out of order, gives false, and so do all later ones up to the next
/// start. The object reports nothing and wipes its copy of the key when it goes.
class AesGcm {
  public:
    static constexpr qsizetype keySize = 16;
    static constexpr qsizetype tagSize = 16;
    static constexpr qsizetype maxIvSize = 128;

    /// Takes the key, of keySize bytes.
    [[nodiscard]] bool setKey(QByteArrayView key);
    /// Begins a message: an IV of 1 to maxIvSize bytes, and the additional authenticated data in pieces that count as
    /// one string.
    [[nodiscard]] bool start(QByteArrayView iv, std::initializer_list<QByteArrayView> additionalData = {});
    /// Writes plain.size() bytes to `out`, which may be the plain bytes' own place.
    [[nodiscard]] bool encrypt(QByteArrayView plain, char* out);
    /// Ends the message and writes tagSize bytes to `tag`.
    [[nodiscard]] bool finish(char* tag);

  private:
    enum class Step { noKey, ready, message };

    [[nodiscard]] bool update(QByteArrayView bytes, char* out);

    OpensslPointer<evp_cipher_ctx_st> context_;
    Step step_ = Step::noKey;
};
