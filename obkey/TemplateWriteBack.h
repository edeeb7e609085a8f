#pragma once

#include "obkey/ObkeyParam.h"

#include <QByteArray>
#include <QString>

/// Puts `value` into the first element of a template that is named `name`: directly behind its `Name` tag, in the place
/// of a `Value` that stands there. A `Value` elsewhere in the element goes. `bytes` is the template as it lies on disk
/// and keeps its layout and its comments. Without such an element, a name or a value, nothing changes.
void setTemplateValue(const TagText& name, const TagText& value, QByteArray& bytes);

/// Puts 0 or 1 into the `Enable` tag of that element; without one, nothing changes.
void setTemplateEnable(const TagText& name, std::uint32_t enable, QByteArray& bytes);
