#include "Preparation/primitives/Certificates.h"

#include "Preparation/primitives/Sha256.h"

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <openssl/x509_vfy.h>

#include <utility>

namespace {

constexpr qsizetype maxPemSize = qsizetype{1} << 20;
constexpr std::size_t maxCount = 32;

struct StoreRelease {
    void operator()(X509_STORE* store) const { X509_STORE_free(store); }
    void operator()(X509_STORE_CTX* context) const { X509_STORE_CTX_free(context); }
    void operator()(STACK_OF(X509) * stack) const { sk_X509_free(stack); }
};
using Store = std::unique_ptr<X509_STORE, StoreRelease>;
using StoreContext = std::unique_ptr<X509_STORE_CTX, StoreRelease>;
using Stack = std::unique_ptr<STACK_OF(X509), StoreRelease>;

// Whether the last failure to read means that the text has no more certificates.
bool isEndOfText() {
    const unsigned long error = ERR_peek_last_error();
    return ERR_GET_LIB(error) == ERR_LIB_PEM && ERR_GET_REASON(error) == PEM_R_NO_START_LINE;
}

}  // namespace

void CertificateRelease::operator()(x509_st* certificate) const {
    X509_free(certificate);
}

bool Certificates::read(QByteArrayView pem) {
    if (pem.isEmpty() || pem.size() > maxPemSize) {
        return false;
    }
    const BioPointer bio(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
    std::vector<CertificatePointer> found;
    bool isMore = bio != nullptr;
    while (isMore && found.size() <= maxCount) {
        CertificatePointer certificate(PEM_read_bio_X509(bio.get(), nullptr, nullptr, nullptr));
        isMore = certificate != nullptr;
        if (isMore) {
            found.push_back(std::move(certificate));
        }
    }
    const bool isWhole = !isMore && isEndOfText();
    ERR_clear_error();
    if (!isWhole || found.empty()) {
        return false;
    }
    all_ = std::move(found);
    return true;
}

bool Certificates::readDer(QByteArrayView der) {
    const unsigned char* in = unsignedBytes(der);
    CertificatePointer certificate(der.isEmpty() ? nullptr : d2i_X509(nullptr, &in, static_cast<long>(der.size())));
    ERR_clear_error();
    if (!certificate) {
        return false;
    }
    all_.clear();
    all_.push_back(std::move(certificate));
    return true;
}

KeyPointer Certificates::leafKey() const {
    KeyPointer key(all_.empty() ? nullptr : X509_get_pubkey(all_.front().get()));
    ERR_clear_error();
    return key;
}

QString Certificates::subject() const {
    const BioPointer bio = makeMemoryBio();
    if (all_.empty() || !bio ||
        X509_NAME_print_ex(bio.get(), X509_get_subject_name(all_.front().get()), 0,
                           XN_FLAG_RFC2253 & ~static_cast<unsigned long>(ASN1_STRFLGS_ESC_MSB)) < 0) {
        return {};
    }
    return QString::fromUtf8(contentOf(bio.get()));
}

QString Certificates::fingerprint() const {
    const int size = all_.empty() ? 0 : i2d_X509(all_.front().get(), nullptr);
    if (size <= 0) {
        return {};
    }
    QByteArray der(size, '\0');
    auto* out = reinterpret_cast<unsigned char*>(der.data());
    Sha256Digest digest{};
    if (i2d_X509(all_.front().get(), &out) != size || !sha256({der}, digest)) {
        return {};
    }
    return QString::fromLatin1(QByteArrayView(digest).toByteArray().toHex());
}

bool Certificates::verify(const Certificates& trusted, QString& reason) const {
    reason = QStringLiteral("not enough memory");
    const Store store(X509_STORE_new());
    const StoreContext context(X509_STORE_CTX_new());
    const Stack between(sk_X509_new_null());
    if (all_.empty() || !store || !context || !between) {
        return false;
    }
    const bool isOwnAnchor = trusted.all_.empty();
    for (const CertificatePointer& anchor : isOwnAnchor ? all_ : trusted.all_) {
        const bool isAnchor = !isOwnAnchor || &anchor == &all_.back();
        if (!(isAnchor ? X509_STORE_add_cert(store.get(), anchor.get()) == 1
                       : sk_X509_push(between.get(), anchor.get()) > 0)) {
            return false;
        }
    }
    for (const CertificatePointer& certificate : all_) {
        if (!isOwnAnchor && sk_X509_push(between.get(), certificate.get()) <= 0) {
            return false;
        }
    }
    // An anchor may be a certificate that another authority issued. A leaf isn't its own anchor unless it signed
    // itself.
    if (all_.size() > 1 || !isOwnAnchor) {
        X509_STORE_set_flags(store.get(), X509_V_FLAG_PARTIAL_CHAIN);
    }
    if (X509_STORE_CTX_init(context.get(), store.get(), all_.front().get(), between.get()) != 1) {
        return false;
    }
    const bool isValid = X509_verify_cert(context.get()) == 1;
    if (!isValid) {
        reason = QString::fromUtf8(X509_verify_cert_error_string(X509_STORE_CTX_get_error(context.get())));
    }
    ERR_clear_error();
    return isValid;
}
