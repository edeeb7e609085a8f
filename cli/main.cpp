#include "cli/CommandLineTool.h"
#include "files/guardProcess.h"

int main(int argc, char** argv) {
    guardProcess();
    cli::CommandLineTool tool;
    return tool.run(argc, argv);
}
