#include "cli/failRun.h"

#include "display/Display.h"

#include <cstdarg>

namespace cli {

Flow failRun(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    Display::getInstance()->displayMessageV(MessageKind::error, format, arguments);
    va_end(arguments);
    return Flow::end(1);
}

Flow failRunOver(const QStringList& paths, const char* text) {
    for (const QString& path : paths) {
        displayMessage(MessageKind::grey, "%s", qUtf8Printable(path));
    }
    return failRun("%s", text);
}

}  // namespace cli
