#pragma once

#include "devices/Device.h"
#include "devices/TextFault.h"

/// Limits of a description. Within them a hostile one takes a fraction of a second and a few megabytes.
constexpr qint64 maxDescriptionSize = qint64{1} << 20;  ///< bytes
constexpr qsizetype maxNameLength = 64;                 ///< characters
constexpr qsizetype maxDescriptionLength = 1000;        ///< characters
constexpr std::uint32_t maxFuseWords = 4096;

/// Reads a device description, an XML document in UTF-8 as docs/formats.md tells. False at the first fault, which goes
/// to `fault`; `device` is touched only on success. Nothing is printed.
[[nodiscard]] bool readDevice(const QByteArray& document, Device& device, TextFault& fault);

/// The same for the file at `path`.
[[nodiscard]] bool readDeviceFile(const QString& path, Device& device, TextFault& fault);
