#include "display/buildVersion.h"
#include "inspect/commandLine.h"

#include <QCoreApplication>
#include <QStringDecoder>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <cstring>

namespace {

// Qt would replace what isn't UTF-8, and another file could be opened.
bool isUtf8(const char* text) {
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString decoded = decoder(QByteArrayView(text));
    return !decoder.hasError() && !decoded.contains(QChar::ReplacementCharacter);
}

bool wantsJson(int argc, char** argv) {
    return std::any_of(argv + 1, argv + argc, [](const char* word) { return std::strcmp(word, "--json") == 0; });
}

}  // namespace

int main(int argc, char** argv) {
    // A file that may grow no further and a reader that went away are writes that fail, and not the end of the run.
    std::signal(SIGXFSZ, SIG_IGN);
    std::signal(SIGPIPE, SIG_IGN);
    setenv("LC_ALL", "C.UTF-8", 1);
    for (int i = 1; i < argc; ++i) {
        if (!isUtf8(argv[i])) {
            return inspect::refuseArgument(i, wantsJson(argc, argv));
        }
    }
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("qvora-inspect"));
    QCoreApplication::setApplicationVersion(QString::fromLatin1(buildVersion));
    return inspect::run(QCoreApplication::arguments());
}
