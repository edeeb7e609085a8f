#pragma once

#include "files/FileHandle.h"

#include <QByteArray>
#include <QByteArrayView>

#include <p11-kit/pkcs11.h>

#include <cstdint>
#include <vector>

namespace token {

/// A card driver that follows PKCS #11 (OASIS, version 2.40), loaded when an operation needs it.
///
/// The library isn't unloaded, because some drivers leave threads or exit handlers that still need its code.
class Pkcs11Module {
  public:
    Pkcs11Module() = default;
    ~Pkcs11Module();
    Pkcs11Module(const Pkcs11Module&) = delete;
    Pkcs11Module& operator=(const Pkcs11Module&) = delete;

    /// Loads and initialises the library in QVORA_HSM_MODULE, or p11-kit's proxy if the variable isn't set. False, with
    /// a message, if it can't be loaded or isn't a PKCS #11 driver.
    [[nodiscard]] bool load();
    /// Waits until no other run on this machine holds the driver's lock, then holds it until this object is destroyed.
    void lock();
    /// Finds the slot at `position`, from 0, among those with a token. False, with a message, if there is none.
    [[nodiscard]] bool findSlot(std::int32_t position, CK_SLOT_ID& slot) const;

    [[nodiscard]] const CK_FUNCTION_LIST& functions() const { return *functions_; }

  private:
    CK_FUNCTION_LIST* functions_ = nullptr;
    FileHandle lock_;
    bool finalize_ = false;  // false if other code in this process initialised the driver
};

/// One session with a token. If an operation fails, it reports the name of the driver's return value.
class Pkcs11Session {
  public:
    using Handles = std::vector<CK_OBJECT_HANDLE>;

    explicit Pkcs11Session(const Pkcs11Module& module) : module_(module) {}
    ~Pkcs11Session();
    Pkcs11Session(const Pkcs11Session&) = delete;
    Pkcs11Session& operator=(const Pkcs11Session&) = delete;

    enum class Access { read, write };
    [[nodiscard]] bool open(std::int32_t slotPosition, Access access);
    /// Logs the user in. The destructor logs the user out.
    [[nodiscard]] bool login(QByteArrayView pin);

    /// Appends the token's objects with this label to `found`. Before a login, finds only public objects.
    [[nodiscard]] bool find(const char* label, Handles& found) const;
    /// Reads the value of an object into `value`. The caller gives `value` the expected size. It is a failure if the
    /// object's value has another size.
    [[nodiscard]] bool readValue(CK_OBJECT_HANDLE object, const char* label, QByteArray& value) const;
    /// Encrypts blocks of 16 bytes with an AES key on the token (CKM_AES_ECB).
    [[nodiscard]] bool encrypt(CK_OBJECT_HANDLE key, const char* label, QByteArrayView plain,
                               QByteArray& encrypted) const;
    /// Creates an object and appends it to `created`.
    [[nodiscard]] bool create(std::vector<CK_ATTRIBUTE>& attributes, const char* label, Handles& created) const;
    /// Removes objects, beginning with the last one, and stops at the first that can't be removed. An object that
    /// another process removed counts as removed. The message contains `label`.
    [[nodiscard]] bool destroy(const Handles& objects, const char* label) const;

  private:
    const Pkcs11Module& module_;
    CK_SESSION_HANDLE session_ = CK_INVALID_HANDLE;
    bool loggedIn_ = false;
};

}  // namespace token
