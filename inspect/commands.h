#pragma once

#include "inspect/Call.h"

#include <span>

namespace inspect {

struct CommandRow {
    const char* name;
    int files;  ///< how many files it needs; 0 for one or more
    const char* help;
    void (*run)(Call& call, const QStringList& files);  ///< leaves the status in the report
};

[[nodiscard]] std::span<const CommandRow> commandTable();
[[nodiscard]] const CommandRow* commandByName(const QString& name);

}  // namespace inspect
