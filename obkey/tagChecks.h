#pragma once

#include "obkey/McubootTemplate.h"
#include "obkey/ObdataTemplate.h"

namespace obkey {

/// Checks that no entry occurs twice in `tags`, and reports the first one that does. For a list with `nameTagMarker`,
/// the message names the element kind `duplicateGroup`. Any other list is a list of parameter names.
[[nodiscard]] bool checkTagList(const QStringList& tags, const char* duplicateGroup);

/// Checks that no tag occurs more often than allowed. Reports the first fault.
[[nodiscard]] bool checkDuplicateTags(const ObdataTags& tags);
[[nodiscard]] bool checkDuplicateTags(const McubootTags& tags);

/// Checks that every mandatory tag is present. Reports the first one that is missing.
[[nodiscard]] bool checkMandatoryTags(const ObdataTags& tags);
[[nodiscard]] bool checkMandatoryTags(const McubootTags& tags);

}  // namespace obkey
