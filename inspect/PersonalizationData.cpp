// Personalization data: a tag, then the ciphertext. Key and IV are derived from the shared secret of two key pairs.

#include "inspect/PublicKey.h"
#include "inspect/cipher.h"
#include "inspect/formats.h"

namespace inspect {

namespace {

constexpr qsizetype tagSize = 16;
constexpr qsizetype keySize = 16;
constexpr qsizetype ivSize = 12;

/// Decrypts the content, which is authentic only if the result is good.
CheckResult open(QByteArrayView bytes, QByteArrayView secret, QByteArray* content) {
    GcmOpener opener(secret.first(keySize));
    return opener.open(secret.sliced(keySize, ivSize), {}, bytes.sliced(tagSize), bytes.first(tagSize),
                       [content](QByteArrayView piece) {
                           if (content != nullptr) {
                               content->append(piece);
                           }
                       });
}

}  // namespace

void describePersonalizationData(const Source& source, Description& description) {
    const QByteArrayView bytes = source.bytes;
    if (bytes.size() < tagSize) {
        addCutHeader(bytes.size(), tagSize, description);
        return;
    }
    Part part;
    part.name = "content";
    part.index = 1;
    part.size = bytes.size();
    part.payloadOffset = tagSize;
    part.payloadSize = bytes.size() - tagSize;
    description.addRange(tagSize, Role::tag, Cover::tag, part.index);
    description.addRange(part.payloadSize, Role::payload, Cover::tag, part.index);
    description.parts.push_back(std::move(part));
}

void provePersonalizationData(const Source& source, const Evidence& evidence, Description& description,
                              Contents* contents) {
    if (description.parts.empty()) {
        return;
    }
    if (evidence.privateKey.isEmpty() || evidence.publicKey.isEmpty()) {
        description.addUnchecked(CheckCode::tag, Reason::noKeyPair, 1);
        return;
    }
    QByteArray shared = PublicKey(evidence.publicKey).agree(evidence.privateKey);
    const WipeOnExit wipedShared(shared);
    if (shared.isEmpty()) {
        description.addUnchecked(CheckCode::tag, unusableReason(), 1);
        return;
    }
    // The key derivation of ANSI X9.63 (SEC 1, 3.6.1): 32 bytes need one round of SHA-256.
    Sha256 derivation;
    derivation.add(shared);
    derivation.add(QByteArrayView("\0\0\0\1", 4));
    QByteArray secret = derivation.finish();
    const WipeOnExit wipedSecret(secret);
    if (secret.size() < keySize + ivSize) {
        description.addUnchecked(CheckCode::tag, Reason::notOffered, 1);
        return;
    }
    QByteArray content;
    const WipeOnExit wipedContent(content);
    if (contents != nullptr) {
        content.reserve(source.bytes.size());
    }
    const CheckResult result = open(source.bytes, secret, contents != nullptr ? &content : nullptr);
    description.addResult(CheckCode::tag, result, 1);
    if (result != CheckResult::good) {
        return;
    }
    // Two files with the same two key pairs have the same IV.
    description.ivs.push_back(
        {QByteArray(secret.constData() + keySize, ivSize), source.bytes.first(tagSize).toByteArray(), 1});
    if (contents != nullptr) {
        Content kept = contentOf(description.parts.front(), ContentKind::blob);
        kept.bytes = std::move(content);
        contents->list.push_back(std::move(kept));
    }
}

}  // namespace inspect
