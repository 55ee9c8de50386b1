// lantrix: the command-line tool.
#include "tools/Application.h"

int main(int argc, char** argv) {
    return tool::runApplication(argc, argv);
}
