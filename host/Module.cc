#include "host/Module.h"

#include <filesystem>
#include <system_error>

#include "platform/Velo/ModuleFile.h"

namespace Fabrion::Host {

namespace {

constexpr const char* moduleName = "FabrionSm";

}  // namespace

std::string modulePlace(const std::string& folder) {
  const std::string file = std::string(moduleName) + ".so";
  const std::filesystem::path beside = std::filesystem::path(folder) / file;
  std::error_code error;
  if (std::filesystem::exists(beside, error)) return beside.string();
  return (std::filesystem::path(folder) / FABRION_INSTALLED_MODULES / file)
      .lexically_normal()
      .string();
}

std::string folderOfExecutable(const std::string& link) {
  std::error_code error;
  const std::filesystem::path program = std::filesystem::read_symlink(link, error);
  if (error) throw ModuleError("where the executable stands is not known: " + error.message());
  return program.parent_path().string();
}

const Velo::VeloModule& loadModule(const std::string& file) {
  const std::filesystem::path path =
      std::filesystem::absolute(file.empty() ? modulePlace(folderOfExecutable()) : file);
  std::error_code error;
  if (!std::filesystem::exists(path, error)) {
    throw ModuleError("there is no module " + path.string() + "; name it with --module");
  }
  try {
    return Velo::loadModule(path.string(), moduleName);
  } catch (const Velo::ModuleException& failed) {
    throw ModuleError(failed.what());
  }
}

}  // namespace Fabrion::Host
