#pragma once
// How a command that reads fabric documents ends, as the exit status of the program. 1 and 3 are
// kept for what a script asks about, a conflict (with --strict) and a difference; whatever kept the
// command from its work is 2.

namespace Fabrion::Host {

enum class Outcome : int { done = 0, conflict = 1, mistake = 2, difference = 3 };

}  // namespace Fabrion::Host
