#pragma once
// The manual page of the program, in the language of man(7).

#include <string>

#include "host/commandline/Described.h"

namespace Fabrion::Host {

// The same program gives the same bytes: no date, no place. Linear in what it tells. Raises
// std::bad_alloc.
std::string manualPage(const DescribedProgram& program);

}  // namespace Fabrion::Host
