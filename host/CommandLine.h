#pragma once
// The command line of the program. Each command is declared by a function of its own in the folder
// commandline/; what it does stands in its own file (Replay.h), which knows nothing of options.

namespace Fabrion::Host {

// Runs the command that the arguments name and returns the exit status of the program.
int runCommandLine(int argc, const char* const* argv);

}  // namespace Fabrion::Host
