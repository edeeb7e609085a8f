#pragma once

#include "files/FileData.h"

/// One module of a list, with the content of its files.
struct McsvModule {
    std::uint8_t hasLicense = 0;
    std::uint32_t destinationAddress = 0;
    std::uint32_t moduleSize = 0;
    std::uint32_t licenseSize = 0;
    std::uint32_t hsmIdSize = 0;
    QByteArray license;
    QByteArray hsmId;
    QByteArray moduleData;
    QByteArray moduleName;
};

/// A module list. `segmentCount` counts the modules.
struct FileMCSV : FileData {
    std::vector<McsvModule> modules;
    bool destinationNone = false;  ///< set by a line with the address "none"; it then applies to all later lines
};
