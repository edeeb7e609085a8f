#pragma once

#include "files/outputFile.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

#include <memory>

struct evp_pkey_st;

/// An RSA or elliptic-curve key, private or public, and its release.
struct KeyRelease {
    void operator()(evp_pkey_st* key) const;
};
using KeyPointer = std::unique_ptr<evp_pkey_st, KeyRelease>;

/// Who may do what with a key file once it is written.
enum class KeyFileAccess {
    ownerReads,           ///< 0400
    ownerReadsAndWrites,  ///< 0600
    everybodyReads,       ///< 0444
};

/// Reads a key file of at most 1 MiB; what is longer is cut there, and then no longer reads as a key. `content` is
/// taken unbuffered, so that wiping it leaves no second copy. False if the file can't be opened or read.
[[nodiscard]] bool readKeyFile(const QString& path, QByteArray& content);

/// Puts `bytes` in the place of whatever stands at `path`, also of a read-only file, or leaves that as it was. A new
/// file is nobody else's to read from its first moment on; it gets `access` when it is complete.
[[nodiscard]] ReplaceResult replaceKeyFile(const QString& path, QByteArrayView bytes, KeyFileAccess access);

/// The private key of a PEM text (RFC 7468, or one of the traditional forms); null if there is none. A passphrase is
/// never asked for: without one, or with the wrong one, an encrypted key is no key.
[[nodiscard]] KeyPointer privateKeyFromPem(QByteArrayView pem, QByteArrayView passphrase = {});

/// The public key of a PEM text (SubjectPublicKeyInfo, RFC 5280); null if there is none.
[[nodiscard]] KeyPointer publicKeyFromPem(QByteArrayView pem);
