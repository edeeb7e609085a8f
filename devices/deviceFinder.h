#pragma once

#include "devices/Device.h"

#include <QStringList>

namespace devices {

struct FoundDevice {
    Device device;
    QString path;
    bool isUsers = false;  ///< whether it is from the user's folder
};

/// The descriptions in the two folders.
struct DeviceSearch {
    QList<FoundDevice> devices;  ///< one for each DeviceID, ascending
    QStringList remarks;         ///< one line for each description that isn't used, with the reason

    /// The device with `deviceId`; null if there is none.
    [[nodiscard]] const Device* find(std::uint32_t deviceId) const;
};

/// The folder of the descriptions that are shipped with the program: `Data_Base` in the executable's folder.
[[nodiscard]] QString shippedDescriptions();

/// Reads every `*.xml` file of the two folders, in the order of their names. Subfolders are ignored. If both folders
/// describe a device, the user's description is used. If one folder describes a device twice, the first description is
/// used. A missing folder or an empty path counts as a folder without descriptions.
[[nodiscard]] DeviceSearch findDevices(const QString& shippedFolder, const QString& userFolder);

}  // namespace devices
