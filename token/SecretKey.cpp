#include "token/SecretKey.h"

#include "display/Display.h"
#include "files/wipe.h"
#include "token/OpenToken.h"

#include <QtEndian>

namespace token {

namespace {

constexpr qsizetype blockSize = 16;

QByteArray bigEndian(quint32 number) {
    const quint32 bytes = qToBigEndian(number);
    return {reinterpret_cast<const char*>(&bytes), sizeof bytes};
}

}  // namespace

struct SecretKey::InToken {
    OpenToken token;
    TokenKey key;
};

SecretKey::SecretKey() = default;

SecretKey::~SecretKey() = default;

bool SecretKey::open(const QString& uri, Use use) {
    auto place = std::make_unique<InToken>();
    KeyUri parsed;
    name_ = uri;
    bool isAllowed = false;
    if (!parsed.parse(uri, CKO_SECRET_KEY) || !place->token.open(parsed) ||
        !place->token.findKey(parsed, CKO_SECRET_KEY, place->key)) {
        return false;
    }
    place->token.forgetPin();
    const Session& session = place->token.session();
    if (use == Use::derive) {
        if (place->key.type != CKK_AES) {
            return reportError("The key %s isn't an AES key, only such a key derives others", qUtf8Printable(uri));
        }
        if (!place->token.canSign(CKM_AES_CMAC, "CKM_AES_CMAC") ||
            !session.readFlag(place->key.object, CKA_SIGN, true, isAllowed)) {
            return false;
        }
        if (!isAllowed) {
            return reportError("The key %s may not compute a CMAC (CKA_SIGN), which derives keys", qUtf8Printable(uri));
        }
    }
    inToken_ = std::move(place);
    QByteArray tried;
    const WipeOnExit wiped(tried);
    return use == Use::derive ? derive("trial", {}, blockSize, tried) : read(tried);
}

bool SecretKey::read(QByteArray& key) const {
    switch (inToken_->token.session().readAttribute(inToken_->key.object, CKA_VALUE, key)) {
        case Session::Attribute::present:
            return true;
        case Session::Attribute::absent:
            return reportError("The key %s can't leave its token, derive keys from it instead", qUtf8Printable(name_));
        case Session::Attribute::failed:
            break;
    }
    return false;
}

bool SecretKey::derive(QByteArrayView label, QByteArrayView context, qsizetype size, QByteArray& key) const {
    QByteArray made;
    const WipeOnExit wiped(made);
    made.reserve(size + blockSize);
    for (quint32 i = 1; made.size() < size; ++i) {
        const QByteArray input = bigEndian(i) + label.toByteArray() + '\0' + context.toByteArray() +
                                 bigEndian(static_cast<quint32>(size * 8));
        QByteArray block;
        const WipeOnExit wipedBlock(block);
        if (!inToken_->token.session().computeCmac(inToken_->key.object, input, block)) {
            return false;
        }
        made.append(block);
    }
    key = QByteArray(made.constData(), size);
    return true;
}

}  // namespace token
