#pragma once
// For a program that embeds a module: loading it from a file, and making its objects by the names
// of their types. The registry itself is in Module.h, access to the objects in Type.h.
//
//   const Velo::VeloModule& machines = Velo::loadModule(path, "FabrionSm");
//   const Velo::Ptr<Velo::PtrInterface> machine =
//       Velo::construct(machines, "Fabrion::Agent::TopologySm", elements, requests, status);

#include <string>

#include "platform/Velo/Exceptions.h"
#include "platform/Velo/Module.h"

namespace Velo {

// A module that cannot be loaded, or has no such type.
class ModuleException : public Exception {
 public:
  using Exception::Exception;
  ModuleException(const ModuleException&) = default;
  ModuleException& operator=(const ModuleException&) = default;
  ~ModuleException() override;
};

// Loads the shared library `file` and gives the record that it registered as `name`; one that is
// loaded already is not loaded again. A relative path counts from the working folder, also where it
// has no slash: the system's libraries are not searched. Nothing is ever unloaded, since objects,
// and what they trace as they end, may outlive whoever loaded the module. Raises ModuleException
// where there is no such file, the system cannot load it, or it registers no module of that name.
const VeloModule& loadModule(const std::string& file, const char* name);

// As construct(), from pointers to the arguments.
Ptr<PtrInterface> constructFrom(const VeloModule& module, const char* type, void* const* arguments,
                                U32 count);

// Makes an object of the module's type of that full name. `arguments` are those of the type's
// creator, in its order and of exactly its types, which nobody can check here: where the creator
// takes a Ptr<const E>, a Ptr<E> has to be converted first, and a text is a Nimbo::String. The
// machine runs when this returns, and ends with its last reference. Raises ModuleException for a
// type that the module does not have, that has no creator, or that takes another number of
// arguments; and what the creator raises.
template <class... Arguments>
Ptr<PtrInterface> construct(const VeloModule& module, const char* type,
                            const Arguments&... arguments) {
  // The one more keeps the array from being empty.
  void* const pointers[] = {const_cast<Arguments*>(&arguments)..., nullptr};
  return constructFrom(module, type, pointers, sizeof...(Arguments));
}

}  // namespace Velo
