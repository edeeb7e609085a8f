#pragma once

#include "desktop/page/PageRow.h"

#include <QList>

namespace desktop {

/// All pages, in the order of the list.
[[nodiscard]] const QList<PageRow>& pageTable();

}  // namespace desktop
