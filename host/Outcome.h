#pragma once
// How a command that reads fabric documents ends, as the exit status of the program. 1, 3 and 4 are
// kept for what a script asks about, a conflict (with --strict), a difference, and a conflict that
// a change would bring; whatever kept the command from its work is 2.

namespace Fabrion::Host {

enum class Outcome : int {
  done = 0,
  conflict = 1,
  mistake = 2,
  difference = 3,
  conflictAppears = 4
};

}  // namespace Fabrion::Host
