#include "devices/deviceFinder.h"

#include "devices/deviceReader.h"

#include <QCoreApplication>
#include <QDir>

#include <algorithm>
#include <utility>

namespace devices {

namespace {

constexpr qsizetype mostFiles = 1000;  // of one folder

void addDevice(const QString& path, bool isUsers, DeviceSearch& search) {
    FoundDevice found = {{}, path, isUsers};
    TextFault fault;
    if (!readDeviceFile(path, found.device, fault)) {
        search.remarks += path + QStringLiteral(": ") + faultLine(fault);
        return;
    }
    const auto place =
        std::lower_bound(search.devices.begin(), search.devices.end(), found.device.deviceId,
                         [](const FoundDevice& other, std::uint32_t id) { return other.device.deviceId < id; });
    if (place != search.devices.end() && place->device.deviceId == found.device.deviceId) {
        search.remarks += QStringLiteral("%1: not used, as %2 describes the device 0x%3, too")
                              .arg(path, place->path, QString::number(found.device.deviceId, 16).toUpper());
        return;
    }
    search.devices.insert(place, found);
}

void addFolder(const QString& path, bool isUsers, DeviceSearch& search) {
    if (path.isEmpty()) {
        return;  // QDir treats an empty path as the current folder
    }
    const QDir folder(path);
    QStringList names = folder.entryList({QStringLiteral("*.xml")}, QDir::Files, QDir::Name);
    if (names.size() > mostFiles) {
        search.remarks +=
            QStringLiteral("%1: only the first %2 descriptions are read").arg(path, QString::number(mostFiles));
        names.resize(mostFiles);
    }
    for (const QString& name : std::as_const(names)) {
        addDevice(folder.filePath(name), isUsers, search);
    }
}

}  // namespace

const Device* DeviceSearch::find(std::uint32_t deviceId) const {
    const auto found = std::find_if(devices.begin(), devices.end(),
                                    [deviceId](const FoundDevice& other) { return other.device.deviceId == deviceId; });
    return found == devices.end() ? nullptr : &found->device;
}

QString shippedDescriptions() {
    return QDir(QCoreApplication::applicationDirPath()).filePath(QStringLiteral("Data_Base"));
}

DeviceSearch findDevices(const QString& shippedFolder, const QString& userFolder) {
    DeviceSearch search;
    addFolder(userFolder, true, search);
    addFolder(shippedFolder, false, search);
    return search;
}

}  // namespace devices
