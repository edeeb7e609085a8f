#include "desktop/pageTable.h"

#include <QtGlobal>

const QList<PageRow>& pageTable() {
    static const QList<PageRow> rows = {};
    return rows;
}
