#pragma once
// What bash offers when a user of the program presses TAB: commands, options, the choices of an
// option, and files wherever a file is meant.

#include <string>

#include "host/commandline/Described.h"

namespace Fabrion::Host {

// A script for bash 4 or later, to be sourced; it needs neither the package bash-completion nor the
// program. The same program gives the same bytes. Raises std::bad_alloc.
std::string bashCompletion(const DescribedProgram& program);

}  // namespace Fabrion::Host
