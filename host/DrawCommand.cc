#include "host/DrawCommand.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <optional>
#include <ostream>

#include "host/CheckCommand.h"
#include "host/Controller.h"
#include "host/Derivation.h"
#include "host/FabricChange.h"
#include "host/FabricPicture.h"
#include "host/FabricSvg.h"
#include "host/Progress.h"
#include "host/Report.h"
#include "host/RunFiles.h"
#include "host/Say.h"

namespace Fabrion::Host {

namespace {

void writePicture(const std::string& path, const std::string& svg) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  if (file) file << svg << std::flush;
  if (!file) throw FileError(path + ": " + std::strerror(errno));
}

}  // namespace

Outcome draw(const DrawOptions& options, std::ostream& out, std::ostream& err,
             const Velo::VeloModule& module) {
  try {
    keepDocuments(options.output, "the picture", options.documents);
    const std::optional<Fabric> fabric = readOrTell(options.documents, err, options.terminal);
    if (!fabric) return Outcome::mistake;
    Controller controller(module);
    {
      Progress progress(err, options.terminal);
      applyAll(FabricChange().to(*fabric), controller, nullptr, progress.of("Applying"));
    }
    const std::string svg = svgOf(pictureOf(*fabric, reportOf(*fabric, controller)));
    if (options.output != "-") {
      writePicture(options.output, svg);
      return Outcome::done;
    }
    out << svg << std::flush;
  } catch (const FileError& failed) {
    return refuse(err, failed.what());
  } catch (const OperationFailed& failed) {
    return refuse(err, failed.what());
  }
  return out ? Outcome::done : refuse(err, "the picture cannot be written");
}

}  // namespace Fabrion::Host
