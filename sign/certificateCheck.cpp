#include "sign/certificateCheck.h"

#include "Preparation/primitives/Certificates.h"
#include "Preparation/primitives/keyFiles.h"
#include "Preparation/primitives/publicKeys.h"
#include "display/Display.h"

namespace sign {

namespace {

bool readCertificates(const QString& path, Certificates& certificates) {
    QByteArray pem;
    if (!readKeyFile(path, pem)) {
        return reportError("The certificates %s can't be read", qUtf8Printable(path));
    }
    return certificates.read(pem) ||
           reportError("The file %s doesn't contain certificates in PEM form, at most 32", qUtf8Printable(path));
}

}  // namespace

bool checkChain(const QString& chain, const QString& trust, const evp_pkey_st* key, Certified& certified) {
    if (chain.isEmpty()) {
        return trust.isEmpty() || reportError("--trust has no effect without --certificate");
    }
    Certificates certificates;
    Certificates trusted;
    if (!readCertificates(chain, certificates) || (!trust.isEmpty() && !readCertificates(trust, trusted))) {
        return false;
    }
    if (!isSamePublicKey(certificates.leafKey().get(), key)) {
        return reportError("The first certificate of %s isn't that of the key", qUtf8Printable(chain));
    }
    QString reason;
    if (!certificates.verify(trusted, reason)) {
        return reportError("The certificates %s aren't valid : %s", qUtf8Printable(chain), qUtf8Printable(reason));
    }
    certified = {certificates.subject(), certificates.fingerprint()};
    return true;
}

}  // namespace sign
