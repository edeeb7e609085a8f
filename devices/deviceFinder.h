#pragma once

#include "devices/Device.h"

#include <QStringList>

struct FoundDevice {
    Device device;
    QString path;
    bool isUsers = false;  ///< from the user's folder
};

/// What was found in the folders of descriptions.
struct DeviceSearch {
    QList<FoundDevice> devices;  ///< one for each DeviceID, ascending
    QStringList remarks;         ///< a line for each description that isn't among them, and why

    /// The device with `deviceId`; null if there is none.
    [[nodiscard]] const Device* find(std::uint32_t deviceId) const;
};

/// The folder of the descriptions that come with the program: `Data_Base` beside the executable.
[[nodiscard]] QString shippedDescriptions();

/// Reads every `*.xml` file of the two folders, by name, not those of folders in them. Of two descriptions of one
/// device, the user's counts; within one folder, the first. A folder that isn't there, or whose path is empty, holds
/// none.
[[nodiscard]] DeviceSearch findDevices(const QString& shippedFolder, const QString& userFolder);
