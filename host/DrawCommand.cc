#include "host/DrawCommand.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <ostream>
#include <system_error>

#include "host/CheckCommand.h"
#include "host/Controller.h"
#include "host/FabricChange.h"
#include "host/FabricPicture.h"
#include "host/FabricSvg.h"
#include "host/Report.h"

namespace Fabrion::Host {

namespace {

bool isOneOf(const std::string& path, const std::vector<std::string>& documents) {
  for (const std::string& document : documents) {
    std::error_code error;
    if (std::filesystem::equivalent(path, document, error)) return true;
  }
  return false;
}

}  // namespace

Outcome draw(const DrawOptions& options, std::ostream& out, std::ostream& err,
             const Velo::VeloModule& module) {
  if (isOneOf(options.output, options.documents)) {
    err << "fabrion: " + options.output + " is a document; the picture would overwrite it\n"
        << std::flush;
    return Outcome::mistake;
  }
  const std::optional<Fabric> fabric = readOrTell(options.documents, err);
  if (!fabric) return Outcome::mistake;
  Controller controller(module);
  for (const Operation& operation : FabricChange().to(*fabric)) controller.apply(operation);
  const std::string svg = svgOf(pictureOf(*fabric, reportOf(*fabric, controller)));
  if (options.output == "-") {
    out << svg << std::flush;
    return out ? Outcome::done : Outcome::mistake;
  }
  std::ofstream file(options.output, std::ios::binary | std::ios::trunc);
  file << svg << std::flush;
  if (file) return Outcome::done;
  err << "fabrion: " + options.output + ": " + std::strerror(errno) + '\n' << std::flush;
  return Outcome::mistake;
}

}  // namespace Fabrion::Host
