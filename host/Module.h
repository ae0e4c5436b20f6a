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

// Where the program that stands in `folder` finds the module: beside itself, as builds have it and
// folders that were copied together; else where an installation puts it, seen from the program.
std::string modulePlace(const std::string& folder);

// The folder of the program that `link` leads to, this one unless another is named. Raises
// ModuleError when it leads nowhere.
std::string folderOfExecutable(const std::string& link = "/proc/self/exe");

// Loads the shared library, the one at modulePlace() of the executable where `file` is empty, and
// gives the record that it registered. It is never unloaded: objects, and what they trace as they
// end, may outlive everything here. Raises ModuleError.
const Velo::VeloModule& loadModule(const std::string& file);

}  // namespace Fabrion::Host
