#pragma once
// `fabrion draw`: applies a fabric to a fresh controller, as `fabrion run` does, and draws it with
// what came out. FabricPicture.h lays it out, FabricSvg.h writes it.

#include <iosfwd>
#include <string>
#include <vector>

#include "host/Outcome.h"
#include "host/Terminal.h"
#include "platform/Velo/Module.h"

namespace Fabrion::Host {

struct DrawOptions {
  std::vector<std::string> documents;
  std::string output;  // a file, or - for `out`
  Terminal terminal = {};
};

// With a mistake in a document nothing is drawn, and the file stays as it is. Raises ModuleError
// when the module is not the one that this host knows.
Outcome draw(const DrawOptions& options, std::ostream& out, std::ostream& err,
             const Velo::VeloModule& module);

}  // namespace Fabrion::Host
