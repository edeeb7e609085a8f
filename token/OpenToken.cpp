#include "token/OpenToken.h"

#include "display/Display.h"
#include "files/wipe.h"
#include "token/login.h"
#include "token/tokens.h"

#include <QStringList>

#include <algorithm>
#include <iterator>
#include <vector>

namespace token {

namespace {

constexpr qsizetype mostListed = 16;

/// The names for a message, or "none".
QByteArray listOf(QStringList names) {
    const qsizetype more = names.size() - mostListed;
    if (more > 0) {
        names = names.mid(0, mostListed);
        names.append(QStringLiteral("%1 more").arg(more));
    }
    return names.isEmpty() ? QByteArray("none") : names.join(QStringLiteral(", ")).toUtf8();
}

QByteArray namesOf(const std::vector<TokenRecord>& records) {
    QStringList names;
    for (const TokenRecord& record : records) {
        names.append(uriOf(record, {}));
    }
    return listOf(names);
}

QByteArray namesOf(const QList<TokenKey>& keys) {
    QStringList names;
    for (const TokenKey& key : keys) {
        const QString id =
            key.id.isEmpty() ? QString() : QStringLiteral(" (id %1)").arg(QString::fromLatin1(key.id.toHex()));
        names.append(QString::fromUtf8(key.label) + id);
    }
    return listOf(names);
}

}  // namespace

OpenToken::~OpenToken() {
    forgetPin();
}

void OpenToken::forgetPin() {
    wipe(pin_);
    pin_ = QByteArray();
}

bool OpenToken::open(const KeyUri& uri) {
    std::vector<TokenRecord> all;
    if (!loadDriverOf(uri, driver_) || !listTokens(driver_, all)) {
        return false;
    }
    std::vector<TokenRecord> fitting;
    std::copy_if(all.begin(), all.end(), std::back_inserter(fitting),
                 [&uri](const TokenRecord& record) { return uri.matches(record); });
    if (fitting.empty()) {
        return reportError("No token fits %s, the tokens are : %s", qUtf8Printable(uri.text()),
                           namesOf(all).constData());
    }
    if (fitting.size() > 1) {
        return reportError("%zu tokens fit %s : %s", fitting.size(), qUtf8Printable(uri.text()),
                           namesOf(fitting).constData());
    }
    record_ = fitting.front();
    return session_.open(record_.slot, Session::Access::read) && logIn(session_, record_, uri, pin_);
}

bool OpenToken::findKey(const KeyUri& uri, CK_OBJECT_CLASS wanted, TokenKey& key) const {
    QList<TokenKey> found;
    if (!findKeys(session_, wanted, uri.label(), uri.id(), found)) {
        return false;
    }
    if (found.size() == 1) {
        key = found.constFirst();
        return true;
    }
    const char* const kind = wanted == CKO_PRIVATE_KEY ? "private" : "secret";
    if (!found.isEmpty()) {
        return reportError("%s selects %lld %s keys, add id= or object= : %s", qUtf8Printable(uri.text()),
                           qint64{found.size()}, kind, namesOf(found).constData());
    }
    QList<TokenKey> all;
    return findKeys(session_, wanted, {}, {}, all) &&
           reportError("The token has no %s key that fits %s, its keys are : %s", kind, qUtf8Printable(uri.text()),
                       namesOf(all).constData());
}

bool OpenToken::canSign(CK_MECHANISM_TYPE mechanism, const char* name) const {
    CK_MECHANISM_INFO info{};
    const CK_RV answer = driver_.functions().C_GetMechanismInfo(record_.slot, mechanism, &info);
    if (answer != CKR_OK && answer != CKR_MECHANISM_INVALID) {
        return driver_.succeeded(answer, "C_GetMechanismInfo", name);
    }
    return (answer == CKR_OK && (info.flags & CKF_SIGN) != 0) ||
           reportError("The token %s doesn't offer %s", qUtf8Printable(labelOf(record_)), name);
}

bool OpenToken::readPinAgain(const KeyUri& uri) {
    return !pin_.isNull() || obtainPin(record_, uri, pin_);
}

}  // namespace token
