#pragma once

#include "cli/Command.h"
#include "display/Display.h"

#include <array>
#include <bitset>
#include <cstddef>

namespace cli {

/// One option of a command. An option whose row has no handler is accepted and ignored.
template <class Handler>
struct OptionRow {
    const char* shortName;
    const char* longName;
    const char* onceWord = nullptr;     ///< names the option in the warning at its second occurrence; null: may repeat
    const char* missingText = nullptr;  ///< the error if the option has no parameter; null: the handler checks it
    Flow (Handler::*handle)(const QStringList& params) = nullptr;
    int files = 0;            ///< how many of the first parameters name files
    bool endsParser = false;  ///< the options after this one belong to another command
    DerivedPath derived = nullptr;
};

/// The rows of a command's table that its command line has used.
using GivenOptions = std::bitset<32>;

/// The names in a command's table.
template <class Handler, std::size_t rowCount>
constexpr std::array<OptionNames, rowCount> namesOf(const OptionRow<Handler> (&rows)[rowCount]) {
    std::array<OptionNames, rowCount> names{};
    for (std::size_t i = 0; i < rowCount; ++i) {
        names[i] = {rows[i].shortName, rows[i].longName, rows[i].files, rows[i].derived};
    }
    return names;
}

/// Handles the options after the command word, in order, until a handler ends the run. Each option uses the first row
/// of its name. A once-only option gives a warning at its second occurrence, and a missing value is an error. Then the
/// handler runs. An option without a row is ignored, with a warning if `unknownCommand` names the command.
template <class Handler, std::size_t rowCount>
Flow walkOptions(Handler& command, const OptionRow<Handler> (&rows)[rowCount], const char* unknownCommand) {
    static_assert(rowCount <= GivenOptions{}.size());
    for (const CliOption& option : command.call.options) {
        std::size_t found = 0;
        while (found < rowCount && option.name != QLatin1String(rows[found].shortName) &&
               option.name != QLatin1String(rows[found].longName)) {
            ++found;
        }
        if (found == rowCount) {
            if (unknownCommand != nullptr) {
                displayMessage(MessageKind::warning, "There is no %s option with the %s command, it will be ignored",
                               qUtf8Printable(option.name), unknownCommand);
            }
            continue;
        }
        const OptionRow<Handler>& row = rows[found];
        if (row.endsParser) {
            break;
        }
        if (row.handle == nullptr) {
            continue;
        }
        if (row.onceWord != nullptr && command.given.test(found)) {
            displayMessage(MessageKind::warning, "The %s option is only needed once, the first one is ignored",
                           row.onceWord);
        }
        command.given.set(found);
        if (row.missingText != nullptr && option.params.isEmpty()) {
            reportError("%s", row.missingText);
            return Flow::end(1);
        }
        const Flow flow = (command.*row.handle)(option.params);
        if (flow.ends()) {
            return flow;
        }
    }
    return Flow::goOn();
}

/// Whether the command line has used the row of this short name.
template <class Handler, std::size_t rowCount>
[[nodiscard]] bool wasGiven(const OptionRow<Handler> (&rows)[rowCount], const GivenOptions& given,
                            const char* shortName) {
    for (std::size_t i = 0; i < rowCount; ++i) {
        if (QLatin1String(rows[i].shortName) == QLatin1String(shortName)) {
            return given.test(i);
        }
    }
    return false;
}

}  // namespace cli
