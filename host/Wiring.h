#pragma once
// `fabrion wiring`: the reaction tables of a module, as the module itself holds them: for each
// reactor of each machine what it follows and what it does about each change, step by step.

#include <string>

#include "platform/Velo/Module.h"

namespace Fabrion::Host {

// One line for each row of each table, under its reactor and machine, in the order declared. The
// same module gives the same text, so a wire that changes is a line that changes.
std::string wiringText(const Velo::VeloModule& module);

// The same for Graphviz: entities and reactors are nodes, machines are clusters. A solid edge is a
// reaction, from the entity that changes to the reactor; a dashed one leads from a reactor to those
// that its follow step makes.
std::string wiringDot(const Velo::VeloModule& module);

}  // namespace Fabrion::Host
