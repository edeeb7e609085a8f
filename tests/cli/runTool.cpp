#include "cli/CommandLineTool.h"
#include "tests/cli/keyTraces.h"

int runInHere(int argc, char** argv) {
    cli::CommandLineTool tool;
    return tool.run(argc, argv);
}
