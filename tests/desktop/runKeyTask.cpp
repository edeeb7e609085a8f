// Runs one task of the page "Keys and nonces". Arguments: random|curve|rsa|hash PATH [PUBLIC-PATH]

#include "Preparation/src/ec_crypto.h"
#include "desktop/keys/keyTasks.h"
#include "tests/cli/keyTraces.h"
#include "tests/desktop/DesktopKit.h"

#include <cstdio>

int runInHere(int argc, char** argv) {
    const std::unique_ptr<QApplication> application = makeTestApplication(argc, argv);
    const DesktopKit kit;  // the task runs beside a window, as in the program
    const QStringList names = {QStringLiteral("random"), QStringLiteral("curve"), QStringLiteral("rsa"),
                               QStringLiteral("hash")};
    const QStringList arguments = QCoreApplication::arguments();
    desktop::KeyRequest request;
    request.task = static_cast<desktop::KeyTask>(names.indexOf(arguments.value(1)));
    request.path = arguments.value(2);
    request.publicPath = arguments.value(3);
    request.size = 64;
    request.curve = prime256v1Nid;
    const desktop::KeyAnswer answer = desktop::runKeyTask(request, std::atomic<bool>(false));
    std::fputs(qPrintable(answer.fault), stderr);
    return answer.fault.isEmpty() ? 0 : 1;
}
