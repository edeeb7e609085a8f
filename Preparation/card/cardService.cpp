#include "Preparation/card/cardProof.h"
#include "Preparation/primitives/opensslObjects.h"
#include "Preparation/primitives/randomBytes.h"
#include "display/Display.h"
#include "files/ByteReader.h"
#include "files/byteWriter.h"
#include "files/wipe.h"
#include "preparation-interface/Preparation.h"
#include "token/Driver.h"
#include "token/Session.h"

#include <openssl/evp.h>

#include <algorithm>
#include <cstring>
#include <initializer_list>

// The card is any PKCS #11 token. Its objects, found by their labels:
//
//     vx-card-info   data, public                     the 28 bytes of CardInfo
//     vx-card-key    AES key, sensitive, not extractable, private
//     vx-card-nonce  data, private
//     vx-card-perso  data, private                    only with personalization data
//
// A token without vx-card-info is a fresh card. State 39 in vx-card-info means that the card has all objects.
// vx-card-info is written last. Just before, the run removes the objects that an interrupted attempt left under the
// other labels. A card in state 39 therefore has at most one object with each of these labels. If a power cut leaves
// both an older and the new vx-card-info, the one with state 39 counts.
//
// The driver's lock serialises the runs on one machine. Other machines may reach the same card. Therefore each run
// takes these steps:
//
//     1. find the leftovers of earlier attempts
//     2. write its own objects
//     3. check that the card is still fresh
//     4. remove the leftovers
//     5. write its vx-card-info
//     6. check that the card has no object of another run; otherwise remove its own objects
//     7. remove an older vx-card-info
//
// A run succeeds only if it finds no object of another run in step 6. If another run writes its first object later, it
// finds the new vx-card-info in step 3 and stops before step 4. In the worst case, both runs remove their objects.

