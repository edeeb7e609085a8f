#include "display/Display.h"
#include "display/MessageCollector.h"
#include "files/guardProcess.h"
#include "sign/commandLine.h"

#include <cstdio>
#include <cstdlib>

namespace {

/// Prints errors and warnings to standard error. The other messages of the libraries are progress.
void print(std::int32_t kind, const wchar_t* text) {
    const auto row = static_cast<MessageKind>(kind);
    if (row == MessageKind::error || row == MessageKind::warning) {
        std::fprintf(stderr, "qvora-sign: %s%s\n", row == MessageKind::warning ? "warning: " : "",
                     qUtf8Printable(shownMessage(QString::fromWCharArray(text))));
    }
}

}  // namespace

int main(int argc, char** argv) {
    guardProcess();
    setenv("LC_ALL", "C.UTF-8", 1);
    Display::getInstance()->callback = print;
    return calls::run(sign::program(), argc, argv);
}
