#include "cli/CommandLineTool.h"

int main(int argc, char** argv) {
    CommandLineTool tool;
    return tool.run(argc, argv);
}
