#pragma once
// The machines, as the host finds them: the module FabrionSm, loaded at run time. The host never
// sees its headers; types are found by name in the module's record and reached through generic
// access (Machine.h).

#include <stdexcept>
#include <string>

#include "platform/Velo/Module.h"

namespace Fabrion::Host {

// The module cannot be loaded, or is not the one that this host knows.
class ModuleError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Loads the shared library, FabrionSm.so beside the executable where `file` is empty, and gives the
// record that it registered. It is never unloaded: objects, and what they trace as they end, may
// outlive everything here. Raises ModuleError.
const Velo::VeloModule& loadModule(const std::string& file);

}  // namespace Fabrion::Host
