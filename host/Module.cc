#include "host/Module.h"

#include <dlfcn.h>

#include <filesystem>
#include <system_error>

namespace Fabrion::Host {

namespace {

constexpr const char* moduleName = "FabrionSm";

std::filesystem::path besideExecutable() {
  std::error_code error;
  const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
  if (error) throw ModuleError("where the executable stands is not known: " + error.message());
  return program.parent_path() / (std::string(moduleName) + ".so");
}

}  // namespace

const Velo::VeloModule& loadModule(const std::string& file) {
  // Made absolute, since a name without a slash would be looked for among the system's libraries.
  const std::filesystem::path path =
      file.empty() ? besideExecutable() : std::filesystem::absolute(file);
  std::error_code error;
  if (!std::filesystem::exists(path, error)) {
    throw ModuleError("there is no module " + path.string() + "; name it with --module");
  }
  if (dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL) == nullptr) {
    throw ModuleError("the module does not load: " + std::string(dlerror()));
  }
  const Velo::VeloModule* const module = Velo::veloModule(moduleName);
  if (module != nullptr) return *module;
  const std::string& why = Velo::veloModuleError();
  throw ModuleError(path.string() + " registers no module " + moduleName +
                    (why.empty() ? "" : ": " + why));
}

}  // namespace Fabrion::Host
