#include "display/buildVersion.h"
#include "inspect/commandLine.h"
#include "inspect/extract.h"

#include <QCoreApplication>

#include <cxxabi.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>
#include <typeinfo>

namespace {

bool wantsJson(int argc, char** argv) {
    return std::any_of(argv + 1, argv + argc, [](const char* word) { return std::strcmp(word, "--json") == 0; });
}

[[noreturn]] void endWithoutMemory() {
    constexpr char text[] = "qvora-inspect: not enough memory\n";
    inspect::removeUnfinished();
    static_cast<void>(!write(STDERR_FILENO, text, sizeof text - 1));
    _exit(inspect::statusUndecided);
}

// Qt's containers throw when they get no memory, and no code here catches exceptions.
[[noreturn]] void endUncaught() {
    const std::type_info* const type = abi::__cxa_current_exception_type();
    if (type != nullptr && *type == typeid(std::bad_alloc)) {
        endWithoutMemory();
    }
    std::abort();
}

}  // namespace

int main(int argc, char** argv) {
    std::set_new_handler(endWithoutMemory);
    std::set_terminate(endUncaught);
    // A file at its size limit and a closed pipe make a write fail; their signals must not end the run.
    std::signal(SIGXFSZ, SIG_IGN);
    std::signal(SIGPIPE, SIG_IGN);
    setenv("LC_ALL", "C.UTF-8", 1);
    for (int i = 1; i < argc; ++i) {
        if (!inspect::isUtf8(argv[i])) {
            return inspect::refuseArgument(i, wantsJson(argc, argv));
        }
    }
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("qvora-inspect"));
    QCoreApplication::setApplicationVersion(QString::fromLatin1(buildVersion));
    return inspect::run(QCoreApplication::arguments());
}
