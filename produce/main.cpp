#include "files/guardProcess.h"
#include "produce/ConsoleListener.h"
#include "produce/ProduceCall.h"
#include "produce/commandLine.h"

#include <QStringDecoder>

int main(int argc, char** argv) {
    guardProcess();
    setenv("LC_ALL", "C.UTF-8", 1);
    setenv("QT_NO_GLIB", "1", 1);  // no process has an event loop, and that of GLib costs each of them time
    QStringList arguments;
    for (int i = 0; i < argc; ++i) {
        QStringDecoder decoder(QStringConverter::Utf8, QStringConverter::Flag::ConvertInitialBom);
        arguments.append(decoder(QByteArrayView(argv[i])));
        if (i > 0 && arguments.constLast().toUtf8() != argv[i]) {
            produce::printFault(QStringLiteral("argument %1 is not in UTF-8").arg(i));
            return produce::statusNothing;
        }
    }
    return produce::run(arguments);
}
