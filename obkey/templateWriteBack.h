#pragma once

#include "obkey/McubootTemplate.h"
#include "obkey/ObdataTemplate.h"
#include "obkey/PasswordMask.h"

#include <QByteArray>

/// No `Enable` tag is to be changed.
inline constexpr std::uint32_t enableUnchanged = 2;

/// What is to stand in the first element of a template that is named `name`. Without a name or a value, no value is
/// written.
struct TemplateValue {
    TagText name;
    TagText value;
    std::uint32_t enable = enableUnchanged;  ///< 0 or 1 for its `Enable` tag, if it has one
};

/// Puts all `values` into a template, as it lies on disk: each directly behind the `Name` tag, in the place of a
/// `Value` that stands there. A `Value` elsewhere in the element goes. Layout and comments stay.
void setTemplateValues(const QList<TemplateValue>& values, QByteArray& bytes);

/// Writes what was used for `params` into the template at `xmlPath`. A fault is told, but for a template that can't be
/// opened for reading.
void rewriteTemplateValues(const QList<ObkeyParam>& params, const PasswordMask& passwords, const QString& xmlPath);

/// The same for a `McubootFormat` template. False if it wasn't written.
[[nodiscard]] bool saveConfiguration(const McubootConfig& config);
