#include "inspect/commandLine.h"

#include <QCoreApplication>
#include <QStringDecoder>

#include <csignal>
#include <cstdio>
#include <cstdlib>

namespace {

// Qt would replace what isn't UTF-8, and another file could be opened.
bool isUtf8(const char* text) {
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString decoded = decoder(QByteArrayView(text));
    return !decoder.hasError() && !decoded.contains(QChar::ReplacementCharacter);
}

}  // namespace

int main(int argc, char** argv) {
    // A file that may grow no further and a reader that went away are writes that fail, and not the end of the run.
    std::signal(SIGXFSZ, SIG_IGN);
    std::signal(SIGPIPE, SIG_IGN);
    setenv("LC_ALL", "C.UTF-8", 1);
    for (int i = 1; i < argc; ++i) {
        if (!isUtf8(argv[i])) {
            std::fprintf(stderr, "qvora-inspect: argument %d is not in UTF-8\n", i);
            return 2;
        }
    }
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("qvora-inspect"));
    QCoreApplication::setApplicationVersion(QStringLiteral(QVORA_VERSION));
    return inspect::run(QCoreApplication::arguments());
}
