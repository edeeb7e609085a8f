#include "Preparation/src/TarnwaveQuill/binarySignature.h"

#include "Preparation/primitives/rsaSignature.h"
#include "display/Display.h"
#include "formats/signedBinaryLayout.h"

#include <QByteArray>

#include <algorithm>

namespace {

constexpr int keyBits = 2048;

bool reportStep(RsaStep failed) {
    switch (failed) {
        case RsaStep::context:
            return reportError("Creating signing context fails\n");
        case RsaStep::start:
            return reportError("Signing init failed\n");
        case RsaStep::padding:
            return reportError("RSA padding failed\n");
        case RsaStep::hash:
            return reportError("Setting hash algo failed\n");
        case RsaStep::size:
            return reportError("Determining signing buffer length failed\n");
        case RsaStep::digest:
            return reportError("Unvalid hash pointer \n");
        case RsaStep::sign:
            return reportError("Creating signature failed\n");
        case RsaStep::verify:
        case RsaStep::done:
            break;
    }
    return false;
}

}  // namespace

bool signBinaryDigest(evp_pkey_st* pkey, QByteArrayView digest, char* signature) {
    QByteArray made;
    const RsaStep signing = signRsa(pkey, digest, keyBits, made);
    if (signing != RsaStep::done) {
        return reportStep(signing);
    }
    std::copy(made.begin(), made.end(), signature);  // the key's size ensures signedBinary::signatureSize bytes
    return verifyRsa(pkey, digest, QByteArrayView(signature, signedBinary::signatureSize)) == RsaStep::done;
}
