#pragma once

#include "files/FileHandle.h"

#include <QString>

#include <p11-kit/pkcs11.h>

#include <cstdint>
#include <vector>

namespace token {

/// A driver of cards and tokens that follows PKCS #11 (OASIS, version 2.40), loaded when an operation needs it.
///
/// The process initialises each driver once, for all Driver objects that use it, and finalises it with the last of
/// them. If other code of the process has initialised it, that code also finalises it. A child of fork must not use its
/// parent's sessions: in a child, the destructors of inherited objects do nothing, and a new Driver initialises the
/// driver again. Different threads can use different Driver objects.
///
/// The library isn't unloaded, because some drivers leave threads or exit handlers that still need its code.
class Driver {
  public:
    /// `device` is the word for the driver's device in messages, such as "card" or "token".
    explicit Driver(const char* device) : device_(device) {}
    ~Driver();
    Driver(const Driver&) = delete;
    Driver& operator=(const Driver&) = delete;

    /// Loads and initialises the library in QVORA_HSM_MODULE, or p11-kit's proxy if the variable isn't set. False, with
    /// a message, if it can't be loaded or isn't a PKCS #11 driver.
    [[nodiscard]] bool loadConfigured();
    /// Loads and initialises the library at `path`.
    [[nodiscard]] bool load(const QString& path);
    /// Waits until no other run on this machine holds the driver's lock, then holds it until this object is destroyed.
    void lock();

    /// The slots with a token, in the driver's order.
    [[nodiscard]] bool listSlots(std::vector<CK_SLOT_ID>& found) const;
    /// Finds the slot at `position`, from 0, among those with a token. False, with a message, if there is none.
    [[nodiscard]] bool findSlot(std::int32_t position, CK_SLOT_ID& slot) const;

    [[nodiscard]] const CK_FUNCTION_LIST& functions() const { return *functions_; }
    [[nodiscard]] const char* device() const { return device_; }
    /// Whether this process loaded the driver, not the parent that it was forked from.
    [[nodiscard]] bool isOfThisProcess() const;
    /// Reports every return value except CKR_OK, with its name. `label` is the object of the call.
    [[nodiscard]] bool succeeded(CK_RV answer, const char* function, const char* label) const;

  private:
    [[nodiscard]] bool start();

    const char* device_;
    CK_FUNCTION_LIST* functions_ = nullptr;
    FileHandle lock_;
    pid_t process_ = 0;  // 0: not initialised
};

}  // namespace token
