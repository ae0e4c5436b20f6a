#pragma once
// How a command that reads fabric documents ends, as the exit status of the program. 1 is kept for
// the one thing that a script asks for with --strict; whatever kept the command from its work is 2.

namespace Fabrion::Host {

enum class Outcome : int { done = 0, conflict = 1, mistake = 2 };

}  // namespace Fabrion::Host
