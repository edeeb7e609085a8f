#pragma once

#include "devices/Device.h"
#include "inspect/policy.h"

namespace inspect {

/// Replaces what a policy says in terms of a device by addresses and numbers: the memories of the device become the
/// allowed memory, and registers, fields and named values become words, masks and values. `device` may be null; then
/// the policy must not need it. On failure `fault` says why.
[[nodiscard]] bool applyDevice(const devices::Device* device, Policy& policy, QString& fault);

}  // namespace inspect
