#pragma once

#include "files/FileLoadContext.h"

#include <QString>

/// Which grammar a text table is expected in, whatever its name says.
enum class CsvKind : int {
    optionBytes = 0,
    keyArea = 1,
    moduleList = 2,
    externalModuleList = 3,
    diversification = 4,
};

/// Reads the table at `path`, whose name must end in "csv", in the grammar of `kind`. `result` receives the new
/// record, which the context owns; on failure it is untouched and the fault has been reported. A kind that has no
/// grammar fails without a word.
[[nodiscard]] bool openCsvFile(FileLoadContext& context, const QString& path, CsvKind kind, FileData*& result);
