// The program `fabrion`. Everything stands in CommandLine.h and below, where tests reach it.

#include "host/CommandLine.h"

int main(int argc, char** argv) { return Fabrion::Host::runCommandLine(argc, argv); }
