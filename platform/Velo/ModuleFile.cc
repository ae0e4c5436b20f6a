#include "platform/Velo/ModuleFile.h"

#include <dlfcn.h>

#include <filesystem>
#include <system_error>

namespace Velo {

ModuleException::~ModuleException() = default;

const VeloModule& loadModule(const std::string& file, const char* name) {
  std::error_code error;
  const std::filesystem::path path = std::filesystem::absolute(file, error);
  if (error || !std::filesystem::exists(path, error)) {
    throw ModuleException("there is no module " + path.string());
  }
  if (dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL) == nullptr) {
    throw ModuleException("the module does not load: " + std::string(dlerror()));
  }
  const VeloModule* const module = veloModule(name);
  if (module != nullptr) return *module;
  const std::string& why = veloModuleError();
  throw ModuleException(path.string() + " registers no module " + name +
                        (why.empty() ? "" : ": " + why));
}

Ptr<PtrInterface> constructFrom(const VeloModule& module, const char* type, void* const* arguments,
                                U32 count) {
  const TypeRecord* const record = module.type(type);
  if (record == nullptr) {
    throw ModuleException(std::string("the module ") + module.name + " has no type " + type);
  }
  if (record->construct == nullptr || record->constructorArguments != count) {
    throw ModuleException(std::string("the type ") + type + " cannot be made from " +
                          std::to_string(count) + " argument(s)");
  }
  return record->construct(arguments);
}

}  // namespace Velo
