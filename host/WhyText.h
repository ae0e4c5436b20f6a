#pragma once
// An explanation as text for people: one line for each entry, and below it, further in with each
// step, what it stands on.

#include <string>

#include "host/Why.h"

namespace Fabrion::Host {

// Each line ended. The same explanation gives the same bytes.
std::string textOf(const Explanation& explanation);

}  // namespace Fabrion::Host
