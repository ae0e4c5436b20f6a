#pragma once
// What a command says besides its result: lines on the standard error that begin with the program's
// name.

#include <ostream>
#include <string>

#include "host/Outcome.h"

namespace Fabrion::Host {

// In one piece: a standard stream without a buffer would be written bit by bit.
inline void say(std::ostream& err, const std::string& words) {
  err << "fabrion: " + words + '\n' << std::flush;
}

// The same of what kept the command from its work.
inline Outcome refuse(std::ostream& err, const std::string& why) {
  say(err, why);
  return Outcome::mistake;
}

}  // namespace Fabrion::Host
