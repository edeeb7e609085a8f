#pragma once

#include "Preparation/primitives/opensslObjects.h"

#include <QByteArray>
#include <QString>

#include <vector>

struct x509_st;

struct CertificateRelease {
    void operator()(x509_st* certificate) const;
};
using CertificatePointer = std::unique_ptr<x509_st, CertificateRelease>;

/// The certificates of a PEM file (RFC 5280), the leaf first. Nothing is reported.
class Certificates {
  public:
    /// Replaces the certificates by those of a PEM text. False if it has none or a broken one.
    [[nodiscard]] bool read(QByteArrayView pem);
    /// The same for one certificate in DER.
    [[nodiscard]] bool readDer(QByteArrayView der);

    [[nodiscard]] KeyPointer leafKey() const;
    /// The subject of the leaf (RFC 2253) and the SHA-256 of its DER in lower-case digits.
    [[nodiscard]] QString subject() const;
    [[nodiscard]] QString fingerprint() const;

    /// Verifies, at the present time, that the leaf was issued by an anchor, with the other certificates in between.
    /// The anchors are those of `trusted`, or only the last certificate of this file if `trusted` has none. On failure,
    /// `reason` receives OpenSSL's words.
    [[nodiscard]] bool verify(const Certificates& trusted, QString& reason) const;

  private:
    std::vector<CertificatePointer> all_;
};
