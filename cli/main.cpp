#include "cli/CommandLineTool.h"

#include <csignal>

int main(int argc, char** argv) {
    // A file that may grow no further is a write that fails, with its message, and not the end of the run.
    std::signal(SIGXFSZ, SIG_IGN);
    CommandLineTool tool;
    return tool.run(argc, argv);
}
