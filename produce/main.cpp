#include "files/guardProcess.h"
#include "produce/commandLine.h"

#include <cstdlib>

int main(int argc, char** argv) {
    guardProcess();
    setenv("LC_ALL", "C.UTF-8", 1);
    setenv("QT_NO_GLIB", "1", 1);  // no process has an event loop, and that of GLib costs each of them time
    return calls::run(produce::program(), argc, argv);
}
