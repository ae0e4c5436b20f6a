#pragma once
// `fabrion audit`: derives the outputs of a fabric afresh and holds them against outputs that
// somebody has, such as those that a switch or another controller has now.

#include <iosfwd>
#include <string>
#include <vector>

#include "host/Outcome.h"
#include "host/RunCommand.h"
#include "host/Terminal.h"

namespace Fabrion::Host {

struct AuditOptions {
  std::vector<std::string> documents;
  // Outputs as JSON (OutputsJson.h); `-` for the standard input.
  std::string against = "-";
  ReportFormat format = ReportFormat::text;
  Terminal terminal = {};
};

// Tells on `out` what leads from the outputs given to those of the fabric. `difference` if there is
// any. Mistakes and faults go to `err`. Raises ModuleError when the module is not the one that this
// host knows.
Outcome audit(const AuditOptions& options, std::ostream& out, std::ostream& err,
              const Velo::VeloModule& module);

}  // namespace Fabrion::Host
