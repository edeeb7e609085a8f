#pragma once

#include <QByteArrayView>

/// The layout of a prepared module file (KMD). All numbers are little-endian.
///
///     offset  size  field
///          0     8  magic
///          8     4  load address; 0 in a relocatable module
///         12        the module
namespace preparedModule {

inline constexpr QByteArrayView magic = "KMDMAGIC";
inline constexpr qsizetype loadAddressOffset = 8;

}  // namespace preparedModule
