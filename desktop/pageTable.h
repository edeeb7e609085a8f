#pragma once

#include "desktop/page/PageRow.h"

#include <QList>

/// All pages, in the order of the list.
[[nodiscard]] const QList<PageRow>& pageTable();
