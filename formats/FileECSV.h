#pragma once

#include "files/FileData.h"

/// One module for external memory, with the settings of the decryption peripheral.
struct EcsvModule {
    std::uint8_t hasLicense = 0;
    std::uint32_t destinationAddress = 0;
    std::uint32_t moduleSize = 0;
    std::uint32_t licenseSize = 0;
    std::uint32_t hsmIdSize = 0;
    std::uint32_t regionNumber = 0;
    std::uint32_t regionMode = 0;
    std::uint32_t keyAddress = 0;
    QByteArray license;
    QByteArray hsmId;
    QByteArray moduleData;
    QByteArray moduleName;
};

/// A list of modules for external memory. `segmentCount` counts the modules.
struct FileECSV : FileData {
    std::vector<EcsvModule> modules;
    bool destinationNone = false;  ///< set by a line with the address "none"; it then applies to all later lines
};
