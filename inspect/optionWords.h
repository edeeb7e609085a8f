#pragma once

#include "devices/deviceFinder.h"
#include "inspect/Description.h"

#include <optional>

namespace inspect {

/// The names of option words, from device descriptions.
struct RegisterNames {
    devices::DeviceSearch devices;
    std::optional<std::uint32_t> deviceId;  ///< the device that the user chose

    /// The chosen device. Without a choice, the only device with this number of option words. Null if there is none.
    [[nodiscard]] const devices::Device* deviceFor(qsizetype words) const;
};

constexpr std::size_t mostOptionWords = 65535;  ///< no table of option bytes has more

/// Reads the first `mostOptionWords` option words, low byte first. `device` names them and their fields; it may be
/// null.
[[nodiscard]] std::vector<OptionWord> readOptionWords(QByteArrayView bytes, const devices::Device* device);

}  // namespace inspect
