#include "display/MessageCollector.h"
#include "files/wipe.h"
#include "sign/commandLine.h"
#include "sign/receipt.h"
#include "token/login.h"
#include "token/tokenKeys.h"
#include "token/tokens.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>
#include <array>
#include <cstdio>
#include <vector>

namespace sign {

namespace {

struct ClassRow {
    CK_OBJECT_CLASS number;
    const char* name;
};
constexpr std::array classes = {
    ClassRow{CKO_PRIVATE_KEY, "private"},
    ClassRow{CKO_PUBLIC_KEY, "public"},
    ClassRow{CKO_SECRET_KEY, "secret"},
    ClassRow{CKO_CERTIFICATE, "certificate"},
};

/// The objects of one key: its halves and its certificates, which have one identifier.
struct KeyEntry {
    QByteArray label;
    QByteArray id;
    bool isSecret = false;
    QStringList objects;
    QString kind;
    QString keyId;
    QJsonArray certificates;
};

QString kindOf(const evp_pkey_st* key) {
    const KeyTraits traits = traitsOf(key);
    switch (traits.kind) {
        case KeyTraits::Kind::p256:
            return QStringLiteral("P-256");
        case KeyTraits::Kind::rsa:
            return QStringLiteral("RSA %1").arg(traits.bits);
        case KeyTraits::Kind::other:
            break;
    }
    return {};
}

QString kindOf(CK_KEY_TYPE type) {
    switch (type) {
        case CKK_EC:
            return QStringLiteral("elliptic curve");
        case CKK_RSA:
            return QStringLiteral("RSA");
        case CKK_AES:
            return QStringLiteral("AES");
        default:
            return QStringLiteral("other");
    }
}

KeyEntry& entryOf(std::vector<KeyEntry>& entries, const token::TokenKey& key, bool isSecret) {
    const auto found = std::find_if(entries.begin(), entries.end(), [&](const KeyEntry& entry) {
        return entry.isSecret == isSecret && entry.id == key.id && (!key.id.isEmpty() || entry.label == key.label);
    });
    if (found != entries.end()) {
        return *found;
    }
    KeyEntry entry;
    entry.label = key.label;
    entry.id = key.id;
    entry.isSecret = isSecret;
    return entries.emplace_back(entry);
}

bool addObject(const token::Session& session, const token::TokenKey& object, const ClassRow& row,
               std::vector<KeyEntry>& entries) {
    KeyEntry& entry = entryOf(entries, object, row.number == CKO_SECRET_KEY);
    entry.objects.append(QLatin1String(row.name));
    KeyPointer key;
    if (row.number == CKO_CERTIFICATE) {
        Certificates certificate;
        bool isRead = false;
        if (!token::readCertificate(session, object, certificate, isRead)) {
            return false;
        }
        if (isRead) {
            key = certificate.leafKey();
            entry.certificates.append(QJsonObject{{QStringLiteral("subject"), certificate.subject()},
                                                  {QStringLiteral("sha256"), certificate.fingerprint()}});
        }
    } else if (row.number == CKO_PUBLIC_KEY && !token::publicKeyOf(session, object, key)) {
        return false;
    }
    if (key && entry.keyId.isEmpty()) {
        entry.keyId = keyIdOf(key.get());
        entry.kind = kindOf(key.get());
    }
    if (entry.kind.isEmpty() && row.number != CKO_CERTIFICATE) {
        entry.kind = kindOf(object.type);
    }
    return true;
}

bool readKeys(const token::Session& session, std::vector<KeyEntry>& entries) {
    for (const ClassRow& row : classes) {
        QList<token::TokenKey> objects;
        if (!token::findKeys(session, row.number, {}, {}, objects)) {
            return false;
        }
        for (const token::TokenKey& object : objects) {
            if (!addObject(session, object, row, entries)) {
                return false;
            }
        }
    }
    return true;
}

QJsonObject objectOf(const token::TokenRecord& record, const std::vector<KeyEntry>& entries,
                     const QString& modulePath) {
    const CK_FLAGS flags = record.token.flags;
    QJsonArray keys;
    for (const KeyEntry& entry : entries) {
        keys.append(QJsonObject{
            {QStringLiteral("uri"), token::uriOf(record, entry.label, entry.id, modulePath)},
            {QStringLiteral("label"), QString::fromUtf8(entry.label)},
            {QStringLiteral("id"), QString::fromLatin1(entry.id.toHex())},
            {QStringLiteral("kind"), entry.kind},
            {QStringLiteral("objects"), QJsonArray::fromStringList(entry.objects)},
            {QStringLiteral("key"), entry.keyId},
            {QStringLiteral("certificates"), entry.certificates},
        });
    }
    return {
        {QStringLiteral("uri"), token::uriOf(record, modulePath)},
        {QStringLiteral("label"), token::labelOf(record)},
        {QStringLiteral("needsLogin"), (flags & CKF_LOGIN_REQUIRED) != 0},
        {QStringLiteral("hasKeypad"), (flags & CKF_PROTECTED_AUTHENTICATION_PATH) != 0},
        {QStringLiteral("isPinLocked"), (flags & CKF_USER_PIN_LOCKED) != 0},
        {QStringLiteral("keys"), keys},
    };
}

void printText(const QJsonObject& shown) {
    const auto text = [](const QJsonObject& object, const char* name) {
        return shownMessage(object.value(QLatin1String(name)).toString()).toUtf8();
    };
    std::printf("%s\n  %s%s\n", text(shown, "label").constData(), text(shown, "uri").constData(),
                shown.value(QLatin1String("isPinLocked")).toBool() ? "\n  the PIN is locked" : "");
    const QJsonArray keys = shown.value(QLatin1String("keys")).toArray();
    if (keys.isEmpty()) {
        std::printf("  no key is visible without a login\n");
    }
    for (const auto& value : keys) {
        const QJsonObject key = value.toObject();
        QStringList objects;
        for (const auto& name : key.value(QLatin1String("objects")).toArray()) {
            objects.append(name.toString());
        }
        std::printf("  %s: %s, %s\n    %s\n", text(key, "label").constData(), text(key, "kind").constData(),
                    qUtf8Printable(objects.join(QStringLiteral(", "))), text(key, "uri").constData());
        for (const auto& certificate : key.value(QLatin1String("certificates")).toArray()) {
            std::printf("    certificate %s\n", text(certificate.toObject(), "subject").constData());
        }
    }
}

/// Lists the tokens of one driver that fit the URI.
bool listTokens(const token::KeyUri& uri, bool isFiltered, QJsonArray& shown) {
    token::Driver driver("token");
    std::vector<token::TokenRecord> records;
    if (!token::loadDriverOf(uri, driver) || !token::listTokens(driver, records)) {
        return false;
    }
    bool isGood = true;
    for (const token::TokenRecord& record : records) {
        if (isFiltered && !uri.matches(record)) {
            continue;
        }
        token::Session session(driver);
        std::vector<KeyEntry> entries;
        QByteArray pin;
        const bool isRead = session.open(record.slot, token::Session::Access::read) &&
                            (uri.pinPath().isEmpty() || token::logIn(session, record, uri, pin)) &&
                            readKeys(session, entries);
        wipe(pin);
        isGood = isGood && isRead;
        shown.append(objectOf(record, entries, uri.modulePath()));
    }
    return isGood;
}

}  // namespace

int runList(const calls::Call& call) {
    token::KeyUri uri;
    const bool isFiltered = !call.operands.isEmpty();
    if (isFiltered && !uri.parse(call.operands.constFirst(), CKO_PRIVATE_KEY)) {
        return calls::statusNothing;
    }
    QJsonArray tokens;
    const bool isGood = listTokens(uri, isFiltered, tokens);
    if (call.has("json")) {
        const QJsonObject document{{QStringLiteral("tokens"), tokens}};
        std::fputs(QJsonDocument(document).toJson().constData(), stdout);
    } else {
        for (const auto& token : tokens) {
            printText(token.toObject());
        }
        if (isGood && tokens.isEmpty()) {
            std::printf("There is no token\n");
        }
    }
    return isGood ? calls::statusDone : calls::statusFailed;
}

}  // namespace sign
