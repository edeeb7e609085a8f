#pragma once

#include "devices/Device.h"
#include "devices/TextFault.h"

namespace devices {

/// Limits for a description. Within them, even a malicious description needs only a fraction of a second and a few
/// megabytes.
constexpr qint64 maxDescriptionSize = qint64{1} << 20;  ///< bytes
constexpr qsizetype maxNameLength = 64;                 ///< characters
constexpr qsizetype maxDescriptionLength = 1000;        ///< characters
constexpr std::uint32_t maxFuseWords = 4096;

/// Reads a device description, an XML document in UTF-8 (see docs/formats.md). False at the first fault, which is
/// stored in `fault`; `device` changes only on success. Nothing is printed.
[[nodiscard]] bool readDevice(const QByteArray& document, Device& device, TextFault& fault);

/// Reads the file at `path` in the same way.
[[nodiscard]] bool readDeviceFile(const QString& path, Device& device, TextFault& fault);

}  // namespace devices
