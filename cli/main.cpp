// The entry point alone: the library of cli holds all that takes long to compile.
#include "cli/program.h"

int main(int argc, char** argv) { return tidra::runTidra(argc, argv); }
