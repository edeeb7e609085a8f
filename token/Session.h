#pragma once

#include "token/Driver.h"

#include <QByteArray>
#include <QByteArrayView>

#include <span>
#include <vector>

namespace token {

/// One session with a card or token. If an operation fails, it reports the name of the driver's return value. The
/// destructor closes the session and, after the last session with this token, logs the user out.
class Session {
  public:
    using Handles = std::vector<CK_OBJECT_HANDLE>;

    explicit Session(const Driver& driver) : driver_(driver) {}
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    enum class Access { read, write };
    [[nodiscard]] bool open(CK_SLOT_ID slot, Access access);
    /// Logs the user in. A null PIN lets the token's own keypad ask for it.
    [[nodiscard]] bool login(QByteArrayView pin);

    /// Appends the token's objects with this label to `found`. Before a login, finds only public objects.
    [[nodiscard]] bool find(const char* label, Handles& found) const;
    /// Appends the objects with these attributes to `found`. The messages contain `label`.
    [[nodiscard]] bool find(std::span<CK_ATTRIBUTE> wanted, const char* label, Handles& found) const;
    /// Reads the value of an object into `value`. The caller gives `value` the expected size. It is a failure if the
    /// object's value has another size.
    [[nodiscard]] bool readValue(CK_OBJECT_HANDLE object, const char* label, QByteArray& value) const;

    enum class Attribute { present, absent, failed };
    /// Reads an attribute of any size. It is absent if the object has none or the token doesn't disclose it. Only a
    /// failure is reported.
    [[nodiscard]] Attribute readAttribute(CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type, QByteArray& value) const;
    /// Reads a flag, which has the value `missing` if it is absent.
    [[nodiscard]] bool readFlag(CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type, bool missing, bool& value) const;
    /// Reads a number such as CKA_KEY_TYPE. Absent also for a value of another size.
    [[nodiscard]] Attribute readNumber(CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type, CK_ULONG& value) const;

    /// Encrypts blocks of 16 bytes with an AES key on the token (CKM_AES_ECB).
    [[nodiscard]] bool encrypt(CK_OBJECT_HANDLE key, const char* label, QByteArrayView plain,
                               QByteArray& encrypted) const;
    /// Creates an object and appends it to `created`.
    [[nodiscard]] bool create(std::vector<CK_ATTRIBUTE>& attributes, const char* label, Handles& created) const;
    /// Removes objects, beginning with the last one, and stops at the first that can't be removed. An object that
    /// another process removed counts as removed. The message contains `label`.
    [[nodiscard]] bool destroy(const Handles& objects, const char* label) const;

    /// A mechanism without parameters, and a key.
    struct Operation {
        CK_MECHANISM_TYPE mechanism = 0;
        CK_OBJECT_HANDLE key = CK_INVALID_HANDLE;
        /// The PIN of a key that wants a login for each signature; null if the token's own keypad asks for it.
        const QByteArray* pin = nullptr;
    };
    /// Signs `data`, or computes its MAC. A result of more than `maxSize` bytes is a failure.
    [[nodiscard]] bool sign(const Operation& operation, QByteArrayView data, qsizetype maxSize,
                            QByteArray& result) const;
    /// Computes the AES-CMAC (NIST SP 800-38B) of `message` with a secret key of the token: 16 bytes.
    [[nodiscard]] bool computeCmac(CK_OBJECT_HANDLE key, QByteArrayView message, QByteArray& mac) const;

    [[nodiscard]] const Driver& driver() const { return driver_; }
    [[nodiscard]] CK_SLOT_ID slot() const { return slot_; }

  private:
    [[nodiscard]] const CK_FUNCTION_LIST& call() const { return driver_.functions(); }

    const Driver& driver_;
    CK_SLOT_ID slot_ = 0;
    CK_SESSION_HANDLE session_ = CK_INVALID_HANDLE;
};

}  // namespace token
