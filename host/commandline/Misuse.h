#pragma once
// What is wrong with a command line, in the words in which this program tells all mistakes: what
// was found and what was expected. CLI11 finds the mistake; its own texts name options as the code
// does and say nothing of unknown commands.

#include <string>

#include "host/commandline/Session.h"

namespace Fabrion::Host {

// Two lines, without the program's name in front and without the last line's end. `app` has thrown
// `error` and not been used since. O(size of the command line and of all declarations).
std::string misuseOf(const CLI::App& app, const CLI::ParseError& error, const Session& session);

}  // namespace Fabrion::Host
