#pragma once

#include "obkey/McubootTemplate.h"
#include "obkey/ObdataTemplate.h"

/// Reports the first entry that stands twice in `tags`. A list with the marker of a tag list names the element kind
/// `duplicateGroup`; any other is taken as a list of parameter names.
[[nodiscard]] bool checkTagList(const QStringList& tags, const char* duplicateGroup);

/// No tag stands twice that may stand once; the first fault is told.
[[nodiscard]] bool checkDuplicateTags(const ObdataTags& tags);
[[nodiscard]] bool checkDuplicateTags(const McubootTags& tags);

/// Every mandatory tag is there; the first one that is missing is told.
[[nodiscard]] bool checkMandatoryTags(const ObdataTags& tags);
[[nodiscard]] bool checkMandatoryTags(const McubootTags& tags);
