#include "cli/CommandLineTool.h"
#include "files/guardProcess.h"

int main(int argc, char** argv) {
    guardProcess();
    CommandLineTool tool;
    return tool.run(argc, argv);
}
