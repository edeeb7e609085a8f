#pragma once

#include "obkey/McubootTemplate.h"
#include "obkey/ObdataTemplate.h"
#include "obkey/PasswordMask.h"

#include <QByteArray>

namespace obkey {

/// Leaves the `Enable` tag unchanged.
inline constexpr std::uint32_t enableUnchanged = 2;

/// The new value of the first element with the name `name` in a template. If `name` or `value` is missing, no value is
/// written.
struct TemplateValue {
    TagText name;
    TagText value;
    std::uint32_t enable = enableUnchanged;  ///< 0 or 1 for its `Enable` tag, if it has one
};

/// Writes all `values` into the text of a template. Each is put directly after the `Name` tag and replaces a `Value`
/// there. Any other `Value` in the element is removed. Layout and comments stay.
void setTemplateValues(const QList<TemplateValue>& values, QByteArray& bytes);

/// Writes the values of `params` into the template at `xmlPath`. Reports a fault, except a template that can't be
/// opened for reading.
void rewriteTemplateValues(const QList<ObkeyParam>& params, const PasswordMask& passwords, const QString& xmlPath);

/// Does the same for a `McubootFormat` template. False if it wasn't written.
[[nodiscard]] bool saveConfiguration(const McubootConfig& config);

}  // namespace obkey
