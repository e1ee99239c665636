#include "tools/cli/program.h"

int main(int argc, char** argv) {
    return runKrw(argc, argv);
}
