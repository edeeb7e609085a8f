#pragma once

#include "files/FileHandle.h"

#include <QByteArray>
#include <QByteArrayView>

#include <p11-kit/pkcs11.h>

#include <cstdint>
#include <vector>

/// A card driver that follows PKCS #11 (OASIS, version 2.40), loaded when an operation needs it.
///
/// The library is not unloaded: some drivers leave threads or exit handlers that would then run into nothing.
class Pkcs11Module {
  public:
    Pkcs11Module() = default;
    ~Pkcs11Module();
    Pkcs11Module(const Pkcs11Module&) = delete;
    Pkcs11Module& operator=(const Pkcs11Module&) = delete;

    /// Loads and initialises the library that QVORA_HSM_MODULE names, else p11-kit's proxy. False, with a message,
    /// if it can't be loaded or is no PKCS #11 driver.
    [[nodiscard]] bool load();
    /// Waits until no other run of this machine holds the driver's lock, which this one then holds until it ends.
    void lock();
    /// Finds the slot at `position` among those that hold a token, from 0. False, with a message, if there is none.
    [[nodiscard]] bool findSlot(std::int32_t position, CK_SLOT_ID& slot) const;

    [[nodiscard]] const CK_FUNCTION_LIST& functions() const { return *functions_; }

  private:
    CK_FUNCTION_LIST* functions_ = nullptr;
    FileHandle lock_;
    bool finalize_ = false;  // false if somebody else in the process had initialised the driver
};

/// One session with a token. Every operation reports its failure with the name of the driver's answer.
class Pkcs11Session {
  public:
    using Handles = std::vector<CK_OBJECT_HANDLE>;

    explicit Pkcs11Session(const Pkcs11Module& module) : module_(module) {}
    ~Pkcs11Session();
    Pkcs11Session(const Pkcs11Session&) = delete;
    Pkcs11Session& operator=(const Pkcs11Session&) = delete;

    enum class Access { read, write };
    [[nodiscard]] bool open(std::int32_t slotPosition, Access access);
    /// Logs the user in. Logged out again when the session goes.
    [[nodiscard]] bool login(QByteArrayView pin);

    /// Appends the token's objects with that label to `found`: the public ones before a login, all of them after it.
    [[nodiscard]] bool find(const char* label, Handles& found) const;
    /// Reads the value of an object into `value`, which has the expected size. A value of another size is a failure.
    [[nodiscard]] bool readValue(CK_OBJECT_HANDLE object, const char* label, QByteArray& value) const;
    /// Makes an object and appends it to `created`.
    [[nodiscard]] bool create(std::vector<CK_ATTRIBUTE>& attributes, const char* label, Handles& created) const;
    /// Removes objects, the last one first, up to the first that can't be removed. An object that another process has
    /// removed counts as removed. `label` is for the message.
    [[nodiscard]] bool destroy(const Handles& objects, const char* label) const;

  private:
    const Pkcs11Module& module_;
    CK_SESSION_HANDLE session_ = CK_INVALID_HANDLE;
    bool loggedIn_ = false;
};