namespace {

constexpr const char* infoLabel = "vx-card-info";
constexpr const char* keyLabel = "vx-card-key";
constexpr const char* nonceLabel = "vx-card-nonce";
constexpr const char* persoLabel = "vx-card-perso";

constexpr qsizetype infoSize = 28;
constexpr qsizetype typeSize = 3;
constexpr qsizetype identifierSize = 16;
constexpr qsizetype keySize = 16;

constexpr std::uint8_t firstGeneration = 1;
constexpr std::uint8_t operationalState = 39;

/// The fields of vx-card-info, in the order of its bytes. The initial values are those of a fresh card. The object
/// contains three zero bytes after the type.
struct CardInfo {
    std::uint8_t version = 2;
    std::uint8_t state = 7;
    QByteArray type = QByteArray("SWT");
    std::uint32_t counter = 0;
    QByteArray identifier = QByteArray(identifierSize, '\0');
};

CardInfo parseInfo(const QByteArray& bytes) {
    CardInfo info;
    ByteReader reader(bytes);
    info.version = reader.u8();
    info.state = reader.u8();
    info.type = reader.take(typeSize).toByteArray();
    reader.skip(3);
    info.counter = reader.u32();
    info.identifier = reader.take(identifierSize).toByteArray();
    return info;
}

QByteArray infoBytes(const CardInfo& info) {
    QByteArray bytes;
    bytes.append(static_cast<char>(info.version));
    bytes.append(static_cast<char>(info.state));
    bytes.append(info.type);
    bytes.append(3, '\0');
    appendU32(bytes, info.counter);
    bytes.append(info.identifier.leftJustified(identifierSize, '\0'));
    return bytes;
}

/// The content of a card's vx-card-info, and the objects with this label.
struct CardState {
    CardInfo info;
    token::Session::Handles infoObjects;
};

bool readCard(const token::Session& session, CardState& card) {
    if (!session.find(infoLabel, card.infoObjects)) {
        return false;
    }
    for (const CK_OBJECT_HANDLE object : card.infoObjects) {
        QByteArray bytes(infoSize, '\0');
        if (!session.readValue(object, infoLabel, bytes)) {
            return false;
        }
        const CardInfo info = parseInfo(bytes);
        if (object == card.infoObjects.front() || info.state == operationalState) {
            card.info = info;
        }
    }
    return true;
}

bool openCard(const token::Driver& driver, std::int32_t position, token::Session::Access access,
              token::Session& session) {
    CK_SLOT_ID slot = 0;
    return driver.findSlot(position, slot) && session.open(slot, access);
}

bool readCardInSlot(std::int32_t slot, CardInfo& info) {
    token::Driver driver("card");
    if (!driver.loadConfigured()) {
        return false;
    }
    token::Session session(driver);
    CardState card;
    if (!openCard(driver, slot, token::Session::Access::read, session) || !readCard(session, card)) {
        return false;
    }
    info = card.info;
    return true;
}

// PKCS #11 has pointers to non-const even for input, so const is cast away here.
CK_ATTRIBUTE bytesAttribute(CK_ATTRIBUTE_TYPE type, QByteArrayView bytes) {
    return {type, const_cast<char*>(bytes.data()), static_cast<CK_ULONG>(bytes.size())};
}

template <typename T>
CK_ATTRIBUTE valueAttribute(CK_ATTRIBUTE_TYPE type, const T& value) {
    return {type, const_cast<T*>(&value), sizeof value};
}

constexpr CK_BBOOL yes = CK_TRUE;
constexpr CK_BBOOL no = CK_FALSE;

bool writeData(const token::Session& session, const char* label, QByteArrayView content, const CK_BBOOL& isPrivate,
               token::Session::Handles& written) {
    const CK_OBJECT_CLASS objectClass = CKO_DATA;
    std::vector<CK_ATTRIBUTE> attributes{
        valueAttribute(CKA_CLASS, objectClass), valueAttribute(CKA_TOKEN, yes),
        valueAttribute(CKA_PRIVATE, isPrivate), bytesAttribute(CKA_LABEL, label),
        bytesAttribute(CKA_VALUE, content),
    };
    return session.create(attributes, label, written);
}

// CKA_ENCRYPT lets the holder of the PIN encrypt a known block, which proves the key without reading it.
bool writeKey(const token::Session& session, QByteArrayView key, token::Session::Handles& written) {
    const CK_OBJECT_CLASS objectClass = CKO_SECRET_KEY;
    const CK_KEY_TYPE keyType = CKK_AES;
    std::vector<CK_ATTRIBUTE> attributes{
        valueAttribute(CKA_CLASS, objectClass), valueAttribute(CKA_KEY_TYPE, keyType),
        valueAttribute(CKA_TOKEN, yes),         valueAttribute(CKA_PRIVATE, yes),
        valueAttribute(CKA_SENSITIVE, yes),     valueAttribute(CKA_EXTRACTABLE, no),
        valueAttribute(CKA_ENCRYPT, yes),       valueAttribute(CKA_DECRYPT, yes),
        valueAttribute(CKA_WRAP, yes),          valueAttribute(CKA_DERIVE, yes),
        bytesAttribute(CKA_LABEL, keyLabel),    bytesAttribute(CKA_VALUE, key),
    };
    return session.create(attributes, keyLabel, written);
}

/// The content to write to a card.
struct CardContent {
    const QByteArray& key;
    const QByteArray& nonce;
    const QByteArray& persoData;
    QByteArray info;
};

bool findAll(const token::Session& session, std::initializer_list<const char*> labels, token::Session::Handles& found) {
    return std::all_of(labels.begin(), labels.end(), [&](const char* label) { return session.find(label, found); });
}

// Checks that the objects with these labels are exactly the expected ones. Otherwise reports that another run is
// programming the card.
bool holdsJust(const token::Session& session, std::initializer_list<const char*> labels,
               token::Session::Handles expected) {
    token::Session::Handles found;
    if (!findAll(session, labels, found)) {
        return false;
    }
    std::sort(found.begin(), found.end());
    std::sort(expected.begin(), expected.end());
    return found == expected || reportError("Another run programs this card at the same time");
}

token::Session::Handles joined(token::Session::Handles first, const token::Session::Handles& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

// Programs the card. On failure, removes everything that it wrote, if the card permits that.
bool programCard(const token::Session& session, const CardContent& content,
                 const token::Session::Handles& olderInfoObjects) {
    token::Session::Handles leftovers;
    if (!findAll(session, {keyLabel, nonceLabel, persoLabel}, leftovers)) {
        return false;
    }
    token::Session::Handles written;
    const bool done =
        writeKey(session, content.key, written) && writeData(session, nonceLabel, content.nonce, yes, written) &&
        (content.persoData.isEmpty() || writeData(session, persoLabel, content.persoData, yes, written)) &&
        holdsJust(session, {infoLabel}, olderInfoObjects) &&
        session.destroy(leftovers, "objects of an earlier attempt") &&
        writeData(session, infoLabel, content.info, no, written) &&
        holdsJust(session, {keyLabel, nonceLabel, persoLabel, infoLabel}, joined(written, olderInfoObjects)) &&
        session.destroy(olderInfoObjects, infoLabel);
    // The last object is removed first, so that vx-card-info is never on the card without the others.
    if (!done && !session.destroy(written, "objects of this attempt")) {
        return reportError("Some objects of this attempt stay on the card");
    }
    return done;
}

bool differ(const char* what) {
    return reportError("The card holds another %s", what);
}

/// The only object of a programmed card with this label.
bool findOne(const token::Session& session, const char* label, CK_OBJECT_HANDLE& object) {
    token::Session::Handles found;
    if (!session.find(label, found)) {
        return false;
    }
    object = found.empty() ? CK_INVALID_HANDLE : found.front();
    return found.size() == 1 || reportError("The card has %zu objects named %s", found.size(), label);
}

bool encryptBlock(QByteArrayView key, QByteArrayView block, QByteArray& encrypted) {
    const OpensslPointer<EVP_CIPHER_CTX> context(EVP_CIPHER_CTX_new());
    int size = 0;
    encrypted.fill('\0', block.size());
    return context != nullptr &&
           EVP_EncryptInit_ex(context.get(), EVP_aes_128_ecb(), nullptr,
                              reinterpret_cast<const unsigned char*>(key.data()), nullptr) == 1 &&
           EVP_CIPHER_CTX_set_padding(context.get(), 0) == 1 &&
           EVP_EncryptUpdate(context.get(), reinterpret_cast<unsigned char*>(encrypted.data()), &size,
                             reinterpret_cast<const unsigned char*>(block.data()),
                             static_cast<int>(block.size())) == 1 &&
           size == block.size();
}

/// Whether the card encrypts a random block as `key` does. `isEqual` is only set if it answers.
bool compareKey(const token::Session& session, const QByteArray& key, bool& isEqual) {
    CK_OBJECT_HANDLE object = CK_INVALID_HANDLE;
    QByteArray block;
    QByteArray onCard;
    QByteArray expected;
    if (!findOne(session, keyLabel, object) || !randomBytes(keySize, block) ||
        !session.encrypt(object, keyLabel, block, onCard) || !encryptBlock(key, block, expected)) {
        return false;
    }
    isEqual = onCard == expected;
    return true;
}

bool compareData(const token::Session& session, const char* label, const QByteArray& wanted, const char* what) {
    CK_OBJECT_HANDLE object = CK_INVALID_HANDLE;
    QByteArray content(wanted.size(), '\0');
    const WipeOnExit wipeContent(content);
    return findOne(session, label, object) && session.readValue(object, label, content) &&
           (content == wanted || differ(what));
}

}  // namespace

bool Preparation::HSMProvisioning(std::int32_t slot, const QByteArray& key, const QByteArray& nonce,
                                  std::uint32_t maxCounter, const QString& firmwareId, bool /*reserved*/,
                                  const QByteArray& persoData) {
    // All other checks precede the login, because a wrong PIN uses up one of the card's few attempts.
    const QByteArray identifier = firmwareId.toUtf8();
    if (key.size() != keySize) {
        return reportError("The card needs a key of %lld bytes, not of %lld", qint64{keySize}, qint64{key.size()});
    }
    if (nonce.isEmpty()) {
        return reportError("The nonce of a card can't be empty");
    }
    if (identifier.isEmpty()) {
        return reportError("The firmware identifier of a card can't be empty");
    }
    if (identifier.size() >= identifierSize) {
        return reportError("The firmware identifier has %lld bytes in UTF-8, a card has room for %lld",
                           qint64{identifier.size()}, qint64{identifierSize - 1});
    }
    QByteArray pin = qgetenv("QVORA_HSM_PIN");
    const WipeOnExit wipePin(pin);
    if (pin.isEmpty()) {
        return reportError("The user PIN of the card is missing, it is read from the environment : QVORA_HSM_PIN");
    }
    token::Driver driver("card");
    if (!driver.loadConfigured()) {
        return false;
    }
    driver.lock();
    token::Session session(driver);
    CardState card;
    if (!openCard(driver, slot, token::Session::Access::write, session) || !readCard(session, card)) {
        return false;
    }
    if (card.info.state == operationalState) {
        return reportError("The card in slot %d is programmed already, it is left as it is", slot);
    }
    if (card.info.version == firstGeneration && !persoData.isEmpty()) {
        return reportError("The card in slot %d is of version 1, which can't store personalization data", slot);
    }
    card.info.state = operationalState;
    card.info.counter = maxCounter;
    card.info.identifier = identifier;
    return session.login(pin) && programCard(session, {key, nonce, persoData, infoBytes(card.info)}, card.infoObjects);
}

bool Preparation::getHSMVersionAPI(std::int32_t slot, unsigned char* version) {
    CardInfo info;
    if (!readCardInSlot(slot, info)) {
        return false;
    }
    *version = info.version;
    return true;
}

bool Preparation::getHSMInfo(std::int32_t slot, unsigned char* firmwareId, unsigned int& counter, unsigned char& state,
                             unsigned char* type, unsigned char* version) {
    CardInfo info;
    if (!readCardInSlot(slot, info)) {
        return false;
    }
    // QByteArray has a NUL after its bytes, which is copied, too.
    std::memcpy(firmwareId, info.identifier.constData(), identifierSize + 1);
    std::memcpy(type, info.type.constData(), typeSize + 1);
    counter = info.counter;
    state = info.state;
    *version = info.version;
    return true;
}

CardProof proveCard(std::int32_t slot, const WantedCard& wanted) {
    token::Driver driver("card");
    if (!driver.loadConfigured()) {
        return CardProof::failed;
    }
    token::Session session(driver);
    CardState card;
    if (!openCard(driver, slot, token::Session::Access::read, session) || !readCard(session, card)) {
        return CardProof::failed;
    }
    if (card.info.state != operationalState) {
        return CardProof::fresh;
    }
    if (wanted.key.size() != keySize) {
        static_cast<void>(
            reportError("The card needs a key of %lld bytes, not of %lld", qint64{keySize}, qint64{wanted.key.size()}));
        return CardProof::failed;
    }
    if (card.info.identifier != wanted.firmwareId.leftJustified(identifierSize, '\0') ||
        card.info.counter != wanted.maxCounter) {
        static_cast<void>(differ("firmware identifier or counter"));
        return CardProof::differs;
    }
    QByteArray pin = qgetenv("QVORA_HSM_PIN");
    const WipeOnExit wipePin(pin);
    if (pin.isEmpty()) {
        static_cast<void>(
            reportError("The user PIN of the card is missing, it is read from the environment : QVORA_HSM_PIN"));
        return CardProof::failed;
    }
    bool isKey = false;
    if (!session.login(pin) || !compareKey(session, wanted.key, isKey)) {
        return CardProof::failed;
    }
    token::Session::Handles perso;
    const bool isEqual =
        (isKey || differ("key")) && compareData(session, nonceLabel, wanted.nonce, "nonce") &&
        (wanted.persoData.isEmpty()
             ? session.find(persoLabel, perso) && (perso.empty() || differ("set of personalization data"))
             : compareData(session, persoLabel, wanted.persoData, "set of personalization data"));
    return isEqual ? CardProof::holds : CardProof::differs;
}
