#pragma once

#include "files/FileLoadContext.h"

#include <QString>

/// The grammar in which a text table is read. It doesn't depend on the file's name.
enum class CsvKind : int {
    optionBytes = 0,
    keyArea = 1,
    moduleList = 2,
    externalModuleList = 3,
    diversification = 4,
};

/// Reads the table at `path`, whose name must end in "csv", in the grammar of `kind`. `result` receives the new record,
/// which the context owns; on failure it is unchanged and the fault has been reported. An unknown kind fails without a
/// message.
[[nodiscard]] bool openCsvFile(FileLoadContext& context, const QString& path, CsvKind kind, FileData*& result);
